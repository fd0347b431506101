#include "tests/tools/melnar-dict/load/ShardedTestLoad.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include <gtest/gtest.h>

#include <atomic>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const std::initializer_list<size_t> NUMBERS_OF_THREADS{1, 2, 7};

std::vector<std::string> makeTexts(const RdfFormat format) {
    return {makeStatements(format, 1200, !isLineFormat(format)), makeStatements(format, 100, !isLineFormat(format)),
            makeStatements(format, 1500, !isLineFormat(format))};
}

TEST(ShardResolverConcurrentTest, idsAreThoseOfTheFirstAppearanceWhateverThreadsAndMemory) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS, RdfFormat::TURTLE, RdfFormat::TRIG}) {
        ShardedTestLoad load(makeTexts(format), format);
        ShardedHow how;
        const ShardedOutcome expected = load.getModel(how);
        EXPECT_EQ("", expected.m_errorOutput);
        EXPECT_LT(4u * 2800, expected.m_rows.size() + 1);
        for (const size_t numberOfThreads : NUMBERS_OF_THREADS) {
            SCOPED_TRACE(numberOfThreads);
            how.m_numberOfThreads = numberOfThreads;
            how.m_blockSize = numberOfThreads == 2 ? 20'000 : 700;
            how.m_resolver.m_largestMemory = ~size_t(0);
            EXPECT_TRUE(expected == load.load(how));
            EXPECT_FALSE(load.hasSpilled());
            const size_t middle = (load.getEmptyMemory() + load.getMemory()) / 2;
            EXPECT_LT(load.getEmptyMemory(), middle);
            for (const size_t largestMemory : {size_t(0), middle}) {
                how.m_resolver.m_largestMemory = largestMemory;
                EXPECT_TRUE(expected == load.load(how)) << "spilled from " << largestMemory << " bytes on";
                EXPECT_TRUE(load.hasSpilled());
            }
        }
    }
}

TEST(ShardResolverConcurrentTest, rowsMayHaveThreeColumnsOrBeNone) {
    for (const size_t numberOfColumns : std::initializer_list<size_t>{0, 3}) {
        ShardedTestLoad load(makeTexts(RdfFormat::N_TRIPLES), RdfFormat::N_TRIPLES);
        for (const size_t numberOfThreads : NUMBERS_OF_THREADS)
            for (const size_t largestMemory : {size_t(0), ~size_t(0)}) {
                ShardedHow how{.m_numberOfThreads = numberOfThreads};
                how.m_resolver.m_numberOfColumns = numberOfColumns;
                how.m_resolver.m_largestMemory = largestMemory;
                const ShardedOutcome outcome = load.load(how);
                EXPECT_TRUE(load.getModel(how) == outcome);
                EXPECT_EQ(2800u * numberOfColumns, outcome.m_rows.size());
            }
    }
}

TEST(ShardResolverConcurrentTest, badStatementsCostNoOthersIfTheLoadIsLenient) {
    std::string text;
    for (int number = 0; number < 600; ++number) {
        text += "<a:s> <a:p> \"" + std::to_string(number) + "\" .\n";
        if (number % 10 == 3)
            text += "<a:new> <a:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
        if (number % 10 == 7)
            text += "<a:new> <a:p> \"\\q\" .\n";
    }
    for (const RdfFormat format : {RdfFormat::N_QUADS, RdfFormat::TRIG}) {
        ShardedTestLoad load({text, text}, format);
        ShardedHow how;
        how.m_resolver.m_isLenient = true;
        const ShardedOutcome expected = load.getModel(how);
        EXPECT_EQ(4u * 1200, expected.m_rows.size());
        EXPECT_EQ(240, std::ranges::count(expected.m_errorOutput, '\n'));
        for (const size_t numberOfThreads : NUMBERS_OF_THREADS)
            for (const size_t largestMemory : {size_t(0), ~size_t(0)}) {
                how.m_numberOfThreads = numberOfThreads;
                how.m_resolver.m_largestMemory = largestMemory;
                EXPECT_TRUE(expected == load.load(how)) << numberOfThreads;
                how.m_resolver.m_isLenient = false;
                const ShardedOutcome strict = load.load(how);
                EXPECT_EQ(ExitCode::BAD_DATA, strict.m_exitCode);
                EXPECT_EQ(expected.m_errorOutput.substr(0, expected.m_errorOutput.find('\n') + 1),
                          strict.m_errorOutput);
                how.m_resolver.m_isLenient = true;
            }
    }
}

TEST(ShardResolverConcurrentTest, savesComeBetweenTwoBlocks) {
    ShardedTestLoad load(makeTexts(RdfFormat::N_QUADS));
    ShardedHow how;
    const ShardedOutcome expected = load.getModel(how);
    for (const size_t numberOfThreads : NUMBERS_OF_THREADS)
        for (const size_t largestMemory : {size_t(0), ~size_t(0)}) {
            ShardedDictionary dictionary({.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT,
                                          .m_maximumNumberOfResources = ShardedTestLoad::TERMS_OF_A_SHARD});
            ShardSpill spill(load.getFolder(), {});
            how.m_numberOfThreads = numberOfThreads;
            how.m_resolver.m_largestMemory = largestMemory;
            std::vector<LoadWork> works;
            std::vector<uint64_t> numbersOfTerms;
            how.m_resolver.m_isSaveDue = [] { return true; };
            how.m_resolver.m_save = [&](const LoadWork& work) {
                works.push_back(work);
                for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) // no other thread uses them
                    numbersOfTerms.push_back(dictionary.getShard(shard)->getNextResourceID());
            };
            EXPECT_TRUE(expected == load.load(how, dictionary, spill, {}));
            EXPECT_LT(100u, works.size());
            uint64_t fileIndex = 0;
            uint64_t blockIndex = 0;
            for (const LoadWork& work : works) {
                if (work.m_fileIndex != fileIndex) {
                    EXPECT_EQ(++fileIndex, work.m_fileIndex);
                    blockIndex = 0;
                }
                EXPECT_EQ(blockIndex++, work.m_blockIndex);
                EXPECT_EQ(&work != &works.front() && largestMemory == 0, work.m_isFull);
            }
            EXPECT_EQ(2u, fileIndex);
        }
}

/// A save fails while other threads process their blocks, or wait for their turns.
TEST(ShardResolverConcurrentTest, aSaveThatFailsEndsTheLoadAndBlocksNoThread) {
    ShardedTestLoad load(makeTexts(RdfFormat::N_QUADS));
    for (const size_t numberOfThreads : NUMBERS_OF_THREADS)
        for (const bool isLenient : {false, true})
            for (const uint64_t block : std::initializer_list<uint64_t>{0, 1, 20}) {
                uint64_t numberOfSaves = 0;
                ShardedHow how{.m_numberOfThreads = numberOfThreads};
                how.m_resolver.m_isLenient = isLenient;
                how.m_resolver.m_isSaveDue = [] { return true; };
                how.m_resolver.m_save = [&](const LoadWork& work) {
                    ++numberOfSaves;
                    if (work.m_blockIndex == block)
                        throw std::runtime_error("no save");
                };
                const ShardedOutcome outcome = load.load(how);
                EXPECT_EQ(ExitCode::FAILURE, outcome.m_exitCode);
                EXPECT_NE(std::string::npos, outcome.m_errorOutput.find("no save")) << outcome.m_errorOutput;
                EXPECT_EQ(block + 1, numberOfSaves) << "and nothing is saved after it";
            }
}

TEST(ShardResolverConcurrentTest, aShardThatTakesNoMoreEndsTheLoadAndBlocksNoThread) {
    ShardedTestLoad load(makeTexts(RdfFormat::N_QUADS));
    for (const size_t numberOfThreads : NUMBERS_OF_THREADS) {
        ShardedDictionary dictionary({.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT, .m_maximumNumberOfResources = 3});
        ShardSpill spill(load.getFolder(), {});
        ShardedHow how{.m_numberOfThreads = numberOfThreads};
        how.m_resolver.m_isLenient = true;
        EXPECT_EQ(ExitCode::FAILURE, load.load(how, dictionary, spill, {}).m_exitCode);
    }
}

/// If there is bad data, the blocks before it may be saved, and in a load that is not lenient nothing after it.
TEST(ShardResolverConcurrentTest, nothingIsSavedAfterAnError) {
    std::string text;
    for (int number = 0; number < 1000; ++number)
        text += number == 500 ? "no statement\n" : "<a:s> <a:p> \"" + std::to_string(number) + "\" .\n";
    ShardedTestLoad load({text});
    for (const size_t numberOfThreads : NUMBERS_OF_THREADS)
        for (const bool isLenient : {false, true}) {
            uint64_t lastBlock = 0;
            ShardedHow how{.m_numberOfThreads = numberOfThreads, .m_blockSize = 1000};
            how.m_resolver.m_isLenient = isLenient;
            how.m_resolver.m_isSaveDue = [] { return true; };
            how.m_resolver.m_save = [&](const LoadWork& work) { lastBlock = work.m_blockIndex; };
            EXPECT_EQ(isLenient ? ExitCode::DONE : ExitCode::BAD_DATA, load.load(how).m_exitCode);
            const uint64_t numberOfBlocks = text.size() / 1000;
            const uint64_t badBlock = text.find("no statement") / 980; // at most: blocks end with a line
            EXPECT_GE(isLenient ? numberOfBlocks + 2 : badBlock + 1, lastBlock);
            EXPECT_TRUE(!isLenient || lastBlock >= numberOfBlocks) << lastBlock;
        }
}

} // namespace
