#include "monitor/monitor_status.h"

#include "conf/config_value.h"
#include "exec/command_runner.h"
#include "monitor/file_remover.h"
#include "monitor/monitor_configuration.h"
#include "monitor/xpath.h"
#include "report/xml_handles.h"

#include <boost/lexical_cast.hpp>
#include <libxml/parser.h>

namespace keldo {

namespace {

constexpr int allTestsPassed = 0;

/// What monit prints when run on the control file, which is removed.
std::string monitorOutput(const std::string& controlFile) {
    const FileRemover remover(controlFile);
    const std::string command = monitorPath() + " -c " + controlFile + " -x check-status";
    return runCommand(command, false).output;
}

} // namespace

std::string monitorPath() {
    return configValue("PRODUCT_ROOT_D") + "/admin/sbin/monit";
}

bool isServiceRunning(const ServiceDefinition& definition) {
    const std::string output = monitorOutput(writeMonitorConfig(definition));
    return monitorStatus(definition.id, output, allTestsPassed) == allTestsPassed;
}

int monitorStatus(const std::string& name, const std::string& output, int defaultStatus) {
    xmlCheckVersion(oldestLibxml2);
    const XmlDocument document(xmlParseMemory(output.data(), static_cast<int>(output.size())));
    if (!document) {
        return defaultStatus;
    }
    const XPathContext context(xmlXPathNewContext(document.get()));
    if (!context) {
        return defaultStatus;
    }
    const std::string status =
        xpathString("/monit/service/status[../name='" + name + "']", context.get());
    return status.empty() ? defaultStatus : boost::lexical_cast<int>(status);
}

} // namespace keldo
