// SPDX-License-Identifier: MIT

#pragma once

#include "report/message.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace keldo {

/// How bad a problem is. Other values are allowed; the report shows none for them.
enum class Severity : std::int32_t { minor = 0, major = 1, critical = 2 };

/// An action that solves a problem.
struct Solution {
    std::string id;       ///< such as "restart-service:web"; empty where there is no such action
    Message message;      ///< what the action does
    std::string commands; ///< shell command lines, separated by newlines; not in the report
};

/// A diagnosed problem. The default solution is a position, so that a copy's default is its own.
struct Problem {
    Problem() = default;
    /// Without solutions there is no default, whatever is given.
    Problem(std::string problemId, Message description, Severity howBad,
            std::vector<Solution> proposed = {},
            std::optional<std::size_t> defaultPosition = std::nullopt);

    /// Makes the first solution with `solution`'s id the default, appending `solution` where there
    /// is none. Ids alone are compared: a solution that is there already stays as it is.
    void addDefaultSolution(const Solution& solution);

    std::string id;  ///< such as "service-down:web"; the report skips a problem without
    Message message; ///< the report leaves an empty text out
    Severity severity = Severity::minor;
    std::vector<Solution> solutions;            ///< in the order in which they were added
    std::optional<std::size_t> defaultSolution; ///< position in solutions
};

/// The outcome of an action that was carried out.
struct ActionResult {
    int status = 0;  ///< exit code; 0 is success, -1 that the commands could not be run
    std::string log; ///< the output, or why the commands could not be run
};

/// Each is keyed by id and iterated in ascending byte order of it.
using ProblemSet = std::map<std::string, Problem>;
using ActionSet = std::map<std::string, Solution>;
using ActionResults = std::map<std::string, ActionResult>;

/// The result of a run: the problems found, the actions that solve them or were carried out, and
/// the outcome of those that were. Nothing is ever removed.
class ProblemModel {
public:
    /// Files the problem under its id, replacing one that is there as a whole, and registers each
    /// of its solutions.
    void addProblem(const Problem& problem);

    /// Puts a copy of the solution into the action set unless its id is there: the first
    /// description of an action stays.
    void registerAction(const Solution& solution);

    /// Puts the solution into the action set in any case: the description of an action that was
    /// carried out is the repair's own.
    void storeAction(const Solution& solution);

    /// Files the result, replacing an earlier one of that action.
    void setActionResult(const std::string& actionId, ActionResult result);

    /// Returns the problem with exactly that id, owned by the model, or null.
    const Problem* findProblem(const std::string& id) const;

    const ProblemSet& problems() const { return problems_; }
    const ActionSet& actions() const { return actions_; }
    const ActionResults& actionResults() const { return actionResults_; }

private:
    ProblemSet problems_;
    ActionSet actions_;
    ActionResults actionResults_;
};

/// The run's own model. Empty at start; filled by the checks and the repair (diag), printed by
/// printReport; lives until exit.
extern ProblemModel problemModel;

} // namespace keldo
