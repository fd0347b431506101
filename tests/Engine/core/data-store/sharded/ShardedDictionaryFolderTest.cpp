#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

using namespace melnar;

namespace {

using State = ShardedDictionary::State;

constexpr uint32_t COUNT = 1000;

// Every save waits until its files are on the disk.
constexpr uint32_t SHARDS_IN_USE = 8;

/// Returns the numbers from `begin` to before `end` among those whose literals are in these shards.
std::vector<uint32_t> few(const uint32_t begin, const uint32_t end) {
    static const std::vector<uint32_t> s_numbers = findNumbersOfFirstShards(SHARDS_IN_USE, 12 * COUNT);
    return {s_numbers.begin() + begin, s_numbers.begin() + end};
}

class ShardedDictionaryFolderTest : public testing::Test {
protected:
    /// Makes an empty folder.
    std::string makeFolder(const std::string& name) const {
        const std::string folder = m_directory.getPathOf(name);
        std::filesystem::create_directory(folder);
        return folder;
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = makeFolder("terms");
};

std::map<std::string, ino_t> getInodes(const std::string& folder) {
    std::map<std::string, ino_t> inodes;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        struct stat status;
        EXPECT_EQ(0, ::stat(entry.path().c_str(), &status));
        inodes[entry.path().filename().string()] = status.st_ino;
    }
    inodes.erase("manifest");
    return inodes;
}

std::string getPathOfShard(const std::string& folder, const uint32_t shard) {
    return folder + '/' + readManifestOf(folder).getFileName(shard);
}

/// Stores a valid shard in a folder, and a manifest that names it.
void forgeShard(const std::string& folder, const uint32_t shard, const std::vector<std::string>& strings,
                const std::function<void(Dictionary&)>& spoil = nullptr,
                const std::function<void(ForgedDictionaryFile&)>& lie = nullptr) {
    ShardManifest manifest = readManifestOf(folder);
    Dictionary dictionary({.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = FEW_RESOURCES});
    {
        DictionaryThread thread(dictionary);
        for (const std::string& text : strings)
            dictionary.resolveResource(thread, text, D_XSD_STRING);
        if (spoil)
            spoil(dictionary);
    }
    dictionary.commit();
    ForgedDictionaryFile file(dictionary);
    if (lie)
        lie(file);
    const std::string bytes = file.getBytes();
    const uint64_t numberOfResources = dictionary.getNextResourceID() - 1;
    manifest.m_shards[shard] = {numberOfResources,
                                bytes.size(),
                                dictionary.getHistory().getIdentity().value(),
                                {{D_XSD_STRING, {numberOfResources, 0}}}};
    FileOutputStream shardOutput(folder + '/' + manifest.getFileName(shard));
    shardOutput.write(bytes.data(), bytes.size());
    shardOutput.close();
    FileOutputStream output(folder + "/manifest");
    manifest.write(output);
    output.close();
}

std::string findStringOfShard(const uint32_t shard, uint32_t number = 0) {
    while (ShardLayout::getShard(std::to_string(number), D_XSD_STRING) != shard)
        ++number;
    return std::to_string(number);
}

TEST_F(ShardedDictionaryFolderTest, whatIsSavedIsOpened) {
    ShardedHost host;
    const std::vector<uint64_t> resourceIDs = host.resolve(few(0, COUNT));
    host->setInputs({{"a.nt", 7, true}, {"b.nt", 9, false}}, 3);
    host.save(m_folder);
    EXPECT_EQ(resourceIDs, host.lookUp(few(0, COUNT)));
    const ShardManifest& manifest = host->getManifest();
    EXPECT_EQ(host->getNumberOfResources(), manifest.getNumberOfResources());
    const ShardedHost copy(m_folder);
    EXPECT_EQ(0u, copy->getMemoryInUse()) << "nothing is needed yet";
    EXPECT_EQ(host->getNumberOfResources(), copy->getNumberOfResources());
    EXPECT_EQ(host->getEndOfResourceIDs(), copy->getEndOfResourceIDs());
    EXPECT_EQ(0u, copy->getMemoryInUse());
    EXPECT_EQ((std::vector<ShardManifest::Input>{{"a.nt", 7, true}, {"b.nt", 9, false}}), copy->getManifest().m_inputs);
    EXPECT_EQ(3u, copy->getManifest().m_nextDocument);
    EXPECT_EQ(FEW_RESOURCES, copy->getManifest().m_maximumNumberOfResourcesOfShard);
    ASSERT_TRUE(copy->getHistory().getIdentity());
    EXPECT_EQ(host->getHistory().getIdentity(), copy->getHistory().getIdentity());
    EXPECT_EQ(resourceIDs, copy.lookUp(few(0, COUNT)));
    EXPECT_EQ(std::vector<uint64_t>(100), copy.lookUp(few(5 * COUNT, 5 * COUNT + 100)));
    copy->verify();
}

TEST_F(ShardedDictionaryFolderTest, onlyShardsInUseAreInMemory) {
    ShardedHost host;
    const std::vector<uint32_t> numbers = findNumbersOfFirstShards(3, 100);
    const std::vector<uint64_t> resourceIDs = host.resolve(numbers);
    host.save(m_folder);
    const ShardedHost copy(m_folder);
    std::vector<uint32_t> shards;
    copy->forEachShard([&](const uint32_t shard, const Dictionary& dictionary) {
        EXPECT_LT(1u, dictionary.getNextResourceID());
        EXPECT_LT(0u, copy->getMemoryInUse());
        shards.push_back(shard);
    });
    EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), shards);
    EXPECT_EQ(0u, copy->getMemoryInUse()) << "a visited shard does not stay";
    copy->verify();
    EXPECT_EQ(0u, copy->getMemoryInUse());
    EXPECT_EQ(nullptr, copy->getShard(200));
    const Dictionary* const shard = copy->getShard(1);
    ASSERT_NE(nullptr, shard);
    EXPECT_EQ(shard->getMemoryInUse(), copy->getMemoryInUse());
    copy->forEachShard(
        [&](const uint32_t number, const Dictionary& dictionary) { EXPECT_EQ(number == 1, shard == &dictionary); });
    EXPECT_EQ(resourceIDs, copy.lookUp(numbers));
}

TEST_F(ShardedDictionaryFolderTest, anEmptyDictionaryIsAManifest) {
    ShardedHost().save(m_folder);
    EXPECT_EQ(1u, getFolderContents(m_folder).size());
    ShardedHost copy(m_folder);
    EXPECT_EQ(0u, copy->getNumberOfResources());
    EXPECT_EQ(getModelIDs(few(0, 100)), copy.resolve(few(0, 100)));
    copy.save(m_folder);
    EXPECT_EQ(getModelIDs(few(0, 100)), ShardedHost(m_folder).lookUp(few(0, 100)));
}

TEST_F(ShardedDictionaryFolderTest, anotherThreadContinuesWhereOneHasEnded) {
    for (uint32_t begin = 0; begin < COUNT; begin += COUNT / 4) {
        std::optional<ShardedHost> host;
        begin == 0 ? host.emplace() : host.emplace(m_folder);
        host->resolve(few(begin, begin + COUNT / 4));
        host->save(m_folder);
    }
    const ShardedHost host(m_folder);
    EXPECT_EQ(getModelIDs(few(0, COUNT)), host.lookUp(few(0, COUNT)));
    EXPECT_EQ(4u, host->getManifest().m_history.m_entries.size());
    host->verify();
}

TEST_F(ShardedDictionaryFolderTest, savingTwiceWritesNothingNew) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    const auto inodes = getInodes(m_folder);
    EXPECT_EQ(SHARDS_IN_USE, inodes.size());
    host.save(m_folder);
    EXPECT_EQ(contents, getFolderContents(m_folder));
    EXPECT_EQ(inodes, getInodes(m_folder));
    ShardedHost copy(m_folder);
    copy.save(m_folder, State::INTERMEDIATE);
    EXPECT_EQ(0u, copy->getMemoryInUse());
    copy.resolve(few(0, COUNT));
    copy.save(m_folder);
    EXPECT_EQ(contents, getFolderContents(m_folder));
    EXPECT_EQ(inodes, getInodes(m_folder));
}

TEST_F(ShardedDictionaryFolderTest, onlyShardsThatHaveGrownAreWritten) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    auto before = getInodes(m_folder);
    const std::vector<uint32_t> numbers = few(2 * COUNT, 2 * COUNT + 2);
    ASSERT_NE(getShardOf(numbers[0]), getShardOf(numbers[1]));
    ShardedHost copy(m_folder);
    copy.resolve(numbers);
    copy.save(m_folder);
    auto after = getInodes(m_folder);
    EXPECT_EQ(SHARDS_IN_USE, after.size());
    for (const uint32_t number : numbers)
        EXPECT_EQ(1u, before.erase(host->getManifest().getFileName(getShardOf(number))));
    for (const auto& [name, inode] : before)
        EXPECT_EQ(inode, after.at(name));
}

/// It does not matter whether the dictionary was saved and reopened in between, or how many threads made and saved it.
TEST_F(ShardedDictionaryFolderTest, theFilesDependOnTheTermsAndTheirOrderAlone) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host->setInputs({{"a.nt", 7, true}}, 2);
    host.save(m_folder);
    const FolderContents expected = getFolderContents(m_folder);
    ASSERT_EQ(SHARDS_IN_USE + 1, expected.size());
    for (const size_t numberOfThreads : {size_t(0), size_t(2), size_t(7), size_t(1000000)}) {
        const std::string folder = makeFolder(std::to_string(numberOfThreads));
        ShardedHost other;
        for (uint32_t number = 0; number < COUNT; number += 100)
            other.resolve(few(number, number + 100));
        other->setInputs({{"a.nt", 7, true}}, 2);
        other.save(folder, State::WHOLE, numberOfThreads);
        EXPECT_EQ(expected, getFolderContents(folder)) << numberOfThreads << " threads saved";
    }
    for (const uint32_t numberOfSteps : {2U, 5U}) {
        const std::string folder = makeFolder("steps" + std::to_string(numberOfSteps));
        for (uint32_t step = 0; step < numberOfSteps; ++step) {
            std::optional<ShardedHost> other;
            step == 0 ? other.emplace() : other.emplace(folder);
            other->resolve(few(COUNT / numberOfSteps * step, COUNT / numberOfSteps * (step + 1)));
            if (step + 1 == numberOfSteps)
                (*other)->setInputs({{"a.nt", 7, true}}, 2);
            other->save(folder, step + 1 == numberOfSteps ? State::WHOLE : State::INTERMEDIATE, step + 1);
        }
        EXPECT_EQ(expected, getFolderContents(folder)) << "saved " << numberOfSteps << " times";
    }
    for (const uint32_t numberOfThreads : {2U, 3U}) {
        const std::string folder = makeFolder("made" + std::to_string(numberOfThreads));
        ShardedHost other;
        {
            std::vector<std::jthread> threads;
            for (uint32_t index = 0; index < numberOfThreads; ++index)
                threads.emplace_back([&, index] {
                    std::vector<uint32_t> ofThread;
                    for (const uint32_t number : few(0, COUNT))
                        if (getShardOf(number) % numberOfThreads == index)
                            ofThread.push_back(number);
                    other.resolve(ofThread);
                });
        }
        other->setInputs({{"a.nt", 7, true}}, 2);
        other.save(folder);
        EXPECT_EQ(expected, getFolderContents(folder)) << numberOfThreads << " threads resolved";
    }
}

/// The index of a thread is visible in the bytes of a table that the thread has filled.
TEST_F(ShardedDictionaryFolderTest, otherThreadsOfTheProcessDoNotShowInTheFiles) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    std::vector<std::string> folders;
    std::jthread([&] {
        ASSERT_NE(NO_THREAD_CONTEXT_INDEX, getCurrentThreadContextIndex()) << "it comes first";
        std::jthread([&] {
            const ShardedDictionaryThread thread(*host);
            ASSERT_NE(0u, getCurrentThreadContextIndex());
            for (const size_t numberOfThreads : {size_t(1), size_t(3)}) {
                folders.push_back(makeFolder("with" + std::to_string(numberOfThreads)));
                ShardedHost other;
                other.resolve(few(0, COUNT));
                other.save(folders.back(), State::WHOLE, numberOfThreads);
            }
        });
    });
    ASSERT_EQ(2u, folders.size());
    for (const std::string& folder : folders)
        EXPECT_EQ(getFolderContents(m_folder), getFolderContents(folder));
}

TEST_F(ShardedDictionaryFolderTest, theMaximumOfAShardIsKept) {
    const std::string folder = makeFolder("steps");
    ShardedHost host(SHARDED_MEMORY_LIMIT, 1000);
    const std::vector<uint32_t> first = findNumbersOfFirstShards(3, 30);
    const std::vector<uint32_t> all = findNumbersOfFirstShards(7, 200);
    host.resolve(first);
    host.save(folder, State::INTERMEDIATE);
    ShardedHost copy(folder);
    copy.resolve(all);
    copy.save(folder);
    host.resolve(all);
    host.save(m_folder);
    EXPECT_EQ(getFolderContents(m_folder), getFolderContents(folder));
    ShardedHost(folder)->forEachShard(
        [](uint32_t, const Dictionary& dictionary) { EXPECT_EQ(1000u, dictionary.getMaximumNumberOfResources()); });
}

TEST_F(ShardedDictionaryFolderTest, wholeStatesMakeAHistory) {
    ShardedHost host;
    host.resolve(few(0, 1000));
    host.save(m_folder, State::INTERMEDIATE);
    EXPECT_FALSE(host->getHistory().getIdentity());
    host.save(m_folder);
    const auto first = host->getHistory().getIdentity();
    ASSERT_TRUE(first);
    host.save(m_folder);
    EXPECT_EQ(first, host->getHistory().getIdentity()) << "nothing has come since";
    host.resolve(few(1000, 2000));
    host.save(m_folder, State::INTERMEDIATE);
    EXPECT_EQ(first, host->getHistory().getIdentity());
    EXPECT_FALSE(host->getManifest().getIdentityOfWholeState());
    host.save(m_folder);
    const auto second = host->getHistory().getIdentity();
    EXPECT_NE(first, second);
    EXPECT_EQ(second, host->getManifest().getIdentityOfWholeState());
    EXPECT_TRUE(host->getHistory().contains(*first));
    const ShardedHost copy(m_folder);
    EXPECT_TRUE(copy->getHistory().contains(*first));
    EXPECT_EQ(second, copy->getHistory().getIdentity());
    ShardedHost other;
    other.resolve(few(1, 1001));
    other.save(makeFolder("other"));
    EXPECT_FALSE(copy->getHistory().contains(*other->getHistory().getIdentity()));
}

TEST_F(ShardedDictionaryFolderTest, whatADeadWriterHasLeftIsRemovedAndNothingElse) {
    ShardedHost host;
    host.resolve(few(0, 100));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    const std::string identity(32, '7');
    for (const std::string& remains : {"shard-00-" + identity, "shard-ff-" + identity, std::string("shard-00.saving"),
                                       std::string("shard-c3.saving"), std::string("manifest.saving")})
        m_directory.addFile("terms/" + remains, "remains");
    const FolderContents foreign{
        {"shard-notes.txt", "a"}, {"shard-", "b"}, {"shard-00-" + identity + ".bak", "c"}, {"shard-0.saving", "d"},
        {"manifest~", "e"},       {"README", "f"}, {"shard-0g-" + identity, "g"}};
    for (const auto& [name, bytes] : foreign)
        m_directory.addFile("terms/" + name, bytes);
    const std::string elsewhere = m_directory.addFile("elsewhere", "precious");
    std::filesystem::create_directory(m_folder + "/shard-01-" + identity);
    std::filesystem::create_symlink(elsewhere, m_folder + "/shard-02-" + identity);
    host.save(m_folder);
    EXPECT_TRUE(std::filesystem::remove(m_folder + "/shard-01-" + identity)) << "a folder is nobody's remains";
    EXPECT_TRUE(std::filesystem::remove(m_folder + "/shard-02-" + identity)) << "nor is a link";
    EXPECT_EQ("precious", TemporaryDirectory::getContentsOf(elsewhere));
    FolderContents expected = contents;
    expected.insert(foreign.begin(), foreign.end());
    EXPECT_EQ(expected, getFolderContents(m_folder));
}

/// A link in place of a file that will be written must not redirect the write.
TEST_F(ShardedDictionaryFolderTest, aLinkInThePlaceOfATemporaryFileIsNotFollowed) {
    const std::string elsewhere = m_directory.addFile("elsewhere", "precious");
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        std::filesystem::create_symlink(elsewhere, m_folder + '/' + ShardManifest::getTemporaryFileName(shard));
    ShardedHost host;
    host.resolve(few(0, 100));
    host.save(m_folder);
    EXPECT_EQ("precious", TemporaryDirectory::getContentsOf(elsewhere));
    EXPECT_EQ(getModelIDs(few(0, 100)), ShardedHost(m_folder).lookUp(few(0, 100)));
}

TEST_F(ShardedDictionaryFolderTest, aFolderInThePlaceOfATemporaryFileIsAnError) {
    std::filesystem::create_directory(m_folder + '/' +
                                      ShardManifest::getTemporaryFileName(getShardOf(few(0, 1).front())));
    ShardedHost host;
    host.resolve(few(0, 100));
    EXPECT_EQ(EEXIST, catchException<SystemCallException>([&] { host.save(m_folder); }).getErrorCode());
    EXPECT_TRUE(getFolderContents(m_folder).empty()) << "what was written is removed";
}

TEST_F(ShardedDictionaryFolderTest, aDamagedManifestIsReplacedAndItsFilesStayUntilThen) {
    ShardedHost host;
    host.resolve(few(0, 100));
    host.save(m_folder);
    const std::string identity(32, '7');
    m_directory.addFile("terms/manifest", "damaged");
    m_directory.addFile("terms/shard-00-" + identity, "of the damaged one, perhaps");
    EXPECT_TRUE(ShardedDictionary::isFolder(m_folder));
    EXPECT_THROW(ShardedHost{m_folder}, MelnarException);
    host->setInputs({{std::string(100000, 'x'), 1, true}}, 2);
    EXPECT_THROW(host.save(m_folder), MelnarException);
    EXPECT_TRUE(std::filesystem::exists(m_folder + "/shard-00-" + identity));
    host->setInputs({}, 2);
    host.save(m_folder);
    EXPECT_FALSE(std::filesystem::exists(m_folder + "/shard-00-" + identity));
    EXPECT_EQ(getModelIDs(few(0, 100)), ShardedHost(m_folder).lookUp(few(0, 100)));
}

TEST_F(ShardedDictionaryFolderTest, aSaveThatFailsChangesNothing) {
    ShardedHost host;
    host.resolve(few(0, 1000));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    const auto identity = host->getHistory().getIdentity();
    host.resolve(few(1000, 2000));
    host->setInputs({{std::string(100000, 'x'), 1, true}}, 2); // detected when all shards have been written
    EXPECT_THROW(host.save(m_folder), MelnarException);
    EXPECT_EQ(contents, getFolderContents(m_folder));
    EXPECT_EQ(identity, host->getHistory().getIdentity());
    EXPECT_EQ(1u, host->getManifest().m_history.m_entries.size());
    host->setInputs({}, 1);
    host.resolve(few(2000, 3000));
    host.save(m_folder);
    ShardedHost other;
    const std::string folder = makeFolder("other");
    other.resolve(few(0, 1000));
    other.save(folder);
    other.resolve(few(1000, 3000));
    other.save(folder);
    EXPECT_EQ(getFolderContents(folder), getFolderContents(m_folder)) << "the failure has left no trace";
}

TEST_F(ShardedDictionaryFolderTest, aMissingShardIsNamedWhenItIsNeeded) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    const uint32_t shard = getShardOf(few(7, 8).front());
    const std::string path = getPathOfShard(m_folder, shard);
    std::filesystem::rename(path, m_folder + "/away");
    ShardedHost copy(m_folder);
    const auto exception = catchException<SystemCallException>([&] { copy.lookUp(few(7, 8)); });
    EXPECT_EQ(ENOENT, exception.getErrorCode());
    EXPECT_EQ("Cannot open file '" + path + "'.", exception.getMessage().substr(0, 20 + path.size()));
    EXPECT_THROW(copy->verify(), SystemCallException);
    EXPECT_THROW(static_cast<void>(copy->hasResource(shard + 1)), SystemCallException);
    EXPECT_THROW(ShardedDictionaryThread{*copy}, SystemCallException);
    EXPECT_THROW(copy.save(makeFolder("other")), SystemCallException);
    EXPECT_TRUE(getFolderContents(m_directory.getPathOf("other")).empty());
    const std::vector<uint32_t> others = findNumbersOfFirstShards(shard, 10);
    EXPECT_EQ(host.lookUp(others), copy.lookUp(others)) << "other shards do not need it";
    std::filesystem::rename(m_folder + "/away", path);
    EXPECT_EQ(host.lookUp(few(7, 8)), copy.lookUp(few(7, 8))) << "it is looked for again";
    std::filesystem::remove(path);
    copy.save(m_folder);
    EXPECT_EQ(host.lookUp(few(7, 8)), ShardedHost(m_folder).lookUp(few(7, 8))) << "what is in memory is written again";
}

TEST_F(ShardedDictionaryFolderTest, aFileThatIsAnotherIsNotTakenForTheShard) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    const uint32_t shard = getShardOf(few(7, 8).front());
    const std::string path = getPathOfShard(m_folder, shard);
    const std::string bytes = TemporaryDirectory::getContentsOf(path);
    const auto expectOther = [&](const std::string& instead) {
        m_directory.addFile("terms/" + std::filesystem::path(path).filename().string(), instead);
        const ShardedHost copy(m_folder);
        EXPECT_EQ("File '" + path + "' is not the one that the manifest of its folder names.",
                  catchException<MelnarException>([&] { copy.lookUp(few(7, 8)); }).getMessage());
        EXPECT_EQ(0u, copy->getMemoryInUse());
        EXPECT_THROW(copy->verify(), MelnarException);
    };
    expectOther(TemporaryDirectory::getContentsOf(getPathOfShard(m_folder, (shard + 1) % SHARDS_IN_USE)));
    const std::string folder = makeFolder("newer");
    host.resolve(few(COUNT, 3 * COUNT));
    host.save(folder);
    expectOther(TemporaryDirectory::getContentsOf(getPathOfShard(folder, shard)));
    for (const std::string& damaged :
         {bytes.substr(0, bytes.size() - 1), std::string(), std::string("no dictionary")}) {
        m_directory.addFile("terms/" + std::filesystem::path(path).filename().string(), damaged);
        EXPECT_THROW(ShardedHost(m_folder).lookUp(few(7, 8)), MelnarException);
        EXPECT_THROW(ShardedHost(m_folder).save(makeFolder("copy")), MelnarException) << "of another size";
    }
    m_directory.addFile("terms/" + std::filesystem::path(path).filename().string(), bytes);
    EXPECT_EQ(host.lookUp(few(7, 8)), ShardedHost(m_folder).lookUp(few(7, 8)));
}

TEST_F(ShardedDictionaryFolderTest, aReaderContinuesWhenAWriterHasSavedMore) {
    ShardedHost writer;
    writer.resolve(few(0, 1000));
    writer.save(m_folder);
    const ShardedHost reader(m_folder);
    const std::vector<uint64_t> expected = getModelIDs(few(0, 1000));
    EXPECT_EQ(expected[5], reader.lookUp(few(5, 6)).front());
    for (const State state : {State::INTERMEDIATE, State::WHOLE}) {
        writer.resolve(few(0, state == State::WHOLE ? 4000 : 3000));
        writer.save(m_folder, state);
        EXPECT_EQ((std::vector<uint64_t>{expected[5], expected[900]}),
                  reader.lookUp({few(5, 6).front(), few(900, 901).front()}));
    }
    EXPECT_EQ(expected, reader.lookUp(few(0, 1000)));
    reader->verify();
}

/// It is unknown whether the new shards give its IDs the same terms.
TEST_F(ShardedDictionaryFolderTest, aReaderOfAnIntermediateStateMustOpenTheFolderAgain) {
    ShardedHost writer;
    writer.resolve(few(0, 1000));
    writer.save(m_folder);
    writer.resolve(few(1000, 2000));
    writer.save(m_folder, State::INTERMEDIATE);
    const ShardedHost reader(m_folder);
    EXPECT_EQ(getModelIDs(few(0, 2000))[5], reader.lookUp(few(5, 6)).front());
    writer.resolve(few(2000, 6000));
    writer.save(m_folder);
    EXPECT_EQ(getModelIDs(few(0, 2000))[5], reader.lookUp(few(5, 6)).front()) << "it is in memory";
    EXPECT_EQ("Folder '" + m_folder + "' no longer contains the dictionary that was opened.",
              catchException<MelnarException>([&] { reader.lookUp(few(0, 1000)); }).getMessage());
}

TEST_F(ShardedDictionaryFolderTest, aReaderDoesNotTakeAnotherDictionarysShards) {
    ShardedHost writer;
    writer.resolve(few(0, 1000));
    writer.save(m_folder);
    const ShardedHost reader(m_folder);
    ShardedHost other;
    other.resolve(few(1, 1001));
    other.save(m_folder);
    EXPECT_EQ("Folder '" + m_folder + "' no longer contains the dictionary that was opened.",
              catchException<MelnarException>([&] { reader.lookUp(few(0, 1000)); }).getMessage());
    std::filesystem::remove_all(m_folder);
    EXPECT_THROW(reader.lookUp(few(0, 1000)), SystemCallException);
}

TEST_F(ShardedDictionaryFolderTest, theLockMustBeThatOfAManifest) {
    ShardedHost host;
    host.resolve(few(0, 10));
    const std::string path = m_folder + "/strings.dict";
    FileLock lock(path);
    EXPECT_EQ("The lock is that of '" + path + "', not of a manifest.",
              catchException<MelnarException>([&] { host->save(lock); }).getMessage());
    EXPECT_EQ(0u, getFolderContents(m_folder).count("manifest"));
    FileLock manifestLock(m_folder + "/manifest");
    const AtomicFileOutputStream output(manifestLock);
    EXPECT_THROW(host->save(manifestLock), MelnarException) << "somebody writes under this lock";
}

TEST_F(ShardedDictionaryFolderTest, aDictionaryCanBeSavedElsewhere) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    const std::string second = makeFolder("second");
    const std::string third = makeFolder("third");
    {
        ShardedHost copy(m_folder);
        EXPECT_EQ(host.lookUp(few(7, 8)), copy.lookUp(few(7, 8)));
        copy.save(second);
        EXPECT_EQ(contents, getFolderContents(second));
        std::filesystem::remove_all(m_folder);
        EXPECT_EQ(host.lookUp(few(0, COUNT)), copy.lookUp(few(0, COUNT)))
            << "the files are now those of the new folder";
    }
    ShardedHost(second).save(third, State::WHOLE, 3); // over shards of another dictionary
    EXPECT_EQ(contents, getFolderContents(third));
    host.resolve(few(COUNT, COUNT + 100));
    host.save(third);
    EXPECT_EQ(getModelIDs(few(0, COUNT + 100)), ShardedHost(third).lookUp(few(0, COUNT + 100)));
    EXPECT_EQ(contents, getFolderContents(second));
}

TEST_F(ShardedDictionaryFolderTest, namesAreFollowedWhenTheFolderIsOpened) {
    ShardedHost host;
    host.resolve(few(0, 1000));
    host.save(m_folder);
    const std::string link = m_directory.getPathOf("link");
    std::filesystem::create_directory_symlink(m_folder, link);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.getPathOf(""));
    EXPECT_TRUE(ShardedDictionary::isFolder("link"));
    ShardedHost copy("link");
    std::filesystem::current_path(before);
    std::filesystem::remove(link);
    std::filesystem::create_directory_symlink(makeFolder("other"), link);
    EXPECT_EQ(host.lookUp(few(0, 1000)), copy.lookUp(few(0, 1000)));
    std::filesystem::remove(link);
    std::filesystem::create_directory_symlink(m_folder, link);
    const auto inodes = getInodes(m_folder);
    copy.save(link);
    EXPECT_EQ(inodes, getInodes(m_folder)) << "it is the same folder";
}

TEST_F(ShardedDictionaryFolderTest, aDictionaryThatCannotGrowIsRead) {
    ShardedHost host;
    host.resolve(few(0, 1000));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    DictionaryOptions options;
    options.m_canGrow = false;
    ShardedHost copy(m_folder, options);
    EXPECT_EQ(host.lookUp(few(0, 1000)), copy.lookUp(few(0, 1000)));
    EXPECT_EQ(host.lookUp(few(0, 1000)), copy.resolve(few(0, 1000)));
    LiteralBatch batch(few(900, 1100));
    {
        ShardedDictionaryThread thread(*copy);
        copy->resolveResources(thread, batch.m_entries, batch.m_failures);
    }
    EXPECT_LT(80u, batch.m_failures.size());
    for (const BatchFailure& failure : batch.m_failures) {
        EXPECT_EQ(FailureKind::FULL, failure.m_kind);
        EXPECT_LE(100u, failure.m_entryIndex);
    }
    EXPECT_EQ(host->getNumberOfResources(), copy->getNumberOfResources());
    copy.save(m_folder);
    EXPECT_EQ(contents, getFolderContents(m_folder));
}

TEST_F(ShardedDictionaryFolderTest, optionsAreThoseOfAllShards) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    DictionaryOptions options;
    options.m_keepFingerprints = false;
    const ShardedHost without(m_folder, options);
    const ShardedHost with(m_folder);
    without.lookUp(few(0, COUNT));
    with.lookUp(few(0, COUNT));
    EXPECT_LT(without->getMemoryInUse(), with->getMemoryInUse());
    MemoryManager shared(SHARDED_MEMORY_LIMIT);
    options.m_sharedMemory = &shared;
    {
        const ShardedHost sharing(m_folder, options);
        sharing.lookUp(few(0, COUNT));
        EXPECT_EQ(without->getMemoryInUse(), sharing->getMemoryInUse());
        EXPECT_EQ(SHARDED_MEMORY_LIMIT - shared.getFreeBytes(), sharing->getMemoryInUse());
    }
    EXPECT_EQ(SHARDED_MEMORY_LIMIT, shared.getFreeBytes());
}

/// Otherwise shards that are opened first would have fingerprints, and later ones would lack their memory.
TEST_F(ShardedDictionaryFolderTest, whatFitsWithoutFingerprintsFitsWithThem) {
    ShardedHost host;
    host.resolve(few(0, COUNT));
    host.save(m_folder);
    DictionaryOptions options;
    options.m_keepFingerprints = false;
    const ShardedHost without(m_folder, options);
    without.lookUp(few(0, COUNT));
    const size_t needed = without->getMemoryInUse();
    const ShardedHost copy(m_folder, {}, needed);
    EXPECT_EQ(host.lookUp(few(0, COUNT)), copy.lookUp(few(0, COUNT)));
    EXPECT_EQ(needed, copy->getMemoryInUse());
    const ShardedHost tooSmall(m_folder, {}, needed - 1);
    EXPECT_THROW(tooSmall.lookUp(few(0, COUNT)), MemoryExhaustedException);
    EXPECT_LT(tooSmall->getMemoryInUse(), needed);
}

TEST_F(ShardedDictionaryFolderTest, newFilesHaveThePermissionsOfTheManifest) {
    using std::filesystem::perms;
    ShardedHost host;
    host.resolve(few(0, 100));
    host.save(m_folder);
    const perms mine = perms::owner_read | perms::owner_write;
    std::filesystem::permissions(m_folder + "/manifest", mine);
    host.resolve(few(100, 3000));
    host.save(m_folder);
    const FolderContents contents = getFolderContents(m_folder);
    EXPECT_EQ(SHARDS_IN_USE + 1, contents.size());
    for (const auto& [name, bytes] : contents)
        EXPECT_EQ(mine, std::filesystem::status(m_folder + '/' + name).permissions()) << name;
}

TEST_F(ShardedDictionaryFolderTest, onlyAFolderWithAManifestIsOne) {
    EXPECT_FALSE(ShardedDictionary::isFolder(m_folder));
    EXPECT_FALSE(ShardedDictionary::isFolder(m_directory.getPathOf("nothing")));
    EXPECT_FALSE(ShardedDictionary::isFolder(m_directory.addFile("file", "")));
    EXPECT_EQ(ENOENT, catchException<SystemCallException>([&] { ShardedHost{m_folder}; }).getErrorCode());
    ShardedHost host;
    EXPECT_THROW(host.save(m_directory.getPathOf("nothing")), SystemCallException);
    ShardedHost().save(m_folder);
    EXPECT_TRUE(ShardedDictionary::isFolder(m_folder));
}

TEST_F(ShardedDictionaryFolderTest, aTermInAnotherShardIsFoundByVerify) {
    ShardedHost().save(m_folder);
    forgeShard(m_folder, 5, {findStringOfShard(5), findStringOfShard(6)});
    const ShardedHost host(m_folder);
    EXPECT_EQ("Shard 5 of folder '" + m_folder + "' is damaged: Resource 2 belongs to another shard.",
              catchException<MelnarException>([&] { host->verify(); }).getMessage());
}

TEST_F(ShardedDictionaryFolderTest, figuresOfTermsThatAreNotThoseOfTheShardAreFoundByVerify) {
    ShardedHost().save(m_folder);
    forgeShard(m_folder, 5, {findStringOfShard(5)}); // with no bytes of forms
    const ShardedHost host(m_folder);
    EXPECT_EQ("Shard 5 of folder '" + m_folder +
                  "' is damaged: Its numbers of terms, or their lengths, differ from those in the manifest.",
              catchException<MelnarException>([&] { host->verify(); }).getMessage());
}

TEST_F(ShardedDictionaryFolderTest, anIDThatWasLeftOutIsFoundByVerifyAndSave) {
    ShardedHost().save(m_folder);
    const std::string text = findStringOfShard(5);
    forgeShard(m_folder, 5, {text}, [&](Dictionary& dictionary) {
        dictionary.commit();
        DictionaryThread thread(dictionary);
        dictionary.resolveResource(thread, "withdrawn", D_XSD_STRING);
        dictionary.rollback();
    });
    ShardedHost host(m_folder);
    EXPECT_EQ("Shard 5 of folder '" + m_folder + "' is damaged: A shard has no resource with ID 2.",
              catchException<MelnarException>([&] { host->verify(); }).getMessage());
    ShardedDictionaryThread thread(*host);
    const std::string another = findStringOfShard(5, 1 + static_cast<uint32_t>(std::stoul(text)));
    host->resolveTerm(thread, {.m_kind = Term::Kind::LITERAL, .m_text = another});
    const FolderContents contents = getFolderContents(m_folder);
    EXPECT_EQ("A shard has no resource with ID 2.",
              catchException<MelnarException>([&] { host.save(m_folder); }).getMessage());
    EXPECT_EQ(contents, getFolderContents(m_folder));
}

/// A copy of such a shard would give other IDs to all later terms.
TEST_F(ShardedDictionaryFolderTest, aTermThatIsThereTwiceIsFoundByVerifyAndSave) {
    ShardedHost().save(m_folder);
    const std::string first = findStringOfShard(5, 10000);
    const std::string second = findStringOfShard(5, 1 + static_cast<uint32_t>(std::stoul(first)));
    const std::string third = findStringOfShard(5, 1 + static_cast<uint32_t>(std::stoul(second)));
    ASSERT_EQ(first.size(), second.size());
    forgeShard(m_folder, 5, {first, second}, nullptr, [&](ForgedDictionaryFile& file) {
        std::string& pool = file.m_sections[ForgedDictionaryFile::DATA_POOL];
        pool.replace(pool.find(first), first.size(), second);
    });
    ShardedHost host(m_folder);
    EXPECT_THROW(host->verify(), MelnarException);
    ShardedDictionaryThread thread(*host);
    host->resolveTerm(thread, {.m_kind = Term::Kind::LITERAL, .m_text = third});
    EXPECT_EQ("A shard has the term of resource 1 a second time, under ID 2.",
              catchException<MelnarException>([&] { host.save(m_folder); }).getMessage());
}

} // namespace
