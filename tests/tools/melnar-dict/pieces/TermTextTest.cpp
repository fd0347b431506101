#include "tools/melnar-dict/pieces/TermText.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

std::string getText(const std::string_view lexicalForm, const uint8_t datatypeID) {
    std::string output = "before \xC2\x80";
    const size_t begin = output.size();
    appendTermText(lexicalForm, datatypeID, output);
    EXPECT_EQ("before \xC2\x80", output.substr(0, begin)) << "text before it is not touched";
    return output.substr(begin);
}

std::string getFlaw(const std::string_view lexicalForm, const uint8_t datatypeID) {
    const char* const flaw = findTermFlaw(lexicalForm, datatypeID);
    return flaw == nullptr ? "" : flaw;
}

TEST(TermTextTest, isTurtle) {
    EXPECT_EQ("\"\"", getText({}, D_XSD_STRING));
    EXPECT_EQ("\"a \\\"b\\\" \\\\\"", getText("a \"b\" \\", D_XSD_STRING));
    EXPECT_EQ("\"a@b\"@en-GB", getText("a@b@en-GB", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("\"\xC2\xA0\xC3\xA4\xE6\xBC\xA2\"", getText("\xC2\xA0\xC3\xA4\xE6\xBC\xA2", D_XSD_STRING));
}

TEST(TermTextTest, controlCharactersAreEscaped) {
    EXPECT_EQ("\"\\u001B[2J\\u007F\\n\\u009B2J\\u0080\\u009F\xC2\xA0\"@en", getText("\x1B[2J\x7F\n\xC2\x9B"
                                                                                    "2J\xC2\x80\xC2\x9F\xC2\xA0@en",
                                                                                    D_RDF_PLAIN_LITERAL));
}

TEST(TermTextTest, whatNoRdfFileCanHoldIsFound) {
    for (const char* const text : {"", "text", "text@en", "text@", "\x1B@\x1B", "\xC2\x9B"})
        EXPECT_EQ("", getFlaw(text, D_XSD_STRING)) << text;
    EXPECT_EQ("", getFlaw("text@en-GB-1996", D_RDF_PLAIN_LITERAL));
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        for (const char* const text : {"\xFF@en", "a\xC3@en", "\xED\xA0\x80@en", "a@e\xFF"})
            EXPECT_EQ("its text is not UTF-8", getFlaw(text, datatypeID)) << text;
    for (const char* const text : {"", "no tag", "a@", "a@\x1B[2J", "a@e n", "a@en\n", "a@1", "a@en-", "@\xC3\xA4"})
        EXPECT_EQ("its language tag is malformed", getFlaw(text, D_RDF_PLAIN_LITERAL)) << text;
}

TEST(TermTextTest, termsOfEachFamilyAreAsInNTriples) {
    EXPECT_EQ("<http://example.org/\xC3\xA4>", getText("http://example.org/\xC3\xA4", D_IRI));
    EXPECT_EQ("_:doc2-b0", getText("doc2-b0", D_BLANK_NODE));
    EXPECT_EQ("\"5\"^^<http://www.w3.org/2001/XMLSchema#int>",
              getText("5^^http://www.w3.org/2001/XMLSchema#int", D_TYPED_LITERAL));
    EXPECT_EQ("\"x@y\"@en-GB--ltr", getText("x@y@en-GB--ltr", D_DIRECTIONAL_STRING));
    EXPECT_EQ("<<( _:s <a:p> \"\\n\"@en )>>", getText("<<( _:s <a:p> \"\\n\"@en )>>", D_TRIPLE_TERM));
}

TEST(TermTextTest, controlCharactersAreEscapedInEachFamily) {
    EXPECT_EQ("<a:\\u007F\\u009B>", getText("a:\x7F\xC2\x9B", D_IRI));
    EXPECT_EQ("\"\\u001B\\u009B\"^^<a:\\u0085>", getText("\x1B\xC2\x9B^^a:\xC2\x85", D_TYPED_LITERAL));
    EXPECT_EQ("\"\\u001B\\u009B\"@en--rtl", getText("\x1B\xC2\x9B@en--rtl", D_DIRECTIONAL_STRING));
    EXPECT_EQ("<<( <a:\\u0085> <a:p> \"\\u009B\" )>>",
              getText("<<( <a:\xC2\x85> <a:p> \"\xC2\x9B\" )>>", D_TRIPLE_TERM));
}

TEST(TermTextTest, formsThatAreNoneOfTheirFamilyAreFound) {
    const std::string nested = [] {
        std::string text;
        for (int depth = 0; depth < 1001; ++depth)
            text += "<<( _:s <a:p> ";
        text += "_:o";
        for (int depth = 0; depth < 1001; ++depth)
            text += " )>>";
        return text;
    }();
    for (const auto& [datatypeID, flaw, sound, forms] :
         std::vector<std::tuple<uint8_t, std::string, std::string, std::vector<std::string>>>{
             {D_IRI,
              "it is not an absolute IRI",
              "a:",
              {"", "x", "/x", "a:b c", "a:<", "a:>", "a:\"", "a:{", "a:}", "a:|", "a:^", "a:`", "a:\\", "a:\n",
               "a:\x1B", std::string("a:\0", 3), ":a", "1:a"}},
             {D_BLANK_NODE,
              "it is not a blank node label",
              "b.\xC3\xA4-0",
              {"", "-a", ".a", "a.", "a b", "a>", "a\n", "a\xC2\x85", "a\xC3\x97", "\xCC\x80"}},
             {D_TYPED_LITERAL,
              "its datatype is not an absolute IRI, or is that of a string",
              "^^a:b",
              {"", "5", "5^^", "5^^t", "5^^a:b c", "5^^a:\x1B", "5^^http://www.w3.org/2001/XMLSchema#string",
               "a@en^^http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral"}},
             {D_DIRECTIONAL_STRING,
              "its language tag or direction is malformed",
              "@en--ltr",
              {"", "x", "x@en", "x@en--", "x@en--up", "x@--ltr", "x@e n--ltr", "x@\x1B--ltr", "x@ninechars-en--ltr"}},
             {D_TRIPLE_TERM,
              "it is not a triple term in canonical form",
              "<<( _:s <a:p> _:o )>>",
              {"", "x", "<<( )>>", "<<( _:s <a:p> _:o )>> ", "<<(_:s <a:p> _:o)>>", "<<( _:s <p> _:o )>>",
               "<<( _:s <a:p> \"\\u0041\" )>>", "<<( _:s <a:p> \"\t\" )>>", "<<( _:s <a:p> \"\x1B\" )>>",
               "<<( _:s <a:p> \"\\x\" )>>", "<<( _:s <a:p> \"\"^^<t> )>>", "<<( _:s. <a:p> _:o )>>",
               "<<( _:s <a:p> \"a@en\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> )>>", "<a:b>", "_:b",
               nested}}}) {
        EXPECT_EQ("", getFlaw(sound, datatypeID)) << sound;
        for (const std::string& form : forms)
            EXPECT_EQ(flaw, getFlaw(form, datatypeID)) << form;
        for (const std::string form : {"a:\xFF", "a:\xED\xA0\x80", "\xC3"})
            EXPECT_EQ("its text is not UTF-8", getFlaw(form, datatypeID)) << form;
    }
}

TEST(TermTextTest, rdf11HasMoreDatatypesAndTags) {
    EXPECT_EQ("", getFlaw("x@ninechars-en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("", getFlaw("x^^http://www.w3.org/1999/02/22-rdf-syntax-ns#langString", D_TYPED_LITERAL));
}

} // namespace
