#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using namespace Rdf;

Term literal(const std::string_view tag, const std::string_view datatype, const Direction direction = Direction::NONE) {
    return {TermKind::LITERAL, direction, "x", tag, datatype, nullptr, nullptr};
}

TEST(LiteralCollectorTest, knowsItsTwoDatatypesAndTags) {
    EXPECT_EQ(LiteralKind::STRING, literalKindOf(literal("", "")));
    EXPECT_EQ(LiteralKind::STRING, literalKindOf(literal("", "http://www.w3.org/2001/XMLSchema#string")));
    EXPECT_EQ(LiteralKind::PLAIN_LITERAL, literalKindOf(literal("en", "")));
    EXPECT_EQ(LiteralKind::PLAIN_LITERAL,
              literalKindOf(literal("", "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral")));
}

TEST(LiteralCollectorTest, passesAllOtherTerms) {
    for (const char* const iri :
         {"http://www.w3.org/2001/XMLSchema#", "http://www.w3.org/2001/XMLSchema#String",
          "http://www.w3.org/2001/XMLSchema#strings", "http://www.w3.org/2001/XMLSchema#normalizedString",
          "https://www.w3.org/2001/XMLSchema#string", "http://www.w3.org/1999/02/22-rdf-syntax-ns#langString",
          "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral "})
        EXPECT_EQ(LiteralKind::OTHER, literalKindOf(literal("", iri))) << iri;
    EXPECT_EQ(LiteralKind::OTHER, literalKindOf(literal("ar", "", Direction::RIGHT_TO_LEFT)));
    Term iri;
    iri.m_kind = TermKind::IRI;
    EXPECT_EQ(LiteralKind::OTHER, literalKindOf(iri));
}

TEST(LiteralCollectorTest, aLiteralWithinATripleTermIsCollectedAndTheTripleCounts) {
    Triple triple;
    triple.m_object = literal("en", "");
    Statement statement;
    statement.m_subject.m_kind = TermKind::BLANK_NODE;
    statement.m_predicate.m_kind = TermKind::IRI;
    statement.m_object.m_kind = TermKind::TRIPLE;
    statement.m_object.m_triple = &triple;
    ParsedPiece piece;
    collectStatement(statement, 3, piece);
    ASSERT_EQ(1u, piece.m_terms.getEntries().size());
    EXPECT_EQ("x@en", piece.m_terms.getEntries()[0].m_lexicalForm);
    EXPECT_EQ(3u, piece.m_terms.getLine(0));
    EXPECT_EQ(1u, piece.m_counts.m_plainLiterals);
    EXPECT_EQ(1u, piece.m_counts.m_blankNodes);
    EXPECT_EQ(1u, piece.m_counts.m_iris);
    EXPECT_EQ(1u, piece.m_counts.m_tripleTerms);
    EXPECT_EQ(3u, piece.m_counts.getNumberOfOtherTerms());
}

} // namespace
