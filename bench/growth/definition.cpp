// SPDX-License-Identifier: MIT

// A service's definition with n of what it can hold many of, and the monitor's control file made of
// n tests.

#include "monitor/control_file.h"
#include "monitor/service_definition.h"
#include "temporary_file.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

namespace {

using keldo::readServiceDefinition;
using keldo::ServiceDefinition;
using keldo::bench::TemporaryFile;

std::string repeated(const std::string& text, std::int64_t count) {
    std::string result;
    for (std::int64_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string definitionText(const std::string& content) {
    return "<service xmlns=\"http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1\" id=\"web\">\n"
           "<title xml:lang=\"en-US\">Web Server</title>\n" +
           content + "</service>\n";
}

/// Reads a definition that holds `element` n times, between `before` and `after`.
void readDefinition(benchmark::State& state, const char* before, const char* element,
                    const char* after) {
    const TemporaryFile file(definitionText(before + repeated(element, state.range(0)) + after));
    for (auto _ : state) {
        const ServiceDefinition definition = readServiceDefinition(file.path());
        if (definition.id != "web") {
            state.SkipWithError("the definition was not read");
        }
    }
    state.SetComplexityN(state.range(0));
}

void ofMany(benchmark::internal::Benchmark* readings) {
    readings->RangeMultiplier(4)->Range(1, 100000)->Unit(benchmark::kMicrosecond);
    readings->Complexity(benchmark::oN);
}

BENCHMARK_CAPTURE(readDefinition, ports, "<checks>\n",
                  "<port number=\"443\" type=\"TCPSSL\" protocol=\"http\"/>\n", "</checks>\n")
    ->Name("definition/ports")
    ->Apply(ofMany);

BENCHMARK_CAPTURE(readDefinition, sockets, "<checks>\n",
                  "<unix-socket protocol=\"http\">/run/web.sock</unix-socket>\n", "</checks>\n")
    ->Name("definition/sockets")
    ->Apply(ofMany);

// All of them at the first position, the port of the first one without the attributes.
BENCHMARK_CAPTURE(readDefinition, checks, "", "<checks><port/></checks>\n",
                  "<checks><port number=\"443\" type=\"TCPSSL\" protocol=\"http\"/></checks>\n")
    ->Name("definition/checks")
    ->Apply(ofMany);

BENCHMARK_CAPTURE(readDefinition, titles, "", "<title xml:lang=\"de-DE\">Webserver</title>\n", "")
    ->Name("definition/titles")
    ->Apply(ofMany);

void readLongAction(benchmark::State& state) {
    const std::string command(static_cast<std::size_t>(state.range(0)), 'a');
    const TemporaryFile file(definitionText("<action type=\"start\">" + command + "</action>\n"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(readServiceDefinition(file.path()));
    }
    state.SetComplexityN(state.range(0));
}
// libxml2 takes no text longer than 10,000,000 bytes.
BENCHMARK(readLongAction)
    ->Name("definition/action_of_bytes")
    ->RangeMultiplier(8)
    ->Range(1 << 10, 1 << 23)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

void writeTests(benchmark::State& state) {
    ServiceDefinition definition;
    definition.id = "web";
    definition.pidFile = "/run/web.pid";
    definition.ports.resize(static_cast<std::size_t>(state.range(0)),
                            {keldo::PortType::TCPSSL, 443, "http"});
    for (auto _ : state) {
        std::ostringstream stream;
        writeControlFile(definition, stream);
        benchmark::DoNotOptimize(std::move(stream).str());
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(writeTests)->Name("definition/control_file")->Apply(ofMany);

} // namespace
