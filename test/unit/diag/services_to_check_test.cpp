// SPDX-License-Identifier: MIT

#include "diag/services_to_check.h"

#include "support/fake_database.h"
#include "support/fake_panel.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

namespace keldo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Ids = std::vector<std::string>;

const Ids coreServices = {"mysql", "keldo", "smtp", "web", "dns", "mail"};
const Ids fourStatements = {test::rememberStart, test::rememberStop, test::lastStarted,
                            test::lastStopped};

/// The core services and then `more`.
Ids coreServicesAnd(const Ids& more) {
    Ids ids = coreServices;
    ids.insert(ids.end(), more.begin(), more.end());
    return ids;
}

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

    static Ids ids() {
        Ids result;
        for (const ServiceDefinition& service : servicesToCheck()) {
            result.push_back(service.id);
        }
        return result;
    }

    void expectNothingLeftOpen() const {
        EXPECT_EQ(0, database.openHandles);
        EXPECT_EQ(0, database.openResults);
    }

    test::FakePanel panel;
    test::FakeDatabase database;
};

TEST_F(ServicesToCheck, AreCopiesOfTheDefinitions) {
    panel.define("mysql", test::definitionXml("mysql", "<action type='start'>x</action>"));
    EXPECT_EQ(ServiceDefinition("mysql"), servicesToCheck().front());
}

TEST_F(ServicesToCheck, FollowTheActionLog) {
    const struct {
        const char* what;
        std::vector<test::Column> started, stopped;
        Ids ids;
    } cases[] = {
        {"empty log: the core services in their order", {}, {}, coreServices},
        {"started services follow in the order of the server",
         {"tomcat", "redis"},
         {},
         coreServicesAnd({"tomcat", "redis"})},
        {"stopped services are left out",
         {},
         {"dns", "mysql", "redis"},
         {"keldo", "smtp", "web", "mail"}},
        {"all are stopped", {}, {"mail", "dns", "web", "smtp", "keldo", "mysql", "more"}, {}},
        {"a core service that was started is listed twice", {"web"}, {}, coreServicesAnd({"web"})},
        {"every copy of a stopped service is left out",
         {"dns", "dns", "redis", "dns"},
         {"dns"},
         {"mysql", "keldo", "smtp", "web", "mail", "redis"}},
        {"a stopped id is compared whole and with its case",
         {},
         {"DNS", "dn", " dns"},
         coreServices},
        {"a started service without a definition is left out", {"unknown"}, {}, coreServices},
        {"NULL is the empty id, which has no definition", {std::nullopt}, {}, coreServices},
        {"a stopped empty id removes nothing", {}, {std::nullopt, ""}, coreServices},
    };
    for (const auto& [what, started, stopped, expected] : cases) {
        SCOPED_TRACE(what);
        test::setActionLog(database, started, stopped);
        EXPECT_EQ(expected, ids());
    }
    EXPECT_EQ(1, panel.readsOf("web"));
    EXPECT_EQ(1, panel.readsOf(""));
}

TEST_F(ServicesToCheck, LeaveOutServicesWithoutAReadableDefinition) {
    panel.define("smtp", "no XML");
    panel.define("mail", "<service xmlns='http://" KELDO_SCHEMA_HOST "/schemas/keldo/service/1'/>");
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "web", "dns"));
}

TEST_F(ServicesToCheck, LeaveOutAStoppedServiceByTheIdInItsDefinition) {
    panel.define("web", test::definitionXml("apache", ""));
    test::setActionLog(database, {}, {"web"});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "apache", "dns", "mail"));
    test::setActionLog(database, {}, {"apache"});
    EXPECT_THAT(ids(), ElementsAre("mysql", "keldo", "smtp", "dns", "mail"));
}

TEST_F(ServicesToCheck, IncludeTheDefinitionOfTheEmptyIdIfTheStartedNameIsNull) {
    panel.define("", test::definitionXml("nameless", ""));
    test::setActionLog(database, {std::nullopt}, {});
    EXPECT_EQ("nameless", ids().back());
}

TEST_F(ServicesToCheck, AreReadByFourStatementsOnOneConnection) {
    ids();
    EXPECT_EQ(fourStatements, database.statements());
    EXPECT_EQ(1, std::ranges::count(database.calls, "connect"));
    expectNothingLeftOpen();
}

TEST_F(ServicesToCheck, AreTheCoreServicesWithoutADatabase) {
    test::setActionLog(database, {"redis"}, {"dns"});
    database.reachable = false;
    EXPECT_EQ(coreServices, ids());
}

TEST_F(ServicesToCheck, KeepTheServicesFoundBeforeAStatementFails) {
    for (size_t failing = 0; failing < fourStatements.size(); ++failing) {
        SCOPED_TRACE(fourStatements[failing]);
        database.reset();
        test::setActionLog(database, {"redis"}, {"dns"});
        database.answers[fourStatements[failing]] = test::rejected({});
        EXPECT_EQ(fourStatements[failing] == test::lastStopped ? coreServicesAnd({"redis"})
                                                               : coreServices,
                  ids());
        EXPECT_EQ(failing + 1, database.statements().size());
        expectNothingLeftOpen();
    }
}

TEST_F(ServicesToCheck, KeepTheServicesFoundBeforeARowWithoutTheFieldName) {
    test::setActionLog(database, {"redis"}, {"dns"});
    database.answers[test::lastStopped].fields = {"Name"};
    EXPECT_EQ(coreServicesAnd({"redis"}), ids());
    database.answers[test::lastStarted].fields = {"old_value"};
    EXPECT_EQ(coreServices, ids());
    expectNothingLeftOpen();
}

TEST_F(ServicesToCheck, KeepTheServicesFoundBeforeTheCatalogueThrows) {
    test::setActionLog(database, {"redis", "broken", "tomcat"}, {"dns"});
    panel.failOn("broken");
    EXPECT_EQ(coreServicesAnd({"redis"}), ids());
    EXPECT_EQ(3U, database.statements().size());
    expectNothingLeftOpen();
}

TEST_F(ServicesToCheck, PassOnAnExceptionOfTheCatalogueForACoreService) {
    panel.failOn("web");
    EXPECT_THROW(servicesToCheck(), std::bad_alloc);
    EXPECT_THAT(database.calls, IsEmpty());
}

} // namespace
} // namespace keldo
