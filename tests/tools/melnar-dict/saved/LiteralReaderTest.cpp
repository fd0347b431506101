#include "tools/melnar-dict/saved/LiteralReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

/// The literal as TEXT, TEXT@TAG or TEXT^^DATATYPE; or the column and the cause of the error.
std::string read(const std::string& text) {
    LiteralReader reader;
    Rdf::Term literal;
    if (const std::optional<InputError> error = reader.read(text, literal))
        return std::to_string(error->m_column) + ": " + error->m_cause;
    std::string result(literal.m_text);
    if (!literal.m_tag.empty())
        result.append("@").append(literal.m_tag);
    if (!literal.m_datatype.empty())
        result.append("^^").append(literal.m_datatype);
    return result;
}

TEST(LiteralReaderTest, takesAllKindsOfQuotes) {
    for (const char* const text :
         {"\"a\"", "'a'", "\"\"\"a\"\"\"", "'''a'''", "  \"a\"\t\r\n", "\"\\u0061\"", "'\\u0061'"})
        EXPECT_EQ("a", read(text)) << text;
    EXPECT_EQ("", read("\"\""));
    EXPECT_EQ("a\n\"b\"", read("'''a\n\"b\"'''"));
    EXPECT_EQ("it's", read("\"it's\""));
    EXPECT_EQ("\xC3\xA4", read("\"\xC3\xA4\""));
}

TEST(LiteralReaderTest, takesTagsAndTheDatatypesOfStrings) {
    EXPECT_EQ("a@de-AT", read("'a'@de-AT"));
    const std::string xsdString = "a^^http://www.w3.org/2001/XMLSchema#string";
    EXPECT_EQ(xsdString, read("\"a\"^^xsd:string"));
    EXPECT_EQ(xsdString, read("\"a\" ^^ <http://www.w3.org/2001/XMLSchema#string> "));
    EXPECT_EQ("a@en^^http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral", read("\"a@en\"^^rdf:PlainLiteral"));
    EXPECT_EQ(xsdString, read("\"a@\"^^rdf:PlainLiteral")) << "as the dictionary has it";
}

TEST(LiteralReaderTest, hintsAtQuotesThatAreMissing) {
    for (const auto& [text, hint] : {std::pair("foo", "\"foo\""),
                                     {"foo@en", "\"foo\"@en"},
                                     {" a b ", "\"a b\""},
                                     {"5", "\"5\""},
                                     {"say \"hi\"", "\"say \\\"hi\\\"\""},
                                     {"x@", "\"x@\""},
                                     {"\xC3\xA4@x@de", "\"\xC3\xA4@x\"@de"}})
        EXPECT_TRUE(read(text).ends_with("; did you mean '" + std::string(hint) + "'?")) << read(text);
    for (const std::string& text :
         {std::string(), std::string("  "), std::string("<urn:x>"), std::string(101, 'x'), std::string("\xFF")})
        EXPECT_EQ(std::string::npos, read(text).find("did you mean")) << read(text);
}

TEST(LiteralReaderTest, refusesWhatIsNotALiteralOrMore) {
    EXPECT_EQ("1: expected a literal in quotes, found the end of the text", read(""));
    EXPECT_EQ("1: expected a literal in quotes, found '<'", read("<urn:x>"));
    EXPECT_EQ("1: this string is not closed: expected its closing quote, found the end of the text", read("\"a"));
    EXPECT_EQ("4: expected the end of the literal, found ','", read("\"a\", \"b\""));
    EXPECT_EQ("5: expected the end of the literal, found '.'", read("\"a\" ."));
    EXPECT_EQ("5: expected the end of the literal, found '#'", read("\"a\" #"));
    EXPECT_EQ("6: expected the end of the literal, found 'x'", read(" '\xC3\xA4' x"));
    EXPECT_EQ("1: this string is not closed: expected its closing quote, found the end of the line", read("\"a\nb\""));
}

TEST(LiteralReaderTest, refusesLiteralsThatHaveNoID) {
    EXPECT_EQ("2: a literal of datatype <urn:t> has no ID; those of xsd:string and rdf:PlainLiteral have",
              read(" \"5\"^^<urn:t>"));
    EXPECT_EQ("1: a literal with a text direction has no ID", read("'x'@ar--rtl"));
    EXPECT_EQ("6: expected an IRI in angle brackets, xsd:string or rdf:PlainLiteral, found 'xsd:integer'",
              read("\"5\"^^xsd:integer"));
    EXPECT_EQ("6: expected an IRI in angle brackets, xsd:string or rdf:PlainLiteral, found the end of the text",
              read("\"5\"^^"));
}

TEST(LiteralReaderTest, refusesTextThatIsNotUtf8) {
    for (const auto& [text, column] :
         {std::pair("\xFF", 1), {"\"\xFF\"", 2}, {"\"a\"\xFF", 4}, {"\"a\"@en\xFF", 7}, {" \xC3", 2}})
        EXPECT_EQ(std::to_string(column), read(text).substr(0, 1)) << read(text);
}

} // namespace
