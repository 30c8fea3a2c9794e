// SPDX-License-Identifier: MIT

// A command that prints n bytes, and the report of an action that did. The counter copies is the
// peak of the memory that this takes, in multiples of n.

#include "exec/command_runner.h"
#include "exec/duplicate.h"
#include "exec/unique_fd.h"
#include "peak_memory.h"
#include "report/problem_model.h"
#include "report/report_writer.h"
#include "temporary_file.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <string>
#include <unistd.h>

namespace {

using keldo::duplicate;
using keldo::printReport;
using keldo::problemModel;
using keldo::runCommand;
using keldo::UniqueFd;
using keldo::bench::peakMemory;
using keldo::bench::TemporaryFile;

constexpr std::int64_t mebibyte = 1 << 20;
constexpr std::int64_t smallest = 1 << 10;
constexpr std::int64_t largest = 256 * mebibyte;

std::string textOf(std::int64_t bytes) {
    return std::string(static_cast<std::size_t>(bytes) - 1, 'x') + '\n';
}

/// Below a mebibyte the pages that any process touches would be most of it.
void countCopies(benchmark::State& state, const std::function<void()>& work) {
    if (state.range(0) >= mebibyte) {
        state.counters["copies"] =
            static_cast<double>(peakMemory(work)) / static_cast<double>(state.range(0));
    }
}

/// With the fork, the shell and the program that prints, which are most of it up to a mebibyte.
void run(benchmark::State& state) {
    const TemporaryFile file(textOf(state.range(0)));
    const std::string command = "cat " + file.path();
    for (auto _ : state) {
        const auto result = runCommand(command, true);
        if (result.output.size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("the output is not whole");
        }
    }
    countCopies(state, [&command] { runCommand(command, true); });
    state.SetComplexityN(state.range(0));
}
BENCHMARK(run)
    ->Name("command_output/run")
    ->RangeMultiplier(4)
    ->Range(smallest, largest)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);

/// While it lives, standard output is the null device.
class SilencedOutput {
public:
    SilencedOutput() : output_(dup(STDOUT_FILENO)) {
        const UniqueFd nullDevice(open("/dev/null", O_WRONLY | O_CLOEXEC));
        duplicate(nullDevice.get(), STDOUT_FILENO);
    }
    SilencedOutput(const SilencedOutput&) = delete;
    SilencedOutput& operator=(const SilencedOutput&) = delete;
    ~SilencedOutput() { duplicate(output_.get(), STDOUT_FILENO); }

private:
    UniqueFd output_;
};

/// The copies are those that exist besides the log itself.
void printLog(benchmark::State& state) {
    problemModel.storeAction({"a", {}, ""});
    problemModel.setActionResult("a", {0, textOf(state.range(0))});
    {
        const SilencedOutput silenced;
        for (auto _ : state) {
            printReport();
        }
        countCopies(state, printReport);
    }
    problemModel = {};
    state.SetComplexityN(state.range(0));
}
BENCHMARK(printLog)
    ->Name("command_output/report")
    ->RangeMultiplier(4)
    ->Range(smallest, largest)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

} // namespace
