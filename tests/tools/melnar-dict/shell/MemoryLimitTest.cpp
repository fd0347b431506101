#include "tools/melnar-dict/shell/MemoryLimit.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/MemoryOfTheProcess.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <ios>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr size_t MEBIBYTE = size_t(1) << 20;

// The memory that the limit excludes according to docs/tool.md: the program and its libraries, stacks of threads.
constexpr size_t REMAINDER = 24 * MEBIBYTE;

TEST(MemoryLimitTest, theDefaultLeavesSomeOfTheMachine) {
    const auto pages = static_cast<uint64_t>(::sysconf(_SC_PHYS_PAGES));
    const uint64_t limit = MemoryLimit::getDefault();
    EXPECT_LT(0u, limit);
    EXPECT_GE(pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE)) / 16 * 15 + 16, limit);
}

TEST(MemoryLimitTest, withoutALimitNoneIsNamed) {
    EXPECT_EQ("out of memory", MemoryLimit::describeFailure());
}

/// Loads files within limits; the memory that they need beyond the limit stays within the remainder.
class MemoryLimitSlowTest : public testing::Test {
protected:
    void SetUp() override {
        if (const char* const reason = findWhyMemoryTellsNothing(LIMIT); reason != nullptr)
            GTEST_SKIP() << reason;
    }

    /// Loads a file that consists of a repeated piece between two others. It is never completely in this process.
    ToolResult load(const std::string& name, const std::string& begin,
                    const std::function<std::string(size_t)>& makePiece, const size_t numberOfPieces,
                    const std::string& end, const std::string& threads) const {
        {
            std::ofstream file(m_directory.getPathOf(name), std::ios::binary);
            file << begin;
            for (size_t index = 0; index < numberOfPieces; ++index)
                file << makePiece(index);
            file << end;
        }
        return runToolProcess(
            {"load", m_directory.getPathOf(name), "--memory-limit", std::to_string(LIMIT), "--threads", threads});
    }

    static void expectLimitReached(const ToolResult& result) {
        EXPECT_EQ(3, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(": out of memory: --memory-limit 64M is reached"))
            << result.m_errorOutput;
        EXPECT_GT(LIMIT + REMAINDER, result.m_peakMemory);
    }

    static void expectDone(const ToolResult& result) {
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        EXPECT_GT(LIMIT + REMAINDER, result.m_peakMemory);
    }

    static constexpr size_t LIMIT = 64 * MEBIBYTE;

    const TemporaryDirectory m_directory;
};

/// No statements are shorter, so a thread has the largest possible number of terms and rows of a block. The smallest
/// limit leaves the dictionary 1 MiB, and it needs another one.
TEST_F(MemoryLimitSlowTest, threadsNeedOnlyTheReservedMemoryEvenForTheShortestStatements) {
    constexpr size_t STATEMENTS = 200'000;
    constexpr size_t DISTINCT_TERMS = 60'000; // more than a block has
    const std::string input = m_directory.getPathOf("short.nt");
    {
        std::ofstream file(input, std::ios::binary);
        for (size_t number = 0; number < STATEMENTS * 3; number += 3)
            file << std::hex << "_:" << number % DISTINCT_TERMS << "<a:" << (number + 1) % DISTINCT_TERMS
                 << ">_:" << (number + 2) % DISTINCT_TERMS << ".\n";
    }
    const std::string dictionary = m_directory.getPathOf("d");
    const std::string rows = m_directory.getPathOf("rows.npy");
    for (const size_t threads : {1u, 4u, 7u}) {
        const uint64_t limit = 4 * MEBIBYTE + threads * MemoryLimit::BYTES_OF_THREAD_WITH_TERMS;
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"load", input, "-o", dictionary, "--ids", rows},
              {"load", input, "-o", dictionary, "--ids", rows, "--order", "any"},
              {"encode", input, "-d", dictionary, "-o", rows},
              {"decode", rows, "-d", dictionary, "-o", m_directory.getPathOf("decoded.nt")}}) {
            SCOPED_TRACE(testing::PrintToString(command) + " with threads: " + std::to_string(threads));
            std::vector<std::string> arguments = command;
            arguments.insert(arguments.end(),
                             {"--memory-limit", std::to_string(limit), "--threads", std::to_string(threads)});
            const ToolResult result = runToolProcess(arguments);
            EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        }
    }
}

TEST_F(MemoryLimitSlowTest, theDictionaryUsesWhatThreadsDoNotNeed) {
    const auto makeLine = [](const size_t number) {
        return "<a:s> <a:p> \"a literal that has the number " + std::to_string(number) + "\" .\n";
    };
    expectDone(load("small.nt", "", makeLine, 400'000, "", "4"));
    expectLimitReached(load("large.nt", "", makeLine, 1'600'000, "", "4"));
}

TEST_F(MemoryLimitSlowTest, longLinesAndStatementsCount) {
    const auto makeText = [](size_t) { return std::string(MEBIBYTE, 'x'); };
    for (const char* const name : {"long.nt", "long.ttl", "long.trig"}) {
        expectDone(load(name, "<a:s> <a:p> \"", makeText, 4, "\" .\n", "2"));
        expectLimitReached(load(name, "<a:s> <a:p> \"", makeText, 96, "\" .\n", "2"));
    }
}

TEST_F(MemoryLimitSlowTest, statementsOfManyTriplesCount) {
    const auto makeObject = [](size_t) { return std::string(",1"); };
    expectLimitReached(load("many.ttl", "<a:s> <a:p> 1", makeObject, 1'000'000, ".", "2"));
}

} // namespace
