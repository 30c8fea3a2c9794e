// SPDX-License-Identifier: MIT

#include "diag/services_to_check.h"

#include "support/fake_database.h"
#include "support/fake_panel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

namespace keldo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::vector<std::string> coreServices = {"mysql", "keldo", "smtp", "web", "dns", "mail"};

/// The six core services have definitions, and so have "tomcat" and "redis".
class ServicesToCheck : public testing::Test {
protected:
    ServicesToCheck() {
        for (const std::string& id : coreServices) {
            define(id);
        }
        define("tomcat");
        define("redis");
    }

    void define(const std::string& id) const { panel.define(id, test::definitionXml(id, "")); }

    static std::vector<std::string> ids() {
        std::vector<std::string> result;
        for (const ServiceDefinition& service : servicesToCheck()) {
            result.push_back(service.id);
        }
        return result;
    }

    test::FakePanel panel;
    test::FakeDatabase database;
};

TEST_F(ServicesToCheck, AreTheSixCoreOnesInTheirOrderByAnEmptyActionLog) {
    EXPECT_EQ(coreServices, ids());
}

TEST_F(ServicesToCheck, AreCopiesOfTheirDefinitions) {
    panel.define("mysql", test::definitionXml("mysql", "<action type='start'>x</action>"));
    EXPECT_EQ(ServiceDefinition("mysql"), servicesToCheck().front());
}

TEST_F(ServicesToCheck, LackThoseWithoutAReadableDefinition) {
    panel.define("smtp", "no XML");
    panel.define("mail", "<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1'/>");
    test::setActionLog(database, {"unknown", "redis"}, {});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "web", "dns", "redis"));
}

TEST_F(ServicesToCheck, AreReadFromTheActionLogByFourStatementsOnOneConnection) {
    ids();
    EXPECT_THAT(database.statements,
                ElementsAre(Pair(1, test::rememberStart), Pair(1, test::rememberStop),
                            Pair(1, test::lastStarted), Pair(1, test::lastStopped)));
    EXPECT_EQ(1, database.connections);
    EXPECT_THAT(database.open, IsEmpty());
    EXPECT_EQ(0, database.unreleasedResults);
}

TEST_F(ServicesToCheck, EndWithTheStartedOnesInTheOrderOfTheServer) {
    test::setActionLog(database, {"tomcat", "redis"}, {});
    EXPECT_THAT(ids(),
                ElementsAre("mysql", "keldo", "smtp", "web", "dns", "mail", "tomcat", "redis"));
}

TEST_F(ServicesToCheck, LackTheStoppedOnes) {
    test::setActionLog(database, {}, {"dns", "mysql", "redis"});
    EXPECT_THAT(ids(), ElementsAre("keldo", "smtp", "web", "mail"));
}

TEST_F(ServicesToCheck, AreNoneWhenAllAreStopped) {
    test::setActionLog(database, {}, {"mail", "dns", "web", "smtp", "keldo", "mysql", "more"});
    EXPECT_THAT(ids(), IsEmpty());
}

TEST_F(ServicesToCheck, NameACoreServiceTwiceThatWasStarted) {
    test::setActionLog(database, {"web"}, {});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "web", "dns", "mail", "web"));
    EXPECT_EQ(1, panel.readsOf("web"));
}

TEST_F(ServicesToCheck, LackEveryCopyOfAStoppedOne) {
    test::setActionLog(database, {"dns", "dns", "redis", "dns"}, {"dns"});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "web", "mail", "redis"));
}

TEST_F(ServicesToCheck, AreRemovedByTheIdInTheirDefinitionAndInThatCase) {
    panel.define("web", test::definitionXml("apache", ""));
    test::setActionLog(database, {}, {"web", "DNS", "dn", " dns"});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "apache", "dns", "mail"));
    test::setActionLog(database, {}, {"apache"});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "dns", "mail"));
}

TEST_F(ServicesToCheck, AreTheCoreOnesWithoutADatabase) {
    test::setActionLog(database, {"redis"}, {"dns"});
    database.reachable = false;
    EXPECT_EQ(coreServices, ids());
}

TEST_F(ServicesToCheck, StayAsTheyAreWhereAStatementFails) {
    const std::vector<std::string> statements = {test::rememberStart, test::rememberStop,
                                                 test::lastStarted, test::lastStopped};
    for (size_t failing = 0; failing < statements.size(); ++failing) {
        SCOPED_TRACE(statements[failing]);
        database.answers.clear();
        database.statements.clear();
        test::setActionLog(database, {"redis"}, {"dns"});
        database.answers[statements[failing]].fails = true;
        std::vector<std::string> expected = coreServices;
        if (statements[failing] == test::lastStopped) {
            expected.push_back("redis");
        }
        EXPECT_EQ(expected, ids());
        EXPECT_EQ(failing + 1, database.statements.size());
        EXPECT_THAT(database.open, IsEmpty());
        EXPECT_EQ(0, database.unreleasedResults);
    }
}

TEST_F(ServicesToCheck, StayAsTheyAreWhereARowHasNoName) {
    test::setActionLog(database, {"redis"}, {"dns"});
    database.answers[test::lastStopped].field = "Name";
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "web", "dns", "mail", "redis"));
    database.answers[test::lastStarted].field = "old_value";
    EXPECT_EQ(coreServices, ids());
    EXPECT_THAT(database.open, IsEmpty());
    EXPECT_EQ(0, database.unreleasedResults);
}

TEST_F(ServicesToCheck, StayAsTheyAreWhereADefinitionCannotBeRead) {
    test::setActionLog(database, {"redis", "broken", "tomcat"}, {"dns"});
    panel.failOn("broken");
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "web", "dns", "mail", "redis"));
    EXPECT_EQ(3U, database.statements.size());
    EXPECT_THAT(database.open, IsEmpty());
}

TEST_F(ServicesToCheck, PassOnWhatTheCatalogueThrowsForACoreService) {
    panel.failOn("web");
    EXPECT_THROW(servicesToCheck(), std::bad_alloc);
    EXPECT_EQ(0, database.connections);
}

TEST_F(ServicesToCheck, TakeANullNameForTheEmptyId) {
    test::setActionLog(database, {std::nullopt}, {});
    EXPECT_EQ(coreServices, ids());
    EXPECT_EQ(1, panel.readsOf(""));
}

TEST_F(ServicesToCheck, HoldTheServiceOfANullNameThatHasADefinition) {
    panel.define("", test::definitionXml("nameless", ""));
    test::setActionLog(database, {std::nullopt}, {});
    EXPECT_EQ("nameless", ids().back());
}

TEST_F(ServicesToCheck, AreNotRemovedByAStoppedNullName) {
    test::setActionLog(database, {}, {std::nullopt, ""});
    EXPECT_EQ(coreServices, ids());
}

} // namespace
} // namespace keldo
