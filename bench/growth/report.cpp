// SPDX-License-Identifier: MIT

// Makes the document of n problems, of n actions and of one problem with n solutions, and the model
// of n problems.

#include "report/problem_model.h"
#include "report/report_writer.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

namespace {

using keldo::Problem;
using keldo::ProblemModel;
using keldo::Severity;
using keldo::Solution;

Solution restart(std::int64_t number) {
    return {"restart-service:service" + std::to_string(number),
            {"Restart the Web Server service.", "en-US"},
            "service-control stop web\nservice-control start web"};
}

Problem serviceDown(std::int64_t number) {
    return {"service-down:service" + std::to_string(number),
            {"The Web Server service is switched off.", "en-US"},
            Severity::major,
            {restart(number)},
            0};
}

ProblemModel modelOfProblems(std::int64_t count) {
    ProblemModel model;
    for (std::int64_t i = 0; i < count; ++i) {
        model.addProblem(serviceDown(i));
    }
    return model;
}

void ofMany(benchmark::internal::Benchmark* reports) {
    reports->RangeMultiplier(4)->Range(1, 100000)->Unit(benchmark::kMicrosecond);
    reports->Complexity(benchmark::oN);
}

void makeDocument(benchmark::State& state, const ProblemModel& model) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(reportDocument(model));
    }
    state.SetComplexityN(state.range(0));
}

void reportProblems(benchmark::State& state) {
    makeDocument(state, modelOfProblems(state.range(0)));
}
BENCHMARK(reportProblems)->Name("report/problems")->Apply(ofMany);

void reportActions(benchmark::State& state) {
    ProblemModel model;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const Solution action = restart(i);
        model.storeAction(action);
        model.setActionResult(action.id, {0, "stopped\nstarted\n"});
    }
    makeDocument(state, model);
}
BENCHMARK(reportActions)->Name("report/actions")->Apply(ofMany);

void reportSolutions(benchmark::State& state) {
    Problem problem = serviceDown(0);
    for (std::int64_t i = 1; i < state.range(0); ++i) {
        problem.solutions.push_back(restart(i));
    }
    ProblemModel model;
    model.addProblem(problem);
    makeDocument(state, model);
}
BENCHMARK(reportSolutions)->Name("report/solutions")->Apply(ofMany);

/// The model keeps its ids sorted, so it finds the place of a new one by binary search.
void collectProblems(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(modelOfProblems(state.range(0)));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(collectProblems)
    ->Name("report/collect_problems")
    ->Apply(ofMany)
    ->Complexity(benchmark::oNLogN);

} // namespace
