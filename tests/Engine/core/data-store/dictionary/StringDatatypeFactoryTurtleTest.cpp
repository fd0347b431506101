#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include "tests/Engine/core/data-store/dictionary/RecordingOutputStream.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

const DictionaryDatatypeFactory& getStringFactory() {
    return *DictionaryDatatypeFactory::getFactory(D_XSD_STRING);
}

std::vector<std::string> print(const std::string_view lexicalForm, const uint8_t datatypeID) {
    const StringValue value(lexicalForm, datatypeID);
    RecordingOutputStream output;
    getStringFactory().printTurtleLiteral(datatypeID, value.m_data, value.m_dataSize, nullptr, 0, Prefixes(), output);
    return output.getWrites();
}

/// Expects that both ways of writing give this text.
void expectTurtle(const std::string& expected, const std::string_view lexicalForm, const uint8_t datatypeID) {
    const StringValue value(lexicalForm, datatypeID);
    Prefixes prefixes;
    prefixes.declare("xsd", "http://www.w3.org/2001/XMLSchema#");
    const uint8_t auxiliaryData[] = {'@', 'x', 0};
    std::string text = "before ";
    getStringFactory().appendTurtleLiteral(datatypeID, value.m_data, value.m_dataSize, auxiliaryData, 3, prefixes,
                                           text);
    EXPECT_EQ("before " + expected, text);
    RecordingOutputStream output;
    getStringFactory().printTurtleLiteral(datatypeID, value.m_data, value.m_dataSize, auxiliaryData, 3, prefixes,
                                          output);
    EXPECT_EQ(expected, output.getBytes());
}

} // namespace

TEST(StringDatatypeFactoryTurtleTest, anXsdStringIsQuotedAndHasNoSuffix) {
    expectTurtle("\"hello\"", "hello", D_XSD_STRING);
}

TEST(StringDatatypeFactoryTurtleTest, theEmptyStringIsTwoQuotes) {
    expectTurtle("\"\"", "", D_XSD_STRING);
}

TEST(StringDatatypeFactoryTurtleTest, aTagFollowsTheQuotedText) {
    expectTurtle("\"hello\"@en", "hello@en", D_RDF_PLAIN_LITERAL);
    expectTurtle("\"\"@en", "@en", D_RDF_PLAIN_LITERAL);
    expectTurtle("\"hello\"@en-GB", "hello@en-GB", 42);
}

TEST(StringDatatypeFactoryTurtleTest, onlyTheLastAtSignStartsTheTag) {
    expectTurtle("\"a@b\"@en", "a@b@en", D_RDF_PLAIN_LITERAL);
}

TEST(StringDatatypeFactoryTurtleTest, anAtSignInAnXsdStringIsText) {
    expectTurtle("\"x@y\"", "x@y", D_XSD_STRING);
    expectTurtle("\"x@\"", "x@", D_XSD_STRING);
}

TEST(StringDatatypeFactoryTurtleTest, aPlainLiteralWithoutAtSignLooksLikeAnXsdString) {
    expectTurtle("\"hello\"", "hello", D_RDF_PLAIN_LITERAL);
    expectTurtle("\"\"", "", D_RDF_PLAIN_LITERAL);
}

TEST(StringDatatypeFactoryTurtleTest, theTextIsEscapedAndTheTagIsNot) {
    expectTurtle("\"a\\\"b\\\\c\\n\\r\\t\\b\\f\\u0001\\u007F\xC3\xA9\"", "a\"b\\c\n\r\t\b\f\x01\x7F\xC3\xA9",
                 D_XSD_STRING);
    expectTurtle("\"a\\\"\\n\"@en", "a\"\n@en", D_RDF_PLAIN_LITERAL);
    expectTurtle("\"a\"@\"\n", "a@\"\n", D_RDF_PLAIN_LITERAL); // no parser produces such a tag
    expectTurtle("\"a\\u0000b\"", std::string_view("a\0b", 3), D_XSD_STRING);
}

TEST(StringDatatypeFactoryTurtleTest, theStreamGetsQuoteTextQuoteAndTagOneByOne) {
    EXPECT_EQ((std::vector<std::string>{"\"", "hello", "\""}), print("hello", D_XSD_STRING));
    EXPECT_EQ((std::vector<std::string>{"\"", "a@b", "\"", "@en"}), print("a@b@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ((std::vector<std::string>{"\"", "\""}), print("", D_XSD_STRING));
    EXPECT_EQ((std::vector<std::string>{"\"", "\"", "@en"}), print("@en", D_RDF_PLAIN_LITERAL));
}
