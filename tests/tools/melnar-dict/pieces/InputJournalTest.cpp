#include "tools/melnar-dict/pieces/InputJournal.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

ParsedPiece makePiece(const uint64_t sequence, const uint64_t numberOfLineEnds,
                      const std::vector<InputError>& errors = {}) {
    ParsedPiece piece;
    piece.clear(sequence);
    piece.m_numberOfLineEnds = numberOfLineEnds;
    piece.m_counts.m_statements = 1;
    piece.m_errors = errors;
    return piece;
}

InputError badData(const uint64_t line, const std::string& cause) {
    return {line, ExitCode::BAD_DATA, cause};
}

class InputJournalTest : public testing::Test {
protected:
    /// Opens a journal at the start of a file.
    InputJournal& open(const bool lenient) { return open(InputJournal::Settings{.m_isLenient = lenient}); }

    InputJournal& open(const InputJournal::Settings& settings) {
        m_errorOutput.str("");
        m_journal.emplace(settings, m_messages);
        m_journal->startFile("a.nt");
        return *m_journal;
    }

    std::ostringstream m_errorOutput;
    MessageOutput m_messages{m_errorOutput};
    std::optional<InputJournal> m_journal;
};

TEST_F(InputJournalTest, sumsUpOverFiles) {
    InputJournal& journal = open(false);
    journal.finish(makePiece(0, 5));
    journal.finish(makePiece(1, 5));
    journal.startFile("b.nt");
    journal.finish(makePiece(0, 5));
    EXPECT_EQ(3u, journal.getCounts().m_statements);
    EXPECT_EQ(0u, journal.getNumberOfErrors());
    EXPECT_EQ(ExitCode::DONE, journal.getExitCode());
    EXPECT_FALSE(journal.isStopped());
    EXPECT_EQ("", m_errorOutput.str());
}

TEST_F(InputJournalTest, stopsAtTheFirstErrorOfTheFileWhateverIsDoneFirst) {
    InputJournal& journal = open(false);
    journal.finish(makePiece(2, 10, {badData(3, "third")}));
    EXPECT_TRUE(journal.isStopped()) << "no thread may continue after it";
    EXPECT_EQ("", m_errorOutput.str()) << "pieces before it may have errors";
    journal.finish(makePiece(1, 10, {badData(4, "first"), badData(5, "second")}));
    EXPECT_EQ("", m_errorOutput.str());
    journal.finish(makePiece(0, 10));
    EXPECT_EQ("a.nt:14: first\n", m_errorOutput.str());
    EXPECT_EQ(ExitCode::BAD_DATA, journal.getExitCode());
    EXPECT_EQ(1u, journal.getNumberOfErrors());
}

TEST_F(InputJournalTest, reportsAllBadDataInOrderWhenLenient) {
    InputJournal& journal = open(true);
    journal.finish(makePiece(1, 10, {badData(1, "c")}));
    journal.finish(makePiece(0, 10, {badData(2, "a"), badData(2, "b")}));
    journal.finish(makePiece(2, 10));
    EXPECT_EQ("a.nt:2: a\na.nt:2: b\na.nt:11: c\n", m_errorOutput.str());
    journal.startFile("b.nt");
    journal.finish(makePiece(0, 0, {badData(1, "d")}));
    EXPECT_EQ("a.nt:2: a\na.nt:2: b\na.nt:11: c\nb.nt:1: d\n", m_errorOutput.str());
    EXPECT_EQ(4u, journal.getNumberOfErrors());
    EXPECT_EQ(ExitCode::DONE, journal.getExitCode());
    EXPECT_FALSE(journal.isStopped());
}

TEST_F(InputJournalTest, stopsForFailuresOutsideTheDataEvenWhenLenient) {
    InputJournal& journal = open(true);
    journal.finish(makePiece(0, 10, {badData(2, "a"), {0, ExitCode::FAILURE, "disk on fire"}}));
    journal.finish(makePiece(1, 10, {badData(1, "c")}));
    EXPECT_EQ("a.nt:2: a\na.nt: disk on fire\n", m_errorOutput.str());
    EXPECT_EQ(ExitCode::FAILURE, journal.getExitCode());
    EXPECT_TRUE(journal.isStopped());
}

TEST_F(InputJournalTest, showsTheFirstErrorsAndCountsTheRest) {
    InputJournal& journal = open({.m_isLenient = true, .m_numberOfErrorsShown = 2});
    journal.finish(makePiece(0, 10, {badData(1, "a")}));
    journal.startFile("b.nt");
    journal.finish(makePiece(1, 10, {badData(1, "c")}));
    journal.finish(makePiece(0, 10, {badData(2, "b")}));
    journal.reportHiddenErrors();
    EXPECT_EQ("a.nt:1: a\nb.nt:2: b\n… and 1 more error\n", m_errorOutput.str());
    EXPECT_EQ(3u, journal.getNumberOfErrors());
    journal.reportHiddenErrors();
    EXPECT_EQ("a.nt:1: a\nb.nt:2: b\n… and 1 more error\n", m_errorOutput.str()) << "it is said once";
}

TEST_F(InputJournalTest, showsAsManyErrorsAsRequestedAndNoMore) {
    for (const auto& [number, expected] : {std::pair(1300u, "1,300 errors\n"), {1u, "1 error\n"}}) {
        InputJournal& journal = open({.m_isLenient = true, .m_numberOfErrorsShown = 0});
        journal.finish(makePiece(0, 10, std::vector<InputError>(number, badData(1, "a"))));
        journal.reportHiddenErrors();
        EXPECT_EQ(expected, m_errorOutput.str());
    }
    InputJournal& journal = open({.m_isLenient = true, .m_numberOfErrorsShown = 2});
    journal.finish(makePiece(0, 10, {badData(1, "a"), badData(2, "b")}));
    journal.reportHiddenErrors();
    EXPECT_EQ("a.nt:1: a\na.nt:2: b\n", m_errorOutput.str()) << "nothing is hidden";
}

TEST_F(InputJournalTest, alwaysShowsTheErrorThatStopsTheLoad) {
    for (const bool isQuiet : {false, true}) {
        InputJournal& journal =
            open({.m_isLenient = true, .m_numberOfErrorsShown = isQuiet ? 20u : 1u, .m_isQuiet = isQuiet});
        journal.finish(makePiece(0, 10, {badData(1, "a"), badData(2, "b"), {0, ExitCode::FAILURE, "disk on fire"}}));
        journal.reportHiddenErrors();
        EXPECT_EQ(isQuiet ? "a.nt: disk on fire\n" : "a.nt:1: a\n… and 1 more error\na.nt: disk on fire\n",
                  m_errorOutput.str());
        EXPECT_EQ(3u, journal.getNumberOfErrors());
    }
    InputJournal& journal = open({.m_numberOfErrorsShown = 0});
    journal.finish(makePiece(0, 10, {badData(1, "a"), badData(2, "b")}));
    EXPECT_EQ("a.nt:1: a\n", m_errorOutput.str());
}

TEST_F(InputJournalTest, isQuietAboutAllErrorsThatStopNothing) {
    InputJournal& journal = open({.m_isLenient = true, .m_isQuiet = true});
    journal.finish(makePiece(0, 10, {badData(1, "a"), badData(2, "b")}));
    journal.reportHiddenErrors();
    EXPECT_EQ("", m_errorOutput.str());
    EXPECT_EQ(2u, journal.getNumberOfErrors());
}

TEST_F(InputJournalTest, countsLinesFromTheFileWherePiecesDo) {
    InputJournal& journal = open(true);
    journal.finish(makePiece(0, 0, {badData(7, "a")}));
    journal.finish(makePiece(1, 0, {badData(9, "b")}));
    EXPECT_EQ("a.nt:7: a\na.nt:9: b\n", m_errorOutput.str());
}

TEST_F(InputJournalTest, stopsOnDemandWithoutAnError) {
    InputJournal& journal = open(false);
    journal.stop();
    EXPECT_TRUE(journal.isStopped());
    EXPECT_EQ(ExitCode::DONE, journal.getExitCode());
}

} // namespace
