#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Each system call and each allocation of a save and of opening fails in turn.

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr uint32_t SHARDS_IN_USE = 4;
constexpr uint32_t UNCHANGED_SHARD = 1;
constexpr size_t NEVER = size_t(1) << 60;

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

    /// Calls `operation(faults)` with a failure of each occurrence of a call, until a run has none. Returns the number
    /// of failures.
    static size_t failEachOccurrence(const Call call, const std::function<void(SystemCallFaults&)>& operation) {
        size_t failedCalls = 0;
        for (const auto& [errorCode, duration] :
             {std::pair(EIO, Duration::ONCE), std::pair(ENOSPC, Duration::FOR_GOOD), std::pair(EINTR, Duration::ONCE)})
            for (size_t occurrence = 0;; ++occurrence) {
                SCOPED_TRACE(testing::Message() << "call " << static_cast<size_t>(call) << ", occurrence " << occurrence
                                                << ", error " << errorCode);
                SystemCallFaults faults(call);
                faults.failAfter(occurrence, errorCode, duration);
                operation(faults);
                if (faults.getNumberOfFailures() == 0 || HasFailure())
                    break;
                failedCalls += faults.getNumberOfFailures();
            }
        return failedCalls;
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
    size_t failedCalls = 0;
    size_t oldStayed = 0;
    size_t newCame = 0;
    for (const Call call :
         {Call::OPEN, Call::STAT, Call::LSTAT, Call::FSTAT, Call::FCHMOD, Call::FCHOWN, Call::WRITE, Call::READ,
          Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::MMAP, Call::MPROTECT}) {
        failedCalls += failEachOccurrence(call, [&](SystemCallFaults& faults) {
            bool isSaved = false;
            try {
                (*m_host)->save(*m_lock);
                isSaved = true;
            } catch (const MelnarException& exception) {
                EXPECT_LT(0u, faults.getNumberOfFailures());
                EXPECT_TRUE(dynamic_cast<const SystemCallException*>(&exception) != nullptr || call == Call::MMAP ||
                            call == Call::MPROTECT)
                    << exception.getMessage();
            }
            faults.failAfter(NEVER, 0, Duration::ONCE);
            const bool isNew = expectAState();
            EXPECT_TRUE(isNew || !isSaved);
            EXPECT_TRUE(!isNew || isSaved || call == Call::FSYNC || call == Call::OPEN)
                << "only the folder's way to the disk can fail when the state is there";
            EXPECT_EQ(isSaved ? 2u : 1u, (*m_host)->getManifest().m_history.m_entries.size());
            (isNew ? newCame : oldStayed) += 1;
            if (isNew)
                restore();
            if (isSaved)
                openAndResolve();
        });
        // Leftovers do not prevent the next save, which leaves nothing.
        ASSERT_NO_THROW((*m_host)->save(*m_lock));
        ASSERT_EQ(m_new, getContents());
        restore();
        openAndResolve();
    }
    EXPECT_LT(100u, failedCalls);
    EXPECT_LT(100u, oldStayed);
    EXPECT_LT(0u, newCame);
    std::cout << "Calls of save failed: " << failedCalls << "; old state: " << oldStayed << ", new state: " << newCame
              << '\n';
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
    size_t failedCalls = 0;
    for (const Call call : {Call::OPEN, Call::STAT, Call::READ, Call::WRITE, Call::FSYNC, Call::CLOSE, Call::RENAME}) {
        ShardedHost host(m_folder);
        failedCalls += failEachOccurrence(call, [&](SystemCallFaults& faults) {
            bool isSaved = false;
            try {
                host->save(lock);
                isSaved = true;
            } catch (const SystemCallException&) {
                EXPECT_LT(0u, faults.getNumberOfFailures());
            }
            faults.failAfter(NEVER, 0, Duration::ONCE);
            const FolderContents contents = getContentsElsewhere();
            const bool isNew = holds(contents, m_old);
            EXPECT_TRUE(isNew || (!isSaved && holds(contents, old)));
            if (isNew) {
                for (const auto& [name, bytes] : contents)
                    std::filesystem::remove(folder + '/' + name);
                for (const auto& [name, bytes] : old)
                    m_directory.addFile("elsewhere/" + name, bytes);
            }
            if (isSaved)
                host = ShardedHost(m_folder);
        });
        host->save(lock);
        ASSERT_EQ(m_old, getContentsElsewhere());
    }
    EXPECT_LT(50u, failedCalls);
}

TEST_F(ShardedDictionaryFaultsTest, everyCallOfOpeningFailsAtEveryOccurrence) {
    m_host.reset();
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    size_t failedCalls = 0;
    for (const Call call : {Call::OPEN, Call::READ, Call::MMAP, Call::MPROTECT, Call::REALPATH, Call::STAT})
        failedCalls += failEachOccurrence(call, [&](SystemCallFaults& faults) {
            std::optional<ShardedHost> host;
            try {
                host.emplace(m_folder);
                LiteralBatch batch(m_oldNumbers);
                (*host)->tryResolveResources(batch.m_entries, batch.m_failures);
                EXPECT_EQ(expected, batch.getIDs());
                EXPECT_TRUE(batch.m_failures.empty());
            } catch (const SystemCallException&) {
                EXPECT_LT(0u, faults.getNumberOfFailures());
            }
            faults.failAfter(NEVER, 0, Duration::ONCE);
            if (host) {
                EXPECT_EQ(expected, host->lookUp(m_oldNumbers)) << "a shard that could not be opened is opened now";
            }
        });
    EXPECT_LT(30u, failedCalls);
}

TEST_F(ShardedDictionaryFaultsTest, noAddressSpaceLeaksWhenOpeningFails) {
    m_host.reset();
    for (const Call call : {Call::READ, Call::MPROTECT})
        failEachOccurrence(call, [&](const SystemCallFaults&) {
            SystemCallFaults reservations(Call::MMAP);
            SystemCallFaults releases(Call::MUNMAP);
            try {
                ShardedHost(m_folder).lookUp(m_oldNumbers);
            } catch (const SystemCallException&) {
            }
            ASSERT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
        });
}

TEST_F(ShardedDictionaryFaultsTest, aReaderThatCannotReadTheNewManifestTriesAgain) {
    const FolderContents old = getContents();
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    writeFolder(m_folder, m_old);
    size_t failedCalls = 0;
    for (size_t occurrence = 0;; ++occurrence) {
        writeFolder(m_folder, m_old);
        const ShardedHost reader(m_folder);
        writeFolder(m_folder, m_new);
        {
            SystemCallFaults faults(Call::OPEN);
            faults.failAfter(occurrence, EIO, Duration::ONCE);
            try {
                EXPECT_EQ(expected, reader.lookUp(m_oldNumbers));
            } catch (const SystemCallException&) {
            }
            if (faults.getNumberOfFailures() == 0)
                break;
            ++failedCalls;
        }
        EXPECT_EQ(expected, reader.lookUp(m_oldNumbers));
    }
    EXPECT_LT(5u, failedCalls);
}

TEST_F(ShardedDictionaryFaultsTest, everyAllocationOfSaveFails) {
    size_t ended = 0;
    size_t endedLate = 0;
    bool hasFailed = true;
    for (size_t allowed = 0; hasFailed; ++allowed) {
        SCOPED_TRACE(testing::Message() << allowed << " allocations");
        bool isSaved = false;
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                (*m_host)->save(*m_lock);
                isSaved = true;
            } catch (const std::bad_alloc&) {
                ++ended;
            }
            hasFailed = faults.hasFailed();
        }
        ASSERT_TRUE(hasFailed || isSaved);
        const bool isNew = expectAState();
        ASSERT_TRUE(isNew || !isSaved);
        endedLate += isNew && !isSaved;
        ASSERT_EQ(isSaved ? 2u : 1u, (*m_host)->getManifest().m_history.m_entries.size());
        if (!hasFailed)
            break;
        if (isNew)
            restore();
        if (isSaved) // Without memory, leftovers of killed writers are not removed.
            openAndResolve();
    }
    EXPECT_EQ(m_new, getContents());
    EXPECT_LT(50u, ended);
    EXPECT_GE(2u, endedLate) << "only to flush the folder takes memory when the manifest has been replaced";
}

TEST_F(ShardedDictionaryFaultsTest, everyAllocationOfResolvingAndReadingFails) {
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    const size_t numberOfTerms = std::set<uint64_t>(expected.begin(), expected.end()).size();
    size_t ended = 0;
    bool hasFailed = true;
    for (size_t allowed = 0; hasFailed; ++allowed) {
        SCOPED_TRACE(testing::Message() << allowed << " allocations");
        ShardedHost host;
        ShardedDictionaryThread thread(*host);
        LiteralBatch batch(m_oldNumbers);
        batch.m_entries.push_back({"", 0, D_IRI}); // is refused
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                host->resolveResources(thread, batch.m_entries, batch.m_failures);
                host->tryResolveResources(batch.m_entries, batch.m_failures);
                host->getResources(batch.m_entries);
            } catch (const std::bad_alloc&) {
                ++ended;
            }
            hasFailed = faults.hasFailed();
        }
        host->verify();
        const std::vector<uint64_t> found = host.lookUp(m_oldNumbers);
        const std::vector<uint64_t> resolved = host.resolve(m_oldNumbers);
        for (size_t index = 0; index < found.size(); ++index)
            ASSERT_TRUE(found[index] == 0 || found[index] == resolved[index]);
        ASSERT_EQ(numberOfTerms, std::set<uint64_t>(resolved.begin(), resolved.end()).size());
        ASSERT_EQ(numberOfTerms, host->getNumberOfResources()) << "an ID is lost";
    }
    EXPECT_LT(10u, ended);
}

TEST_F(ShardedDictionaryFaultsTest, everyAllocationOfOpeningFails) {
    m_host.reset();
    const std::vector<uint64_t> expected = getModelIDs(m_oldNumbers);
    size_t ended = 0;
    bool hasFailed = true;
    for (size_t allowed = 0; hasFailed; ++allowed) {
        SCOPED_TRACE(testing::Message() << allowed << " allocations");
        SystemCallFaults reservations(Call::MMAP);
        SystemCallFaults releases(Call::MUNMAP);
        std::optional<ShardedHost> host;
        LiteralBatch batch(m_oldNumbers);
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                host.emplace(m_folder);
                (*host)->tryResolveResources(batch.m_entries, batch.m_failures);
                EXPECT_EQ(expected, batch.getIDs());
            } catch (const std::bad_alloc&) {
                ++ended;
            }
            hasFailed = faults.hasFailed();
        }
        ASSERT_TRUE(!host || host->lookUp(m_oldNumbers) == expected);
        host.reset();
        ASSERT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
    }
    EXPECT_LT(20u, ended);
}

} // namespace
