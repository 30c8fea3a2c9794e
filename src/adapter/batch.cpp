// SPDX-License-Identifier: MIT

#include "adapter/batch.h"

#include "xml/characters.h"

#include <algorithm>
#include <cstddef>

namespace keldo::adapter {

namespace {

using std::chrono::microseconds;

/// An element with text content. U+FFFD replaces text that XML cannot carry.
std::string element(std::string_view name, std::string_view text) {
    const std::string tag(name);
    return "<" + tag + ">" + escapeXml(text) + "</" + tag + ">";
}

std::string line(std::string_view indent, const std::string& content) {
    return std::string(indent) + content + "\n";
}

/// Seconds with three decimals. The locale does not matter.
std::string secondsOf(microseconds time) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    const std::string fraction = std::to_string(milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + "." + std::string(3 - fraction.size(), '0') +
           fraction;
}

/// A text that XML can carry: `text` without line feeds at the end, cut to 4 KiB.
std::string shortened(std::string_view text) {
    constexpr size_t most = 4096;
    // If the text has only line feeds, find_last_not_of() returns npos, and npos + 1 is 0.
    text = text.substr(0, text.find_last_not_of('\n') + 1);
    std::string words = replaceInvalidXml(text).value_or(std::string(text));
    if (words.size() > most) {
        size_t end = most;
        while ((static_cast<unsigned char>(words[end]) & 0xC0) == 0x80) {
            --end; // not in the middle of a character
        }
        words.resize(end);
    }
    return words;
}

std::string wordsElement(std::string_view indent, std::string_view text) {
    const std::string words = shortened(text);
    return words.empty() ? "" : line(indent, element("words", words));
}

/// The lines of `printed` that monit printed for the service `name`.
std::string linesFor(const std::string& name, std::string_view printed) {
    const std::string begin = "'" + name + "'";
    std::string lines;
    while (!printed.empty()) {
        const std::string_view line = printed.substr(0, printed.find('\n'));
        printed.remove_prefix(std::min(printed.size(), line.size() + 1));
        if (line.starts_with(begin)) {
            lines.append(line).append("\n");
        }
    }
    return lines;
}

/// How long the tests of a service took. Monit checks one service after another, so the tests began
/// when the previous check ended.
microseconds durationOf(const Service& service, const Findings& findings) {
    microseconds begin = findings.begin.value_or(microseconds(0));
    for (const Service& other : findings.services) {
        if (other.collected < service.collected) {
            begin = std::max(begin, other.collected);
        }
    }
    // The clock may have been set back, and the time of the first check may be unknown.
    return begin.count() == 0 ? begin : std::max(service.collected - begin, microseconds(0));
}

std::string resultElement(std::string_view kind, std::string_view target,
                          const ConnectionResult& result) {
    const std::string tag(kind);
    return line("    ", "<" + tag + ">" + element(target, result.target) +
                            element("responsetime", result.responseTime) + "</" + tag + ">");
}

std::string serviceElement(const Service& service, const Findings& findings) {
    constexpr std::string_view indent = "    ";
    std::string text = "  <service>\n";
    text += line(indent, element("name", service.name));
    text += line(indent, element("status", statusOf(service)));
    text += line(indent, element("monitor", service.monitor));
    text += line(indent, element("checked", service.isChecked() ? "1" : "0"));
    text += line(indent, element("seconds", secondsOf(durationOf(service, findings))));
    for (const ConnectionResult& port : service.ports) {
        text += resultElement("port", "number", port);
    }
    for (const ConnectionResult& path : service.unixPaths) {
        text += resultElement("unix", "path", path);
    }
    text += wordsElement(indent, linesFor(service.name, findings.printed));
    return text + "  </service>\n";
}

constexpr const char* declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

} // namespace

std::string batchDocumentOf(const Findings& findings) {
    std::string document = std::string(declaration) + "<monit batch=\"1\">\n";
    for (const Service& service : findings.services) {
        document += serviceElement(service, findings);
    }
    return document + "</monit>\n";
}

std::string refusalDocumentOf(std::string_view printed) {
    return std::string(declaration) + "<monit batch=\"1\" refused=\"1\">\n" +
           wordsElement("  ", printed) + "</monit>\n";
}

} // namespace keldo::adapter
