// SPDX-License-Identifier: MIT

#include "app/run.h"

#include "app/localization.h"
#include "app/standard_streams.h"
#include "diag/repair.h"
#include "diag/service_diagnosis.h"
#include "diag/upgrade_check.h"
#include "report/problem_model.h"
#include "report/report_writer.h"
#include "xml/memory.h"

#include <cstdlib>

namespace keldo {

int run(const CommandLine& commandLine) {
    abortOnXmlOutOfMemory();
    if (commandLine.mode == Mode::printUsage) {
        setLanguageOrEnglish(commandLine.language);
        printUsage();
        return EXIT_SUCCESS;
    }
    redirectStdout(); // first, since selecting the language may print a message
    redirectStderr();
    setLanguageOrEnglish(commandLine.language);
    if (commandLine.mode == Mode::execAndDiagnose) {
        repairActions(commandLine.repairIds);
    }
    diagnose();
    restoreStderr();
    restoreStdout();
    printReport();
    return EXIT_SUCCESS;
}

void diagnose() {
    checkUpgrade();
    if (noUpgradeInProgress()) {
        checkServices();
    }
}

} // namespace keldo
