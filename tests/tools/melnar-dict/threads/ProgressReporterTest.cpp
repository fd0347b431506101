#include "tools/melnar-dict/threads/ProgressReporter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

using namespace std::chrono_literals;

namespace {

constexpr ProgressReporter::Times AT_ONCE = {0ms, 1ms};

class ProgressReporterConcurrentTest : public testing::Test {
protected:
    /// Returns a source of figures for a reporter, which counts its calls.
    ProgressReporter::GetFigures makeFigures() {
        return [this] { return ProgressFigures{"work", 0, 0, {{m_numberOfQuestions.fetch_add(1) + 1, "times"}}}; };
    }

    void waitForQuestions(const uint64_t number) const {
        while (m_numberOfQuestions.load() < number)
            std::this_thread::sleep_for(1ms);
    }

    std::atomic<uint64_t> m_numberOfQuestions = 0;
    std::ostringstream m_stream;
    MessageOutput m_messages{m_stream};
};

TEST_F(ProgressReporterConcurrentTest, rewritesALineUntilItsEnd) {
    {
        const ProgressReporter reporter(m_messages, ProgressMode::REWRITTEN_LINE, makeFigures(), AT_ONCE);
        waitForQuestions(3);
    }
    EXPECT_TRUE(m_stream.str().starts_with("\r\x1b[Kwork, 1 times, 0.0 s\r\x1b[Kwork, 2 times")) << m_stream.str();
    EXPECT_TRUE(m_stream.str().ends_with("s\r\x1b[K")) << m_stream.str();
    EXPECT_EQ(std::string::npos, m_stream.str().find('\n'));
}

TEST_F(ProgressReporterConcurrentTest, writesLinesWhereNothingCanBeRewritten) {
    {
        const ProgressReporter reporter(m_messages, ProgressMode::LINES, makeFigures(), AT_ONCE);
        waitForQuestions(3);
    }
    EXPECT_TRUE(m_stream.str().starts_with("work, 1 times, 0.0 s\nwork, 2 times, 0.")) << m_stream.str();
    EXPECT_TRUE(m_stream.str().ends_with("s\n")) << m_stream.str();
}

TEST_F(ProgressReporterConcurrentTest, showsNothingForShortWorkOrInModeNone) {
    for (const ProgressMode mode : {ProgressMode::REWRITTEN_LINE, ProgressMode::LINES})
        const ProgressReporter reporter(m_messages, mode, makeFigures(), {1h, 1h});
    {
        const ProgressReporter reporter(m_messages, ProgressMode::NONE, makeFigures(), AT_ONCE);
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_EQ("", m_stream.str());
    EXPECT_EQ(0u, m_numberOfQuestions.load());
}

TEST_F(ProgressReporterConcurrentTest, continuesWhenTheFiguresAreNotAvailable) {
    const ProgressReporter reporter(
        m_messages, ProgressMode::LINES,
        [figures = makeFigures()] {
            return figures().m_counts[0].m_number < 3 ? throw std::runtime_error("no figures") : figures();
        },
        AT_ONCE);
    waitForQuestions(5);
}

TEST_F(ProgressReporterConcurrentTest, messagesOfOtherThreadsStandOnLinesOfTheirOwn) {
    {
        const ProgressReporter reporter(m_messages, ProgressMode::REWRITTEN_LINE, makeFigures(), AT_ONCE);
        for (uint64_t number = 0; number < 20; ++number) {
            waitForQuestions(number + 1);
            m_messages.write("message\n");
        }
    }
    const std::string text = m_stream.str();
    for (size_t found = text.find("message"); found != std::string::npos; found = text.find("message", found + 1))
        EXPECT_TRUE(found == 0 || text[found - 1] == '\n' || text[found - 1] == 'K') << found;
}

TEST(ProgressReporterTest, showsALineOftenAndLinesSeldom) {
    EXPECT_EQ(250ms, ProgressReporter::getTimesOf(ProgressMode::REWRITTEN_LINE).m_period);
    EXPECT_EQ(10s, ProgressReporter::getTimesOf(ProgressMode::LINES).m_first);
    EXPECT_EQ(10s, ProgressReporter::getTimesOf(ProgressMode::LINES).m_period);
}

} // namespace
