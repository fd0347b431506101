#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/RecordedDisk.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr uint32_t SHARDS_IN_USE = 3;
constexpr size_t RANDOM_STATES = 10;

/// Saves to a folder repeatedly, and records the disk.
class ShardedDictionaryPowerCutTest : public testing::Test {
protected:
    ShardedDictionaryPowerCutTest() {
        std::filesystem::create_directory(m_folder);
        m_host.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, 100));
        m_host.save(m_folder);
        m_states.push_back(getFolderContents(m_folder));
        m_host.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, 200));
    }

    /// Small writes allow many moments for a cut.
    void saveInSmallWrites() {
        SystemCallFaults writes(SystemCallFaults::Call::WRITE);
        writes.shortenTo(4096);
        m_host.save(m_folder);
        m_states.push_back(getFolderContents(m_folder));
    }

    /// Returns the number of the state whose files are all on the disk, from 1; 0 if there is none.
    size_t findState(const RecordedDisk::State& disk) const {
        for (size_t number = m_states.size(); number != 0; --number)
            if (std::ranges::all_of(m_states[number - 1], [&](const auto& file) {
                    const auto found = disk.find(file.first);
                    return found != disk.end() && found->second == file.second;
                }))
                return number;
        return 0;
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("terms");
    ShardedHost m_host;
    std::vector<FolderContents> m_states;
    std::minstd_rand m_random;
};

TEST_F(ShardedDictionaryPowerCutTest, leavesTheOldStateOrTheNewOneWhenever) {
    const RecordedDisk disk(m_folder);
    saveInSmallWrites();
    std::vector<size_t> found(3);
    size_t withRemains = 0;
    for (size_t operations = 0; operations <= disk.getNumberOfOperations(); ++operations)
        for (const RecordedDisk::State& state : disk.getStates(operations, RANDOM_STATES, m_random)) {
            const size_t number = findState(state);
            ASSERT_NE(0u, number) << "after operation " << operations;
            ++found[number];
            withRemains += state.size() > m_states[number - 1].size();
            ASSERT_TRUE(number == 2 || operations < disk.getNumberOfOperations())
                << "a save that has returned is on the disk";
        }
    EXPECT_LT(100u, found[1]);
    EXPECT_LT(0u, found[2]);
    EXPECT_LT(100u, withRemains);
    std::cout << "Power cuts after " << disk.getNumberOfOperations() + 1 << " moments: old state " << found[1]
              << ", new state " << found[2] << ", with remains " << withRemains << '\n';
}

/// The first save does not know whether its manifest has reached the disk. The next save, of this process or of
/// another, must not assume that.
TEST_F(ShardedDictionaryPowerCutTest, aFolderThatCouldNotBeFlushedKeepsTheOldStateUntilItIs) {
    for (const bool isSavedByAnother : {false, true}) {
        SCOPED_TRACE(isSavedByAnother ? "another" : "the same");
        m_states.resize(1);
        writeFolder(m_folder, m_states.front());
        ShardedHost host(m_folder);
        host.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, 200));
        const RecordedDisk disk(m_folder);
        for (size_t allowed = 0; m_states.size() == 1; ++allowed) {
            constexpr size_t MANY_FLUSHES = 30;
            ASSERT_LT(allowed, MANY_FLUSHES);
            SystemCallFaults flushes(SystemCallFaults::Call::FSYNC);
            flushes.failAfter(allowed, EIO, SystemCallFaults::Duration::ONCE);
            EXPECT_THROW(host.save(m_folder), SystemCallException);
            const ShardManifest manifest = readManifestOf(m_folder);
            if (manifest.m_history.m_entries.size() == 2) { // the last flush, of the folder
                FolderContents second{{"manifest", getFolderContents(m_folder).at("manifest")}};
                for (uint32_t shard = 0; shard < SHARDS_IN_USE; ++shard)
                    second[manifest.getFileName(shard)] = getFolderContents(m_folder).at(manifest.getFileName(shard));
                m_states.push_back(second);
            }
        }
        if (isSavedByAnother)
            host = ShardedHost(m_folder);
        host.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, 300));
        host.save(m_folder);
        m_states.push_back(getFolderContents(m_folder));
        std::vector<size_t> found(4);
        for (size_t operations = 0; operations <= disk.getNumberOfOperations(); ++operations)
            for (const RecordedDisk::State& state : disk.getStates(operations, 1, m_random)) {
                const size_t number = findState(state);
                ASSERT_NE(0u, number) << "after operation " << operations;
                ++found[number];
            }
        EXPECT_LT(0u, found[1]);
        EXPECT_LT(0u, found[2]);
        EXPECT_LT(0u, found[3]);
    }
}

TEST_F(ShardedDictionaryPowerCutTest, whatIsLeftOpensAndIsSavedOver) {
    std::vector<RecordedDisk::State> states;
    {
        const RecordedDisk disk(m_folder);
        m_host.save(m_folder);
        for (size_t operations = 0; operations <= disk.getNumberOfOperations(); operations += 3)
            for (RecordedDisk::State& state : disk.getStates(operations, 0, m_random))
                if (m_random() % 8 == 0)
                    states.push_back(std::move(state));
    }
    const FolderContents expected = getFolderContents(m_folder);
    EXPECT_LT(10u, states.size());
    size_t remains = 0;
    for (const RecordedDisk::State& state : states) {
        writeFolder(m_folder, state);
        ShardedHost host(m_folder);
        host->verify();
        host.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, 200));
        host.save(m_folder);
        ASSERT_EQ(expected, getFolderContents(m_folder));
        remains += state.size() > expected.size();
    }
    EXPECT_LT(3u, remains);
}

/// Tests the scaffolding itself: it would detect a save that did not flush its files.
TEST_F(ShardedDictionaryPowerCutTest, aSaveWithoutFlushingWouldLeaveNeither) {
    RecordedDisk disk(m_folder);
    saveInSmallWrites();
    disk.forgetFlushesOfFiles();
    size_t damaged = 0;
    for (size_t operations = 0; operations <= disk.getNumberOfOperations(); operations += 5)
        for (const RecordedDisk::State& state : disk.getStates(operations, RANDOM_STATES, m_random))
            damaged += findState(state) == 0;
    EXPECT_LT(10u, damaged);
}

} // namespace
