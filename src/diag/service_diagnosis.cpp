// SPDX-License-Identifier: MIT

#include "diag/service_diagnosis.h"

#include "db/cpp_mysql.h"
#include "diag/repair.h"
#include "diag/services_to_check.h"
#include "monitor/monitor_run.h"
#include "report/problem_model.h"
#include "report/translation.h"

namespace keldo {

namespace {

bool databaseAnswers() {
    try {
        const mysql::Connection connection(true);
        return true;
    } catch (...) { // Any failure means that the panel cannot use its database.
        return false;
    }
}

bool isUp(const ServiceDefinition& service) {
    return service.id == databaseService ? databaseAnswers() : isServiceRunning(service);
}

} // namespace

void checkServices() {
    for (const ServiceDefinition& service : servicesToCheck()) {
        if (!isUp(service)) {
            reportServiceDown(service);
        }
    }
}

void reportServiceDown(const ServiceDefinition& service) {
    // Translators: <service_title> becomes the service's title, such as "Web Server";
    // keep it as it is.
    const Message message = translateWith("The <service_title> service is switched off.",
                                          Substitution{"<service_title>", service.title.text});
    const Solution restart = solutionForAction(restartActionId(service.id));
    Problem problem("service-down:" + service.id, message, Severity::major, {restart});
    problem.addDefaultSolution(restart);
    problemModel.addProblem(problem);
}

} // namespace keldo
