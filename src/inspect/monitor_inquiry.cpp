// SPDX-License-Identifier: MIT

#include "inspect/monitor_inquiry.h"

#include "inspect/control_files.h"
#include "inspect/judgement.h"
#include "inspect/names.h"
#include "inspect/reasons.h"
#include "monitor/definition_lines.h"
#include "monitor/monit_remarks.h"
#include "monitor/monitor_run.h"
#include "report/translation.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace keldo::inspect {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t outputLimit = 1U << 20U;
constexpr std::size_t lastPassAtOnce = 32;

/// The line of the control file that the monitor complains of, as in "FILE:3: syntax error", or 0.
long complainedLine(const std::string& words, const std::string& controlFile) {
    const auto begin = words.find(controlFile + ":");
    long line = 0;
    if (begin != std::string::npos) {
        const char* const digits = words.data() + begin + controlFile.size() + 1;
        std::from_chars(digits, words.data() + words.size(), line);
    }
    return line;
}

Reason reasonOfRefusal(const std::string& path, const std::string& controlFile,
                       const std::string& words) {
    // The file may have been replaced since it was read.
    const long line =
        isReadableFile(path) ? definitionLine(path, complainedLine(words, controlFile)) : 0;
    return line > 0
               ? reason("definition_refused_line", Subject::general, Substitution{"<path>", path},
                        Substitution{"<line>", std::to_string(line)})
               : reason("definition_refused", Subject::general, Substitution{"<path>", path});
}

bool hasEndedByItself(const ChildResult& result) {
    return WIFEXITED(result.waitStatus) && !result.hasTimedOut && !result.isCut;
}

} // namespace

MonitorInquiry::MonitorInquiry(EventLoop& loop, std::string directory, std::size_t jobs,
                               Clock::time_point deadline, InquiryLimits limits)
    : loop_(loop), directory_(std::move(directory)), jobs_(std::max<std::size_t>(jobs, 1)),
      deadline_(deadline), limits_(limits) {}

void MonitorInquiry::add(const FoundDefinition& found) {
    found_.push_back(&found);
    judgements_.push_back(untested(found.definition, State::unknown, reason("limit")));
}

std::vector<Judgement> MonitorInquiry::ask() {
    atOnce_ = jobs_;
    for (Question& question : firstPass()) {
        questions_.push_back(std::move(question));
    }
    startQuestions();
    loop_.run();
    return std::move(judgements_);
}

/// One batch for each job, and one question for each service that cannot share a control file.
std::vector<MonitorInquiry::Question> MonitorInquiry::firstPass() const {
    std::vector<Question> questions;
    BatchNames names;
    std::vector<std::size_t> together;
    for (std::size_t i = 0; i < found_.size(); ++i) {
        if (names.take(definitionOf(i))) {
            together.push_back(i);
        } else {
            questions.push_back({{i}});
        }
    }
    const std::size_t batches = std::min(jobs_, together.size());
    for (std::size_t batch = 0; batch < batches; ++batch) {
        Question question;
        for (std::size_t i = batch; i < together.size(); i += batches) {
            question.services.push_back(together[i]);
        }
        questions.push_back(std::move(question));
    }
    std::ranges::reverse(questions); // the batches first
    return questions;
}

std::string MonitorInquiry::progress() const {
    return translateWith("Services checked: <count> of <total>",
                         Substitution{"<count>", std::to_string(settled_)},
                         Substitution{"<total>", std::to_string(found_.size())})
        .text;
}

void MonitorInquiry::startQuestions() {
    while (!questions_.empty() && loop_.childCount() < atOnce_) {
        const Question question = std::move(questions_.front());
        questions_.pop_front();
        if (Clock::now() < deadline_) {
            start(question);
        } // else the services stay unknown, with the reason "limit"
    }
}

void MonitorInquiry::start(const Question& question) {
    std::vector<const ServiceDefinition*> asked;
    for (const std::size_t service : question.services) {
        asked.push_back(&definitionOf(service));
    }
    const std::string file = directory_ + "/" + std::to_string(++filesMade_);
    if (const int error = writeControlFiles(asked, file)) {
        unlink(file.c_str());
        if ((error == EMFILE || error == ENFILE) && postpone(question)) {
            return;
        }
        controlFileError_ = controlFileError_ != 0 ? controlFileError_ : error;
        judgeUnknown(question,
                     reason(codeOfFileError(error), Subject::general,
                            Substitution{"<path>", controlFileDirectory()}),
                     std::generic_category().message(error));
        return;
    }
    const milliseconds time = timeFor(question);
    std::vector<std::string> words = {monitorPath(), "-c", file, "-x", "check-status"};
    const bool isInBatchMode = batches_ != Batches::unsupported;
    if (isInBatchMode) {
        words.insert(words.end(), {"-b", secondsText(time)});
    }
    const Clock::time_point limit = std::min(deadline_, Clock::now() + time + limits_.printing);
    try {
        loop_.add(Child::execute(words, outputLimit), limit,
                  [this, question, file, isInBatchMode](const ChildResult& result) {
                      unlink(file.c_str());
                      takeResult(question, isInBatchMode, file, result);
                      startQuestions();
                  });
        hasAsked_ = true;
    } catch (const std::system_error& error) {
        unlink(file.c_str());
        if (!postpone(question)) {
            judgeUnknown(question, reason("no_process_to_be_had"), error.what());
        }
    }
}

/// Asks the question later, when a running monitor has ended and its process and descriptors are
/// free. Returns false if no monitor runs.
bool MonitorInquiry::postpone(const Question& question) {
    if (loop_.childCount() == 0) {
        return false;
    }
    atOnce_ = loop_.childCount();
    questions_.push_front(question);
    return true;
}

/// How long the monitor may take for the question.
milliseconds MonitorInquiry::timeFor(const Question& question) const {
    if (!question.isLast && batches_ != Batches::unsupported) {
        return std::min(limits_.firstPass, timeLeft());
    }
    const std::size_t tests = judgements_[question.services.front()].tests.size();
    return std::min<milliseconds>(tests * limits_.perTest + limits_.margin, timeLeft());
}

/// The time up to the deadline, without the time that the monitor needs to print its answer.
milliseconds MonitorInquiry::timeLeft() const {
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - Clock::now());
    return std::max(left - std::min(limits_.printing, left / 4), milliseconds(1));
}

void MonitorInquiry::takeResult(const Question& question, bool isInBatchMode,
                                const std::string& controlFile, const ChildResult& result) {
    const std::optional<Answer> answer = result.isCut ? std::nullopt : readAnswer(result.output);
    hasAnswered_ = hasAnswered_ || answer;
    if (answer && answer->isBatch) {
        batches_ = Batches::supported;
    } else if (batches_ == Batches::unknown && hasEndedByItself(result)) {
        batches_ = Batches::unsupported; // a monitor that was ended says nothing about it
    }
    if (answer && answer->isBatch && answer->isRefused) {
        takeRefusal(question, controlFile, *answer);
    } else if (answer && (answer->isBatch || question.services.size() == 1)) {
        takeAnswer(question, *answer, result);
    } else if (!question.isLast || (isInBatchMode && batches_ == Batches::unsupported)) {
        askAlone(question.services);
    } else {
        judgeUnknown(question, reasonOfFailure(result), result.errors);
    }
}

void MonitorInquiry::takeAnswer(const Question& question, const Answer& answer,
                                const ChildResult& result) {
    std::vector<std::size_t> askedAgain;
    for (const std::size_t service : question.services) {
        const ServiceDefinition& definition = definitionOf(service);
        const auto isThis = [&definition](const ReportedService& reported) {
            return reported.name == definition.id;
        };
        const bool isUnchecked =
            std::ranges::any_of(answer.services, [&isThis](const ReportedService& reported) {
                return isThis(reported) && !reported.isChecked;
            });
        if (!question.isLast &&
            (isUnchecked || std::ranges::count_if(answer.services, isThis) != 1)) {
            askedAgain.push_back(service);
        } else if (isUnchecked) {
            const bool isAtDeadline = Clock::now() + limits_.printing >= deadline_;
            judgements_[service] =
                untested(definition, State::unknown, reason(isAtDeadline ? "limit" : "not_tested"));
        } else {
            settle(service, judge(definition, answer, result.duration));
        }
    }
    askAlone(askedAgain);
}

void MonitorInquiry::takeRefusal(const Question& question, const std::string& controlFile,
                                 const Answer& answer) {
    if (question.services.size() > 1) {
        const auto half = static_cast<std::ptrdiff_t>(question.services.size() / 2);
        const auto begin = question.services.begin();
        questions_.push_back({{begin, begin + half}, question.isLast});
        questions_.push_back({{begin + half, question.services.end()}, question.isLast});
        return;
    }
    const std::size_t service = question.services.front();
    const std::string words = withoutRemarks(answer.words);
    settle(service, untested(definitionOf(service), State::unknown,
                             reasonOfRefusal(found_[service]->path, controlFile, words), words));
}

/// Adds a question for each service alone. More calls may then run at once, since most of them
/// only wait for a service that hangs. If the monitor knows no batches, the limit stays, since all
/// services are asked alone, whether they hang or not.
void MonitorInquiry::askAlone(const std::vector<std::size_t>& services) {
    if (services.empty()) {
        return;
    }
    if (batches_ != Batches::unsupported) {
        atOnce_ = std::max(jobs_, lastPassAtOnce);
    }
    for (const std::size_t service : services) {
        questions_.push_back({{service}, true});
    }
}

void MonitorInquiry::judgeUnknown(const Question& question, const Reason& why,
                                  const std::string& detail) {
    for (const std::size_t service : question.services) {
        settle(service, untested(definitionOf(service), State::unknown, why, detail));
    }
}

void MonitorInquiry::settle(std::size_t service, Judgement judgement) {
    judgements_[service] = std::move(judgement);
    ++settled_;
}

Reason MonitorInquiry::reasonOfFailure(const ChildResult& result) const {
    if (result.hasTimedOut) {
        return reason(Clock::now() >= deadline_ ? "limit" : "monitor_silent");
    }
    if (result.isCut) {
        return reason("monitor_rubbish");
    }
    if (WIFSIGNALED(result.waitStatus)) {
        return reason("monitor_killed");
    }
    return reason(result.output.empty() ? "monitor_failed" : "monitor_rubbish");
}

} // namespace keldo::inspect
