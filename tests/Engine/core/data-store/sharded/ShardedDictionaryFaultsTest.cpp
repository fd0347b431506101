#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Each system call and each allocation of a save and of opening fails in turn.

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr uint32_t SHARDS_IN_USE = 4;
constexpr uint32_t UNCHANGED_SHARD = 1;

/// The step in which ordinary runs take the failures of long loops.
constexpr size_t SOME = 7;

/// A folder in an old state, and a dictionary with a new state: one shard has not grown, some have, and one is new.
class ShardedDictionaryFaultsTest : public testing::Test {
protected:
    ShardedDictionaryFaultsTest() {
        std::filesystem::create_directory(m_folder);
        for (const uint32_t number : findNumbersOfFirstShards(SHARDS_IN_USE, 300))
            (getShardOf(number) < SHARDS_IN_USE - 1 ? m_oldNumbers : m_newNumbers).push_back(number);
        for (const uint32_t number : findNumbersOfFirstShards(SHARDS_IN_USE, 600))
            if (getShardOf(number) != UNCHANGED_SHARD)
                m_newNumbers.push_back(number);
        ShardedHost host;
        host.resolve(m_oldNumbers);
        host.save(m_folder);
        m_old = getFolderContents(m_folder);
        host.resolve(m_newNumbers);
        host.save(m_folder);
        m_new = getFolderContents(m_folder);
        restore();
        m_lock.emplace(m_folder + "/manifest");
        openAndResolve();
    }

    /// Restores the old state, with leftovers of a killed writer.
    void restore() const {
        for (const auto& [name, bytes] : getContents())
            std::filesystem::remove(m_folder + '/' + name);
        for (const auto& [name, bytes] : m_old)
            m_directory.addFile("terms/" + name, bytes);
        m_directory.addFile("terms/shard-77-" + std::string(32, '7'), "remains");
    }

    void openAndResolve() {
        m_host.emplace(m_folder);
        m_host->resolve(m_newNumbers);
    }

    FolderContents getContents() const {
        FolderContents contents = getFolderContents(m_folder);
        contents.erase("manifest.lock");
        return contents;
    }

    static bool holds(const FolderContents& contents, const FolderContents& state) {
        for (const auto& [name, bytes] : state)
            if (contents.count(name) == 0 || contents.at(name) != bytes)
                return false;
        return true;
    }

    /// Expects that the folder is in one of the two states, possibly with files that no manifest names. Returns whether
    /// it is the new one.
    bool expectAState() const {
        const FolderContents contents = getContents();
        const bool isNew = holds(contents, m_new);
        EXPECT_TRUE(isNew || holds(contents, m_old));
        return isNew;
    }

    /// Saves the new state, and expects that the folder is in one of the two. Returns whether it is the new one, and
    /// restores everything.
    bool saveWithAFailure(FailureRound& round, const size_t numberOfThreads = 1) {
        const bool isSaved =
            round.attempt([&] { (*m_host)->save(*m_lock, ShardedDictionary::State::WHOLE, numberOfThreads); });
        const bool isNew = expectAState();
        EXPECT_TRUE(isNew || !isSaved);
        EXPECT_EQ(isSaved ? 2u : 1u, (*m_host)->getManifest().m_history.m_entries.size());
        if (!round.hasFailed()) {
            EXPECT_EQ(m_new, getContents()) << "leftovers of killed writers are removed";
        }
        if (isNew)
            restore();
        if (isSaved)
            openAndResolve();
        return isNew;
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("terms");
    std::vector<uint32_t> m_oldNumbers;
    std::vector<uint32_t> m_newNumbers;
    FolderContents m_old;
    FolderContents m_new;
    std::optional<FileLock> m_lock;
    std::optional<ShardedHost> m_host;
};

TEST_F(ShardedDictionaryFaultsTest, everyCallOfSaveFailsAtEveryOccurrence) {
    size_t oldStayed = 0;
    size_t newCame = 0;
    FailureCounts counts;
    for (const Call call :
         {Call::OPEN, Call::STAT, Call::LSTAT, Call::FSTAT, Call::FCHMOD, Call::FCHOWN, Call::WRITE, Call::READ,
          Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::MMAP, Call::MPROTECT}) {
        counts += failEach(ofCalls({call}, {ENOSPC, EINTR}), [&](FailureRound& round) {
            const bool isNew = saveWithAFailure(round);
            EXPECT_TRUE(!isNew || !round.hasThrown() || call == Call::FSYNC || call == Call::OPEN)
                << "only the folder's way to the disk can fail when the state is there";
            (isNew ? newCame : oldStayed) += 1;
        });
        // Leftovers do not prevent the next save, which leaves nothing.
        ASSERT_NO_THROW((*m_host)->save(*m_lock));
        ASSERT_EQ(m_new, getContents());
        restore();
        openAndResolve();
    }
    EXPECT_LT(100u, counts.m_failures);
    EXPECT_LT(100u, oldStayed);
    EXPECT_LT(0u, newCame);
    std::cout << "Calls of save failed: " << counts.m_failures << "; old state: " << oldStayed
              << ", new state: " << newCame << '\n';
}

/// Which call of which thread fails depends on the threads; what must hold does not.
TEST_F(ShardedDictionaryFaultsTest, someCallsOfASaveByThreadsFail) {
    const FailureCounts counts = failEach(
        ofCalls({Call::OPEN, Call::WRITE, Call::FSYNC, Call::RENAME, Call::MMAP, Call::MPROTECT}, {EIO}),
        [this](FailureRound& round) { saveWithAFailure(round, 3); }, SOME);
    EXPECT_LT(20u, counts.m_throws);
    std::cout << "Saving shards on three threads, calls: " << counts << '\n';
}

TEST_F(ShardedDictionaryFaultsTest, whatTheSystemOnlyOughtToDoIsNotNeeded) {
    for (const Call call : {Call::MUNMAP, Call::MADVISE}) {
        {
            SystemCallFaults faults(call);
            faults.failAfter(0, EIO, Duration::FOR_GOOD);
            (*m_host)->save(*m_lock);
            EXPECT_LT(0u, faults.getNumberOfFailures());
        }
        EXPECT_EQ(m_new, getContents());
        restore();
        openAndResolve();
    }
}

TEST_F(ShardedDictionaryFaultsTest, aFullDiskIsLeftAsItWas) {
    size_t refused = 0;
    for (size_t allowedWrites = 0;; ++allowedWrites) {
        SystemCallFaults writes(Call::WRITE);
        writes.shortenTo(2000);
        writes.failAfter(allowedWrites, ENOSPC, Duration::FOR_GOOD);
        try {
            (*m_host)->save(*m_lock);
            break;
        } catch (const SystemCallException& exception) {
            ASSERT_EQ(ENOSPC, exception.getErrorCode());
        }
        ASSERT_EQ(m_old, getContents()) << "what dead writers have left goes first, what was written in the end";
        ++refused;
    }
    EXPECT_LT(20u, refused);
    EXPECT_EQ(m_new, getContents());
}

/// Shards that are not in memory are copied over the files of another dictionary.
TEST_F(ShardedDictionaryFaultsTest, everyCallOfSavingElsewhereFailsAtEveryOccurrence) {
    const std::string folder = m_directory.getPathOf("elsewhere");
    std::filesystem::create_directory(folder);
    ShardedHost other;
    other.resolve(findNumbersOfFirstShards(2, 20));
    other.save(folder);
    const FolderContents old = getFolderContents(folder);
    FileLock lock(folder + "/manifest");
    const auto getContentsElsewhere = [&] {
        FolderContents contents = getFolderContents(folder);
        contents.erase("manifest.lock");
        return contents;
    };
    FailureCounts counts;
    for (const Call call : {Call::OPEN, Call::STAT, Call::READ, Call::WRITE, Call::FSYNC, Call::CLOSE, Call::RENAME}) {
        counts += failEach(ofCalls({call}, {ENOSPC, EINTR}), [&](FailureRound& round) {
            ShardedHost host(m_folder);
            const bool isSaved = round.attempt([&] { host->save(lock); });
            const FolderContents contents = getContentsElsewhere();
            const bool isNew = holds(contents, m_old);
            EXPECT_TRUE(isNew || (!isSaved && holds(contents, old)));
            if (isNew) {
                for (const auto& [name, bytes] : contents)
                    std::filesystem::remove(folder + '/' + name);
                for (const auto& [name, bytes] : old)
                    m_directory.addFile("elsewhere/" + name, bytes);
            }
        });
        ShardedHost(m_folder)->save(lock);
        ASSERT_EQ(m_old, getContentsElsewhere());
    }
    EXPECT_LT(50u, counts.m_failures);
    std::cout << "Saving shards elsewhere, calls: " << counts << '\n';
}

TEST_F(ShardedDictionaryFaultsTest, everyCallOfOpeningFailsAtEveryOccurrence) {
    m_host.reset();
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    const FailureCounts counts = failEach(
        ofCalls({Call::OPEN, Call::READ, Call::MMAP, Call::MPROTECT, Call::REALPATH, Call::STAT}, {EIO, EINTR}),
        [&](FailureRound& round) {
            std::optional<ShardedHost> host;
            round.attempt([&] {
                host.emplace(m_folder);
                EXPECT_EQ(expected, host->lookUp(m_oldNumbers));
            });
            if (host) {
                EXPECT_EQ(expected, host->lookUp(m_oldNumbers)) << "a shard that could not be opened is opened now";
            }
        });
    EXPECT_LT(30u, counts.m_failures);
    std::cout << "Opening shards, calls: " << counts << '\n';
}

TEST_F(ShardedDictionaryFaultsTest, aReaderThatCannotReadTheNewManifestTriesAgain) {
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    const FailureCounts counts = failEach(ofCalls({Call::OPEN, Call::READ}, {EIO}), [&](FailureRound& round) {
        writeFolder(m_folder, m_old);
        const ShardedHost reader(m_folder);
        writeFolder(m_folder, m_new);
        round.attempt([&] { EXPECT_EQ(expected, reader.lookUp(m_oldNumbers)); });
        EXPECT_EQ(expected, reader.lookUp(m_oldNumbers));
    });
    EXPECT_LT(10u, counts.m_throws);
}

TEST_F(ShardedDictionaryFaultsTest, everyAllocationOfResolvingAndReadingFails) {
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    const size_t numberOfTerms = std::set<uint64_t>(expected.begin(), expected.end()).size();
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        ShardedHost host;
        ShardedDictionaryThread thread(*host);
        LiteralBatch batch(m_oldNumbers);
        batch.m_entries.push_back({"", 0, D_IRI}); // is refused
        round.attempt([&] {
            host->resolveResources(thread, batch.m_entries, batch.m_failures);
            host->tryResolveResources(batch.m_entries, batch.m_failures);
            host->getResources(batch.m_entries);
        });
        host->verify();
        const std::vector<uint64_t> found = host.lookUp(m_oldNumbers);
        const std::vector<uint64_t> resolved = host.resolve(m_oldNumbers);
        for (size_t index = 0; index < found.size(); ++index)
            ASSERT_TRUE(found[index] == 0 || found[index] == resolved[index]);
        ASSERT_EQ(numberOfTerms, std::set<uint64_t>(resolved.begin(), resolved.end()).size());
        ASSERT_EQ(numberOfTerms, host->getNumberOfResources()) << "an ID is lost";
    });
    EXPECT_LT(20u, counts.m_throws);
    std::cout << "Resolving and reading in shards, allocations: " << counts << '\n';
}

TEST_F(ShardedDictionaryFaultsTest, allocationsOfSaveFail) {
    size_t endedLate = 0;
    const FailureCounts counts = failEach(
        ofAllocations(),
        [&](FailureRound& round) {
            const bool isNew = saveWithAFailure(round);
            endedLate += isNew && round.hasThrown();
        },
        SOME);
    EXPECT_LT(100u, counts.m_throws * SOME);
    EXPECT_GE(4u, endedLate) << "only to flush the folder takes memory when the manifest has been replaced";
    std::cout << "Saving shards, allocations: " << counts << '\n';
}

TEST_F(ShardedDictionaryFaultsTest, allocationsOfOpeningFail) {
    m_host.reset();
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    const FailureCounts counts = failEach(
        ofAllocations(),
        [&](FailureRound& round) {
            std::optional<ShardedHost> host;
            LiteralBatch batch(m_oldNumbers);
            const bool isOpen = round.attempt([&] {
                host.emplace(m_folder);
                (*host)->tryResolveResources(batch.m_entries, batch.m_failures);
            });
            if (isOpen) {
                EXPECT_EQ(expected, batch.getIDs());
            }
            if (!host)
                host.emplace(m_folder);
            EXPECT_EQ(expected, host->lookUp(m_oldNumbers));
        },
        SOME);
    EXPECT_LT(40u, counts.m_throws * SOME);
    std::cout << "Opening shards, allocations: " << counts << '\n';
}

} // namespace
