// SPDX-License-Identifier: MIT

#include "monitor/definition_lines.h"

#include "monitor/service_definition_reader.h"
#include "xml/handles.h"

#include <algorithm>
#include <libxml/parser.h>
#include <vector>

namespace keldo {

namespace {

bool isElement(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, toXml(name)) != 0;
}

/// The lines of the elements of that name in all `checks` elements.
std::vector<long> linesOf(const xmlNode* service, const char* name) {
    std::vector<long> lines;
    for (const xmlNode* checks = service->children; checks != nullptr; checks = checks->next) {
        if (!isElement(checks, "checks")) {
            continue;
        }
        for (const xmlNode* node = checks->children; node != nullptr; node = node->next) {
            if (isElement(node, name)) {
                lines.push_back(xmlGetLineNo(node));
            }
        }
    }
    return lines;
}

/// The definition's line for each line of the control file.
class Lines {
public:
    /// Adds a line of the control file that contains `value`, which may have line feeds itself.
    void add(long line, const std::string& value) {
        const auto lineFeeds = static_cast<std::size_t>(std::ranges::count(value, '\n'));
        lines_.insert(lines_.end(), 1 + lineFeeds, line);
    }
    long at(long line) const {
        const auto position = static_cast<std::size_t>(line) - 1;
        return line >= 1 && position < lines_.size() ? lines_[position] : 0;
    }

private:
    std::vector<long> lines_;
};

/// The line of the element at `position`. The root's line if keldoctl uses only `count` of the
/// elements, since positions then differ.
long lineAt(const std::vector<long>& lines, std::size_t position, std::size_t count, long root) {
    return lines.size() == count ? lines[position] : root;
}

} // namespace

long definitionLine(const xmlNode* root, const ServiceDefinition& definition,
                    long controlFileLine) {
    const long rootLine = xmlGetLineNo(root);
    Lines lines;
    lines.add(rootLine, definition.id);
    if (definition.pidFile.empty()) {
        lines.add(rootLine, ""); // the address of a host check
    } else {
        const std::vector<long> pidFiles = linesOf(root, "pid-file");
        lines.add(lineAt(pidFiles, 0, pidFiles.size(), rootLine), definition.pidFile);
        const std::vector<long> sockets = linesOf(root, "unix-socket");
        for (std::size_t i = 0; i < definition.unixSockets.size(); ++i) {
            lines.add(lineAt(sockets, i, definition.unixSockets.size(), rootLine),
                      definition.unixSockets[i].path);
        }
    }
    const std::vector<long> ports = linesOf(root, "port");
    for (std::size_t i = 0; i < definition.ports.size(); ++i) {
        lines.add(lineAt(ports, i, definition.ports.size(), rootLine),
                  definition.ports[i].protocol);
    }
    return lines.at(controlFileLine);
}

long definitionLine(const std::string& path, long controlFileLine) {
    const XmlDocument document(
        xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR));
    const xmlNode* const root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    return root == nullptr
               ? 0
               : definitionLine(root, readServiceDefinition(document.get()), controlFileLine);
}

} // namespace keldo
