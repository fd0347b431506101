#include "tools/melnar-dict/RecentText.h"

#include "tests/tools/melnar-dict/TextSource.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

/// A text in blocks of 6 bytes, which is two lines of "a.\n" or one of five bytes.
class RecentTextTest : public testing::Test {
protected:
    explicit RecentTextTest(const std::string& text = "a\nb\nc\n"
                                                      "d\ne.\n"
                                                      "f\n"
                                                      "g. \nh\n"
                                                      "i\n")
        : m_reader(std::make_unique<TextSource>(text), 6), m_text(m_reader) {}

    /// The line and the text of the next block.
    std::string next() {
        if (!m_text.next())
            return "end";
        return std::to_string(m_text.getFirstLine()) + ":" + std::string(m_text.getText());
    }

    BlockReader m_reader;
    RecentText m_text;
};

TEST_F(RecentTextTest, givesBlockAfterBlockWithItsLine) {
    EXPECT_EQ("1:a\nb\nc\n", next());
    EXPECT_EQ("4:d\ne.\n", next());
    EXPECT_EQ("6:f\ng. \n", next());
    EXPECT_EQ("8:h\ni\n", next());
    EXPECT_EQ("end", next());
    EXPECT_EQ("end", next());
}

TEST_F(RecentTextTest, skipsToBehindTheLineThatEndsAStatementInTheCurrentBlock) {
    next();
    next();
    m_text.skipStatement(4);
    EXPECT_EQ("6:f\ng. \n", next());
}

TEST_F(RecentTextTest, goesBackToABlockThatIsKept) {
    next();
    next();
    next();
    m_text.skipStatement(2);
    EXPECT_EQ("6:f\ng. \n", next());
    EXPECT_EQ("8:h\ni\n", next());
    EXPECT_EQ("end", next());
}

TEST_F(RecentTextTest, readsOnToFindTheEndOfTheStatement) {
    next();
    m_text.skipStatement(3);
    EXPECT_EQ("6:f\ng. \n", next());
}

TEST_F(RecentTextTest, givesTheRestOfTheBlockBehindTheStatement) {
    next();
    next();
    next();
    m_text.skipStatement(7);
    EXPECT_EQ("8:h\ni\n", next());
}

TEST_F(RecentTextTest, comesToTheEndWhenNoStatementEnds) {
    while (next() != "end") {
    }
    m_text.skipStatement(8);
    EXPECT_EQ("end", next());
}

TEST_F(RecentTextTest, keepsWhatTheParserIsNotDoneWith) {
    next();
    m_text.keepUntil(100, 0);
    next();
    m_text.keepUntil(200, 99);
    m_text.skipStatement(1);
    EXPECT_EQ("6:f\ng. \n", next());
}

TEST_F(RecentTextTest, givesUpWhatTheParserIsDoneWith) {
    next();
    m_text.keepUntil(100, 0);
    next();
    m_text.keepUntil(200, 100);
    next();
    m_text.skipStatement(1);
    EXPECT_EQ("6:f\ng. \n", next()) << "it goes back as far as it can, to line 4";
    m_text.keepUntil(300, 300);
    m_text.skipStatement(6);
    EXPECT_EQ("8:h\ni\n", next());
}

} // namespace
