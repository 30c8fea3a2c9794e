// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/tree.h>
#include <memory>
#include <string>
#include <string_view>

/// Owners of libxml2's objects, and its texts to and from std::string.

namespace keldo {

/// For xmlCheckVersion: the oldest libxml2 that will do, 2.6.27.
inline constexpr int oldestLibxml2 = 20627;

struct XmlDocumentCloser {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentCloser>;

struct XmlTextCloser {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, XmlTextCloser>;

/// The text for a libxml2 call, up to its first NUL; valid as long as `text` itself.
inline const xmlChar* toXml(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}
inline const xmlChar* toXml(const std::string& text) {
    return toXml(text.c_str());
}

/// The bytes of a text of libxml2's, valid as long as `text` itself.
inline std::string_view viewXml(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}

/// A copy of a text of libxml2's; a null one gives the empty string.
inline std::string fromXml(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

} // namespace keldo
