// SPDX-License-Identifier: MIT

#include "xml/xpath.h"

#include "support/catalogue.h"

#include <clocale>
#include <cstdio>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>
#include <optional>
#include <utility>

namespace keldo {
namespace {

/// A document with a context to evaluate expressions in.
class XPath : public testing::Test {
protected:
    std::string value(const std::string& expression) { return xpathString(expression, context); }

    const std::string text = "<r><a x='1'> one <b>two</b>\n</a><a x='2'>three</a>"
                             "<e/><!--note--></r>";
    XmlDocument document{xmlParseMemory(text.data(), static_cast<int>(text.size()))};
    std::optional<XPathContext> holder{std::in_place, document.get()};
    xmlXPathContext* const context = holder->get();
};

TEST_F(XPath, StringDependsOnTheKindOfValue) {
    const std::pair<const char*, const char*> table[] = {
        {"/r/a", " one two\n"},
        {"/r/a[2]", "three"},
        {"/r/a/@x", "1"},
        {"/r/a[.='three']/@x", "2"},
        {"/r/comment()", "note"},
        {"/r/e", ""},
        {"/r/nothing", ""},
        {"/r/a/@nothing", ""},
        {"1 = 1", "true"},
        {"1 = 2", "false"},
        {"' x '", " x "},
        {"''", ""},
        {"string(/r/a)", " one two\n"},
    };
    for (const auto& [expression, expected] : table) {
        SCOPED_TRACE(expression);
        EXPECT_EQ(expected, value(expression));
    }
}

const std::pair<const char*, const char*> numbers[] = {
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

TEST_F(XPath, StringOfANumberHasUpTo16DigitsInEveryLocale) {
    for (const char* codeset : {"", "utf8"}) {
        if (*codeset != '\0') {
            test::selectLocale(codeset, "de_DE");
            char formatted[8];
            std::snprintf(formatted, sizeof(formatted), "%.1f", 1.5);
            EXPECT_STREQ("1,5", formatted) << "this locale has no decimal comma";
        }
        for (const auto& [expression, expected] : numbers) {
            SCOPED_TRACE(expression);
            EXPECT_EQ(expected, value(expression));
        }
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

TEST_F(XPath, StringOfAnUnknownKindOfValueIsEmpty) {
    xmlXPathRegisterFunc(context, toXml("foreign"), pushForeignObject);
    const XPathObject object = evaluateXPath("foreign()", context);
    ASSERT_TRUE(object);
    EXPECT_EQ(XPATH_USERS, object->type);
    EXPECT_EQ("", value("foreign()"));
}

TEST_F(XPath, ContentOfANullNodeIsEmpty) {
    EXPECT_EQ("", nodeContent(nullptr));
}

TEST_F(XPath, ContextForTheNextDocumentIsReusedAndCleared) {
    xmlXPathRegisterNs(context, toXml("s"), toXml("urn:s"));
    context->node = document->children;
    context->contextSize = context->proximityPosition = 2;
    holder.reset();
    const XmlDocument other(xmlParseMemory("<r>other</r>", 12));
    const XPathContext next(other.get());
    EXPECT_EQ(context, next.get());
    EXPECT_EQ("other", xpathString("/r", next.get()));
    EXPECT_EQ("", xpathString("string()", next.get()));
    for (const char* expression : {"/s:r", "position()", "last()"}) {
        EXPECT_FALSE(evaluateXPath(expression, next.get())) << expression;
    }
}

TEST_F(XPath, TwoDocumentsAtTheSameTimeHaveTheirOwnContexts) {
    const XmlDocument other(xmlParseMemory("<r>other</r>", 12));
    const XPathContext next(other.get());
    EXPECT_EQ("other", xpathString("/r", next.get()));
    EXPECT_EQ("three", value("/r/a[2]"));
}

TEST_F(XPath, EvaluatesToNullWithoutAResult) {
    EXPECT_FALSE(evaluateXPath("/s:r", context));
    EXPECT_TRUE(evaluateXPath("/r/nothing", context));
}

} // namespace
} // namespace keldo
