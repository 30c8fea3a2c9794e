// SPDX-License-Identifier: MIT

#include "xml/xpath.h"

#include "support/catalogue.h"

#include <clocale>
#include <cstdio>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>

namespace keldo {
namespace {

/// A document with a context to evaluate expressions in.
class XPath : public testing::Test {
protected:
    std::string value(const std::string& expression) {
        return xpathString(expression, context.get());
    }

    const std::string text = "<r><a x='1'> one <b>two</b>\n</a><a x='2'>three</a>"
                             "<e/><!--note--></r>";
    XmlDocument document{xmlParseMemory(text.data(), static_cast<int>(text.size()))};
    XPathContext context = xpathContext(document.get());
};

TEST_F(XPath, StringOfANodeSetIsTheUntrimmedTextOfItsFirstNode) {
    EXPECT_EQ(" one two\n", value("/r/a"));
    EXPECT_EQ("three", value("/r/a[2]"));
    EXPECT_EQ("1", value("/r/a/@x"));
    EXPECT_EQ("2", value("/r/a[.='three']/@x"));
    EXPECT_EQ("note", value("/r/comment()"));
    EXPECT_EQ("", value("/r/e"));
}

TEST_F(XPath, StringOfAnEmptyNodeSetIsEmpty) {
    EXPECT_EQ("", value("/r/nothing"));
    EXPECT_EQ("", value("/r/a/@nothing"));
}

TEST_F(XPath, StringOfABooleanIsAWord) {
    EXPECT_EQ("true", value("1 = 1"));
    EXPECT_EQ("false", value("1 = 2"));
}

TEST_F(XPath, StringOfAStringIsTheStringItself) {
    EXPECT_EQ(" x ", value("' x '"));
    EXPECT_EQ("", value("''"));
    EXPECT_EQ(" one two\n", value("string(/r/a)"));
}

const struct {
    const char* expression;
    const char* text;
} numbers[] = {
    {"count(/r/a)", "2"},
    {"count(/r/nothing)", "0"},
    {"10000", "10000"},
    {"1234567", "1234567"},
    {"-3", "-3"},
    {"1.5", "1.5"},
    {"-0.25", "-0.25"},
    {"1 div 3", "0.3333333333333333"},
    {"2 div 3", "0.6666666666666666"},
    {"0.1", "0.1"},
    {"12345.678", "12345.678"},
    {"9007199254740991", "9007199254740991"},
    {"123456789012345678", "1.234567890123457e+17"},
    {"1 div 3000000", "3.333333333333334e-07"},
    {"1 div 0", "inf"},
    {"-1 div 0", "-inf"},
};

TEST_F(XPath, StringOfANumberHasUpToSixteenSignificantDigits) {
    for (const auto& row : numbers) {
        SCOPED_TRACE(row.expression);
        EXPECT_EQ(row.text, value(row.expression));
    }
}

TEST_F(XPath, StringOfANumberIsTheSameInEveryLocale) {
    test::selectLocale("utf8", "de_DE");
    char formatted[8];
    std::snprintf(formatted, sizeof(formatted), "%.1f", 1.5);
    EXPECT_STREQ("1,5", formatted) << "this locale has no decimal comma";
    for (const auto& row : numbers) {
        SCOPED_TRACE(row.expression);
        EXPECT_EQ(row.text, value(row.expression));
    }
    std::setlocale(LC_ALL, "C");
}

TEST_F(XPath, StringIsEmptyWithoutAResult) {
    for (const char* expression : {"", "/r/a[", "'", "/s:r", "unknown(1)", "/r/a[. = 'it's']"}) {
        SCOPED_TRACE(expression);
        EXPECT_EQ("", value(expression));
    }
}

void pushForeignObject(xmlXPathParserContext* parser, int /*argumentCount*/) {
    static int object = 0;
    valuePush(parser, xmlXPathWrapExternal(&object));
}

TEST_F(XPath, StringOfAnyOtherKindOfValueIsEmpty) {
    xmlXPathRegisterFunc(context.get(), toXml("foreign"), pushForeignObject);
    const XPathObject object = evaluateXPath("foreign()", context.get());
    ASSERT_TRUE(object);
    EXPECT_EQ(XPATH_USERS, object->type);
    EXPECT_EQ("", value("foreign()"));
}

TEST_F(XPath, ContentOfNoNodeIsEmpty) {
    EXPECT_EQ("", nodeContent(nullptr));
}

TEST_F(XPath, ContextIsAsNewForTheNextDocument) {
    xmlXPathRegisterNs(context.get(), toXml("s"), toXml("urn:s"));
    context->node = document->children;
    context->contextSize = context->proximityPosition = 2;
    const xmlXPathContext* const previous = context.get();
    context.reset();
    const XmlDocument other(xmlParseMemory("<r>other</r>", 12));
    const XPathContext next = xpathContext(other.get());
    EXPECT_EQ(previous, next.get());
    EXPECT_EQ("other", xpathString("/r", next.get()));
    EXPECT_EQ("", xpathString("string()", next.get()));
    EXPECT_FALSE(evaluateXPath("/s:r", next.get()));
    EXPECT_FALSE(evaluateXPath("position()", next.get()));
    EXPECT_FALSE(evaluateXPath("last()", next.get()));
}

TEST_F(XPath, TwoDocumentsAtATimeHaveAContextEach) {
    const XmlDocument other(xmlParseMemory("<r>other</r>", 12));
    const XPathContext next = xpathContext(other.get());
    EXPECT_EQ("other", xpathString("/r", next.get()));
    EXPECT_EQ("three", value("/r/a[2]"));
}

TEST_F(XPath, EvaluatesToNullWhereLibxml2GivesNoResult) {
    EXPECT_FALSE(evaluateXPath("/s:r", context.get()));
    EXPECT_TRUE(evaluateXPath("/r/nothing", context.get()));
}

} // namespace
} // namespace keldo
