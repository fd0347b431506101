#include "tools/melnar-dict/pieces/EngineTerm.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tools/melnar-dict/pieces/BlankNodeScope.h"

#include <gtest/gtest.h>

#include <string>

namespace {

Rdf::Term make(const Rdf::TermKind kind, const std::string_view text) {
    Rdf::Term term;
    term.m_kind = kind;
    term.m_text = text;
    return term;
}

Rdf::Term makeLiteral(const std::string_view text, const std::string_view tag, const std::string_view datatype = {},
                      const Rdf::Direction direction = Rdf::Direction::NONE) {
    Rdf::Term literal = make(Rdf::TermKind::LITERAL, text);
    literal.m_tag = tag;
    literal.m_datatype = datatype;
    literal.m_direction = direction;
    return literal;
}

/// Returns datatype ID and lexical form of a term.
std::pair<uint8_t, std::string> getForm(const Rdf::Term& term, const uint64_t document = 1) {
    std::string text = "what was there before";
    const Term result = toTerm(term, document, text);
    std::string form;
    result.appendLexicalForm(form);
    return {result.getDatatypeID(), form};
}

using Form = std::pair<uint8_t, std::string>;

constexpr const char* PLAIN_LITERAL = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";
constexpr const char* XSD_STRING = "http://www.w3.org/2001/XMLSchema#string";

TEST(EngineTermTest, everyKindHasItsDatatypeAndForm) {
    EXPECT_EQ(Form(D_IRI, "urn:a"), getForm(make(Rdf::TermKind::IRI, "urn:a")));
    EXPECT_EQ(Form(D_BLANK_NODE, "b"), getForm(make(Rdf::TermKind::BLANK_NODE, "b")));
    EXPECT_EQ(Form(D_XSD_STRING, "x"), getForm(makeLiteral("x", "")));
    EXPECT_EQ(Form(D_XSD_STRING, "x"), getForm(makeLiteral("x", "", XSD_STRING)));
    EXPECT_EQ(Form(D_RDF_PLAIN_LITERAL, "x@en-GB"), getForm(makeLiteral("x", "en-GB")));
    EXPECT_EQ(Form(D_RDF_PLAIN_LITERAL, "x@en"), getForm(makeLiteral("x@en", "", PLAIN_LITERAL)));
    EXPECT_EQ(Form(D_TYPED_LITERAL, "5^^urn:int"), getForm(makeLiteral("5", "", "urn:int")));
    EXPECT_EQ(Form(D_DIRECTIONAL_STRING, "x@ar--rtl"),
              getForm(makeLiteral("x", "ar", "", Rdf::Direction::RIGHT_TO_LEFT)));
    EXPECT_EQ(Form(D_DIRECTIONAL_STRING, "x@ar--ltr"),
              getForm(makeLiteral("x", "ar", "", Rdf::Direction::LEFT_TO_RIGHT)));
    EXPECT_EQ(Form(D_INVALID, ""), getForm(Rdf::Term()));
}

TEST(EngineTermTest, literalsComeBack) {
    for (const auto& [datatypeID, form] :
         {Form(D_XSD_STRING, "x@en"), Form(D_RDF_PLAIN_LITERAL, "x@en-GB"), Form(D_TYPED_LITERAL, "5^^urn:int"),
          Form(D_DIRECTIONAL_STRING, "x@ar--rtl"), Form(D_DIRECTIONAL_STRING, "x@ar--ltr")})
        EXPECT_EQ(Form(datatypeID, form), getForm(toRdfLiteral(Term::parse(datatypeID, form))));
}

TEST(EngineTermTest, labelsBelongToTheirDocument) {
    EXPECT_EQ(Form(D_BLANK_NODE, "doc2-b"), getForm(make(Rdf::TermKind::BLANK_NODE, "b"), 2));
    EXPECT_EQ(Form(D_BLANK_NODE, "doc_2-b"), getForm(make(Rdf::TermKind::BLANK_NODE, "doc2-b")));
    EXPECT_EQ(Form(D_BLANK_NODE, "doc2-b"),
              getForm(make(Rdf::TermKind::BLANK_NODE, "doc2-b"), BlankNodeScope::NO_DOCUMENT));
    EXPECT_EQ(Form(D_IRI, "b"), getForm(make(Rdf::TermKind::IRI, "b"), 2));
}

TEST(EngineTermTest, tripleTermsAreCanonicalWithTheirTagsAsTheyAre) {
    const Rdf::Triple inner{make(Rdf::TermKind::BLANK_NODE, "a"), make(Rdf::TermKind::IRI, "urn:p"),
                            makeLiteral("x\n\"", "en-GB")};
    Rdf::Triple outer = inner;
    outer.m_object = make(Rdf::TermKind::TRIPLE, "");
    outer.m_object.m_triple = &inner;
    Rdf::Term term = make(Rdf::TermKind::TRIPLE, "");
    term.m_triple = &outer;
    EXPECT_EQ(Form(D_TRIPLE_TERM, "<<( _:doc3-a <urn:p> <<( _:doc3-a <urn:p> \"x\\n\\\"\"@en-GB )>> )>>"),
              getForm(term, 3));
}

TEST(EngineTermTest, plainLiteralsWithinTripleTermsAreTextAndTag) {
    Rdf::Triple triple{make(Rdf::TermKind::IRI, "urn:s"), make(Rdf::TermKind::IRI, "urn:p"), {}};
    Rdf::Term term = make(Rdf::TermKind::TRIPLE, "");
    term.m_triple = &triple;
    const auto getObject = [&](const std::string& text) {
        triple.m_object = makeLiteral(text, "", PLAIN_LITERAL);
        const auto [datatypeID, form] = getForm(term);
        EXPECT_EQ(D_TRIPLE_TERM, datatypeID);
        TermFamily::get(D_TRIPLE_TERM).check(form);
        const size_t begin = std::string("<<( <urn:s> <urn:p> ").size();
        return form.substr(begin, form.size() - begin - 4);
    };
    EXPECT_EQ("\"a@b\"@en", getObject("a@b@en"));
    EXPECT_EQ("\"a\"", getObject("a@"));
    for (const std::string text : {"a", "a@1", "a@abcdefghi", "a@en-abcdefghi"})
        EXPECT_EQ('"' + text + "\"^^<" + PLAIN_LITERAL + ">", getObject(text));
}

} // namespace
