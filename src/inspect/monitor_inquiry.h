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

/// How long the monitor may take.
struct InquiryLimits {
    /// For a batch of the first pass.
    std::chrono::milliseconds firstPass{1000};
    /// For one service, by the number of its tests: monit gives up a test after five seconds and
    /// makes them one after another.
    std::chrono::milliseconds perTest{5000};
    /// And for its start, on a busy machine.
    std::chrono::milliseconds margin{5000};
    /// Beyond its limit, to print what it has.
    std::chrono::milliseconds printing{1000};
};

/// Asks the monitor (monitorPath()) for services, several at once, in two passes. First it asks for
/// batches, one for each job, each for one second. It then asks for what was not checked in that
/// second again, a service a call and up to 32 calls at once. A batch whose control file the
/// monitor refuses is halved until the culprit is alone. A monitor that knows no batches is asked
/// for one service a call, as keldoctl does.
class MonitorInquiry {
public:
    /// The loop outlives the object. Control files are made in `directory`. No answer is waited for
    /// beyond `deadline`.
    MonitorInquiry(EventLoop& loop, std::string directory, std::size_t jobs,
                   Clock::time_point deadline, InquiryLimits limits = {});

    /// Adds a service; what was found of it outlives the object.
    void add(const FoundDefinition& found);

    /// Asks for all of them. Returns their judgements, in the order in which they were added.
    std::vector<Judgement> ask();

    /// The error number of the first control file that could not be written whole, or 0.
    int controlFileError() const { return controlFileError_; }

private:
    struct Question {
        std::vector<std::size_t> services; ///< positions
        bool isLast = false;               ///< what is not checked then stays unknown
    };

    void startQuestions();
    void start(Question question);
    std::chrono::milliseconds timeFor(const Question& question) const;
    void takeResult(const Question& question, const std::string& controlFile, ChildResult result);
    void takeAnswer(const Question& question, const Answer& answer, const ChildResult& result);
    void takeRefusal(const Question& question, const std::string& controlFile,
                     const Answer& answer);
    void askAlone(const std::vector<std::size_t>& services);
    void judgeUnknown(const Question& question, const Reason& reason, const std::string& detail);
    Reason reasonOfFailure(const ChildResult& result) const;
    std::vector<Question> firstPass() const;

    EventLoop& loop_;
    std::string directory_;
    std::size_t jobs_;
    Clock::time_point deadline_;
    InquiryLimits limits_;
    const ServiceDefinition& definitionOf(std::size_t service) const {
        return found_[service]->definition;
    }

    std::vector<const FoundDefinition*> found_;
    std::vector<Judgement> judgements_;
    std::deque<Question> questions_;
    std::size_t atOnce_ = 0;
    int filesMade_ = 0;
    int controlFileError_ = 0;
    enum class Batches { notKnown, taken, notTaken } batches_ = Batches::notKnown;
};

} // namespace keldo::inspect
