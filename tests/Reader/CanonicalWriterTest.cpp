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

} // namespace
