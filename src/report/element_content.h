// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace keldo {

/// Returns `text` as the content argument of libxml2's xmlNewChild(). An ampersand stays if it
/// begins one of XML's predefined references (&lt; &gt; &amp; &quot; &apos;) or a reference to a
/// character that XML allows (&#65; or &#x41;); any other becomes "&amp;". Every libxml2 reads
/// these references alike, but each version makes something else of other ampersands: it loses the
/// text or writes a document that no parser accepts. Invalid text is replaced (xml/characters.h).
std::string elementContent(std::string_view text);

} // namespace keldo
