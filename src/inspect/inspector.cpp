// SPDX-License-Identifier: MIT

#include "inspect/inspector.h"

#include "conf/autoprepend.h"
#include "conf/config_value.h"
#include "diag/service_diagnosis.h"
#include "diag/services_to_check.h"
#include "diag/upgrade_check.h"
#include "inspect/control_files.h"
#include "inspect/database_inquiry.h"
#include "inspect/definitions.h"
#include "inspect/event_loop.h"
#include "inspect/judgement.h"
#include "inspect/monitor_inquiry.h"
#include "inspect/reasons.h"
#include "monitor/monitor_run.h"
#include "report/problem_model.h"
#include "report/translation.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace keldo::inspect {

namespace {

constexpr std::chrono::seconds upgradeToolLimit{10};
constexpr std::size_t toolOutputLimit = 64U << 20U;

/// The answer of the upgrade tool.
struct UpgradeAnswer {
    bool isRunning = false;
    bool isKnown = false;
    std::string detail;
};

/// A service that ought to run, or was stopped.
struct Listed {
    std::string id; ///< the id in its definition, or the requested id if there is none
    Origin origin;
    FoundDefinition found;
    Judgement judgement;
};

Substitution inPath(const std::string& path) {
    return {"<path>", path};
}

Dependency dependencyNamed(const char* id, const std::string& path = "",
                           DependencyState state = DependencyState::ok) {
    Dependency dependency;
    dependency.id = id;
    dependency.state = state;
    dependency.path = path;
    return dependency;
}

class Inspector {
public:
    Inspector(std::size_t jobs, Clock::time_point deadline,
              const std::function<void(const std::string&)>& tell)
        : jobs_(jobs), deadline_(deadline), tell_(tell), loop_([this] { tellHowFar(); }) {}

    Inspection inspect() {
        askUpgradeToolAndDatabase();
        listServices();
        if (upgrade_.isRunning) {
            leaveUnchecked();
            reportUpgrade();
        } else {
            checkDatabaseService();
            askMonitor();
            reportDownServices();
        }
        return result();
    }

private:
    void tellHowFar() {
        tell_(
            inquiry_ != nullptr
                ? inquiry_->progress()
                : translate("Waiting for the answers of the database and the upgrade check.").text);
    }

    void askUpgradeToolAndDatabase() {
        try {
            askDatabase(loop_, deadline_, database_);
            const auto limit = std::min(deadline_, Clock::now() + upgradeToolLimit);
            loop_.add(Child::execute({"/bin/sh", "-c", upgradeTool()}, toolOutputLimit), limit,
                      [this](const ChildResult& result) { takeUpgradeAnswer(result); });
        } catch (const std::system_error& error) { // what is not asked stays unknown
            noProcess_ = error.what();
        }
        loop_.run();
    }

    void takeUpgradeAnswer(const ChildResult& result) {
        const bool hasExited = WIFEXITED(result.waitStatus) && !result.hasTimedOut;
        const int status = hasExited ? WEXITSTATUS(result.waitStatus) : -1;
        upgrade_.isRunning = status == upgradeIsRunning;
        upgrade_.isKnown = upgrade_.isRunning || status == 0;
        upgrade_.detail = result.errors;
    }

    void listServices() {
        for (const char* const id : coreServices) {
            list(id, Origin::core);
        }
        for (const std::string& id : database_.started) {
            list(id, Origin::started);
        }
        for (const std::string& id : database_.stopped) {
            markStopped(id);
        }
    }

    /// Adds the service to the list if it is not there yet.
    void list(const std::string& id, Origin origin) {
        if (id.empty()) {
            return; // a log entry without a name
        }
        FoundDefinition found = findDefinition(id);
        const std::string shownId = found.definition.id.empty() ? id : found.definition.id;
        if (std::ranges::find(services_, shownId, &Listed::id) != services_.end()) {
            return;
        }
        Judgement judgement = untested(found.definition, State::unknown, found.fault, found.detail);
        services_.push_back({shownId, origin, std::move(found), std::move(judgement)});
    }

    /// The action log names a service by the id that its definition has. A service without a
    /// definition was removed. A definition with another id does not count.
    void markStopped(const std::string& id) {
        const FoundDefinition found = findDefinition(id);
        const bool isMeant = found.definition.id == id || found.definition.id.empty();
        if (isMeant && found.fault.code != "definition_missing") {
            list(id, Origin::started);
        }
        for (Listed& service : services_) {
            if (service.id == id) {
                service.judgement = untested(service.found.definition, State::stopped,
                                             reason("stopped_by_administrator"));
            }
        }
    }

    void leaveUnchecked() {
        for (Listed& service : services_) {
            if (service.judgement.state != State::stopped) {
                service.judgement =
                    untested(service.found.definition, State::unchecked, reason("upgrade"));
            }
        }
    }

    static bool isToBeChecked(const Listed& service) {
        return service.judgement.state == State::unknown && service.found.fault.code.empty();
    }

    void checkDatabaseService() {
        for (Listed& service : services_) {
            if (service.found.definition.id == databaseService && isToBeChecked(service)) {
                service.judgement = judgementOfDatabase();
            }
        }
    }

    Judgement judgementOfDatabase() const {
        Judgement judgement;
        judgement.detail = database_.detail;
        judgement.duration = database_.duration;
        judgement.tests.emplace_back().kind = TestKind::connection;
        if (!database_.isConnected && database_.code.empty()) { // it was not asked
            judgement.reason = reason("no_process_to_be_had");
            judgement.detail = noProcess_;
        } else if (database_.isConnected) {
            judgement.state = State::up;
            judgement.reason = reason("passed");
            judgement.tests.front().state = TestState::ok;
        } else {
            judgement.reason = reason(database_.code);
            if (database_.isKnown) {
                judgement.state = State::down;
                judgement.tests.front().state = TestState::failed;
            }
        }
        return judgement;
    }

    void askMonitor() {
        std::vector<Listed*> asked;
        for (Listed& service : services_) {
            if (isToBeChecked(service) && service.found.definition.id != databaseService) {
                asked.push_back(&service);
            }
        }
        if (asked.empty()) {
            return;
        }
        checkMonitorProgram();
        if (monitor_.state != DependencyState::ok) {
            judgeAll(asked, monitor_.reason, monitor_.detail);
            return;
        }
        try {
            const ControlFileDirectory directory;
            MonitorInquiry inquiry(loop_, directory.path(), jobs_, deadline_);
            for (const Listed* const service : asked) {
                inquiry.add(service->found);
            }
            inquiry_ = &inquiry;
            std::vector<Judgement> judgements = inquiry.ask();
            inquiry_ = nullptr;
            for (std::size_t i = 0; i < asked.size(); ++i) {
                asked[i]->judgement = std::move(judgements[i]);
            }
            controlFiles_.state = DependencyState::ok;
            if (const int error = inquiry.controlFileError()) {
                blameControlFiles(error);
            }
            judgeMonitor(inquiry, asked);
        } catch (const std::system_error& error) {
            monitor_.state = DependencyState::unasked;
            blameControlFiles(error.code().value());
            judgeAll(asked, controlFiles_.reason, controlFiles_.detail);
        }
    }

    static void judgeAll(const std::vector<Listed*>& services, const Reason& why,
                         const std::string& detail) {
        for (Listed* const service : services) {
            service->judgement = untested(service->found.definition, State::unknown, why, detail);
        }
    }

    void judgeMonitor(const MonitorInquiry& inquiry, const std::vector<Listed*>& asked) {
        if (!inquiry.hasAsked()) {
            monitor_.state = DependencyState::unasked;
        } else if (!inquiry.hasAnswered()) {
            const auto isItsFault = [](const Listed* service) {
                return service->judgement.reason.code.starts_with("monitor_");
            };
            const auto found = std::ranges::find_if(asked, isItsFault);
            monitor_.state = DependencyState::failed;
            monitor_.reason = found != asked.end() ? (*found)->judgement.reason
                                                   : reason("monitor_silent"); // at the time limit
            monitor_.detail = found != asked.end() ? (*found)->judgement.detail : "";
        }
    }

    void checkMonitorProgram() {
        const std::string path = monitorPath();
        monitor_.state = DependencyState::ok;
        struct stat status {};
        if (stat(path.c_str(), &status) != 0) {
            const bool isMissing = errno == ENOENT || errno == ENOTDIR;
            monitor_.state = isMissing ? DependencyState::missing : DependencyState::failed;
            monitor_.reason = reason(isMissing ? "monitor_missing" : "monitor_not_executable",
                                     Subject::general, inPath(path));
        } else if (!S_ISREG(status.st_mode) || access(path.c_str(), X_OK) != 0) {
            monitor_.state = DependencyState::failed;
            monitor_.reason = reason("monitor_not_executable", Subject::general, inPath(path));
        }
    }

    void blameControlFiles(int error) {
        const std::string code = codeOfFileError(error);
        controlFiles_.state =
            code == "no_directory" ? DependencyState::missing : DependencyState::failed;
        controlFiles_.reason = reason(code, Subject::general, inPath(controlFileDirectory()));
        controlFiles_.detail = std::generic_category().message(error);
    }

    void reportDownServices() {
        for (const Listed& service : services_) {
            if (service.judgement.state == State::down) {
                reportServiceDown(service.found.definition);
            }
        }
    }

    Verdict verdict() const {
        const auto is = [](State state) {
            return [state](const Listed& service) { return service.judgement.state == state; };
        };
        if (upgrade_.isRunning) {
            return Verdict::upgrade;
        }
        if (std::ranges::any_of(services_, is(State::down))) {
            return Verdict::problems;
        }
        const bool isAllKnown =
            database_.isLogRead && std::ranges::none_of(services_, is(State::unknown));
        return isAllKnown ? Verdict::well : Verdict::unknown;
    }

    static Dependency configuration() {
        Dependency dependency = dependencyNamed("configuration", kvrConfFile);
        if (!isReadableFile(kvrConfFile)) {
            const bool isMissing = access(kvrConfFile, F_OK) != 0 && errno == ENOENT;
            dependency.state = isMissing ? DependencyState::missing : DependencyState::failed;
            dependency.reason =
                reason(isMissing ? "default_configuration" : "unreadable_configuration",
                       Subject::general, inPath(kvrConfFile));
        }
        return dependency;
    }

    Dependency definitions() const {
        const std::string path = definitionDirectory();
        Dependency dependency = dependencyNamed("definitions", path);
        const bool isAny = std::ranges::any_of(services_, [](const Listed& service) {
            return service.found.fault.code != "definition_missing";
        });
        if (!isAny) {
            dependency.state = access(path.c_str(), R_OK | X_OK) != 0 && errno == ENOENT
                                   ? DependencyState::missing
                                   : DependencyState::failed;
            dependency.reason = reason("no_definitions", Subject::general, inPath(path));
        }
        return dependency;
    }

    Dependency upgradeToolState() const {
        Dependency dependency = dependencyNamed("upgrade_tool", upgradeTool());
        if (!upgrade_.isKnown) {
            dependency.state = access(dependency.path.c_str(), F_OK) != 0 ? DependencyState::missing
                                                                          : DependencyState::failed;
            dependency.reason = reason("upgrade_unknown");
            dependency.detail = upgrade_.detail;
        }
        return dependency;
    }

    Dependency databaseState() const {
        Dependency dependency = dependencyNamed("database");
        if (!database_.isConnected) {
            const Judgement judgement = judgementOfDatabase();
            dependency.state = DependencyState::failed;
            dependency.reason = judgement.reason;
            dependency.detail = judgement.detail;
        }
        return dependency;
    }

    Dependency actionLog() const {
        Dependency dependency = dependencyNamed("action_log");
        if (!database_.isLogRead) {
            dependency.state = DependencyState::failed;
            dependency.reason = reason("no_action_log");
            dependency.detail = database_.logDetail;
        }
        return dependency;
    }

    Inspection result() {
        Inspection inspection;
        inspection.verdict = verdict();
        inspection.dependencies = {configuration(), definitions(), upgradeToolState(),
                                   databaseState(), actionLog(),   controlFiles_,
                                   monitor_};
        for (Listed& service : services_) {
            inspection.services.push_back({service.id, service.origin,
                                           service.found.definition.title,
                                           std::move(service.judgement)});
        }
        return inspection;
    }

    std::size_t jobs_;
    Clock::time_point deadline_;
    const std::function<void(const std::string&)>& tell_;
    const MonitorInquiry* inquiry_ = nullptr; ///< set while it asks
    std::string noProcess_;                   ///< the reason if no child could be made
    UpgradeAnswer upgrade_;
    DatabaseAnswer database_;
    std::vector<Listed> services_;
    Dependency controlFiles_ =
        dependencyNamed("control_files", controlFileDirectory(), DependencyState::unasked);
    Dependency monitor_ = dependencyNamed("monitor", monitorPath(), DependencyState::unasked);
    EventLoop loop_; ///< after monitor_: it blocks signals, and reading the configuration may hang
};

} // namespace

Inspection inspectServices(std::size_t jobs, Clock::time_point deadline,
                           const std::function<void(const std::string&)>& tell) {
    return Inspector(jobs, deadline, tell).inspect();
}

} // namespace keldo::inspect
