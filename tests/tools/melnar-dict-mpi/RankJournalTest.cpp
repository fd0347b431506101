#include "tools/melnar-dict-mpi/RankJournal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace {

InputError badData(const uint64_t line, const std::string& cause) {
    return {line, ExitCode::BAD_DATA, cause};
}

class RankJournalTest : public testing::Test {
protected:
    explicit RankJournalTest(const InputJournal::Settings& settings = {}) : m_journal(settings, m_messages) {}

    /// Takes the summary of a piece with `numberOfLines` lines, each of which is a statement, except the errors.
    bool take(const size_t inputIndex, const uint64_t numberOfLines, const std::vector<InputError>& errors = {}) {
        m_piece.clear(77); // the journal of ranks numbers pieces itself
        m_piece.m_parsed.m_sequence = 99;
        m_piece.m_parsed.m_numberOfLineEnds = numberOfLines;
        m_piece.m_parsed.m_counts.m_statements = numberOfLines - errors.size();
        m_piece.m_parsed.m_errors = errors;
        return m_rankJournal.take(inputIndex, m_piece);
    }

    std::vector<uint64_t> getStatements() const {
        const auto statements = m_rankJournal.getStatementsOfInputs();
        return {statements.begin(), statements.end()};
    }

    const InputFiles m_files{{"a.nt", RdfFormat::N_TRIPLES},
                             {"b.nt", RdfFormat::N_TRIPLES},
                             {"c.ttl", RdfFormat::TURTLE},
                             {"d.nq", RdfFormat::N_QUADS}};
    std::ostringstream m_errorOutput;
    MessageOutput m_messages{m_errorOutput};
    InputJournal m_journal;
    RankJournal m_rankJournal{m_journal, m_files};
    ReadPiece m_piece{3};
};

class LenientRankJournalTest : public RankJournalTest {
protected:
    LenientRankJournalTest() : RankJournalTest({.m_isLenient = true}) {}
};

TEST_F(RankJournalTest, eachInputHasItsStatements) {
    EXPECT_EQ(std::vector<uint64_t>(4, 0), getStatements());
    EXPECT_TRUE(take(1, 10)) << "the first input has no pieces";
    EXPECT_TRUE(take(1, 5));
    EXPECT_TRUE(take(1, 0));
    EXPECT_TRUE(take(3, 7)) << "nor has the third";
    EXPECT_EQ((std::vector<uint64_t>{0, 15, 0, 7}), getStatements());
    EXPECT_EQ(22u, m_journal.getCounts().m_statements);
    EXPECT_EQ(ExitCode::DONE, m_journal.getExitCode());
    EXPECT_EQ("", m_errorOutput.str());
}

TEST_F(RankJournalTest, anErrorNamesItsFileAndStopsTheLoad) {
    EXPECT_TRUE(take(0, 10));
    EXPECT_TRUE(take(1, 10));
    EXPECT_TRUE(take(1, 20));
    EXPECT_FALSE(take(1, 10, {badData(3, "the first"), badData(4, "the second")}));
    EXPECT_EQ("b.nt:33: the first\n", m_errorOutput.str());
    EXPECT_FALSE(take(1, 10, {badData(1, "after it")}));
    EXPECT_FALSE(take(2, 10, {badData(1, "after it")}));
    EXPECT_EQ("b.nt:33: the first\n", m_errorOutput.str());
    EXPECT_EQ(ExitCode::BAD_DATA, m_journal.getExitCode());
    EXPECT_EQ(1u, m_journal.getNumberOfErrors());
}

TEST_F(RankJournalTest, anErrorOfAFileAsAWholeHasNoLine) {
    EXPECT_TRUE(take(0, 10));
    EXPECT_FALSE(take(3, 0, {}) && take(3, 1, {{0, ExitCode::FAILURE, "disk on fire"}}));
    EXPECT_EQ("d.nq: disk on fire\n", m_errorOutput.str());
    EXPECT_EQ(ExitCode::FAILURE, m_journal.getExitCode());
}

TEST_F(LenientRankJournalTest, badDataIsReportedInOrderAndTheLoadContinues) {
    EXPECT_TRUE(take(0, 10, {badData(2, "one"), badData(9, "two")}));
    EXPECT_TRUE(take(0, 10, {badData(1, "three")}));
    EXPECT_TRUE(take(2, 10, {badData(10, "four")})) << "lines are counted from the start of each file";
    EXPECT_TRUE(take(3, 10));
    EXPECT_TRUE(take(3, 10, {badData(5, "five")}));
    EXPECT_EQ("a.nt:2: one\na.nt:9: two\na.nt:11: three\nc.ttl:10: four\nd.nq:15: five\n", m_errorOutput.str());
    EXPECT_EQ((std::vector<uint64_t>{17, 0, 9, 19}), getStatements());
    EXPECT_EQ(5u, m_journal.getNumberOfErrors());
    EXPECT_EQ(ExitCode::DONE, m_journal.getExitCode());
}

TEST_F(LenientRankJournalTest, whatIsNotTheDatasFaultStopsTheLoad) {
    EXPECT_TRUE(take(0, 10, {badData(2, "one")}));
    EXPECT_FALSE(take(0, 1, {{1, ExitCode::FAILURE, "no memory"}}));
    EXPECT_EQ("a.nt:2: one\na.nt:11: no memory\n", m_errorOutput.str());
}

} // namespace
