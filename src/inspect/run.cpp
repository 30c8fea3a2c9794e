// SPDX-License-Identifier: MIT

#include "inspect/run.h"

#include "app/localization.h"
#include "app/standard_streams.h"
#include "exec/process_state.h"
#include "exec/program_version.h"
#include "inspect/document.h"
#include "inspect/inspector.h"
#include "inspect/progress.h"
#include "inspect/repairs.h"
#include "report/report_writer.h"
#include "xml/memory.h"

#include <algorithm>
#include <cerrno>
#include <sched.h>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>

namespace keldo::inspect {

namespace {

/// The processors that this process may use.
std::size_t processorCount() {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    sched_getaffinity(0, sizeof processors, &processors); // may fail on very large machines
    return static_cast<std::size_t>(std::max(CPU_COUNT(&processors), 1));
}

std::string hostName() {
    utsname names{};
    uname(&names);
    return names.nodename;
}

ExitStatus statusOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::well:
        return statusWell;
    case Verdict::problems:
        return statusProblems;
    case Verdict::upgrade:
        return statusUpgrade;
    case Verdict::unknown:
        break;
    }
    return statusUnknown;
}

/// Throws std::system_error if the text cannot be written whole.
void print(const std::string& text) {
    if (!writeToStdout(text)) {
        throw std::system_error(errno, std::generic_category(), "cannot write");
    }
}

/// Restores standard error even after an exception, so that main() can print the reason.
struct StderrRestorer {
    ~StderrRestorer() { restoreStderr(); }
};

} // namespace

int run(const CommandLine& commandLine) {
    if (commandLine.mode == CommandLine::Mode::printUsage) {
        print(usage());
        return statusWell;
    }
    if (commandLine.mode == CommandLine::Mode::printVersion) {
        print(programName + " " + programVersion + "\n");
        return statusWell;
    }
    abortOnXmlOutOfMemory();
    Progress progress;
    const StderrRestorer restorer;
    redirectStdout(); // before anything that could print a message
    redirectStderr();
    setLanguageOrEnglish(commandLine.language);
    const auto announce = [&progress](const std::string& line) { progress.printLine(line); };
    const bool haveRepairsSucceeded = carryOutRepairs(commandLine.repairIds, announce);
    const auto started = std::chrono::system_clock::now();
    const Clock::time_point start = Clock::now();
    const std::size_t jobs = commandLine.jobs != 0 ? commandLine.jobs : processorCount();
    Inspection inspection =
        inspectServices(jobs, start + commandLine.timeout,
                        [&progress](const std::string& line) { progress.replaceLine(line); });
    inspection.host = hostName();
    inspection.started = started;
    inspection.duration = Clock::now() - start;
    progress.clearLine();
    restoreStderr();
    restoreStdout();
    print(commandLine.isJson ? jsonDocument(inspection) : xmlDocument(inspection));
    return haveRepairsSucceeded ? statusOf(inspection.verdict) : statusProblems;
}

} // namespace keldo::inspect
