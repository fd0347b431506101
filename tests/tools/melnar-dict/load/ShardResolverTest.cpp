#include "tools/melnar-dict/load/ShardResolver.h"

#include "tests/support/FailureLoop.h"
#include "tests/tools/melnar-dict/load/ShardedTestLoad.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/load/LoadCheckpoint.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Loads that are saved once, and that a new process resumes from there. The first process continues, too, as if it had
/// been killed only at its end.
class InterruptedLoad {
public:
    explicit InterruptedLoad(const RdfFormat format)
        : m_load({makeStatements(format, 60, !isLineFormat(format)), makeStatements(format, 10, !isLineFormat(format)),
                  "", makeStatements(format, 70, !isLineFormat(format))},
                 format) {}

    /// Returns false if the load has no such save.
    bool interrupt(ShardedHow how, const size_t numberOfSave) {
        ShardedDictionary dictionary({.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT,
                                      .m_maximumNumberOfResources = ShardedTestLoad::TERMS_OF_A_SHARD});
        ShardSpill spill(m_load.getFolder(), {});
        LoadCheckpoint checkpoint(m_load.getFolder(), {}, 2, dictionary, spill);
        size_t number = 0;
        how.m_resolver.m_isSaveDue = [&] { return number++ == numberOfSave; };
        how.m_resolver.m_save = [&](LoadWork& work) { checkpoint.save(work); };
        m_load.load(how, dictionary, spill, {});
        return number > numberOfSave;
    }

    ShardedOutcome goOn(const ShardedHow& how) {
        LoadCheckpoint::Unfinished unfinished = LoadCheckpoint::read(m_load.getFolder()).value();
        const std::unique_ptr<ShardedDictionary> dictionary = ShardedDictionary::open(
            m_load.getFolder(), std::move(unfinished.m_manifest), {.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT});
        ShardedOutcome outcome;
        {
            ShardSpill spill(m_load.getFolder(), unfinished.m_work);
            outcome = m_load.load(how, *dictionary, spill, unfinished.m_work);
        }
        LoadCheckpoint::removeFrom(m_load.getFolder());
        return outcome;
    }

    ShardedTestLoad m_load;
};

TEST(ShardResolverTest, aLoadThatResumesFromAnySaveHasTheSameResult) {
    for (const RdfFormat format : {RdfFormat::N_QUADS, RdfFormat::TURTLE}) {
        InterruptedLoad load(format);
        ShardedHow how;
        const ShardedOutcome expected = load.m_load.getModel(how);
        EXPECT_EQ("", expected.m_errorOutput);
        EXPECT_TRUE(expected == load.m_load.load(how));
        const size_t middle = (load.m_load.getEmptyMemory() + load.m_load.getMemory()) / 2;
        size_t numberOfSaves = 0;
        for (size_t save = 0;; save += 3) {
            SCOPED_TRACE(save);
            how.m_numberOfThreads = 1 + numberOfSaves / 3 % 3;
            how.m_resolver.m_largestMemory = std::array{~size_t(0), middle, size_t(0)}[numberOfSaves % 3];
            if (!load.interrupt(how, save))
                break;
            ++numberOfSaves;
            how.m_numberOfThreads = 1 + save % 3;
            EXPECT_TRUE(expected == load.goOn(how));
        }
        EXPECT_LT(4u, numberOfSaves);
    }
}

TEST(ShardResolverTest, aLoadMayBeInterruptedAgainAndAgain) {
    InterruptedLoad load(RdfFormat::N_QUADS);
    ShardedHow how{.m_numberOfThreads = 2};
    const ShardedOutcome expected = load.m_load.getModel(how);
    EXPECT_TRUE(load.interrupt(how, 3));
    size_t numberOfInterruptions = 0;
    for (bool isDone = false; !isDone; ++numberOfInterruptions) {
        LoadCheckpoint::Unfinished unfinished = LoadCheckpoint::read(load.m_load.getFolder()).value();
        const std::unique_ptr<ShardedDictionary> dictionary =
            ShardedDictionary::open(load.m_load.getFolder(), std::move(unfinished.m_manifest),
                                    {.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT});
        ShardSpill spill(load.m_load.getFolder(), unfinished.m_work);
        LoadCheckpoint checkpoint(load.m_load.getFolder(), {}, 1, *dictionary, spill);
        size_t number = 0;
        how.m_resolver.m_largestMemory = numberOfInterruptions < 2 ? ~size_t(0) : 0;
        how.m_resolver.m_isSaveDue = [&] { return number++ == 2; };
        how.m_resolver.m_save = [&](LoadWork& work) { checkpoint.save(work); };
        const ShardedOutcome outcome = load.m_load.load(how, *dictionary, spill, unfinished.m_work);
        isDone = number <= 2;
        EXPECT_TRUE(expected == outcome);
    }
    EXPECT_LT(4u, numberOfInterruptions);
}

/// This holds for a lenient load, too: the failure is not bad data.
TEST(ShardResolverTest, nothingIsSavedAfterABlockThatFailed) {
    InterruptedLoad load(RdfFormat::N_QUADS);
    for (const size_t largestMemory : {size_t(0), ~size_t(0)}) {
        uint64_t failedBlock = 0;
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7, 7, 7, 7})
            for (const bool isLenient : {true, false}) {
                ShardedDictionary dictionary(
                    {.m_memoryLimit = ShardedTestLoad::MEMORY_LIMIT, .m_maximumNumberOfResources = 3});
                ShardSpill spill(load.m_load.getFolder(), {});
                uint64_t lastBlock = 0;
                ShardedHow how{.m_numberOfThreads = numberOfThreads};
                how.m_resolver.m_isLenient = isLenient;
                how.m_resolver.m_isSaveDue = [] { return true; };
                how.m_resolver.m_save = [&](const LoadWork& work) {
                    if (largestMemory == 0 && work.m_blockIndex == 4)
                        throw std::runtime_error("no save");
                    lastBlock = work.m_blockIndex;
                };
                how.m_resolver.m_largestMemory = largestMemory;
                EXPECT_EQ(ExitCode::FAILURE, load.m_load.load(how, dictionary, spill, {}).m_exitCode);
                if (numberOfThreads == 1)
                    failedBlock = lastBlock;
                EXPECT_EQ(failedBlock, lastBlock);
            }
        EXPECT_LT(0u, failedBlock);
    }
}

/// A load either has the same result as without the failure, or reports it. All terms are spilled.
FailureCounts loadWithFailures(const std::vector<Fault>& faults, const size_t step) {
    ShardedTestLoad load({makeStatements(RdfFormat::N_QUADS, 4)});
    const ShardedHow how{.m_resolver = {.m_largestMemory = 0, .m_numberOfColumns = 4}};
    const ShardedOutcome expected = load.getModel(how);
    size_t reports = 0;
    const FailureCounts counts = failEach(
        faults,
        [&](FailureRound& round) {
            ShardedOutcome outcome;
            if (round.attempt([&] { outcome = load.load(how); })) {
                const bool isReported = outcome.m_exitCode != ExitCode::DONE;
                reports += isReported;
                EXPECT_EQ(isReported, !outcome.m_errorOutput.empty());
                EXPECT_TRUE(isReported || expected == outcome);
                EXPECT_TRUE(load.hasSpilled() || isReported);
            }
            EXPECT_TRUE(expected == load.load(how));
            EXPECT_TRUE(std::filesystem::is_empty(load.getFolder())) << "the next load removes what is left";
        },
        step);
    std::cout << "Loading: " << counts << ", of which " << reports << " were reported\n";
    return counts;
}

TEST(ShardResolverTest, anyCallOfALoadMayFail) {
    using Call = SystemCallFaults::Call;
    FailureCounts counts = loadWithFailures(
        ofCalls({Call::OPEN, Call::READ, Call::WRITE, Call::FSTAT, Call::FTRUNCATE, Call::UNLINK}, {EIO}), 11);
    counts += loadWithFailures(ofCalls({Call::MMAP, Call::MPROTECT}, {ENOMEM}), 211);
    EXPECT_LT(10u, counts.m_throws);
}

TEST(ShardResolverTest, anyAllocationOfALoadMayFail) {
    const FailureCounts counts = loadWithFailures(ofAllocations(), 499);
    EXPECT_LT(5u, counts.m_throws);
}

} // namespace
