#include "tools/melnar-dict/rows/DictionaryLine.h"

#include "Engine/core/data-store/DictionaryHistory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

class DictionaryLineTest : public testing::Test {
protected:
    DictionaryLineTest() {
        m_history.add(2, {1, 2});
        m_earlierLine = DictionaryLine::make(m_history);
        m_history.add(3, {3, 4});
        m_line = DictionaryLine::make(m_history);
        DictionaryHistory other;
        other.startGeneration(false);
        other.add(2, {1, 2});
        m_otherLine = DictionaryLine::make(other);
    }

    /// Returns the number of the refused line; 0 if there is none.
    uint64_t findRefused(const std::string& text) const {
        const auto refused = DictionaryLine::findRefused(text, m_history);
        return refused ? refused->m_line : 0;
    }

    std::string getCause(const std::string& text) const {
        const auto refused = DictionaryLine::findRefused(text, m_history);
        return refused ? refused->m_cause : "";
    }

    DictionaryHistory m_history;
    std::string m_earlierLine;
    std::string m_line;
    std::string m_otherLine;
};

TEST_F(DictionaryLineTest, isACommentWithIdentityAndGeneration) {
    EXPECT_EQ("# melnar-dict: encoded with dictionary " + m_history.getIdentity()->toString() + ", generation 0\n",
              m_line);
}

TEST_F(DictionaryLineTest, theDictionaryTakesItsOwnLinesAndThoseOfItsEarlierStates) {
    for (const std::string& text :
         {std::string(), std::string("\n"), std::string("# a comment\n"), m_line, m_earlierLine, m_line + m_earlierLine,
          m_line.substr(0, m_line.size() - 1), "<urn:s> <urn:p> <urn:o> .\n" + m_line, "\n\n" + m_line + "\n"})
        EXPECT_EQ("", getCause(text)) << text;
}

TEST_F(DictionaryLineTest, aDictionaryWithoutACompleteStateRefusesAllLines) {
    const auto refused = DictionaryLine::findRefused(m_line, DictionaryHistory());
    ASSERT_TRUE(refused);
    EXPECT_EQ(1u, refused->m_line);
    EXPECT_EQ("encoded with dictionary " + m_history.getIdentity()->toString() +
                  ", generation 0; the given one is not complete, and has not grown from it",
              refused->m_cause);
    EXPECT_FALSE(DictionaryLine::findRefused("# a comment\n", DictionaryHistory()));
}

TEST_F(DictionaryLineTest, theLineOfAnotherDictionaryIsFoundWhereItIs) {
    const std::string statement = "<urn:s> <urn:p> \"# melnar-dict: encoded with nothing\" .\n";
    for (const std::string& before : {std::string(), m_line, statement, m_line + statement + m_earlierLine,
                                      std::string("\n"), std::string("#\n"), m_line + "\r\n"})
        for (const std::string& after : {std::string(), statement, m_line, m_otherLine})
            EXPECT_EQ(static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1,
                      findRefused(before + m_otherLine + after))
                << before;
}

TEST_F(DictionaryLineTest, theCauseNamesBothDictionaries) {
    DictionaryHistory other;
    other.startGeneration(false);
    other.add(2, {1, 2});
    EXPECT_EQ("encoded with dictionary " + other.getIdentity()->toString() +
                  ", generation 1; the given one is dictionary " + m_history.getIdentity()->toString() +
                  ", generation 0, and has not grown from it",
              getCause(m_otherLine));
}

TEST_F(DictionaryLineTest, lineEndsOfOtherSystemsMakeNoDifference) {
    const auto withReturn = [](std::string line) { return line.replace(line.size() - 1, 1, "\r\n"); };
    EXPECT_EQ("", getCause(withReturn(m_line) + withReturn(m_earlierLine)));
    EXPECT_EQ(2u, findRefused(withReturn(m_line) + withReturn(m_otherLine)));
    EXPECT_EQ(getCause(m_otherLine), getCause(withReturn(m_otherLine)));
}

TEST_F(DictionaryLineTest, aCommentWithinALineIsNone) {
    EXPECT_EQ("", getCause("<urn:s> <urn:p> <urn:o> . " + m_otherLine));
    EXPECT_EQ("", getCause(" " + m_otherLine));
}

/// A damaged line is never mistaken for one of another text, and never ignored once it has started.
TEST_F(DictionaryLineTest, aDamagedLineIsRefused) {
    const size_t beginning = std::string("# melnar-dict: encoded with ").size();
    const std::string damaged = "the comment that names the dictionary is damaged";
    for (size_t size = beginning; size < m_line.size() - 2; ++size)
        EXPECT_EQ(damaged, getCause(m_line.substr(0, size) + '\n')) << size;
    for (size_t index = beginning; index < m_line.size() - 2; ++index) {
        std::string line = m_line;
        line[index] = line[index] == '?' ? '!' : '?';
        EXPECT_EQ(damaged, getCause(line)) << line;
    }
    EXPECT_EQ(damaged, getCause(m_line.substr(0, m_line.size() - 1) + " \n"));
    EXPECT_EQ(damaged, getCause(m_line.substr(0, m_line.size() - 1) + "x\n"));
}

} // namespace
