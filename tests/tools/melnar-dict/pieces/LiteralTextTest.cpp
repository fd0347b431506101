#include "tools/melnar-dict/pieces/LiteralText.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string getText(const std::string_view lexicalForm, const uint8_t datatypeID) {
    std::string output = "before \xC2\x80";
    const size_t begin = output.size();
    appendLiteralText(lexicalForm, datatypeID, output);
    EXPECT_EQ("before \xC2\x80", output.substr(0, begin)) << "what stands before is not touched";
    return output.substr(begin);
}

std::string getFlaw(const std::string_view lexicalForm, const uint8_t datatypeID) {
    const char* const flaw = findLiteralFlaw(lexicalForm, datatypeID);
    return flaw == nullptr ? "" : flaw;
}

TEST(LiteralTextTest, isTurtle) {
    EXPECT_EQ("\"\"", getText({}, D_XSD_STRING));
    EXPECT_EQ("\"a \\\"b\\\" \\\\\"", getText("a \"b\" \\", D_XSD_STRING));
    EXPECT_EQ("\"a@b\"@en-GB", getText("a@b@en-GB", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("\"\xC2\xA0\xC3\xA4\xE6\xBC\xA2\"", getText("\xC2\xA0\xC3\xA4\xE6\xBC\xA2", D_XSD_STRING));
}

TEST(LiteralTextTest, controlCharactersAreEscaped) {
    EXPECT_EQ("\"\\u001B[2J\\u007F\\n\\u009B2J\\u0080\\u009F\xC2\xA0\"@en", getText("\x1B[2J\x7F\n\xC2\x9B"
                                                                                    "2J\xC2\x80\xC2\x9F\xC2\xA0@en",
                                                                                    D_RDF_PLAIN_LITERAL));
}

TEST(LiteralTextTest, whatNoRdfFileCanHoldIsFound) {
    for (const char* const text : {"", "text", "text@en", "text@", "\x1B@\x1B", "\xC2\x9B"})
        EXPECT_EQ("", getFlaw(text, D_XSD_STRING)) << text;
    EXPECT_EQ("", getFlaw("text@en-GB-1996", D_RDF_PLAIN_LITERAL));
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        for (const char* const text : {"\xFF@en", "a\xC3@en", "\xED\xA0\x80@en", "a@e\xFF"})
            EXPECT_EQ("its text is not UTF-8", getFlaw(text, datatypeID)) << text;
    for (const char* const text : {"", "no tag", "a@", "a@\x1B[2J", "a@e n", "a@en\n", "a@1", "a@en-", "@\xC3\xA4"})
        EXPECT_EQ("its language tag is malformed", getFlaw(text, D_RDF_PLAIN_LITERAL)) << text;
}

TEST(LiteralTextTest, theTagOfAPlainLiteralIsSplitOffAtTheLastAtSign) {
    const auto split = [](const std::string_view form, const uint8_t datatypeID) {
        const LiteralParts parts = splitLiteral(form, datatypeID);
        return std::pair(parts.m_text, parts.m_tag);
    };
    using Parts = std::pair<std::string_view, std::string_view>;
    EXPECT_EQ(Parts("a@b", "en"), split("a@b@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(Parts("", "en"), split("@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(Parts("a@en", ""), split("a@en", D_XSD_STRING));
    EXPECT_EQ(Parts("", ""), split("", D_XSD_STRING));
}

} // namespace
