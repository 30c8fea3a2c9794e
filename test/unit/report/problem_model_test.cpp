// SPDX-License-Identifier: MIT

#include "report/problem_model.h"

#include "support/print_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>

namespace keldo {
namespace {

using testing::ElementsAre;

Message english(const std::string& text) {
    return {text, "en-US"};
}

Solution restart(const std::string& service, const std::string& description = "Restart it.") {
    return {"restart-service:" + service, english(description), "stop\nstart"};
}

/// All fields of a solution, to be compared at once.
std::vector<std::string> fields(const Solution& solution) {
    return {solution.id, solution.message.text, solution.message.lang, solution.commands};
}

template <typename Map> std::vector<std::string> keys(const Map& map) {
    std::vector<std::string> result;
    for (const auto& [key, value] : map) {
        result.push_back(key);
    }
    return result;
}

TEST(CurrentLanguage, IsEnglishAtStart) {
    EXPECT_EQ("en-US", currentLanguage);
}

TEST(Message, IsEnglishWithoutALanguage) {
    EXPECT_EQ("de-DE", Message("Webserver", "de-DE").lang);
    EXPECT_EQ(english("Web Server"), Message("Web Server", ""));
    EXPECT_EQ(english(""), Message());
}

TEST(Severity, HasThreeNamedValues) {
    EXPECT_EQ(0, static_cast<int>(Severity::minor));
    EXPECT_EQ(1, static_cast<int>(Severity::major));
    EXPECT_EQ(2, static_cast<int>(Severity::critical));
    EXPECT_EQ(4U, sizeof(Severity));
}

TEST(Problem, StoresTheConstructorsArguments) {
    const Problem problem("service-down:web", english("It is off."), Severity::critical,
                          {restart("web"), restart("dns")}, 1);
    EXPECT_EQ("service-down:web", problem.id);
    EXPECT_EQ(english("It is off."), problem.message);
    EXPECT_EQ(Severity::critical, problem.severity);
    ASSERT_EQ(2U, problem.solutions.size());
    EXPECT_EQ(fields(restart("web")), fields(problem.solutions[0]));
    EXPECT_EQ(fields(restart("dns")), fields(problem.solutions[1]));
    EXPECT_EQ(1U, problem.defaultSolution);
}

TEST(Problem, HasNoDefaultWithoutAPositionOrWithoutSolutions) {
    EXPECT_EQ(std::nullopt,
              Problem("x", english(""), Severity::major, {restart("web")}).defaultSolution);
    EXPECT_EQ(std::nullopt, Problem("x", english(""), Severity::major, {}, 0).defaultSolution);
}

TEST(Problem, CopiesTheDefaultAsAPosition) {
    Problem original("x", english(""), Severity::major, {restart("web"), restart("dns")}, 1);
    Problem copy = original;
    Problem assigned;
    assigned = original;
    original.solutions[1].id = "changed";
    for (const Problem& other : {copy, assigned}) {
        ASSERT_EQ(1U, other.defaultSolution);
        EXPECT_EQ("restart-service:dns", other.solutions[*other.defaultSolution].id);
    }
}

TEST(AddDefaultSolution, AppendsASolutionWithANewId) {
    for (const char* id : {"restart-service:dns", "Restart-service:web", ""}) {
        SCOPED_TRACE(id);
        Problem problem("x", english(""), Severity::major, {restart("web")});
        const Solution added = {id, restart("web").message, "stop\nstart"};
        problem.addDefaultSolution(added);
        ASSERT_EQ(2U, problem.solutions.size());
        EXPECT_EQ(fields(added), fields(problem.solutions[1]));
        EXPECT_EQ(1U, problem.defaultSolution);
    }
}

TEST(AddDefaultSolution, KeepsTheFirstSolutionWithTheId) {
    const Solution b = restart("b", "First.");
    Problem problem("x", english(""), Severity::major, {restart("a"), b, restart("b")}, 0);
    problem.addDefaultSolution(restart("b", "Second."));
    ASSERT_EQ(3U, problem.solutions.size());
    EXPECT_EQ(fields(b), fields(problem.solutions[1]));
    EXPECT_EQ(1U, problem.defaultSolution);
}

TEST(ProblemModel, IsEmptyAtStart) {
    for (const ProblemModel& model : {ProblemModel(), problemModel}) {
        EXPECT_TRUE(model.problems().empty());
        EXPECT_TRUE(model.actions().empty());
        EXPECT_TRUE(model.actionResults().empty());
    }
}

TEST(AddProblem, ReplacesAProblemButKeepsItsActions) {
    ProblemModel model;
    model.addProblem({"x", english("First."), Severity::minor, {restart("web")}, 0});
    model.addProblem({"x", english("Second."), Severity::critical, {restart("dns")}});
    ASSERT_THAT(keys(model.problems()), ElementsAre("x"));
    const Problem& problem = model.problems().at("x");
    EXPECT_EQ(english("Second."), problem.message);
    EXPECT_EQ(Severity::critical, problem.severity);
    ASSERT_EQ(1U, problem.solutions.size());
    EXPECT_EQ(fields(restart("dns")), fields(problem.solutions[0]));
    EXPECT_EQ(std::nullopt, problem.defaultSolution);
    EXPECT_THAT(keys(model.actions()), ElementsAre("restart-service:dns", "restart-service:web"));
}

TEST(AddProblem, RegistersEachSolutionUnlessItsIdIsKnown) {
    ProblemModel model;
    model.addProblem(
        {"a", english(""), Severity::major, {restart("web", "First."), restart("dns")}});
    model.addProblem({"b", english(""), Severity::major, {restart("web", "Second.")}});
    EXPECT_THAT(keys(model.actions()), ElementsAre("restart-service:dns", "restart-service:web"));
    EXPECT_EQ(fields(restart("web", "First.")), fields(model.actions().at("restart-service:web")));
}

TEST(ProblemModel, IteratesInByteOrderOfTheIds) {
    ProblemModel model;
    for (const char* id :
         {"upgrade", "service-down:named", "Z", "service-down:apache", "\xc3\xa4"}) {
        model.addProblem({id, english(""), Severity::minor, {{id, english(""), ""}}});
        model.setActionResult(id, {0, ""});
    }
    const auto inOrder =
        ElementsAre("Z", "service-down:apache", "service-down:named", "upgrade", "\xc3\xa4");
    EXPECT_THAT(keys(model.problems()), inOrder);
    EXPECT_THAT(keys(model.actions()), inOrder);
    EXPECT_THAT(keys(model.actionResults()), inOrder);
}

TEST(RegisterAction, CopiesANewActionAndKeepsAKnownOne) {
    ProblemModel model;
    Solution solution = {"a", {"Neu starten.", "de-DE"}, "one\ntwo"};
    model.registerAction(solution);
    solution = {"a", english("Other."), "three"};
    model.registerAction(solution);
    EXPECT_THAT(fields(model.actions().at("a")),
                ElementsAre("a", "Neu starten.", "de-DE", "one\ntwo"));
}

TEST(StoreAction, ReplacesAllFieldsOfAKnownAction) {
    ProblemModel model;
    model.registerAction({"a", english("Registered."), "one"});
    model.storeAction({"a", english("First."), "two"});
    model.storeAction({"a", {"Zweite.", "de-DE"}, "three"});
    model.registerAction({"a", english("Registered again."), "four"});
    ASSERT_THAT(keys(model.actions()), ElementsAre("a"));
    EXPECT_THAT(fields(model.actions().at("a")), ElementsAre("a", "Zweite.", "de-DE", "three"));
}

TEST(SetActionResult, ReplacesTheEarlierResult) {
    ProblemModel model;
    model.setActionResult("a", {-1, "first"});
    model.setActionResult("a", {0, "second"});
    ASSERT_THAT(keys(model.actionResults()), ElementsAre("a"));
    EXPECT_EQ(0, model.actionResults().at("a").status);
    EXPECT_EQ("second", model.actionResults().at("a").log);
}

TEST(SetActionResult, MovesTheLog) {
    ActionResult result = {0, std::string(1000, 'l')};
    const char* const bytes = result.log.data();
    ProblemModel model;
    model.setActionResult("a", std::move(result));
    EXPECT_EQ(bytes, model.actionResults().at("a").log.data());
}

TEST(ActionResult, IsASuccessByDefault) {
    EXPECT_EQ(0, ActionResult().status);
}

TEST(FindProblem, ComparesWholeIds) {
    ProblemModel model;
    model.addProblem({"upgrade", english(""), Severity::minor});
    EXPECT_EQ(&model.problems().at("upgrade"), model.findProblem("upgrade"));
    for (const char* id : {"Upgrade", "upgrad", "upgrade ", ""}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(nullptr, model.findProblem(id));
    }
}

} // namespace
} // namespace keldo
