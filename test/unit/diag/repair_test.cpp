// SPDX-License-Identifier: MIT

#include "diag/repair.h"

#include "exec/process_state.h"
#include "support/catalogue.h"
#include "support/fake_panel.h"
#include "support/print_message.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <unistd.h>

namespace {

bool pipeFails = false;

} // namespace

extern "C" {
int __real_pipe(int* ends);
int __wrap_pipe(int* ends);
}

int __wrap_pipe(int* ends) {
    if (pipeFails) {
        errno = EMFILE;
        return -1;
    }
    return __real_pipe(ends);
}

namespace keldo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Everything that a solution holds, in one value that can be compared.
std::vector<std::string> fields(const Solution& solution) {
    return {solution.id, solution.message.text, solution.message.lang, solution.commands};
}

const std::vector<std::string> unknown = {"", "undefined", "en-US", ""};

class Repair : public testing::Test {
protected:
    ~Repair() override {
        pipeFails = false;
        programName.clear();
    }

    void define(const std::string& id, const std::string& stop, const std::string& start) const {
        panel.define(id, test::definitionXml(id, "<title xml:lang='en-US'>The " + id +
                                                     "</title>"
                                                     "<title xml:lang='de-DE'>Das " +
                                                     id +
                                                     "</title>"
                                                     "<action type='start'>" +
                                                     start +
                                                     "</action>"
                                                     "<action type='stop'>" +
                                                     stop + "</action>"));
    }

    static ActionResult resultOf(const std::string& id) {
        return problemModel.actionResults().at(id);
    }

    test::FakePanel panel;
};

class SolutionForAction : public Repair {};

TEST_F(SolutionForAction, IsTheRestartOfAKnownService) {
    define("smtp", "stop it", "start it");
    EXPECT_THAT(fields(solutionForAction("restart-service:smtp")),
                ElementsAre("restart-service:smtp", "Restart the The smtp service.", "en-US",
                            "stop it\nstart it"));
}

TEST_F(SolutionForAction, HasTheLanguageOfItsMessage) {
    define("smtp", "x", "y");
    currentLanguage = "de-DE";
    EXPECT_THAT(
        fields(solutionForAction("restart-service:smtp")),
        ElementsAre("restart-service:smtp", "Restart the Das smtp service.", "en-US", "x\ny"));
}

TEST_F(SolutionForAction, IsTranslatedBeforeTheTitleIsSubstituted) {
    define("smtp", "x", "y");
    const test::GermanRun german(test::Translations{
        {"Restart the <service_title> service.", "Den Dienst »<service_title>« neu starten."}});
    EXPECT_THAT(
        fields(solutionForAction("restart-service:smtp")),
        ElementsAre("restart-service:smtp", "Den Dienst »Das smtp« neu starten.", "de-DE", "x\ny"));
}

TEST_F(SolutionForAction, HasTheRequestedIdEvenIfTheDefinitionHasAnother) {
    panel.define("web", test::definitionXml("apache", "<action type='stop'>x</action>"));
    EXPECT_THAT(fields(solutionForAction("restart-service:web")),
                ElementsAre("restart-service:web", "Restart the  service.", "en-US", "x\n"));
}

TEST_F(SolutionForAction, JoinsTheActionsEvenIfOneIsEmpty) {
    define("a", "", "start");
    define("b", "stop", "");
    define("c", "", "");
    EXPECT_EQ("\nstart", solutionForAction("restart-service:a").commands);
    EXPECT_EQ("stop\n", solutionForAction("restart-service:b").commands);
    EXPECT_EQ("\n", solutionForAction("restart-service:c").commands);
}

TEST_F(SolutionForAction, IsUndefinedForAnyOtherId) {
    define("smtp", "x", "y");
    for (const char* id : {"", "smtp", "restart-service", "restart-service:", "restart-service:web",
                           "Restart-Service:smtp", "service-down:smtp", " restart-service:smtp",
                           "restart-service smtp", "restart-service:Smtp"}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(unknown, fields(solutionForAction(id)));
    }
}

TEST_F(SolutionForAction, IsUndefinedForADefinitionWithoutAnId) {
    panel.define("web", test::definitionXml("", "<action type='start'>x</action>"));
    EXPECT_EQ(unknown, fields(solutionForAction("restart-service:web")));
}

TEST_F(SolutionForAction, LooksUpTheEmptyServiceIdLikeAnyOther) {
    panel.define("", test::definitionXml("nameless", "<action type='start'>x</action>"));
    EXPECT_EQ("restart-service:", solutionForAction("restart-service:").id);
}

TEST_F(SolutionForAction, HasAnIdMadeOfThePrefixAndTheServiceId) {
    EXPECT_EQ("restart-service:web", restartActionId("web"));
    EXPECT_EQ("restart-service:", restartActionId(""));
}

class RepairActions : public Repair {
protected:
    RepairActions() {
        defineLogged("smtp");
        defineLogged("web");
    }

    /// A service whose actions add a line to the file "log" of the panel.
    void defineLogged(const std::string& id) const {
        const std::string append = "; echo " + id + " &gt;&gt; " + panel.root().string() + "/log";
        define(id, "echo stopping" + append, "echo starting" + append);
    }

    std::string log() const { return panel.content("log"); }

    static std::vector<std::string> actionIds() {
        std::vector<std::string> ids;
        for (const auto& [id, action] : problemModel.actions()) {
            ids.push_back(id);
        }
        return ids;
    }
};

TEST_F(RepairActions, StopsAndStartsAServiceAndRecordsActionAndResult) {
    define("smtp", "echo stopping", "echo starting; exit 3");
    repairActions({"restart-service:smtp"});
    EXPECT_THAT(actionIds(), ElementsAre("restart-service:smtp"));
    EXPECT_THAT(fields(problemModel.actions().at("restart-service:smtp")),
                ElementsAre("restart-service:smtp", "Restart the The smtp service.", "en-US",
                            "echo stopping\necho starting; exit 3"));
    EXPECT_EQ(1U, problemModel.actionResults().size());
    EXPECT_EQ(3, resultOf("restart-service:smtp").status);
    EXPECT_EQ("stopping\nstarting\n", resultOf("restart-service:smtp").log);
    EXPECT_TRUE(problemModel.problems().empty());
}

TEST_F(RepairActions, RecordsTheStatusOfTheLastCommand) {
    define("smtp", "false", "true");
    define("web", "true", "false");
    repairActions({"restart-service:smtp", "restart-service:web"});
    EXPECT_EQ(0, resultOf("restart-service:smtp").status);
    EXPECT_EQ(1, resultOf("restart-service:web").status);
}

TEST_F(RepairActions, CapturesStandardErrorToo) {
    define("smtp", "echo one &gt;&amp;2", "echo two");
    repairActions({"restart-service:smtp"});
    EXPECT_EQ("one\ntwo\n", resultOf("restart-service:smtp").log);
}

TEST_F(RepairActions, KeepsTheGivenOrder) {
    repairActions({"restart-service:web", "restart-service:smtp"});
    EXPECT_EQ("web\nweb\nsmtp\nsmtp\n", log());
}

TEST_F(RepairActions, RunsARepeatedIdAgainAndKeepsTheSecondResult) {
    define("smtp", "echo run &gt;&gt; " + panel.root().string() + "/log",
           "grep -c run " + panel.root().string() + "/log; exit $(grep -c run " +
               panel.root().string() + "/log)");
    repairActions({"restart-service:smtp", "restart-service:smtp"});
    EXPECT_EQ("run\nrun\n", log());
    EXPECT_EQ(2, resultOf("restart-service:smtp").status);
    EXPECT_EQ("2\n", resultOf("restart-service:smtp").log);
}

TEST_F(RepairActions, SkipsIdsThatNameNoAction) {
    repairActions({"", "restart-service:", "restart-service:unknown", "service-down:smtp",
                   "Restart-Service:smtp", "smtp", "--language=de-DE"});
    EXPECT_EQ("", log());
    EXPECT_THAT(actionIds(), IsEmpty());
    EXPECT_THAT(problemModel.actionResults(), IsEmpty());
}

TEST_F(RepairActions, GoesOnAfterIdsThatNameNoAction) {
    repairActions({"unknown", "restart-service:web"});
    EXPECT_EQ("web\nweb\n", log());
}

TEST_F(RepairActions, DoesNothingWithoutIds) {
    repairActions({});
    EXPECT_THAT(actionIds(), IsEmpty());
}

TEST_F(RepairActions, RunsTheStartActionIfThereIsNoStopAction) {
    define("smtp", "", "echo starting");
    repairActions({"restart-service:smtp"});
    EXPECT_EQ("starting\n", resultOf("restart-service:smtp").log);
    EXPECT_EQ(0, resultOf("restart-service:smtp").status);
}

TEST_F(RepairActions, SucceedsForAServiceWithoutActions) {
    define("smtp", "", "");
    repairActions({"restart-service:smtp"});
    EXPECT_EQ(0, resultOf("restart-service:smtp").status);
    EXPECT_EQ("", resultOf("restart-service:smtp").log);
}

TEST_F(RepairActions, ReplacesAnEarlierDescriptionOfTheAction) {
    problemModel.storeAction({"restart-service:web", {"Old.", "de-DE"}, "old"});
    problemModel.setActionResult("restart-service:web", {7, "old"});
    define("web", "true", "true");
    repairActions({"restart-service:web"});
    EXPECT_THAT(
        fields(problemModel.actions().at("restart-service:web")),
        ElementsAre("restart-service:web", "Restart the The web service.", "en-US", "true\ntrue"));
    EXPECT_EQ(0, resultOf("restart-service:web").status);
    EXPECT_EQ("", resultOf("restart-service:web").log);
}

TEST_F(RepairActions, RecordsAFailureOfTheCommandRunnerAsTheResult) {
    programName = "keldoctl";
    pipeFails = true;
    repairActions({"restart-service:smtp"});
    EXPECT_EQ(-1, resultOf("restart-service:smtp").status);
    EXPECT_EQ("keldoctl: failed to create a pair of file descriptors",
              resultOf("restart-service:smtp").log);
    EXPECT_THAT(actionIds(), ElementsAre("restart-service:smtp"));
}

TEST_F(RepairActions, EndsAtTheFirstServiceForWhichTheCatalogueThrows) {
    panel.failOn("broken");
    EXPECT_THROW(
        repairActions({"restart-service:web", "restart-service:broken", "restart-service:smtp"}),
        std::bad_alloc);
    EXPECT_EQ("web\nweb\n", log());
}

} // namespace
} // namespace keldo
