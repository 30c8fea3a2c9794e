// SPDX-License-Identifier: MIT

#include "inspect/event_loop.h"

#include "exec/ending_signals.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace keldo::inspect {

namespace {

constexpr std::chrono::seconds tickLength{1};

/// An ignored signal is not watched, so it stays ignored.
bool isIgnored(int number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

} // namespace

EventLoop::EventLoop(std::function<void()> tick)
    : tick_(std::move(tick)), nextTick_(Clock::now() + tickLength) {
    sigset_t signals = endingSignals();
    for (int number = 1; number <= SIGRTMAX; ++number) {
        if (sigismember(&signals, number) == 1 && isIgnored(number)) {
            sigdelset(&signals, number);
        }
    }
    sigaddset(&signals, SIGCHLD);
    signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_) {
        throw std::system_error(errno, std::generic_category(), "cannot watch for signals");
    }
    sigprocmask(SIG_BLOCK, &signals, &maskBefore_);
}

EventLoop::~EventLoop() {
    for (Watched& watched : watched_) { // SIGTERM to all first, so that all end in the same second
        watched.child.end();
    }
    watched_.clear();
    sigprocmask(SIG_SETMASK, &maskBefore_, nullptr);
}

void EventLoop::add(Child child, Clock::time_point limit, Ended ended) {
    watched_.push_back({std::move(child), limit, std::move(ended)});
}

void EventLoop::run() {
    while (!watched_.empty()) {
        waitForEvent();
        tickIfDue();
        readSignals();
        for (Watched& watched : watched_) {
            watched.child.read();
        }
        takeEndedChildren();
        endLateChildren();
    }
}

/// Waits for output, a signal, the next time limit of a child, or the next tick.
void EventLoop::waitForEvent() {
    Clock::time_point wake = nextTick_;
    std::vector<pollfd> polled = {{signals_.get(), POLLIN, 0}};
    for (const Watched& watched : watched_) {
        if (!watched.child.isKilled()) { // after SIGKILL we only wait for SIGCHLD
            wake =
                std::min(wake, watched.child.isEnding() ? watched.child.endingSince() + Child::grace
                                                        : watched.limit);
        }
        for (const int descriptor :
             {watched.child.outputDescriptor(), watched.child.errorsDescriptor()}) {
            if (descriptor != -1) {
                polled.push_back({descriptor, POLLIN, 0});
            }
        }
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now()).count();
    poll(polled.data(), polled.size(), static_cast<int>(std::max<long>(left, 0)));
}

void EventLoop::tickIfDue() {
    const Clock::time_point now = Clock::now();
    if (now >= nextTick_) {
        nextTick_ = now + tickLength;
        if (tick_) {
            tick_();
        }
    }
}

void EventLoop::readSignals() {
    signalfd_siginfo info{};
    while (read(signals_.get(), &info, sizeof info) == sizeof info) {
        const int number = static_cast<int>(info.ssi_signo);
        if (number != SIGCHLD) {
            throw Interrupted{number};
        }
    }
}

void EventLoop::takeEndedChildren() {
    for (auto watched = watched_.begin(); watched != watched_.end();) {
        if (watched->child.update()) {
            const Ended ended = std::move(watched->ended);
            ChildResult result = watched->child.takeResult();
            watched = watched_.erase(watched);
            ended(std::move(result));
        } else {
            ++watched;
        }
    }
}

void EventLoop::endLateChildren() {
    const Clock::time_point now = Clock::now();
    for (Watched& watched : watched_) {
        if (!watched.child.isEnding() && now >= watched.limit) {
            watched.child.endAtLimit();
        } else if (watched.child.isEnding() && !watched.child.isKilled() &&
                   now >= watched.child.endingSince() + Child::grace) {
            watched.child.end();
        }
    }
}

} // namespace keldo::inspect
