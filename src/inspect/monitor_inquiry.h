// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/answer.h"
#include "inspect/definitions.h"
#include "inspect/event_loop.h"
#include "inspect/inspection.h"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace keldo::inspect {

/// Time limits for the monitor.
struct InquiryLimits {
    /// For a batch of the first pass.
    std::chrono::milliseconds firstPass{1000};
    /// For each test of a service in the second pass: monit runs the tests one after another and
    /// gives up each after five seconds.
    std::chrono::milliseconds perTest{5000};
    /// Added in the second pass, for the start of the monitor on a busy machine.
    std::chrono::milliseconds margin{5000};
    /// Added to every limit, so that the monitor can print its answer.
    std::chrono::milliseconds printing{1000};
};

/// Asks the monitor (monitorPath()) about services, several at once, in two passes. First it asks
/// about batches of services, one batch for each job, with a limit of one second. Then it asks
/// again about the services that were not checked in that second, or not named exactly once: one
/// service a call, up to 32 calls at once, or one for each job if there are more jobs. If the
/// monitor refuses the control file of a batch, the batch is halved until the refused service is
/// alone. A monitor that knows no batches is asked about one service a call, as keldoctl does. If
/// the system lacks processes or descriptors, fewer monitors run at once.
class MonitorInquiry {
public:
    /// `loop` must outlive the object. Control files are made in `directory`. The monitor is ended
    /// at `deadline`.
    MonitorInquiry(EventLoop& loop, std::string directory, std::size_t jobs,
                   Clock::time_point deadline, InquiryLimits limits = {});

    /// Adds a service. `found` must outlive the object.
    void add(const FoundDefinition& found);

    /// Asks for all added services. Returns their judgements in the order of add().
    std::vector<Judgement> ask();

    /// A line such as "Services checked: 5 of 60", in the report's language.
    std::string progress() const;

    /// The error number of the first control file that could not be written whole, or 0.
    int controlFileError() const { return controlFileError_; }

    /// Whether the monitor was started, and whether it gave an answer that can be read.
    bool hasAsked() const { return hasAsked_; }
    bool hasAnswered() const { return hasAnswered_; }

private:
    struct Question {
        std::vector<std::size_t> services; ///< positions in found_
        bool isLast = false;               ///< services left unchecked are not asked again
    };

    void startQuestions();
    void start(const Question& question);
    bool postpone(const Question& question);
    std::chrono::milliseconds timeFor(const Question& question) const;
    std::chrono::milliseconds timeLeft() const;
    void takeResult(const Question& question, bool isInBatchMode, const std::string& controlFile,
                    const ChildResult& result);
    void takeAnswer(const Question& question, const Answer& answer, const ChildResult& result);
    void takeRefusal(const Question& question, const std::string& controlFile,
                     const Answer& answer);
    void askAlone(const std::vector<std::size_t>& services);
    void settle(std::size_t service, Judgement judgement);
    void judgeUnknown(const Question& question, const Reason& why, const std::string& detail);
    Reason reasonOfFailure(const ChildResult& result) const;
    std::vector<Question> firstPass() const;
    const ServiceDefinition& definitionOf(std::size_t service) const {
        return found_[service]->definition;
    }

    EventLoop& loop_;
    std::string directory_;
    std::size_t jobs_;
    Clock::time_point deadline_;
    InquiryLimits limits_;
    std::vector<const FoundDefinition*> found_;
    std::vector<Judgement> judgements_;
    std::deque<Question> questions_;
    std::size_t atOnce_ = 0;
    int filesMade_ = 0;
    int controlFileError_ = 0;
    std::size_t settled_ = 0; ///< services with their final judgement
    bool hasAsked_ = false;
    bool hasAnswered_ = false;
    enum class Batches { unknown, supported, unsupported } batches_ = Batches::unknown;
};

} // namespace keldo::inspect
