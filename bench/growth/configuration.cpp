// SPDX-License-Identifier: MIT

// The panel's configuration file with n lines, each for another variable. Loading looks for each
// new name among the earlier lines, so its time grows with the square of n. A look-up is a binary
// search.

#include "conf/read_configuration.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// A file that is removed on destruction. Ends the program if the file cannot be made.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content)
        : path_(std::filesystem::temp_directory_path() / "keldo-growth-XXXXXX") {
        const int file = mkstemp(path_.data());
        std::ofstream stream(path_);
        if (file == -1 || !(stream << content).flush()) {
            std::perror(path_.c_str());
            std::exit(EXIT_FAILURE);
        }
        close(file);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { unlink(path_.c_str()); }

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

struct FreeConfiguration {
    void operator()(conf_rec* configuration) const noexcept { conf_free_r(configuration); }
};
using Configuration = std::unique_ptr<conf_rec, FreeConfiguration>;

std::string variableName(std::int64_t number) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), "VARIABLE_%06lld_D", static_cast<long long>(number));
    return name.data();
}

std::string configurationText(std::int64_t lines) {
    std::string text;
    for (std::int64_t i = 0; i < lines; ++i) {
        text += variableName(i) + "\t/usr/local/kvr/folder\n";
    }
    return text;
}

Configuration load(const TemporaryFile& file) {
    Configuration configuration(static_cast<conf_rec*>(std::calloc(1, sizeof(conf_rec))));
    if (configuration == nullptr ||
        conf_read_file_r(file.path().c_str(), configuration.get()) != 0) {
        std::abort();
    }
    return configuration;
}

void loadConfiguration(benchmark::State& state) {
    const TemporaryFile file(configurationText(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(load(file));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(loadConfiguration)
    ->Name("configuration/load")
    ->RangeMultiplier(4)
    ->Range(10, 10000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oNSquared);

/// Looks up random names of a configuration of n lines. There are more lookups than the processor
/// can predict branches for: each step of the search then costs the same, for any n.
void lookUp(benchmark::State& state, const std::string& ending) {
    const std::int64_t lines = state.range(0);
    const Configuration configuration = load(TemporaryFile(configurationText(lines)));
    std::minstd_rand random; // NOLINT(cert-msc32-c,cert-msc51-cpp): the same names each time
    std::uniform_int_distribution<std::int64_t> number(0, lines - 1);
    std::vector<std::string> names(1 << 14);
    std::ranges::generate(names, [&] { return variableName(number(random)) + ending; });
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(conf_get_r(names[next].c_str(), configuration.get()));
        next = (next + 1) % names.size();
    }
    state.SetComplexityN(lines);
}

void ofLines(benchmark::internal::Benchmark* lookUps) {
    lookUps->RangeMultiplier(4)->Range(10, 10000)->Complexity(benchmark::oLogN);
}

BENCHMARK_CAPTURE(lookUp, found, "")->Name("configuration/find")->Apply(ofLines);
BENCHMARK_CAPTURE(lookUp, missing, "_MISSING")->Name("configuration/miss")->Apply(ofLines);

/// One line whose value has n bytes, every other one a blank.
void loadLongLine(benchmark::State& state) {
    std::string value(static_cast<std::size_t>(state.range(0)), 'v');
    for (std::size_t i = 1; i < value.size(); i += 2) {
        value[i] = ' ';
    }
    const TemporaryFile file("NAME " + value + "v\n");
    for (auto _ : state) {
        benchmark::DoNotOptimize(load(file));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(loadLongLine)
    ->Name("configuration/line_of_bytes")
    ->RangeMultiplier(8)
    ->Range(1 << 10, 1 << 22)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

} // namespace
