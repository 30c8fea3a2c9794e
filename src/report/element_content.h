// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo {

/// Returns `text` as the content argument of libxml2's xmlNewChild(). An ampersand stays if it
/// begins one of XML's predefined references (&lt; &gt; &amp; &quot; &apos;) or a reference to a
/// character that XML allows (&#65; or &#x41;); any other becomes "&amp;". All versions of libxml2
/// read these references the same way. They differ on other ampersands: some versions lose text,
/// some write a document that no parser accepts. Invalid text is replaced (xml/characters.h).
std::string elementContent(std::string_view text);

} // namespace keldo
