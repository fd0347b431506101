#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

using namespace melnar;

// Saving in steps, and shards that are saved and released one by one.

namespace {

using State = ShardedDictionary::State;

constexpr uint32_t SHARDS_IN_USE = 6;

class ShardedDictionaryStepsTest : public testing::Test {
protected:
    ShardedDictionaryStepsTest() {
        std::filesystem::create_directory(m_folder);
        std::filesystem::create_directory(m_otherFolder);
        ShardedHost host;
        m_expectedIDs = host.resolve(m_numbers);
        host.save(m_otherFolder);
        m_expected = getFolderContents(m_otherFolder);
    }

    void writeManifest(const ShardManifest& manifest, const std::string& name = "manifest") const {
        AtomicFileOutputStream output(m_folder + '/' + name);
        manifest.write(output);
        output.commit();
    }

    const std::vector<uint32_t> m_numbers = findNumbersOfFirstShards(SHARDS_IN_USE, 400);
    const std::vector<uint32_t> m_firstNumbers{m_numbers.begin(), m_numbers.begin() + 150};
    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("terms");
    const std::string m_otherFolder = m_directory.getPathOf("other");
    std::vector<uint64_t> m_expectedIDs;
    FolderContents m_expected;
};

TEST_F(ShardedDictionaryStepsTest, stepsComeToWhatSaveDoes) {
    ShardedHost host;
    host.resolve(m_numbers);
    const ShardManifest manifest = host->saveShards(m_folder, State::WHOLE, 2);
    EXPECT_FALSE(ShardedDictionary::isFolder(m_folder));
    EXPECT_FALSE(host->getHistory().getIdentity()) << "nothing is noted yet";
    writeManifest(manifest);
    host->noteSaved(m_folder, manifest);
    EXPECT_EQ(m_expected, getFolderContents(m_folder));
    EXPECT_EQ(manifest.getIdentityOfWholeState(), host->getHistory().getIdentity());
    host.save(m_folder);
    EXPECT_EQ(m_expected, getFolderContents(m_folder));
}

TEST_F(ShardedDictionaryStepsTest, anotherManifestBesideTheFoldersIsOpened) {
    ShardedHost host;
    host.resolve(m_firstNumbers);
    host.save(m_folder);
    host.resolve(m_numbers);
    ShardManifest unfinished = host->saveShards(m_folder, State::INTERMEDIATE, 1);
    unfinished.m_work = "where to go on";
    writeManifest(unfinished, "unfinished");
    ShardedDictionary::removeRemains(m_folder, {&unfinished});
    const auto old = ShardedDictionary::open(m_folder, {.m_memoryLimit = SHARDED_MEMORY_LIMIT});
    ShardedHost resumed(ShardedDictionary::open(m_folder, unfinished, {.m_memoryLimit = SHARDED_MEMORY_LIMIT}));
    EXPECT_EQ(getModelIDs(m_firstNumbers), ShardedHost(m_folder).lookUp(m_firstNumbers));
    EXPECT_LT(old->getNumberOfResources(), resumed->getNumberOfResources());
    EXPECT_EQ("where to go on", resumed->getManifest().m_work);
    const ShardManifest next = resumed->saveShards(m_folder, State::INTERMEDIATE, 1);
    EXPECT_EQ("", next.m_work) << "which is the caller's to write";
    EXPECT_EQ(m_expectedIDs, resumed.lookUp(m_numbers));
    ShardedDictionary::removeRemains(m_folder, {});
    EXPECT_EQ(getModelIDs(m_firstNumbers), ShardedHost(m_folder).lookUp(m_firstNumbers));
    ShardedHost lost(ShardedDictionary::open(m_folder, unfinished, {.m_memoryLimit = SHARDED_MEMORY_LIMIT}));
    EXPECT_THROW(lost.lookUp(m_numbers), MelnarException) << "the unfinished files were removed";
}

TEST_F(ShardedDictionaryStepsTest, remainsAreWhatNoManifestNames) {
    ShardedHost host;
    host.resolve(m_firstNumbers);
    host.save(m_folder);
    const FolderContents saved = getFolderContents(m_folder);
    host.resolve(m_numbers);
    const ShardManifest unfinished = host->saveShards(m_folder, State::INTERMEDIATE, 1);
    const FolderContents both = getFolderContents(m_folder);
    EXPECT_EQ(saved.size() + SHARDS_IN_USE, both.size());
    ShardedDictionary::removeRemains(m_folder, {&unfinished});
    EXPECT_EQ(both, getFolderContents(m_folder));
    ShardedDictionary::removeRemains(m_folder, {&host->getManifest()});
    EXPECT_EQ(saved, getFolderContents(m_folder));
    ShardedDictionary::removeRemains(m_directory.getPathOf("nothing"), {});
}

/// Each shard is built in memory, saved and released, although no manifest names it yet.
TEST_F(ShardedDictionaryStepsTest, releasedShardsAreReadFromTheFolder) {
    ShardedHost host;
    EXPECT_EQ(getModelIDs(m_firstNumbers), host.resolve(m_firstNumbers));
    host->saveAndRelease(m_folder, 2);
    EXPECT_EQ(0u, host->getMemoryInUse());
    EXPECT_FALSE(ShardedDictionary::isFolder(m_folder));
    EXPECT_EQ(getModelIDs(m_firstNumbers), host.lookUp(m_firstNumbers));
    EXPECT_LT(0u, host->getMemoryInUse());
    EXPECT_EQ(m_expectedIDs, host.resolve(m_numbers));
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        host->saveAndRelease(shard);
    EXPECT_EQ(0u, host->getMemoryInUse());
    EXPECT_EQ(m_expectedIDs, host.lookUp(m_numbers));
    host->verify();
    host.save(m_folder);
    EXPECT_EQ(m_expected, getFolderContents(m_folder)) << "the files of the first release are remains";
}

TEST_F(ShardedDictionaryStepsTest, aShardThatCannotBeSavedIsNotReleased) {
    ShardedHost host;
    host.resolve(m_firstNumbers);
    host->saveAndRelease(m_folder, 1);
    host.resolve(m_numbers);
    std::filesystem::create_directory(m_folder + '/' + ShardManifest::getTemporaryFileName(2));
    EXPECT_EQ(EEXIST, catchException<SystemCallException>([&] { host->saveAndRelease(2); }).getErrorCode());
    EXPECT_EQ(m_expectedIDs, host.lookUp(m_numbers));
    std::filesystem::remove(m_folder + '/' + ShardManifest::getTemporaryFileName(2));
    host->saveAndRelease(2);
    EXPECT_EQ(m_expectedIDs, host.lookUp(m_numbers));
}

TEST_F(ShardedDictionaryStepsTest, whatIsNotInMemoryIsNotOpenedForAQuestionAboutMemory) {
    ShardedHost host;
    host.resolve(m_numbers);
    host.save(m_folder);
    const ShardedHost copy(m_folder);
    BatchEntry refused{"", 0, D_IRI};
    LiteralBatch batch({m_numbers.front()});
    const uint32_t shard = getShardOf(m_numbers.front());
    std::vector<BatchFailure> failures;
    copy->getShardInMemory(shard).tryResolveResources(DictionaryCommitPoint::ALL, batch.m_entries, failures);
    EXPECT_EQ(0u, batch.m_entries.front().m_resourceID);
    EXPECT_TRUE(failures.empty());
    copy->getShardInMemory(shard).tryResolveResources(DictionaryCommitPoint::ALL, {&refused, 1}, failures);
    EXPECT_EQ(1u, failures.size());
    EXPECT_EQ(0u, copy->getMemoryInUse());
    const Dictionary* const opened = copy->getShard(shard);
    EXPECT_EQ(opened, &copy->getShardInMemory(shard));
}

} // namespace
