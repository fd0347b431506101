#include "tools/melnar-dict/saved/TermReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

constexpr const char* XSD = "http://www.w3.org/2001/XMLSchema#";
constexpr const char* RDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";

/// Returns the kind's letter if it is no literal, the lexical form, and the datatype of a string whose form does not
/// determine it; or the column and the cause of the error.
std::string read(const std::string& text) {
    TermReader reader;
    Term term;
    if (const std::optional<InputError> error = reader.read(text, term))
        return std::to_string(error->m_column) + ": " + error->m_cause;
    std::string result = term.m_kind == Term::Kind::IRI           ? "I "
                         : term.m_kind == Term::Kind::BLANK_NODE  ? "B "
                         : term.m_kind == Term::Kind::TRIPLE_TERM ? "T "
                                                                  : "";
    term.appendLexicalForm(result);
    if (term.isTextTheForm() && !term.m_datatype.empty())
        result.append("^^").append(term.m_datatype);
    return result;
}

TEST(TermReaderTest, takesAllKindsOfQuotes) {
    for (const char* const text :
         {"\"a\"", "'a'", "\"\"\"a\"\"\"", "'''a'''", "  \"a\"\t\r\n", "\"\\u0061\"", "'\\u0061'"})
        EXPECT_EQ("a", read(text)) << text;
    EXPECT_EQ("", read("\"\""));
    EXPECT_EQ("a\n\"b\"", read("'''a\n\"b\"'''"));
    EXPECT_EQ("it's", read("\"it's\""));
    EXPECT_EQ("\xC3\xA4", read("\"\xC3\xA4\""));
}

TEST(TermReaderTest, takesTagsAndTheDatatypesOfStrings) {
    EXPECT_EQ("a@de-AT", read("'a'@de-AT"));
    const std::string xsdString = "a^^" + std::string(XSD) + "string";
    EXPECT_EQ(xsdString, read("\"a\"^^xsd:string"));
    EXPECT_EQ(xsdString, read("\"a\" ^^ <http://www.w3.org/2001/XMLSchema#string> "));
    EXPECT_EQ("a@en^^" + std::string(RDF) + "PlainLiteral", read("\"a@en\"^^rdf:PlainLiteral"));
    EXPECT_EQ("a", read("\"a@\"^^rdf:PlainLiteral")) << "as the dictionary has it";
}

TEST(TermReaderTest, takesLiteralsOfAnyDatatypeAndDirection) {
    EXPECT_EQ("5^^a:t", read(" \"5\"^^<a:t>"));
    EXPECT_EQ("5^^a:t", read("'\\u0035'^^<a:\\u0074>\n"));
    EXPECT_EQ("5^^" + std::string(XSD) + "integer", read("\"5\"^^xsd:integer"));
    EXPECT_EQ("5^^" + std::string(XSD) + "a.b%20-c", read("\"5\" ^^ xsd:a.b%20-c "));
    EXPECT_EQ("{}^^" + std::string(RDF) + "JSON", read("\"{}\"^^rdf:JSON"));
    EXPECT_EQ("x@ar--rtl", read("'x'@ar--rtl"));
    EXPECT_EQ("x@en-GB--ltr", read("\"\"\"x\"\"\"@en-GB--ltr"));
}

TEST(TermReaderTest, takesWhatOnlyOneVersionOfRdfHas) {
    EXPECT_EQ("x^^" + std::string(RDF) + "langString", read("\"x\"^^rdf:langString"));
    EXPECT_EQ("\n@ninechars-en", read("\"\\n\"@ninechars-en"));
    EXPECT_EQ("5: expected at most 8 characters in a part of a language tag, found 'ninechars'",
              read("'x'@ninechars-en--ltr"));
}

TEST(TermReaderTest, takesIrisBlankNodesAndTripleTerms) {
    EXPECT_EQ("I http://example.org/\xC3\xA4#x", read(" <http://example.org/\\u00E4#x>\n"));
    EXPECT_EQ("I urn:x", read("<urn:x>"));
    EXPECT_EQ("B b0", read("_:b0"));
    EXPECT_EQ("B doc2-b.0", read("  _:doc2-b.0 "));
    EXPECT_EQ("T <<( <a:s> <a:p> <a:o> )>>", read("<<(<a:s><a:p><a:o>)>>"));
    EXPECT_EQ("T <<( _:s <a:p> <<( _:s <a:p> \"\\t\\\"\"@en-GB )>> )>>",
              read("<<( _:s  <a:p>\t<<( _:s <a:\\u0070> \"\\u0009\\\"\"@en-GB )>> )>>"))
        << "in canonical form, except for the case of tags, which distinguishes literals";
    EXPECT_EQ("T <<( _:doc2-s <a:p> \"a\"@en )>>",
              read("<<( _:doc2-s <a:p> \"a@en\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> )>>"));
    EXPECT_EQ("T <<( _:s <a:p> \"x\" )>>", read("<<( _:s <a:p> \"x\"^^<http://www.w3.org/2001/XMLSchema#string> )>>"));
}

TEST(TermReaderTest, hintsAtQuotesThatAreMissing) {
    for (const auto& [text, hint] : {std::pair("foo", "\"foo\""),
                                     {"foo@en", "\"foo\"@en"},
                                     {" a b ", "\"a b\""},
                                     {"5", "\"5\""},
                                     {"say \"hi\"", "\"say \\\"hi\\\"\""},
                                     {"x@", "\"x@\""},
                                     {"a:b", "\"a:b\""},
                                     {"_b", "\"_b\""},
                                     {"http://example.org/x y", "\"http://example.org/x y\""},
                                     {"http://example.org/x", "<http://example.org/x>"},
                                     {" urn:x\n", "<urn:x>"},
                                     {"\xC3\xA4@x@de", "\"\xC3\xA4@x\"@de"}})
        EXPECT_TRUE(read(text).ends_with("; did you mean '" + std::string(hint) + "'?")) << read(text);
    for (const std::string& text : {std::string(), std::string("  "), std::string("<urn:x"), std::string("<<x"),
                                    std::string("_: "), std::string(101, 'x'), std::string("\xFF")})
        EXPECT_EQ(std::string::npos, read(text).find("did you mean")) << read(text);
}

TEST(TermReaderTest, refusesInvalidTermsAndTextAfterTerms) {
    EXPECT_EQ("1: expected a term, found the end of the text", read(""));
    EXPECT_EQ("1: expected a term, found '<'", read("<<a:b>>"));
    EXPECT_EQ("1: this string is not closed: expected its closing quote, found the end of the text", read("\"a"));
    EXPECT_EQ("4: expected the end of the term, found ','", read("\"a\", \"b\""));
    EXPECT_EQ("5: expected the end of the term, found '.'", read("\"a\" ."));
    EXPECT_EQ("5: expected the end of the term, found '#'", read("\"a\" #"));
    EXPECT_EQ("6: expected the end of the term, found 'x'", read(" '\xC3\xA4' x"));
    EXPECT_EQ("1: this string is not closed: expected its closing quote, found the end of the line", read("\"a\nb\""));
    EXPECT_EQ("7: expected the end of the term, found '<'", read("<a:b> <a:c>"));
    EXPECT_EQ("1: expected an absolute IRI, found '<b>'", read("<b>"));
    EXPECT_EQ("5: expected a character of an IRI or '>', found a space", read("<a:b c>"));
    EXPECT_EQ("5: expected a character that an IRI can hold, found '\\u003E'", read("<a:b\\u003E>"));
    EXPECT_EQ("3: expected a label after '_:', found '-b'", read("_:-b"));
    EXPECT_EQ("4: expected the end of the term, found '.'", read("_:b."));
    EXPECT_EQ("11: expected a predicate, found '\"'", read("<<( <a:s> \"p\" <a:o> )>>"));
    EXPECT_EQ("1: this '<<(' is not closed: expected ')>>', found the end of the text", read("<<( <a:s> <a:p> <a:o>"));
}

TEST(TermReaderTest, refusesDatatypesThatAreNoneOrHaveOtherPrefixes) {
    const std::string expected = "expected an IRI in angle brackets or a name that begins with xsd: or rdf:, found ";
    EXPECT_EQ("6: " + expected + "'foaf:x'", read("\"5\"^^foaf:x"));
    EXPECT_EQ("6: " + expected + "'xsd'", read("\"5\"^^xsd"));
    EXPECT_EQ("6: " + expected + "'xsd:a'", read("\"5\"^^xsd:a\\-b"));
    EXPECT_EQ("6: " + expected + "the end of the text", read("\"5\"^^"));
    EXPECT_EQ("6: expected an absolute IRI, found '<t>'", read("\"5\"^^<t>"));
    EXPECT_EQ("9: expected the direction ltr or rtl, found 'up'", read("\"x\"@en--up"));
}

TEST(TermReaderTest, refusesTextThatIsNotUtf8) {
    for (const auto& [text, column] :
         {std::pair("\xFF", 1), {"\"\xFF\"", 2}, {"\"a\"\xFF", 4}, {"\"a\"@en\xFF", 7}, {" \xC3", 2}})
        EXPECT_EQ(std::to_string(column), read(text).substr(0, 1)) << read(text);
}

} // namespace
