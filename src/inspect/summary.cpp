// SPDX-License-Identifier: MIT

#include "inspect/summary.h"

#include "inspect/names.h"
#include "report/translation.h"

namespace keldo::inspect {

namespace {

struct Counted {
    const char* code;
    const char* singular;
    const char* plural;
};

/// Marks the two forms of a text for the translators' template.
constexpr Counted marked(const char* code, const char* singular, const char* plural) {
    return {code, singular, plural};
}

// Translators: <count> is replaced by the number, <seconds> by a number such as 0.4; keep them as
// they are. A language with more plural forms has as many sentences.
constexpr Counted allUp = marked("all_up", "The only service that ought to run is up.",
                                 "All <count> services that ought to run are up.");
constexpr Counted down = marked("down", "<count> service is down.", "<count> services are down.");
constexpr Counted unknown = marked("unknown", "The state of <count> service is not known.",
                                   "The state of <count> services is not known.");
constexpr Counted up = marked("up", "<count> service is up.", "<count> services are up.");
constexpr Counted stopped = marked("stopped", "<count> service was stopped by the administrator.",
                                   "<count> services were stopped by the administrator.");
constexpr Counted unchecked =
    marked("unchecked", "<count> service was not checked.", "<count> services were not checked.");
constexpr Counted checked = marked("checked", "<count> service was checked in <seconds> s.",
                                   "<count> services were checked in <seconds> s.");

/// With one decimal, and a decimal point in every language.
std::string roughSeconds(Clock::duration duration) {
    const auto tenths = (inMilliseconds(duration).count() + 50) / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

void add(std::vector<Reason>& sentences, const Counted& counted, std::size_t count,
         Clock::duration duration = {}) {
    if (count != 0) {
        sentences.push_back(
            {counted.code, substitute(translateCounted(counted.singular, counted.plural, count),
                                      Substitution{"<count>", std::to_string(count)},
                                      Substitution{"<seconds>", roughSeconds(duration)})});
    }
}

} // namespace

Counts countsOf(const std::vector<InspectedService>& services) {
    Counts counts;
    counts.services = services.size();
    for (const InspectedService& service : services) {
        switch (service.judgement.state) {
        case State::up:
            ++counts.up;
            break;
        case State::down:
            ++counts.down;
            break;
        case State::unknown:
            ++counts.unknown;
            break;
        case State::stopped:
            ++counts.stopped;
            break;
        case State::unchecked:
            ++counts.unchecked;
            break;
        }
    }
    return counts;
}

std::vector<Reason> summaryOf(const Inspection& inspection) {
    const Counts counts = countsOf(inspection.services);
    std::vector<Reason> sentences;
    if (inspection.verdict == Verdict::well) {
        add(sentences, allUp, counts.up);
    } else {
        add(sentences, down, counts.down);
        add(sentences, unknown, counts.unknown);
        add(sentences, up, counts.up);
    }
    add(sentences, stopped, counts.stopped);
    add(sentences, unchecked, counts.unchecked);
    add(sentences, checked, counts.up + counts.down, inspection.duration);
    return sentences;
}

} // namespace keldo::inspect
