// SPDX-License-Identifier: MIT

#include "inspect/control_files.h"

#include "conf/config_value.h"
#include "exec/unique_fd.h"
#include "monitor/control_file.h"
#include "xml/characters.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace keldo::inspect {

namespace {

/// The process-wide state of this folder: the path of the directory of control files while there is
/// one, for the handler of SIGABRT.
std::atomic<const char*> directoryInUse = nullptr;

/// If libxml2 gets no memory, the process aborts (xml/memory.h). The abort continues after this.
extern "C" void removeDirectoryInUse(int /*signal*/) {
    if (const char* const path = directoryInUse) {
        removeDirectory(path);
    }
}

PrivateDirectory makeDirectory() {
    const std::string base = controlFileDirectory();
    const char* const bases[] = {base.c_str()};
    return {bases, "keldoctl-inspect."};
}

/// Letters and digits of ASCII, and . _ / -
bool isPlain(std::string_view text) {
    return std::ranges::all_of(text, [](char c) {
        return std::string_view("abcdefghijklmnopqrstuvwxyz0123456789._/-").find(lowerCase(c)) !=
               std::string_view::npos;
    });
}

bool isQuotable(std::string_view text) {
    return std::ranges::none_of(text, [](char c) {
        return c == '"' || c == '\'' || c == '\\' || static_cast<unsigned char>(c) < ' ' ||
               c == '\x7F';
    });
}

bool isPlain(const ServiceDefinition& definition) {
    return !definition.id.empty() && isPlain(definition.id) && isQuotable(definition.pidFile) &&
           std::ranges::all_of(definition.unixSockets,
                               [](const UnixSocketCheck& check) { return isPlain(check.path); }) &&
           std::ranges::all_of(definition.ports,
                               [](const PortCheck& check) { return isPlain(check.protocol); });
}

std::string inLowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), lowerCase);
    return text;
}

/// Returns 0, or an error number.
int writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(file, text.data(), text.size());
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == -1 ? errno : ENOSPC;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

} // namespace

ControlFileDirectory::ControlFileDirectory() : directory_(makeDirectory()) {
    directoryInUse = directory_.path().c_str();
    std::signal(SIGABRT, removeDirectoryInUse);
    directory_.sweepAbandoned();
}

ControlFileDirectory::~ControlFileDirectory() {
    std::signal(SIGABRT, SIG_DFL);
    directoryInUse = nullptr;
}

std::string controlFileDirectory() {
    return configValue("PRODUCT_ROOT_D") + "/tmp";
}

int writeControlFiles(const std::vector<const ServiceDefinition*>& definitions,
                      const std::string& path) {
    std::ostringstream text;
    for (const ServiceDefinition* const definition : definitions) {
        writeControlFile(*definition, text);
    }
    const UniqueFd file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    return file ? writeAll(file.get(), text.str()) : errno;
}

bool BatchNames::take(const ServiceDefinition& definition) {
    return isPlain(definition) && idsInLowerCase_.insert(inLowerCase(definition.id)).second;
}

} // namespace keldo::inspect
