// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace keldo {

/// The default language of the report, and the language of texts without a translation.
inline constexpr const char* englishLanguage = "en-US";

/// The language code of the report, such as "de-DE". Initially "en-US"; only a successful
/// setLanguage() (app/localization.h) changes it.
extern std::string currentLanguage;

/// One text in one language.
struct Message {
    Message() : Message("", "") {}
    /// An empty language code becomes "en-US".
    Message(std::string messageText, std::string languageCode);

    bool operator==(const Message&) const = default;

    std::string text; ///< UTF-8
    std::string lang; ///< such as "de-DE"; never empty
};

/// How bad a problem is. Other values are allowed; the report shows no severity for them.
enum class Severity : std::int32_t { minor = 0, major = 1, critical = 2 };

/// An action that solves a problem.
struct Solution {
    std::string id;       ///< such as "restart-service:web"; empty if there is no such action
    Message message;      ///< what the action does
    std::string commands; ///< shell command lines, separated by newlines; not in the report
};

/// A diagnosed problem. The default solution is a position, so that a copy refers to its own list.
struct Problem {
    Problem() = default;
    /// `defaultPosition` is ignored if `proposed` is empty.
    Problem(std::string problemId, Message description, Severity howBad,
            std::vector<Solution> proposed = {},
            std::optional<std::size_t> defaultPosition = std::nullopt);

    /// Makes the first solution with `solution`'s id the default and leaves its description as it
    /// is. Appends `solution` if no solution has that id.
    void addDefaultSolution(const Solution& solution);

    std::string id;  ///< such as "service-down:web"; the report skips a problem with an empty id
    Message message; ///< the report omits an empty text
    Severity severity = Severity::minor;
    std::vector<Solution> solutions;            ///< in the order in which they were added
    std::optional<std::size_t> defaultSolution; ///< position in solutions
};

/// The outcome of an action that was carried out.
struct ActionResult {
    int status = 0;  ///< exit status; 0 is success, -1 if the commands could not be run
    std::string log; ///< the output, or why the commands could not be run
};

/// Keyed by id; iterated in ascending byte order of the ids.
using ProblemSet = std::map<std::string, Problem>;
using ActionSet = std::map<std::string, Solution>;
using ActionResults = std::map<std::string, ActionResult>;

/// The result of a run: the problems found, the actions that solve them or were carried out, and
/// the results of the actions that were carried out. Nothing is ever removed.
class ProblemModel {
public:
    /// Stores the problem under its id, replacing an earlier one with that id, and registers its
    /// solutions.
    void addProblem(const Problem& problem);

    /// Copies the solution into the action set unless its id is there already.
    void registerAction(const Solution& solution);

    /// Copies the solution into the action set, replacing an earlier one with that id. The repair
    /// uses this, so that the report describes an action as the repair carried it out.
    void storeAction(const Solution& solution);

    /// Stores the result of an action, replacing an earlier one.
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

/// The model that the checks and the repair (diag) fill and printReport() prints. Initially empty.
extern ProblemModel problemModel;

} // namespace keldo
