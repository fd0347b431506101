#include "tools/melnar-dict-mpi/ReadPiece.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr uint32_t DEFAULT_GRAPH = std::numeric_limits<uint32_t>::max();

const std::string TEXT_WITH_NULS("a\0b\n\0", 5);

StatementCounts makeCounts() {
    return {.m_statements = 1,
            .m_strings = 2,
            .m_plainLiterals = 3,
            .m_iris = 4,
            .m_blankNodes = 5,
            .m_otherLiterals = 6,
            .m_directionalStrings = 7,
            .m_tripleTerms = uint64_t(1) << 40};
}

/// Fills a piece so that no member has its initial value.
void fill(ReadPiece& piece) {
    piece.clear(uint64_t(1) << 50);
    piece.m_place.m_isLast = true;
    piece.m_parsed.m_numberOfLineEnds = uint64_t(1) << 33;
    piece.m_parsed.m_counts = makeCounts();
    piece.m_parsed.m_errors = {{uint64_t(1) << 34, ExitCode::BAD_DATA, TEXT_WITH_NULS, 17, 3},
                               {0, ExitCode::FAILURE, ""}};
    piece.m_parsed.m_hasUntoldError = true;
    piece.m_parsed.m_rejected = TEXT_WITH_NULS;
    piece.m_parsed.m_endsRejectedLine = true;
    piece.m_parsed.m_terms.append("", 1, 0);
    piece.m_parsed.m_terms.append(TEXT_WITH_NULS, 255, uint64_t(1) << 35);
    piece.m_parsed.m_terms.append(std::string(100'000, 'x'), 2, 7);
    piece.m_parsed.m_terms.append("", 3, 8);
    piece.m_rows.assignCells(std::vector<uint32_t>{0, 1, 2, DEFAULT_GRAPH, 2, 1, 0, 3});
}

void expectSameSummary(const ReadPiece& expected, const ReadPiece& piece) {
    EXPECT_EQ(expected.m_place.m_slice, piece.m_place.m_slice);
    EXPECT_EQ(expected.m_place.m_isLast, piece.m_place.m_isLast);
    EXPECT_EQ(expected.m_parsed.m_numberOfLineEnds, piece.m_parsed.m_numberOfLineEnds);
    EXPECT_EQ(expected.m_parsed.m_counts, piece.m_parsed.m_counts);
    ASSERT_EQ(expected.m_parsed.m_errors.size(), piece.m_parsed.m_errors.size());
    for (size_t index = 0; index < expected.m_parsed.m_errors.size(); ++index) {
        const InputError& error = piece.m_parsed.m_errors[index];
        EXPECT_EQ(expected.m_parsed.m_errors[index].m_line, error.m_line);
        EXPECT_EQ(expected.m_parsed.m_errors[index].m_exitCode, error.m_exitCode);
        EXPECT_EQ(expected.m_parsed.m_errors[index].m_cause, error.m_cause);
        EXPECT_EQ(expected.m_parsed.m_errors[index].m_column, error.m_column);
        EXPECT_EQ(expected.m_parsed.m_errors[index].m_termsBefore, error.m_termsBefore);
    }
    EXPECT_EQ(expected.m_parsed.m_hasUntoldError, piece.m_parsed.m_hasUntoldError);
    EXPECT_EQ(expected.m_parsed.m_rejected, piece.m_parsed.m_rejected);
    EXPECT_EQ(expected.m_parsed.m_endsRejectedLine, piece.m_parsed.m_endsRejectedLine);
}

void expectSame(const ReadPiece& expected, const ReadPiece& piece) {
    expectSameSummary(expected, piece);
    const auto expectedTerms = expected.m_parsed.m_terms.getEntries();
    const auto terms = piece.m_parsed.m_terms.getEntries();
    ASSERT_EQ(expectedTerms.size(), terms.size());
    for (size_t index = 0; index < terms.size(); ++index) {
        EXPECT_EQ(expectedTerms[index].m_lexicalForm, terms[index].m_lexicalForm);
        EXPECT_EQ(expectedTerms[index].m_datatypeID, terms[index].m_datatypeID);
        EXPECT_EQ(0u, terms[index].m_resourceID);
        EXPECT_EQ(expected.m_parsed.m_terms.getLine(index), piece.m_parsed.m_terms.getLine(index));
    }
    EXPECT_EQ(expected.m_parsed.m_terms.getNumberOfBytes(), piece.m_parsed.m_terms.getNumberOfBytes());
    EXPECT_TRUE(std::ranges::equal(expected.m_rows.getCells(), piece.m_rows.getCells()));
}

TEST(ReadPieceTest, becomesWhatWasAppended) {
    ReadPiece piece(4);
    fill(piece);
    std::string bytes;
    piece.appendTo(bytes);
    ReadPiece other(4);
    std::string_view rest = bytes;
    other.take(rest);
    EXPECT_TRUE(rest.empty());
    expectSame(piece, other);
}

TEST(ReadPieceTest, rowsThatWereAppendedHaveTheirIDs) {
    ReadPiece piece(4);
    fill(piece);
    std::string bytes;
    piece.appendTo(bytes);
    ReadPiece other(4);
    std::string_view rest = bytes;
    other.take(rest);
    for (BatchEntry& entry : other.m_parsed.m_terms.getEntries())
        entry.m_resourceID = 10 + entry.m_datatypeID;
    std::vector<uint64_t> ids;
    other.m_rows.appendIDs(other.m_rows.getNumberOfRows(), other.m_parsed.m_terms.getEntries(), ids);
    EXPECT_EQ((std::vector<uint64_t>{11, 265, 12, 0, 12, 265, 11, 13}), ids);
}

TEST(ReadPieceTest, emptyPiecesAndPiecesWithoutRowsAreTaken) {
    for (const size_t columns : {0u, 3u, 4u}) {
        ReadPiece piece(columns);
        piece.clear(3);
        std::string bytes;
        piece.appendTo(bytes);
        ReadPiece other(columns);
        fill(other);
        std::string_view rest = bytes;
        other.take(rest);
        EXPECT_TRUE(rest.empty());
        expectSame(piece, other);
        EXPECT_TRUE(other.m_rows.getCells().empty());
    }
}

TEST(ReadPieceTest, severalFollowEachOther) {
    ReadPiece full(4);
    fill(full);
    ReadPiece empty(4);
    empty.clear(9);
    std::string bytes = "before";
    full.appendTo(bytes);
    empty.appendTo(bytes);
    full.appendSummaryTo(bytes);
    full.appendTo(bytes);
    bytes += "behind";
    std::string_view rest = bytes;
    rest.remove_prefix(6);
    ReadPiece piece(4);
    piece.take(rest);
    expectSame(full, piece);
    piece.take(rest);
    expectSame(empty, piece);
    piece.takeSummary(rest);
    expectSameSummary(full, piece);
    piece.take(rest);
    expectSame(full, piece);
    EXPECT_EQ("behind", rest);
}

TEST(ReadPieceTest, summariesHaveNeitherTermsNorRows) {
    ReadPiece piece(4);
    fill(piece);
    std::string bytes;
    piece.appendSummaryTo(bytes);
    EXPECT_LT(bytes.size(), 500u);
    ReadPiece other(4);
    fill(other);
    std::string_view rest = bytes;
    other.takeSummary(rest);
    EXPECT_TRUE(rest.empty());
    expectSameSummary(piece, other);
    EXPECT_TRUE(other.m_parsed.m_terms.getEntries().empty());
    EXPECT_TRUE(other.m_rows.getCells().empty());
}

TEST(ReadPieceTest, eachFlagHasItsOwnPlace) {
    for (const unsigned flags : {1u, 2u, 4u}) {
        ReadPiece piece(3);
        piece.clear(0);
        piece.m_place.m_isLast = (flags & 1) != 0;
        piece.m_parsed.m_hasUntoldError = (flags & 2) != 0;
        piece.m_parsed.m_endsRejectedLine = (flags & 4) != 0;
        std::string bytes;
        piece.appendTo(bytes);
        ReadPiece other(3);
        std::string_view rest = bytes;
        other.take(rest);
        expectSame(piece, other);
    }
}

TEST(ReadPieceTest, clearLeavesNothing) {
    ReadPiece piece(4);
    fill(piece);
    piece.clear(5);
    ReadPiece fresh(4);
    fresh.m_place.m_slice = 5;
    expectSame(fresh, piece);
}

} // namespace
