// SPDX-License-Identifier: MIT

// Texts of n bytes made fit for a report and for a statement: of bytes that need nothing, and of
// such that all do.

#include "db/cpp_mysql.h"
#include "report/problem_model.h"
#include "report/report_writer.h"
#include "xml/characters.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <libxml/xmlerror.h>
#include <string>

extern "C" MYSQL* __wrap__Z20kvrDbConnectOrReportv();

// Escaping takes from a connection only its character set, which the library gives it before a
// server is asked.
extern "C" MYSQL* __wrap__Z20kvrDbConnectOrReportv() {
    return mysql_init(nullptr);
}

namespace {

/// libxml2 tells of references that are none, on standard error. A run of keldoctl has silenced it.
void ignoreMessage(void* /*context*/, const char* /*format*/, ...) {}

using keldo::ProblemModel;
using keldo::mysql::Connection;

/// A text repeated until there are n bytes of it or a few more.
std::string filled(const benchmark::State& state, const std::string& text) {
    std::string result;
    while (result.size() < static_cast<std::size_t>(state.range(0))) {
        result += text;
    }
    return result;
}

void ofBytes(benchmark::internal::Benchmark* texts) {
    texts->RangeMultiplier(8)->Range(64, 1 << 21)->Unit(benchmark::kMicrosecond);
    texts->Complexity(benchmark::oN);
}

void replaceInvalidXml(benchmark::State& state, const std::string& piece) {
    const std::string text = filled(state, piece);
    for (auto _ : state) {
        benchmark::DoNotOptimize(keldo::replaceInvalidXml(text));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(replaceInvalidXml, ascii, "web: started\n")
    ->Name("escaping/carriable_ascii")
    ->Apply(ofBytes);
BENCHMARK_CAPTURE(replaceInvalidXml, german, "web: läuft für Käufer\n")
    ->Name("escaping/carriable_utf8")
    ->Apply(ofBytes);
BENCHMARK_CAPTURE(replaceInvalidXml, bytes, "\x1B\xFF\xE2\x82")
    ->Name("escaping/uncarriable")
    ->Apply(ofBytes);

/// A log in a report.
void reportLog(benchmark::State& state, const std::string& piece) {
    ProblemModel model;
    model.storeAction({"a", {}, ""});
    model.setActionResult("a", {0, filled(state, piece)});
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
    for (auto _ : state) {
        benchmark::DoNotOptimize(reportDocument(model));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(reportLog, plain, "web: started\n")->Name("escaping/log_plain")->Apply(ofBytes);
BENCHMARK_CAPTURE(reportLog, markup, "<>\r")->Name("escaping/log_markup")->Apply(ofBytes);
BENCHMARK_CAPTURE(reportLog, entities, "&amp;")->Name("escaping/log_entities")->Apply(ofBytes);
BENCHMARK_CAPTURE(reportLog, characters, "&#228;")
    ->Name("escaping/log_character_references")
    ->Apply(ofBytes);
BENCHMARK_CAPTURE(reportLog, unknown, "&e;")->Name("escaping/log_unknown_entities")->Apply(ofBytes);
BENCHMARK_CAPTURE(reportLog, ampersands, "&")->Name("escaping/log_ampersands")->Apply(ofBytes);

/// An id in a report, which is an attribute. An id comes from an argument or a column of the
/// database, neither of which takes 128 KiB. Of those much longer libxml2 would make work that
/// grows with the square: it converts an attribute in pieces of 64 KiB, and moves the rest at each.
void reportId(benchmark::State& state) {
    ProblemModel model;
    model.storeAction({filled(state, "<&\">\n"), {}, ""});
    for (auto _ : state) {
        benchmark::DoNotOptimize(reportDocument(model));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(reportId)
    ->Name("escaping/id_markup")
    ->RangeMultiplier(8)
    ->Range(64, 1 << 17)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity(benchmark::oN);

void escapeName(benchmark::State& state) {
    const std::string text = filled(state, "`");
    for (auto _ : state) {
        benchmark::DoNotOptimize(Connection::escape_name(text.data(), text.size()));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(escapeName)->Name("escaping/sql_name")->Apply(ofBytes);

void escapeValue(benchmark::State& state) {
    Connection connection(true);
    const std::string text = filled(state, "'");
    for (auto _ : state) {
        benchmark::DoNotOptimize(connection.escape(text.data(), text.size()));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(escapeValue)->Name("escaping/sql_value")->Apply(ofBytes);

} // namespace
