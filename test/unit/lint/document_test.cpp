// SPDX-License-Identifier: MIT

#include "lint/document.h"

#include "lint/definition_text.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <stdexcept>

namespace keldo::lint {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Lines = std::vector<std::string>;

/// Reads files below a temporary directory.
class ReadDocument : public testing::Test {
protected:
    /// The findings in a file with this text. Expects null if and only if one of them is an error.
    Lines findingsIn(const std::string& text) const {
        Findings findings;
        const XmlDocument document = readDocument(directory.write("a.xml", text), findings);
        const bool hasError = !findings.empty() && findings.front().level == Level::error;
        EXPECT_EQ(document == nullptr, hasError);
        return test::linesOf(findings);
    }

    const keldo::test::TemporaryDirectory directory;
};

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string withEntities(const std::string& declarations, const std::string& content) {
    return "<!DOCTYPE a [" + declarations + "]>\n<a>" + content + "</a>";
}

std::string numberedAttributes(int count) {
    std::string attributes;
    for (int i = 0; i < count; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    return attributes;
}

std::string ofSize(std::size_t size) {
    const std::string frame = "<a></a>";
    return "<a>" + std::string(size - frame.size(), 'x') + "</a>";
}

const std::string tooLarge = "1: error: the file is larger than 256 KiB, so it was not checked";
const std::string tooMuchText = "error: entities and default attributes expand to more than 512 "
                                "KiB, so the file was not checked";
const std::string tooManyAttributes =
    "error: an element has more than 100 attributes, so the file was not checked";

TEST_F(ReadDocument, ReportsWhatIsNotXml) {
    // Some versions of libxml2 have a second complaint about the same mistake.
    EXPECT_EQ(findingsIn("<service>\n<title>\n</service>\n").at(0),
              "3: error: this is not XML -- Opening and ending tag mismatch: title line 2 and "
              "service");
    EXPECT_THAT(findingsIn(""), ElementsAre("1: error: this is not XML -- Document is empty"));
    EXPECT_THAT(findingsIn(withEntities("<!ENTITY a '&b;'><!ENTITY b '&a;'>", "&a;")),
                testing::Contains(testing::HasSubstr("Detected an entity reference loop")));
}

TEST_F(ReadDocument, WarnsOfComplaintsAboutWellFormedXml) {
    EXPECT_THAT(findingsIn("\n<x:y/>"),
                ElementsAre(StartsWith("2: warning: keldoctl reads this, but it is not good XML -- "
                                       "Namespace prefix x")));
    // An external subset, which is not read, could declare it.
    EXPECT_THAT(findingsIn("<!DOCTYPE a SYSTEM 'a.dtd'>\n<a>&b;</a>"),
                ElementsAre(StartsWith("2: warning: keldoctl reads this, but it is not good XML -- "
                                       "Entity 'b' not defined")));
}

TEST_F(ReadDocument, AcceptsFilesUpToTheirLimits) {
    const std::string long1 = std::string(100000, 'x');
    for (const std::string& text : {
             ofSize(256 * 1024),
             "<a" + numberedAttributes(100) + "/>",
             withEntities("<!ENTITY e '" + long1 + "'>", repeated("&e;", 5)),
             withEntities("<!ENTITY e SYSTEM 'file:///dev/zero'>", repeated("&e;", 1000)),
         }) {
        SCOPED_TRACE(text.substr(0, 100));
        EXPECT_THAT(findingsIn(text), IsEmpty());
    }
}

TEST_F(ReadDocument, RefusesLargeFiles) {
    EXPECT_THAT(findingsIn(ofSize(256 * 1024 + 1)), ElementsAre(tooLarge));
    // Without a limit, reading this file would not end.
    Findings findings;
    EXPECT_EQ(readDocument("/dev/zero", findings), nullptr);
    EXPECT_THAT(test::linesOf(findings), ElementsAre(tooLarge));
}

TEST_F(ReadDocument, RefusesCompressedFiles) {
    // The first bytes of a file that gzip made.
    EXPECT_THAT(findingsIn("\x1F\x8B\b"),
                ElementsAre("1: error: the file is compressed, so it was not checked"));
    EXPECT_THAT(findingsIn("\x1F"), Not(ElementsAre(testing::HasSubstr("compressed"))));
}

TEST_F(ReadDocument, RefusesElementsWithManyAttributes) {
    const std::string namespaces = " xmlns:a='urn:a' xmlns:b='urn:b'";
    for (const std::string& text :
         {"\n<a" + numberedAttributes(101) + "/>",
          "\n<a" + numberedAttributes(99) + namespaces + "/>",
          withEntities("<!ATTLIST a " + repeated("b CDATA '' ", 1) + "c CDATA ''>",
                       "<a" + numberedAttributes(99) + "/>")}) {
        SCOPED_TRACE(text.substr(0, 100));
        EXPECT_THAT(findingsIn(text), ElementsAre("2: " + tooManyAttributes));
    }
}

TEST_F(ReadDocument, RefusesTextThatExpandsBeyondTheLimit) {
    const std::string text = std::string(100000, 'x');
    const std::string entity = "<!ENTITY e '" + text + "'>";
    const std::pair<std::string, std::string> table[] = {
        {"in an element", withEntities(entity, repeated("&e;", 6))},
        {"in several elements", withEntities(entity, repeated("<b>&e;</b>", 6))},
        {"in an attribute", withEntities(entity, "<b c='" + repeated("&e;", 6) + "'/>")},
        {"in another entity", withEntities(entity + "<!ENTITY f '&e;&e;&e;'>", "&f;&f;")},
        {"as elements",
         withEntities("<!ENTITY e '" + repeated("<b/>", 1000) + "'>", repeated("&e;", 140))},
        {"as default attributes",
         withEntities("<!ATTLIST b c CDATA '" + text + "'>", repeated("<b/>", 6))},
    };
    for (const auto& [place, definition] : table) {
        SCOPED_TRACE(place);
        EXPECT_THAT(findingsIn(definition), ElementsAre(testing::EndsWith(tooMuchText)));
    }
}

TEST_F(ReadDocument, LeavesLibxmlWithoutAnErrorHandler) {
    findingsIn("<a/>");
    EXPECT_EQ(xmlStructuredError, nullptr);
}

TEST_F(ReadDocument, ThrowsIfTheFileCannotBeRead) {
    const std::pair<std::string, const char*> table[] = {
        {directory.path() / "missing.xml", "cannot read the file -- No such file or directory"},
        {directory.path(), "cannot read the file -- Is a directory"},
    };
    for (const auto& [path, message] : table) {
        SCOPED_TRACE(path);
        EXPECT_THAT(
            [&file = path] {
                Findings findings;
                readDocument(file, findings);
            },
            testing::ThrowsMessage<std::runtime_error>(message));
    }
}

} // namespace
} // namespace keldo::lint
