// SPDX-License-Identifier: MIT

#include "lint/title_text.h"

#include <gtest/gtest.h>

namespace keldo::lint {
namespace {

TEST(FaultInTitle, IsNoneOfTextAndReferences) {
    for (const char* text :
         {"", "Web Server", "a < b > c;", "Salt &amp; Pepper", "&lt;&gt;&quot;&apos;", "&#65;",
          "&#x1F600;", "&#9;&#10;&#13;&#32;", "&#xD7FF;&#xE000;&#xFFFD;&#65536;&#x10FFFF;"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(faultInTitle(text), "");
    }
}

TEST(FaultInTitle, IsAnAmpersandWithoutASemicolon) {
    for (const char* text : {"Salt & Pepper", "&", "a &amp; b & c"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(faultInTitle(text),
                  "the report loses a title with an ampersand, which is written &amp;amp; here");
    }
}

TEST(FaultInTitle, IsAnAmpersandThatBeginsNoKnownReference) {
    for (const char* text :
         {"Salt & Pepper;", "&nbsp;", "&;", "&#;", "&#x;", "&#12a;", "&#xG;", "&#0;", "&#8;",
          "&#31;", "&#xD800;", "&#xDFFF;", "&#xFFFE;", "&#x110000;", "&#99999999999;", "&#-1;",
          "&AMP;", "&#X41;", "&lt;&nbsp;"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(faultInTitle(text), "no XML parser reads a report with this ampersand, which is "
                                      "written &amp;amp; here");
    }
}

} // namespace
} // namespace keldo::lint
