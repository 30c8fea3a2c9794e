// SPDX-License-Identifier: MIT

#include "diag/upgrade_check.h"

#include "report/problem_model.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "support/print_message.h"

#include <gtest/gtest.h>

namespace keldo {
namespace {

constexpr const char* english = "Upgrade is in progress. Please wait.";

class UpgradeCheck : public testing::Test {
protected:
    test::FakePanel panel;
};

TEST_F(UpgradeCheck, RecordsAMinorProblemForStatusOne) {
    panel.installUpgradeCheck("exit 1");
    checkUpgrade();
    ASSERT_EQ(1U, problemModel.problems().size());
    const Problem& problem = problemModel.problems().at("upgrade");
    EXPECT_EQ("upgrade", problem.id);
    EXPECT_EQ(Message(english, "en-US"), problem.message);
    EXPECT_EQ(Severity::minor, problem.severity);
    EXPECT_TRUE(problem.solutions.empty());
    EXPECT_EQ(std::nullopt, problem.defaultSolution);
    EXPECT_TRUE(problemModel.actions().empty());
    EXPECT_FALSE(noUpgradeInProgress());
}

TEST_F(UpgradeCheck, RecordsNothingForAnyOtherStatusOrAMissingTool) {
    checkUpgrade(); // no tool is installed
    EXPECT_TRUE(noUpgradeInProgress());
    for (const char* script : {"exit 0", "exit 2", "exit 127", "exit 255", "echo 1; exit 0",
                               "echo upgrading >&2; exit 3", "kill -KILL $$"}) {
        SCOPED_TRACE(script);
        panel.installUpgradeCheck(script);
        checkUpgrade();
        EXPECT_TRUE(problemModel.problems().empty());
        EXPECT_TRUE(noUpgradeInProgress());
    }
}

TEST_F(UpgradeCheck, RunsTheToolWithoutArgumentsAndDiscardsItsOutput) {
    panel.installUpgradeCheck("echo \"$#:$0\" > $PANEL/words; echo out; echo err >&2");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    checkUpgrade();
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ("0:" + panel.root().string() + "/admin/sbin/noupgradecheck\n",
              panel.content("words"));
}

TEST_F(UpgradeCheck, UsesTheLanguageOfTheReportIfTheMessageIsTranslated) {
    panel.installUpgradeCheck("exit 1");
    const test::GermanRun german(test::Translations{{english, "Eine Aktualisierung läuft."}});
    checkUpgrade();
    EXPECT_EQ(Message("Eine Aktualisierung läuft.", "de-DE"),
              problemModel.problems().at("upgrade").message);
}

TEST_F(UpgradeCheck, NoUpgradeInProgressReadsTheModelAndNotTheTool) {
    panel.installUpgradeCheck("exit 1");
    EXPECT_TRUE(noUpgradeInProgress());
    problemModel.addProblem({"Upgrade", {}, Severity::minor});
    EXPECT_TRUE(noUpgradeInProgress());
    problemModel.addProblem({"upgrade", {}, Severity::minor});
    EXPECT_FALSE(noUpgradeInProgress());
}

} // namespace
} // namespace keldo
