// SPDX-License-Identifier: MIT

#include "diag/service_diagnosis.h"

#include "report/problem_model.h"
#include "support/catalogue.h"
#include "support/fake_database.h"
#include "support/fake_panel.h"
#include "support/print_message.h"

#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keldo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A panel whose monitor finds every service running except those in the file "down". The monitor
/// writes the services that it checks to the file "checked".
class ServiceDiagnosis : public testing::Test {
protected:
    ServiceDiagnosis() {
        panel.installMonitor(
            "name=$(sed -n 's/^check process //p' $2)\n"
            "echo $name >> $PANEL/checked\n"
            "status=0\n"
            "if grep -qsx \"$name\" $PANEL/down; then status=32; fi\n"
            "echo "
            "\"<monit><service><name>$name</name><status>$status</status></service></monit>\"");
    }

    void define(const std::string& file, const std::string& id) const {
        panel.define(
            file, test::definitionXml(id, "<title xml:lang='en-US'>T " + id +
                                              "</title><title xml:lang='de-DE'>D " + id +
                                              "</title><action type='start'>start " + id +
                                              "</action><action type='stop'>stop " + id +
                                              "</action><checks><pid-file>/p</pid-file></checks>"));
    }
    void define(const std::string& id) const { define(id, id); }

    void setDown(const std::string& ids) const { std::ofstream(panel.root() / "down") << ids; }

    static std::vector<std::string> problemIds() {
        std::vector<std::string> ids;
        for (const auto& [id, problem] : problemModel.problems()) {
            ids.push_back(id);
        }
        return ids;
    }

    test::FakePanel panel;
    test::FakeDatabase database;
};

class CheckServices : public ServiceDiagnosis {};

TEST_F(CheckServices, ReportsNothingWithoutServices) {
    checkServices();
    EXPECT_THAT(problemIds(), IsEmpty());
}

TEST_F(CheckServices, ReportsNothingIfAllServicesRun) {
    for (const char* id : {"mysql", "web", "dns"}) {
        define(id);
    }
    checkServices();
    EXPECT_THAT(problemIds(), IsEmpty());
    EXPECT_TRUE(problemModel.actions().empty());
    EXPECT_EQ("web\ndns\n", panel.content("checked"));
}

TEST_F(CheckServices, ReportsADownServiceWithItsRestart) {
    define("web");
    define("dns");
    setDown("web\n");
    checkServices();
    ASSERT_THAT(problemIds(), ElementsAre("service-down:web"));
    const Problem& problem = problemModel.problems().at("service-down:web");
    EXPECT_EQ("service-down:web", problem.id);
    EXPECT_EQ(Message("The T web service is switched off.", "en-US"), problem.message);
    EXPECT_EQ(Severity::major, problem.severity);
    ASSERT_EQ(1U, problem.solutions.size());
    EXPECT_EQ("restart-service:web", problem.solutions[0].id);
    EXPECT_EQ(Message("Restart the T web service.", "en-US"), problem.solutions[0].message);
    EXPECT_EQ("stop web\nstart web", problem.solutions[0].commands);
    EXPECT_EQ(0U, problem.defaultSolution);
    EXPECT_EQ(1U, problemModel.actions().count("restart-service:web"));
    EXPECT_TRUE(problemModel.actionResults().empty());
}

TEST_F(CheckServices, ReportsEveryServiceThatIsDown) {
    for (const char* id : {"keldo", "smtp", "web", "dns", "mail"}) {
        define(id);
    }
    setDown("mail\nkeldo\nweb\n");
    checkServices();
    EXPECT_THAT(problemIds(),
                ElementsAre("service-down:keldo", "service-down:mail", "service-down:web"));
}

TEST_F(CheckServices, ChecksTheDatabaseByASecondConnectionAndNotByTheMonitor) {
    define("mysql");
    setDown("mysql\n");
    checkServices();
    EXPECT_THAT(problemIds(), IsEmpty());
    EXPECT_EQ("", panel.content("checked"));
    EXPECT_THAT(database.calls,
                ElementsAre("connect", "query " + test::rememberStart,
                            "query " + test::rememberStop, "query " + test::lastStarted,
                            "query " + test::lastStopped, "close", "connect", "close"));
}

TEST_F(CheckServices, IgnoresAnUnreachableDatabaseWithoutADefinition) {
    database.reachable = false;
    checkServices();
    EXPECT_THAT(problemIds(), IsEmpty());
}

TEST_F(CheckServices, ReportsAnUnreachableDatabaseWithItsRestart) {
    define("mysql");
    define("web");
    database.reachable = false;
    checkServices();
    ASSERT_THAT(problemIds(), ElementsAre("service-down:mysql"));
    const Problem& problem = problemModel.problems().at("service-down:mysql");
    ASSERT_EQ(1U, problem.solutions.size());
    EXPECT_EQ("restart-service:mysql", problem.solutions[0].id);
    EXPECT_EQ("stop mysql\nstart mysql", problem.solutions[0].commands);
}

TEST_F(CheckServices, ChecksAStoppedServiceWhenTheDatabaseIsDown) {
    define("dns");
    setDown("dns\n");
    test::setActionLog(database, {}, {"dns"});
    checkServices();
    EXPECT_THAT(problemIds(), IsEmpty());
    database.reachable = false;
    checkServices();
    EXPECT_THAT(problemIds(), ElementsAre("service-down:dns"));
}

TEST_F(CheckServices, AsksTheMonitorAboutIdsThatResembleMysql) {
    define("MySQL");
    define("mysql5");
    setDown("MySQL\nmysql5\n");
    test::setActionLog(database, {"MySQL", "mysql5"}, {});
    checkServices();
    EXPECT_EQ("MySQL\nmysql5\n", panel.content("checked"));
    EXPECT_THAT(problemIds(), ElementsAre("service-down:MySQL", "service-down:mysql5"));
}

TEST_F(CheckServices, ChecksAServiceByTheIdInItsDefinition) {
    define("mysql", "web-database");
    define("web", "mysql");
    checkServices();
    EXPECT_EQ("web-database\n", panel.content("checked"));
    EXPECT_EQ(2, std::ranges::count(database.calls, "connect"));
}

TEST_F(CheckServices, ChecksAServiceTwiceAndReportsItOnceIfItIsListedTwice) {
    define("web");
    setDown("web\n");
    test::setActionLog(database, {"web"}, {});
    checkServices();
    EXPECT_EQ("web\nweb\n", panel.content("checked"));
    EXPECT_THAT(problemIds(), ElementsAre("service-down:web"));
}

TEST_F(CheckServices, ThrowsIfTheMonitorsStatusIsNoNumber) {
    define("web");
    panel.installMonitor(
        "echo '<monit><service><name>web</name><status>ok</status></service></monit>'");
    EXPECT_THROW(checkServices(), boost::bad_lexical_cast);
    EXPECT_THAT(panel.controlFiles(), IsEmpty());
}

class ReportServiceDown : public ServiceDiagnosis {
protected:
    static ServiceDefinition service(const std::string& id, const std::string& title) {
        ServiceDefinition definition;
        definition.id = id;
        definition.title = {title, "en-US"};
        return definition;
    }
};

TEST_F(ReportServiceDown, ProposesTheRestartOfTheIdInTheDefinition) {
    define("web", "apache");
    define("apache", "apache");
    reportServiceDown(service("apache", "Web"));
    const Problem& problem = problemModel.problems().at("service-down:apache");
    EXPECT_EQ(Message("The Web service is switched off.", "en-US"), problem.message);
    ASSERT_EQ(1U, problem.solutions.size());
    EXPECT_EQ("restart-service:apache", problem.solutions[0].id);
    EXPECT_EQ(Message("Restart the T apache service.", "en-US"), problem.solutions[0].message);
}

TEST_F(ReportServiceDown, ProposesAnEmptyRestartIfThatIdHasNoDefinition) {
    define("web", "apache");
    reportServiceDown(service("apache", "Web"));
    const Problem& problem = problemModel.problems().at("service-down:apache");
    ASSERT_EQ(1U, problem.solutions.size());
    EXPECT_EQ("", problem.solutions[0].id);
    EXPECT_EQ(Message("undefined", "en-US"), problem.solutions[0].message);
    EXPECT_EQ(0U, problem.defaultSolution);
}

TEST_F(ReportServiceDown, InsertsTheTitleUnchanged) {
    for (const std::string title : {"", "<service_title>"}) {
        reportServiceDown(service("web", title));
        EXPECT_EQ("The " + title + " service is switched off.",
                  problemModel.problems().at("service-down:web").message.text);
    }
}

TEST_F(ReportServiceDown, ReplacesAnEarlierProblemButNotItsAction) {
    define("web");
    problemModel.addProblem({"service-down:web", {"old", "en-US"}, Severity::critical});
    problemModel.registerAction({"restart-service:web", {"Old.", "en-US"}, "old"});
    reportServiceDown(service("web", "Web"));
    EXPECT_EQ(Severity::major, problemModel.problems().at("service-down:web").severity);
    EXPECT_EQ("Old.", problemModel.actions().at("restart-service:web").message.text);
}

TEST_F(ReportServiceDown, UsesTheLanguageOfTheReportIfTheMessageIsTranslated) {
    define("web");
    const test::GermanRun german(test::Translations{{"The <service_title> service is switched off.",
                                                     "Der Dienst <service_title> läuft nicht."}});
    reportServiceDown(ServiceDefinition("web"));
    const Problem& problem = problemModel.problems().at("service-down:web");
    EXPECT_EQ(Message("Der Dienst D web läuft nicht.", "de-DE"), problem.message);
    EXPECT_EQ(Message("Restart the D web service.", "en-US"), problem.solutions.at(0).message);
}

} // namespace
} // namespace keldo
