// SPDX-License-Identifier: MIT

#pragma once

#include "exec/unique_fd.h"
#include "inspect/child.h"

#include <csignal>
#include <functional>
#include <list>

namespace keldo::inspect {

/// A signal asks this program to end. Thrown so that destructors clean up.
struct Interrupted {
    int signalNumber;
};

/// Watches children that run at the same time, until all have ended. While it exists, SIGCHLD and
/// the signals that end a program (exec/ending_signals.h) are blocked and read from a descriptor.
class EventLoop {
public:
    /// Takes a child's result; may add further children.
    using Ended = std::function<void(ChildResult)>;

    /// Calls `tick` about once a second while children run; `tick` may be empty.
    explicit EventLoop(std::function<void()> tick);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    ~EventLoop();

    /// Watches `child`, which is ended at `limit`. `ended` is called once it has ended.
    void add(Child child, Clock::time_point limit, Ended ended);

    std::size_t childCount() const { return watched_.size(); }

    /// Returns when no child is left. Throws Interrupted, and what the callbacks throw.
    void run();

private:
    struct Watched {
        Child child;
        Clock::time_point limit;
        Ended ended;
    };

    void waitForEvent();
    void tickIfDue();
    void readSignals();
    void endLateChildren();
    void takeEndedChildren();

    std::function<void()> tick_;
    Clock::time_point nextTick_;
    sigset_t maskBefore_;
    UniqueFd signals_;
    std::list<Watched> watched_;
};

} // namespace keldo::inspect
