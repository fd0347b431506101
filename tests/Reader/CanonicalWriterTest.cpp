#include "Reader/CanonicalWriter.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Rdf;

std::string escape(const std::string& text) {
    std::string output;
    CanonicalWriter::appendEscaped(text, output);
    return output;
}

TEST(CanonicalWriterTest, onlyWhatNeedsAnEscapeGetsOne) {
    EXPECT_EQ("\\b\\t\\n\\f\\r\\\"\\\\", escape("\b\t\n\f\r\"\\"));
    EXPECT_EQ("\\u0000\\u0001\\u000B\\u001F\\u007F", escape(std::string("\0\x01\x0B\x1F\x7F", 5)));
    EXPECT_EQ("\\uFFFE\\uFFFF", escape("\xEF\xBF\xBE\xEF\xBF\xBF"));
    EXPECT_EQ("' \xC2\x80\xEF\xBF\xBD\xEF\xBB\xBF\xF4\x8F\xBF\xBF",
              escape("' \xC2\x80\xEF\xBF\xBD\xEF\xBB\xBF\xF4\x8F\xBF\xBF"));
}

TEST(CanonicalWriterTest, aStatementIsALine) {
    Statement statement;
    statement.m_subject.m_kind = TermKind::BLANK_NODE;
    statement.m_subject.m_text = "b";
    statement.m_predicate.m_kind = TermKind::IRI;
    statement.m_predicate.m_text = "a:p";
    statement.m_object.m_kind = TermKind::LITERAL;
    statement.m_object.m_text = "x";
    statement.m_object.m_tag = "EN-us";
    statement.m_object.m_direction = Direction::RIGHT_TO_LEFT;
    statement.m_graph.m_kind = TermKind::IRI;
    statement.m_graph.m_text = "a:g";
    std::string output;
    CanonicalWriter::appendStatement(statement, output);
    EXPECT_EQ("_:b <a:p> \"x\"@en-us--rtl <a:g> .\n", output);
}

TEST(CanonicalWriterTest, aTripleTermHasItsTermsBetweenBrackets) {
    const auto makeTerm = [](const TermKind kind, const std::string_view text) {
        Term term;
        term.m_kind = kind;
        term.m_text = text;
        return term;
    };
    Term literal = makeTerm(TermKind::LITERAL, "a\tb");
    literal.m_tag = "EN";
    const Triple inner{makeTerm(TermKind::IRI, "a:s"), makeTerm(TermKind::IRI, "a:p"), literal};
    Term triple = makeTerm(TermKind::TRIPLE, "");
    triple.m_triple = &inner;
    const Triple outer{makeTerm(TermKind::BLANK_NODE, "b"), makeTerm(TermKind::IRI, "a:q"), triple};
    triple.m_triple = &outer;
    std::string output = "before ";
    CanonicalWriter::appendTerm(triple, output);
    EXPECT_EQ("before <<( _:b <a:q> <<( <a:s> <a:p> \"a\\tb\"@en )>> )>>", output);
    output.clear();
    CanonicalWriter::appendTerm(triple, output, CanonicalWriter::Tags::AS_WRITTEN);
    EXPECT_EQ("<<( _:b <a:q> <<( <a:s> <a:p> \"a\\tb\"@EN )>> )>>", output);
}

} // namespace
