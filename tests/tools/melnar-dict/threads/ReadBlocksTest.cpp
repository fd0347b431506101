#include "tools/melnar-dict/threads/ReadBlocks.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace {

constexpr uint64_t NUMBER_OF_BLOCKS = 1000;

struct NumberedBlock {
    uint64_t m_sequence = 0;
};

/// Has a number of blocks, and ends as the test requires.
class NumberedBlocks {
public:
    explicit NumberedBlocks(std::function<void()> end = [] {}) : m_end(std::move(end)) {}

    bool next(NumberedBlock& block) {
        block.m_sequence = m_numberOfCalls++;
        if (block.m_sequence < NUMBER_OF_BLOCKS)
            return true;
        if (block.m_sequence == NUMBER_OF_BLOCKS)
            m_end();
        return false;
    }

    static uint64_t getNumberOfBlocks() { return NUMBER_OF_BLOCKS; }

private:
    const std::function<void()> m_end;
    std::atomic<uint64_t> m_numberOfCalls = 0;
};

class ReadBlocksConcurrentTest : public testing::Test {
protected:
    ReadBlocksConcurrentTest() { m_journal.startFile("file"); }

    void read(NumberedBlocks& blocks, const uint64_t failingBlock = NUMBER_OF_BLOCKS) {
        readBlocks<NumberedBlock>(blocks, m_journal, 4, m_reading, [this, failingBlock] {
            ++m_handlers;
            return [failingBlock](const NumberedBlock& block, ParsedPiece& piece) {
                if (block.m_sequence == failingBlock)
                    throw std::runtime_error("cannot handle it");
                ++piece.m_counts.m_statements;
            };
        });
    }

    std::ostringstream m_errorOutput;
    MessageOutput m_messages{m_errorOutput};
    InputJournal m_journal{{}, m_messages};
    std::stop_source m_reading;
    std::atomic<unsigned> m_handlers = 0;
};

TEST_F(ReadBlocksConcurrentTest, everyBlockIsHandledOnce) {
    NumberedBlocks blocks;
    read(blocks);
    EXPECT_EQ(4u, m_handlers);
    EXPECT_EQ(NUMBER_OF_BLOCKS, m_journal.getCounts().m_statements);
    EXPECT_FALSE(m_journal.isStopped());
    EXPECT_FALSE(m_reading.stop_requested());
}

TEST_F(ReadBlocksConcurrentTest, anExceptionOfTheReaderEndsTheFileAfterAllBlocks) {
    NumberedBlocks blocks([] { throw ToolFailure(ExitCode::BAD_DATA, "it ends early"); });
    read(blocks);
    EXPECT_EQ("file: it ends early\n", m_errorOutput.str());
    EXPECT_EQ(ExitCode::BAD_DATA, m_journal.getExitCode());
    EXPECT_EQ(NUMBER_OF_BLOCKS, m_journal.getCounts().m_statements);
    EXPECT_TRUE(m_reading.stop_requested());
}

TEST_F(ReadBlocksConcurrentTest, whatTheReaderThrowsAfterAStopIsNotReported) {
    NumberedBlocks blocks([this] {
        m_journal.stop();
        throw std::runtime_error("stopped");
    });
    read(blocks);
    EXPECT_EQ("", m_errorOutput.str());
    EXPECT_EQ(ExitCode::DONE, m_journal.getExitCode());
    EXPECT_TRUE(m_reading.stop_requested());
}

TEST_F(ReadBlocksConcurrentTest, whatAHandlerThrowsComesOutAndStopsTheOthers) {
    NumberedBlocks blocks;
    const auto failure = catchException<std::runtime_error>([&] { read(blocks, 10); });
    EXPECT_STREQ("cannot handle it", failure.what());
    EXPECT_TRUE(m_journal.isStopped());
    EXPECT_TRUE(m_reading.stop_requested());
}

} // namespace
