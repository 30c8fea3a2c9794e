// SPDX-License-Identifier: MIT

#include "monitor/control_file.h"

#include "conf/config_value.h"
#include "conf/handles.h"
#include "exec/file_remover.h"
#include "exec/unique_fd.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace keldo {

namespace {

constexpr const char* lineIndent = "\t";

/// Creates the empty control file and returns its path. If mkstemp fails, the path names no file;
/// if there is no memory for the name, the path is empty.
std::string makeTemporaryFile() {
    std::string path = configValue("PRODUCT_ROOT_D") + "/tmp/monitrcXXXXXX";
    const heap_text name(strdup(path.c_str()));
    if (!name) {
        return "";
    }
    if (const UniqueFd file(mkstemp(name.get())); file) {
        fchmod(file.get(), S_IRUSR | S_IWUSR); // whatever the umask
    }
    path = name.get(); // as long as before, so it needs no memory and cannot fail
    return path;
}

const char* typePart(PortType type) {
    switch (type) {
    case PortType::UDP:
        return " type UDP ";
    case PortType::TCPSSL:
        return " type TCPSSL ";
    case PortType::TCP:
        break;
    }
    return "";
}

void writeProcessCheck(const ServiceDefinition& definition, std::ostream& stream) {
    stream << "check process " << definition.id << std::endl;
    stream << lineIndent << "with pidfile \"" << definition.pidFile << "\"" << std::endl;
    writeUnixSocketTests(definition.unixSockets, stream, lineIndent);
    writePortTests(definition.ports, stream, lineIndent);
}

void writeHostCheck(const ServiceDefinition& definition, std::ostream& stream) {
    stream << "check host " << definition.id << std::endl;
    stream << lineIndent << "with address 127.0.0.1" << std::endl;
    writePortTests(definition.ports, stream, lineIndent);
}

} // namespace

void writeControlFile(const ServiceDefinition& definition, std::ostream& stream) {
    if (!definition.pidFile.empty()) {
        writeProcessCheck(definition, stream);
    } else if (!definition.ports.empty()) {
        writeHostCheck(definition, stream);
    }
}

std::string writeMonitorConfig(const ServiceDefinition& definition) {
    std::string path = makeTemporaryFile();
    if (path.empty()) {
        return path;
    }
    FileRemover remover(path);
    std::ofstream stream(path, std::ios::out | std::ios::trunc);
    writeControlFile(definition, stream);
    remover.release();
    return path;
}

std::string portTestLine(const PortCheck& port) {
    const std::string protocolPart = port.protocol.empty() ? "" : " protocol " + port.protocol;
    return "if failed port " + std::to_string(port.number) + typePart(port.type) + protocolPart +
           " then alert";
}

std::string unixSocketTestLine(const std::string& path) {
    return "if failed unixsocket " + path + " then alert";
}

void writePortTests(const std::vector<PortCheck>& ports, std::ostream& stream,
                    const std::string& indent) {
    for (const PortCheck& port : ports) {
        stream << indent << portTestLine(port) << std::endl;
    }
}

void writeUnixSocketTests(const std::vector<UnixSocketCheck>& sockets, std::ostream& stream,
                          const std::string& indent) {
    for (const UnixSocketCheck& socket : sockets) {
        stream << indent << unixSocketTestLine(socket.path) << std::endl;
    }
}

} // namespace keldo
