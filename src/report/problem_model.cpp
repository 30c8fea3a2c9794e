// SPDX-License-Identifier: MIT

#include "report/problem_model.h"

#include <algorithm>
#include <utility>

namespace keldo {

// The process-wide state of this folder; both live until exit.
std::string currentLanguage = englishLanguage;
ProblemModel problemModel;

Message::Message(std::string messageText, std::string languageCode)
    : text(std::move(messageText)), lang(std::move(languageCode)) {
    if (lang.empty()) {
        lang = englishLanguage;
    }
}

Problem::Problem(std::string problemId, Message description, Severity howBad,
                 std::vector<Solution> proposed, std::optional<std::size_t> defaultPosition)
    : id(std::move(problemId)), message(std::move(description)), severity(howBad),
      solutions(std::move(proposed)) {
    if (!solutions.empty()) {
        defaultSolution = defaultPosition;
    }
}

void Problem::addDefaultSolution(const Solution& solution) {
    auto found = std::ranges::find(solutions, solution.id, &Solution::id);
    if (found == solutions.end()) {
        found = solutions.insert(found, solution);
    }
    defaultSolution = static_cast<std::size_t>(found - solutions.begin());
}

void ProblemModel::addProblem(const Problem& problem) {
    problems_.insert_or_assign(problem.id, problem);
    for (const Solution& solution : problem.solutions) {
        registerAction(solution);
    }
}

void ProblemModel::registerAction(const Solution& solution) {
    actions_.try_emplace(solution.id, solution);
}

void ProblemModel::storeAction(const Solution& solution) {
    actions_.insert_or_assign(solution.id, solution);
}

void ProblemModel::setActionResult(const std::string& actionId, ActionResult result) {
    actionResults_.insert_or_assign(actionId, std::move(result));
}

const Problem* ProblemModel::findProblem(const std::string& id) const {
    const auto found = problems_.find(id);
    return found != problems_.end() ? &found->second : nullptr;
}

} // namespace keldo
