// SPDX-License-Identifier: MIT

#pragma once

#include <libxml/tree.h>
#include <memory>
#include <string>
#include <string_view>

/// Owners of libxml2 objects, and conversions between libxml2's strings and ours.

namespace keldo {

/// The oldest libxml2 that we accept, 2.6.27, as xmlCheckVersion() takes it.
inline constexpr int oldestLibxml2 = 20627;

struct XmlDocumentCloser {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentCloser>;

struct XmlTextCloser {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, XmlTextCloser>;

/// `text` as a libxml2 argument, up to its first NUL; valid as long as `text`. Null stays null.
inline const xmlChar* toXml(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}
inline const xmlChar* toXml(const std::string& text) {
    return toXml(text.c_str());
}

/// The bytes of a libxml2 string that is not null; valid as long as `text`.
inline std::string_view viewXml(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}

/// A copy of a libxml2 string; empty if `text` is null.
inline std::string fromXml(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

} // namespace keldo
