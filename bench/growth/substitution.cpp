// SPDX-License-Identifier: MIT

// Placeholders filled in a text of n bytes.

#include "report/translation.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <optional>
#include <string>

namespace {

using keldo::Message;
using keldo::substitute;
using keldo::Substitution;

const Substitution title = {"<service_title>", "Web Server"};
const Substitution other = {"<other>", "Mail Server"};

/// As many copies of a text as there is room for in n bytes, at least one.
std::string filled(const benchmark::State& state, const std::string& text) {
    std::string result = text;
    while (result.size() + text.size() <= static_cast<std::size_t>(state.range(0))) {
        result += text;
    }
    return result;
}

void fill(benchmark::State& state, const std::string& text,
          const std::optional<Substitution>& second) {
    const Message message(filled(state, text), "en-US");
    for (auto _ : state) {
        benchmark::DoNotOptimize(substitute(message, title, second));
    }
    state.SetComplexityN(state.range(0));
}

void ofBytes(benchmark::internal::Benchmark* texts) {
    texts->RangeMultiplier(4)->Range(64, 1 << 20)->Unit(benchmark::kMicrosecond);
    texts->Complexity(benchmark::oN);
}

BENCHMARK_CAPTURE(fill, nothing, "Restart the service, and look at its log. ", std::nullopt)
    ->Name("substitution/none_there")
    ->Apply(ofBytes);

BENCHMARK_CAPTURE(fill, one, "Restart the <service_title> service. ", std::nullopt)
    ->Name("substitution/one")
    ->Apply(ofBytes);

BENCHMARK_CAPTURE(fill, both, "Restart the <service_title> service after <other>. ", other)
    ->Name("substitution/both")
    ->Apply(ofBytes);

// The second one has to be looked for as well, to the end of the text.
BENCHMARK_CAPTURE(fill, absent, "Restart the <service_title> service. ", other)
    ->Name("substitution/second_absent")
    ->Apply(ofBytes);

BENCHMARK_CAPTURE(fill, almost, "<service_titl<service_titl", std::nullopt)
    ->Name("substitution/almost")
    ->Apply(ofBytes);

} // namespace
