// SPDX-License-Identifier: MIT

// Reads the status of one service from a monitor's output with n services.

#include "monitor/monitor_run.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

namespace {

constexpr int stopped = 1;

std::string serviceText(const std::string& name) {
    return "<service type=\"3\"><name>" + name +
           "</name><collected_sec>1283000000</collected_sec><status>1</status><monitor>1</monitor>"
           "</service>\n";
}

void findStatus(benchmark::State& state, const std::string& output) {
    for (auto _ : state) {
        if (keldo::monitorStatus("web", output, 0) != stopped) {
            state.SkipWithError("the status was not found");
        }
    }
    state.SetComplexityN(state.range(0));
}

/// The service comes last.
void findLast(benchmark::State& state) {
    std::string output = "<monit>\n";
    for (std::int64_t i = 1; i < state.range(0); ++i) {
        output += serviceText("service" + std::to_string(i));
    }
    findStatus(state, output + serviceText("web") + "</monit>\n");
}
BENCHMARK(findLast)
    ->Name("monitor_output/last_service")
    ->RangeMultiplier(4)
    ->Range(1, 100000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

/// All services have the same name.
void findAmongEqual(benchmark::State& state) {
    std::string output = "<monit>\n";
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        output += serviceText("web");
    }
    findStatus(state, output + "</monit>\n");
}
BENCHMARK(findAmongEqual)
    ->Name("monitor_output/equal_names")
    ->RangeMultiplier(4)
    ->Range(1, 100000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

} // namespace
