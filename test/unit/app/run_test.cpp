// SPDX-License-Identifier: MIT

#include "app/run.h"

#include "app/german_texts.h"
#include "app/standard_streams.h"
#include "exec/process_state.h"
#include "report/problem_model.h"
#include "support/catalogue.h"
#include "support/fake_database.h"
#include "support/fake_panel.h"

#include <boost/lexical_cast.hpp>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <libxml/globals.h>
#include <unistd.h>

extern "C" {
char* __real_bindtextdomain(const char* domain, const char* directory);
char* __wrap_bindtextdomain(const char* domain, const char* directory);
}

/// Prints text, as a library might when the language is selected.
char* __wrap_bindtextdomain(const char* domain, const char* directory) {
    std::cout << "noise" << std::flush;
    return __real_bindtextdomain(domain, directory);
}

namespace keldo {
namespace {

/// The output and the status of a run.
struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

/// Redirects a descriptor to a file while it lives.
class Diversion {
public:
    Diversion(int fd, const std::string& path) : fd_(fd), kept_(fcntl(fd, F_DUPFD_CLOEXEC, 100)) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        dup2(file, fd);
        close(file);
    }
    Diversion(const Diversion&) = delete;
    Diversion& operator=(const Diversion&) = delete;
    ~Diversion() {
        dup2(kept_, fd_);
        close(kept_);
    }

private:
    int fd_;
    int kept_;
};

/// A panel with the services "web" and "smtp". Every program appends a line to the file "order".
/// The monitor reports the services in the file "down" as down.
class Run : public testing::Test {
protected:
    Run() {
        programName = "keldoctl";
        setenv("LOCPATH", KELDO_TEST_LOCALES "/utf8", 1);
        test::writeCatalogue(panel.root() / "share/locale", "de", test::germanTexts);
        define("web");
        define("smtp");
        panel.installUpgradeCheck("echo upgrade-check >> $PANEL/order; exit 0");
        panel.installMonitor(
            "name=$(sed -n 's/^check process //p' $2)\n"
            "echo monitor $name >> $PANEL/order\n"
            "status=0\n"
            "if grep -qsx \"$name\" $PANEL/down; then status=32; fi\n"
            "echo "
            "\"<monit><service><name>$name</name><status>$status</status></service></monit>\"");
    }
    ~Run() override {
        restoreStderr();
        restoreStdout();
        programName.clear();
    }

    void define(const std::string& id) const {
        const std::string log = " &gt;&gt; " + panel.root().string() + "/order";
        panel.define(id, test::definitionXml(id, "<title xml:lang='en-US'>T " + id +
                                                     "</title><title xml:lang='de-DE'>D " + id +
                                                     "</title><action type='start'>echo start " +
                                                     id + log + "; echo started</action>" +
                                                     "<action type='stop'>echo stop " + id + log +
                                                     "</action><checks><pid-file>/p</pid-file>"
                                                     "</checks>"));
    }

    std::string order() const { return panel.content("order"); }

    Outcome captured(const std::function<int()>& work) const {
        Outcome outcome;
        const std::string output = panel.root() / "stdout";
        const std::string errors = panel.root() / "stderr";
        {
            const Diversion out(STDOUT_FILENO, output);
            const Diversion err(STDERR_FILENO, errors);
            outcome.status = work();
            std::fflush(stdout);
        }
        outcome.output = test::contentOf(output);
        outcome.errors = test::contentOf(errors);
        return outcome;
    }

    Outcome outcomeOf(const CommandLine& commandLine) const {
        return captured([&] { return run(commandLine); });
    }

    test::FakePanel panel;
    test::FakeDatabase database;
};

const std::string emptyReport = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<keldoctl/>\n";

const std::string webIsDown = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<keldoctl>\n"
                              "  <problem id=\"service-down:web\">\n"
                              "    <message xml:lang=\"en-US\">The T web service is switched off."
                              "</message>\n"
                              "    <severity>major</severity>\n"
                              "    <solutions>\n"
                              "      <action id=\"restart-service:web\" default=\"true\"/>\n"
                              "    </solutions>\n"
                              "  </problem>\n"
                              "  <action id=\"restart-service:web\">\n"
                              "    <message xml:lang=\"en-US\">Restart the T web service."
                              "</message>\n"
                              "  </action>\n"
                              "</keldoctl>\n";

TEST_F(Run, ChecksForAnUpgradeAndThenTheServicesAndIgnoresIds) {
    const Outcome outcome = outcomeOf({Mode::diagnose, "en-US", {"restart-service:web"}});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(emptyReport, outcome.output);
    EXPECT_EQ("", outcome.errors);
    EXPECT_EQ("upgrade-check\nmonitor smtp\nmonitor web\n", order());
}

TEST_F(Run, ReportsAServiceInEnglishIfTheLocaleIsMissing) {
    std::ofstream(panel.root() / "down") << "web\n";
    const Outcome outcome = outcomeOf({Mode::diagnose, "xx-XX", {}});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(webIsDown, outcome.output);
    EXPECT_EQ("", outcome.errors);
    EXPECT_EQ("en-US", currentLanguage);
    EXPECT_STREQ("en_US", std::setlocale(LC_ALL, nullptr));
}

TEST_F(Run, ReportsInEnglishIfNoLocaleIsInstalled) {
    std::ofstream(panel.root() / "down") << "web\n";
    setenv("LOCPATH", panel.root().c_str(), 1);
    EXPECT_EQ(webIsDown, outcomeOf({Mode::diagnose, "xx-XX", {}}).output);
}

TEST_F(Run, RepairsBeforeItChecks) {
    const Outcome outcome = outcomeOf(
        {Mode::execAndDiagnose, "en-US", {"restart-service:web", "x", "restart-service:smtp"}});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("stop web\nstart web\nstop smtp\nstart smtp\nupgrade-check\n"
              "monitor smtp\nmonitor web\n",
              order());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<keldoctl>\n"
              "  <action id=\"restart-service:smtp\">\n"
              "    <message xml:lang=\"en-US\">Restart the T smtp service.</message>\n"
              "    <status>ok</status>\n"
              "    <log>started\n</log>\n"
              "  </action>\n"
              "  <action id=\"restart-service:web\">\n"
              "    <message xml:lang=\"en-US\">Restart the T web service.</message>\n"
              "    <status>ok</status>\n"
              "    <log>started\n</log>\n"
              "  </action>\n"
              "</keldoctl>\n",
              outcome.output);
}

TEST_F(Run, RepairsDuringAnUpgradeButChecksNoService) {
    std::ofstream(panel.root() / "down") << "web\n";
    panel.installUpgradeCheck("echo upgrade-check >> $PANEL/order; exit 1");
    const Outcome outcome = outcomeOf({Mode::execAndDiagnose, "en-US", {"restart-service:web"}});
    EXPECT_EQ("stop web\nstart web\nupgrade-check\n", order());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<keldoctl>\n"
              "  <problem id=\"upgrade\">\n"
              "    <message xml:lang=\"en-US\">Upgrade is in progress. Please wait.</message>\n"
              "    <severity>minor</severity>\n"
              "  </problem>\n"
              "  <action id=\"restart-service:web\">\n"
              "    <message xml:lang=\"en-US\">Restart the T web service.</message>\n"
              "    <status>ok</status>\n"
              "    <log>started\n</log>\n"
              "  </action>\n"
              "</keldoctl>\n",
              outcome.output);
}

TEST_F(Run, PrintsTheUsageAndStartsNothing) {
    for (const char* language : {"en-US", "de-DE", "xx-XX"}) {
        SCOPED_TRACE(language);
        const Outcome outcome = outcomeOf({Mode::printUsage, language, {"restart-service:web"}});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("noise"
                  "Usage: keldoctl --status [--language=LANG_CODE]\n"
                  "   or: keldoctl --repair [--language=LANG_CODE] ID...\n",
                  outcome.output);
        EXPECT_EQ("", outcome.errors);
        EXPECT_EQ("", order());
    }
}

TEST_F(Run, ReportsInTheLanguageOfTheCommandLine) {
    std::ofstream(panel.root() / "down") << "web\n";
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<keldoctl>\n"
              "  <problem id=\"service-down:web\">\n"
              "    <message xml:lang=\"de-DE\">Der Dienst »D web« läuft nicht.</message>\n"
              "    <severity>major</severity>\n"
              "    <solutions>\n"
              "      <action id=\"restart-service:web\" default=\"true\"/>\n"
              "    </solutions>\n"
              "  </problem>\n"
              "  <action id=\"restart-service:web\">\n"
              "    <message xml:lang=\"en-US\">Restart the D web service.</message>\n"
              "  </action>\n"
              "</keldoctl>\n",
              outcomeOf({Mode::diagnose, "de-DE", {}}).output);
}

TEST_F(Run, SilencesItsOwnOutputAndThatOfItsChildren) {
    panel.installUpgradeCheck("echo noise; echo noise >&2; exit 0");
    panel.installMonitor("echo noise >&2; echo noise");
    // Connecting fails and prints a message. Reading definitions prints one about PRODUCT_ETC_D.
    database.reachable = false;
    const Outcome outcome = outcomeOf({Mode::diagnose, "en-US", {}});
    EXPECT_EQ(emptyReport, outcome.output);
    EXPECT_EQ("", outcome.errors);
}

TEST_F(Run, GivesItsChildrenOnlySilencedStreams) {
    panel.installMonitor("readlink /proc/$$/fd/2 >> $PANEL/order\n"
                         "ls -l /proc/$$/fd >> $PANEL/descriptors");
    outcomeOf({Mode::diagnose, "en-US", {}});
    EXPECT_EQ("upgrade-check\n/dev/null\n/dev/null\n", order());
    const std::string seen = panel.content("descriptors");
    EXPECT_NE(std::string::npos, seen.find("pipe:")) << seen;
    EXPECT_EQ(std::string::npos, seen.find(panel.root().string() + "/std")) << seen;
}

TEST_F(Run, RestoresTheStreams) {
    const Outcome outcome = captured([] {
        run({Mode::diagnose, "en-US", {}});
        std::cout << "out" << std::flush;
        std::cerr << "err" << std::flush;
        return 0;
    });
    EXPECT_EQ(emptyReport + "out", outcome.output);
    EXPECT_EQ("err", outcome.errors);
}

TEST_F(Run, LetsExceptionsPassWithTheStreamsStillSilenced) {
    panel.installMonitor("echo '<monit><service><name>smtp</name><status>ok</status></service>"
                         "</monit>'");
    const Outcome outcome = captured([] {
        EXPECT_THROW(run({Mode::diagnose, "en-US", {}}), boost::bad_lexical_cast);
        std::cout << "still silenced" << std::flush;
        std::cerr << "still silenced" << std::flush;
        restoreStderr();
        restoreStdout();
        return 0;
    });
    EXPECT_EQ("", outcome.output);
    EXPECT_EQ("", outcome.errors);
    EXPECT_TRUE(panel.controlFiles().empty());
}

TEST_F(Run, ReplacesTheAllocatorOfLibxml2) {
    captured([] { return run({Mode::printUsage, "en-US", {}}); });
    EXPECT_NE(reinterpret_cast<void*>(std::malloc), reinterpret_cast<void*>(xmlMalloc));
}

TEST_F(Run, DiagnosisChecksNoServiceIfTheProblemUpgradeExists) {
    problemModel.addProblem({"upgrade", {}, Severity::minor});
    diagnose();
    EXPECT_EQ("upgrade-check\n", order());
}

TEST_F(Run, DiagnosisChecksNoServiceDuringAnUpgrade) {
    panel.installUpgradeCheck("echo upgrade-check >> $PANEL/order; exit 1");
    diagnose();
    EXPECT_EQ("upgrade-check\n", order());
    EXPECT_EQ(1U, problemModel.problems().size());
}

} // namespace
} // namespace keldo
