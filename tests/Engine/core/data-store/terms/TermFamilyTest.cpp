#include "Engine/core/data-store/terms/TermFamily.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr std::string_view XSD_INTEGER = "http://www.w3.org/2001/XMLSchema#integer";

std::string toTurtle(const uint8_t datatypeID, const std::string_view form) {
    std::string output;
    TermFamily::get(datatypeID).m_appendTurtle(form, output);
    return output;
}

/// Returns the part of a form that it may share.
std::string getAffix(const uint8_t datatypeID, const std::string_view form) {
    const TermFamily& family = TermFamily::get(datatypeID);
    const size_t length = family.m_getAffixLength(form);
    return std::string(family.m_affixPlace == TermFamily::AffixPlace::FRONT ? form.substr(0, length)
                                                                            : form.substr(form.size() - length));
}

TEST(TermFamilyTest, getReturnsTheFamilyOfEachID) {
    for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM})
        EXPECT_EQ(datatypeID, TermFamily::get(datatypeID).m_datatypeID);
}

TEST(TermFamilyTest, formsThatAreNoneAreRefused) {
    const std::string integer(XSD_INTEGER);
    const std::vector<std::pair<uint8_t, std::vector<std::string>>> refused{
        {D_IRI, {""}},
        {D_BLANK_NODE, {"", "-a", ".a", "a.", ".", "a b", "a>", "a\n", "<a", "\"", std::string("a\0", 2), "\x7F"}},
        {D_TYPED_LITERAL,
         {"", "5", "5^" + integer, "5^^", "5^^http://www.w3.org/2001/XMLSchema#string",
          "a@en^^http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral"}},
        {D_DIRECTIONAL_STRING,
         {"", "a", "a@en", "a@en--", "a@en--LTR", "a@en--up", "a@--ltr", "a@1--ltr", "--ltr", "a@en-ltr", "a--ltr@en"}},
        {D_TRIPLE_TERM,
         {"",
          "<<(  )>>",
          "<<( _:a <p> _:b",
          "_:a <p> _:b )>>",
          "<<( _:a <p> \"a\nb\" )>>",
          "<<( _:a <p> \"a\x7F\" )>>",
          "<<( _:a <p> \"\\\x7F\" )>>",
          "<<( _:a <p> \"a\"@en\x7F )>>",
          "<<( _:a\x7F <p> _:b )>>",
          "<<( _:a <p> _:b\x7F )>>",
          "<<( _:a <p\x1F> _:b )>>",
          "<<(_:a <p> _:b)>>",
          "<<( )>> . <e:s> <e:p> <<( )>>",
          "<<( _:a <p> _:b )>> . <e:s> <e:p> <<( _:a <p> _:b )>>",
          "<<( _:a <p> \"b )>>",
          "<<( _:a <p> \"b\" . )>>",
          "<<( _:a <p q> _:b )>>",
          "<<( _:a <> _:b )>>",
          "<<( _:a <p> \"b\"@ )>>",
          "<<( _:a <p> \"b\"^^x )>>",
          "<<( _:a <p> _:b )>> )>>",
          "<<( _:a <p> <<( _:a <p> _:b )>>",
          "<<( <<( _:a <p> _:b )>> <p> _:b )>>",
          "<<( _:a <p> \"b\\\" )>>",
          "<<( <e:s> <e:p> \"a\"@en)>>.<e:x><e:p><<(<e:s><e:p>\"a\"@en )>>",
          "<<( <s> <p> \"a\"@b\"c@de )>>",
          "<<( \"a\" <p> <o> )>>",
          "<<( <s> \"b\" <o> )>>",
          "<<( <s> _:p <o> )>>",
          "<<( <s> <p> \"a\"^^<http://www.w3.org/2001/XMLSchema#string> )>>"}}};
    for (const auto& [datatypeID, forms] : refused) {
        const TermFamily& family = TermFamily::get(datatypeID);
        for (const std::string& form : forms) {
            EXPECT_FALSE(family.m_isWellFormed(form)) << form;
            EXPECT_EQ("'" + form + "' is no " + family.m_name + ".",
                      catchException<MelnarException>([&] { family.check(form); }).getMessage());
        }
    }
}

TEST(TermFamilyTest, formsOfEachFamilyAreAcceptedAndPrinted) {
    const std::string integer(XSD_INTEGER);
    const std::vector<std::tuple<uint8_t, std::string, std::string>> accepted{
        {D_IRI, "http://example.org/\xC3\xA4#b", "<http://example.org/\xC3\xA4#b>"},
        {D_IRI, "x", "<x>"},
        {D_IRI, "a>b <\"{}|^`\\\n\x7F",
         "<a\\u003Eb\\u0020\\u003C\\u0022\\u007B\\u007D\\u007C\\u005E\\u0060\\u005C\\u000A\\u007F>"},
        {D_BLANK_NODE, "b0", "_:b0"},
        {D_BLANK_NODE, "doc2-b.\xC3\xA4:_", "_:doc2-b.\xC3\xA4:_"},
        {D_TYPED_LITERAL, "5^^" + integer, "\"5\"^^<" + integer + ">"},
        {D_TYPED_LITERAL, "^^x:y", "\"\"^^<x:y>"},
        {D_TYPED_LITERAL, "a^^b^^x:y", "\"a^^b\"^^<x:y>"},
        {D_TYPED_LITERAL, "a^^^x:y", "\"a^\"^^<x:y>"},
        {D_TYPED_LITERAL, "\"\n^^x:y", "\"\\\"\\n\"^^<x:y>"},
        {D_DIRECTIONAL_STRING, "a@b@ar-EG--rtl", "\"a@b\"@ar-EG--rtl"},
        {D_DIRECTIONAL_STRING, "@en--ltr", "\"\"@en--ltr"},
        {D_TRIPLE_TERM, "<<( _:a <p> \"b\" )>>", "<<( _:a <p> \"b\" )>>"},
        {D_TRIPLE_TERM, "<<( <s> <p> \"\\\"b \\\\\"^^<x:y> )>>", "<<( <s> <p> \"\\\"b \\\\\"^^<x:y> )>>"},
        {D_TRIPLE_TERM, "<<( <s> <p> <<( _:a <p> \"b\"@en-GB )>> )>>", "<<( <s> <p> <<( _:a <p> \"b\"@en-GB )>> )>>"},
        {D_TRIPLE_TERM, "<<( <s> <p> \"\"@en--ltr )>>", "<<( <s> <p> \"\"@en--ltr )>>"},
        {D_TRIPLE_TERM, "<<( <s\x7F> <\x7Fp> \"\"^^<t\x7F> )>>", "<<( <s\\u007F> <\\u007Fp> \"\"^^<t\\u007F> )>>"}};
    for (const auto& [datatypeID, form, printed] : accepted) {
        EXPECT_NO_THROW(TermFamily::get(datatypeID).check(form)) << form;
        EXPECT_EQ(printed, toTurtle(datatypeID, form));
    }
}

TEST(TermFamilyTest, formsOfFilesThatLieArePrintedWithoutWhatTheyLack) {
    EXPECT_EQ("\"a\"^^<>", toTurtle(D_TYPED_LITERAL, "a"));
    EXPECT_EQ("\"a\"@", toTurtle(D_DIRECTIONAL_STRING, "a"));
    EXPECT_EQ("", getAffix(D_TYPED_LITERAL, ""));
    EXPECT_EQ("", getAffix(D_DIRECTIONAL_STRING, ""));
    EXPECT_EQ("", getAffix(D_IRI, ""));
}

TEST(TermFamilyTest, aFormSharesItsNamespaceDocumentDatatypeOrTag) {
    EXPECT_EQ("http://example.org/a#", getAffix(D_IRI, "http://example.org/a#b"));
    EXPECT_EQ("http://example.org/a/", getAffix(D_IRI, "http://example.org/a/b"));
    EXPECT_EQ("http://example.org/a#b/", getAffix(D_IRI, "http://example.org/a#b/c"));
    EXPECT_EQ("http://example.org/", getAffix(D_IRI, "http://example.org/"));
    EXPECT_EQ("urn:uuid:", getAffix(D_IRI, "urn:uuid:1"));
    EXPECT_EQ("http://example.org/a:b/", getAffix(D_IRI, "http://example.org/a:b/c"));
    EXPECT_EQ("http://example.org/a:", getAffix(D_IRI, "http://example.org/a:b"));
    EXPECT_EQ("", getAffix(D_IRI, "no-absolute-iri"));
    EXPECT_EQ("doc12-", getAffix(D_BLANK_NODE, "doc12-b-c"));
    for (const char* const label : {"b", "doc", "doc-b", "doc1", "doc1b-", "docx1-b", "xdoc1-b", "doc_1-b"})
        EXPECT_EQ("", getAffix(D_BLANK_NODE, label)) << label;
    EXPECT_EQ("x:y", getAffix(D_TYPED_LITERAL, "a^^b^^x:y"));
    EXPECT_EQ("@en--ltr", getAffix(D_DIRECTIONAL_STRING, "a@b@en--ltr"));
    EXPECT_EQ("", getAffix(D_TRIPLE_TERM, "<<( _:a <p> _:b )>>"));
}

} // namespace
