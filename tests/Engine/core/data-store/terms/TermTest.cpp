#include "Engine/core/data-store/terms/Term.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/AllocationFaults.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using Kind = Term::Kind;
using Direction = Term::Direction;

struct Form {
    Term m_term;
    uint8_t m_datatypeID;
    std::string m_lexicalForm;
};

std::vector<Form> makeForms() {
    return {{{.m_kind = Kind::IRI, .m_text = "http://example.org/"}, D_IRI, "http://example.org/"},
            {{.m_kind = Kind::BLANK_NODE, .m_text = "b0"}, D_BLANK_NODE, "b0"},
            {{.m_kind = Kind::TRIPLE_TERM, .m_text = "<<( _:a <p> _:b )>>"}, D_TRIPLE_TERM, "<<( _:a <p> _:b )>>"},
            {{.m_kind = Kind::LITERAL, .m_text = "a@b"}, D_XSD_STRING, "a@b"},
            {{.m_kind = Kind::LITERAL, .m_text = ""}, D_XSD_STRING, ""},
            {{.m_kind = Kind::LITERAL, .m_text = "a@b", .m_language = "en-GB"}, D_RDF_PLAIN_LITERAL, "a@b@en-GB"},
            {{.m_kind = Kind::LITERAL, .m_text = "a^^b", .m_datatype = "x:y"}, D_TYPED_LITERAL, "a^^b^^x:y"},
            {{.m_kind = Kind::LITERAL, .m_direction = Direction::LEFT_TO_RIGHT, .m_text = "a", .m_language = "en"},
             D_DIRECTIONAL_STRING,
             "a@en--ltr"},
            {{.m_kind = Kind::LITERAL, .m_direction = Direction::RIGHT_TO_LEFT, .m_text = "@", .m_language = "ar"},
             D_DIRECTIONAL_STRING,
             "@@ar--rtl"}};
}

TEST(TermTest, aTermAndItsFormTellEachOther) {
    for (const Form& form : makeForms()) {
        EXPECT_EQ(form.m_datatypeID, form.m_term.getDatatypeID()) << form.m_lexicalForm;
        std::string made = "before ";
        form.m_term.appendLexicalForm(made);
        EXPECT_EQ("before " + form.m_lexicalForm, made);
        EXPECT_EQ(form.m_term.m_text == form.m_lexicalForm, form.m_term.isTextTheForm()) << form.m_lexicalForm;
        EXPECT_TRUE(form.m_term == Term::parse(form.m_datatypeID, form.m_lexicalForm)) << form.m_lexicalForm;
    }
}

TEST(TermTest, theDatatypesOfStringsMayBeNamed) {
    EXPECT_EQ(D_XSD_STRING, (Term{.m_kind = Kind::LITERAL, .m_text = "a", .m_datatype = XSD_STRING}).getDatatypeID());
    const Term plain{.m_kind = Kind::LITERAL, .m_text = "a@en", .m_datatype = RDF_PLAIN_LITERAL};
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, plain.getDatatypeID());
    EXPECT_TRUE(plain.isTextTheForm());
}

/// Their forms would be those of other terms.
TEST(TermTest, partsThatContradictEachOtherAreNoTerm) {
    const std::vector<Term> terms{
        {.m_kind = Kind::LITERAL, .m_text = "a", .m_datatype = "b^^c"},
        {.m_kind = Kind::LITERAL, .m_text = "a", .m_datatype = "^b"},
        {.m_kind = Kind::LITERAL, .m_text = "a", .m_language = "x@en"},
        {.m_kind = Kind::LITERAL, .m_text = "a", .m_language = "en", .m_datatype = "x:y"},
        {.m_kind = Kind::LITERAL, .m_direction = Direction::LEFT_TO_RIGHT, .m_text = "a"},
        {.m_kind = Kind::LITERAL, .m_direction = Direction::LEFT_TO_RIGHT, .m_text = "a", .m_datatype = "x:y"}};
    for (const Term& term : terms)
        EXPECT_EQ(D_INVALID, term.getDatatypeID()) << term.m_language << term.m_datatype;
}

TEST(TermTest, noTermHasNoDatatype) {
    EXPECT_EQ(D_INVALID, Term().getDatatypeID());
    for (const uint8_t datatypeID : {uint8_t(0), uint8_t(1), uint8_t(249), uint8_t(255)})
        EXPECT_TRUE(Term() == Term::parse(datatypeID, "a"));
}

TEST(TermTest, formsOfFilesThatLieLackParts) {
    for (const char* const form : {"", "a", "^", "-", "--ltr"}) {
        EXPECT_TRUE((Term{.m_kind = Kind::LITERAL, .m_text = form}) == Term::parse(D_TYPED_LITERAL, form));
        EXPECT_TRUE((Term{.m_kind = Kind::LITERAL, .m_text = form}) == Term::parse(D_RDF_PLAIN_LITERAL, form));
        EXPECT_EQ(form, Term::parse(D_DIRECTIONAL_STRING, form).m_text);
    }
    EXPECT_EQ("", Term::parse(D_DIRECTIONAL_STRING, "a@en").m_language);
    EXPECT_EQ("", Term::parse(D_TYPED_LITERAL, "a^^").m_datatype);
}

TEST(TermTest, aBatchHasTheFormsOfItsTerms) {
    TermBatch batch;
    const std::vector<Form> forms = makeForms();
    for (size_t round = 0; round < 2; ++round) {
        for (size_t repetition = 0; repetition < 100; ++repetition)
            for (const Form& form : forms)
                batch.add(form.m_term);
        const std::span<BatchEntry> entries = batch.getEntries();
        ASSERT_EQ(100 * forms.size(), entries.size());
        for (size_t index = 0; index < entries.size(); ++index) {
            const Form& form = forms[index % forms.size()];
            ASSERT_EQ(form.m_lexicalForm, entries[index].m_lexicalForm);
            ASSERT_EQ(form.m_datatypeID, entries[index].m_datatypeID);
            ASSERT_EQ(form.m_term.isTextTheForm(), form.m_term.m_text.data() == entries[index].m_lexicalForm.data());
        }
        batch.clear();
        EXPECT_TRUE(batch.getEntries().empty());
    }
    batch.add(Term());
    EXPECT_EQ(D_INVALID, batch.getEntries()[0].m_datatypeID);
}

/// Each of 10,000 terms has a joined form.
TEST(TermTest, aBatchGrowsInFewAllocations) {
    TermBatch batch;
    const AllocationFaults faults = AllocationFaults::failAfter(100);
    for (size_t number = 0; number < 10000; ++number)
        batch.add({.m_kind = Kind::LITERAL, .m_text = "1", .m_datatype = "x:y"});
    EXPECT_FALSE(faults.hasFailed());
}

} // namespace
