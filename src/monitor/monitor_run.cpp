// SPDX-License-Identifier: MIT

#include "monitor/monitor_run.h"

#include "conf/config_value.h"
#include "exec/command_runner.h"
#include "exec/ending_signals.h"
#include "exec/file_remover.h"
#include "monitor/control_file.h"
#include "xml/handles.h"
#include "xml/xpath.h"

#include <boost/lexical_cast.hpp>
#include <libxml/parser.h>
#include <limits>

namespace keldo {

namespace {

constexpr int allTestsPassed = 0;

/// The size of a text as an int, which libxml2 takes. 0 if the text is too long: libxml2 refuses to
/// parse 0 bytes.
int sizeForXml(const std::string& text) {
    return text.size() <= std::numeric_limits<int>::max() ? static_cast<int>(text.size()) : 0;
}

/// Runs monit on the service's control file and returns what it prints. The control file is gone
/// afterwards, even if a signal or an exception ends the run.
std::string monitorOutput(const ServiceDefinition& definition) {
    HeldEndingSignals held;
    const std::string controlFile = writeMonitorConfig(definition);
    const FileRemover remover(controlFile);
    held.release();
    const std::string command = monitorPath() + " -c " + controlFile + " -x check-status";
    return runCommand(command, false).output;
}

} // namespace

std::string monitorPath() {
    return configValue("PRODUCT_ROOT_D") + "/admin/sbin/monit";
}

bool isServiceRunning(const ServiceDefinition& definition) {
    const std::string output = monitorOutput(definition);
    return monitorStatus(definition.id, output, allTestsPassed) == allTestsPassed;
}

int monitorStatus(const std::string& name, const std::string& output, int defaultStatus) {
    xmlCheckVersion(oldestLibxml2);
    const XmlDocument document(xmlParseMemory(output.data(), sizeForXml(output)));
    if (!document) {
        return defaultStatus;
    }
    const XPathContext context(document.get());
    if (context.get() == nullptr) {
        return defaultStatus;
    }
    const std::string status =
        xpathString("/monit/service/status[../name='" + name + "']", context.get());
    return status.empty() ? defaultStatus : boost::lexical_cast<int>(status);
}

} // namespace keldo
