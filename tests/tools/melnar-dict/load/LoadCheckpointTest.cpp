#include "tools/melnar-dict/load/LoadCheckpoint.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;

/// Makes a text that belongs to a shard.
std::string makeForm(const uint32_t shard, std::string form) {
    while (ShardLayout::getShard(form, D_XSD_STRING) != shard)
        form += 'x';
    return form;
}

class LoadCheckpointTest : public testing::Test {
protected:
    std::string getFolder() const { return m_directory.getPathOf("."); }

    LoadCheckpoint makeCheckpoint(const CheckpointOptions& options = {}) {
        return {getFolder(), options, 1, m_dictionary, m_spill};
    }

    static void resolve(const std::string& form, ShardedDictionary& dictionary) {
        const uint32_t shard = ShardLayout::getShard(form, D_XSD_STRING);
        DictionaryThread thread(dictionary.getOrMakeShard(shard));
        dictionary.getOrMakeShard(shard).resolveResource(thread, form, D_XSD_STRING);
    }

    void putAside(const std::string& form) {
        m_spill.addTerm(ShardLayout::getShard(form, D_XSD_STRING), {form, 0, D_XSD_STRING});
    }

    std::set<std::string> getFiles() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(getFolder()))
            names.insert(entry.path().filename().string());
        return names;
    }

    bool hasFile(const std::string& name) const { return getFiles().contains(name); }

    LoadCheckpoint::Unfinished read() const { return LoadCheckpoint::read(getFolder()).value(); }

    const TemporaryDirectory m_directory;
    ShardedDictionary m_dictionary{{.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000}};
    ShardSpill m_spill{getFolder(), {}};
};

TEST_F(LoadCheckpointTest, thereIsNoneBeforeTheFirstSave) {
    EXPECT_FALSE(LoadCheckpoint::read(getFolder()));
    EXPECT_FALSE(LoadCheckpoint::read(m_directory.getPathOf("missing")));
    const LoadCheckpoint checkpoint = makeCheckpoint();
    EXPECT_FALSE(LoadCheckpoint::read(getFolder()));
}

TEST_F(LoadCheckpointTest, isDueEveryNBlocks) {
    for (const uint64_t blocks : std::initializer_list<uint64_t>{1, 2, 5}) {
        LoadCheckpoint checkpoint = makeCheckpoint({.m_blocks = blocks});
        LoadWork work;
        for (uint64_t block = 0; block < 20; ++block) {
            const bool isDue = checkpoint.isDue(); // before the block
            EXPECT_EQ(block != 0 && block % blocks == 0, isDue) << block << " of " << blocks;
            if (isDue)
                checkpoint.save(work);
        }
    }
}

TEST_F(LoadCheckpointTest, isDueAfterItsMinutesAndNeverAfterNone) {
    LoadCheckpoint never = makeCheckpoint({.m_interval = std::chrono::minutes(0)});
    LoadCheckpoint later = makeCheckpoint({.m_interval = std::chrono::minutes(1'000'000)});
    for (int block = 0; block < 100; ++block) {
        EXPECT_FALSE(never.isDue());
        EXPECT_FALSE(later.isDue());
    }
}

TEST_F(LoadCheckpointTest, holdsShardsAndWork) {
    resolve("one", m_dictionary);
    putAside("two");
    LoadWork work{.m_task = "task", .m_fileIndex = 1, .m_blockIndex = 7, .m_isFull = true};
    {
        LoadCheckpoint checkpoint = makeCheckpoint();
        checkpoint.save(work);
        EXPECT_EQ(4u + 1 + 3, work.m_shards[ShardLayout::getShard("two", D_XSD_STRING)].m_terms.m_numberOfBytes);
    }
    LoadCheckpoint::Unfinished unfinished = read();
    EXPECT_EQ(work, unfinished.m_work);
    EXPECT_EQ("", unfinished.m_manifest.m_work);
    EXPECT_EQ(1u, unfinished.m_manifest.getNumberOfResources());
    EXPECT_FALSE(unfinished.m_manifest.getIdentityOfWholeState().has_value());
    const std::unique_ptr<ShardedDictionary> dictionary =
        ShardedDictionary::open(getFolder(), std::move(unfinished.m_manifest), {.m_memoryLimit = MEMORY_LIMIT});
    EXPECT_NE(0u, dictionary->tryResolveTerm(Term::parse(D_XSD_STRING, "one")));
    EXPECT_FALSE(ShardedDictionary::isFolder(getFolder())) << "it is not mistaken for a dictionary";
    resolve("three", m_dictionary);
    makeCheckpoint().save(work);
    EXPECT_EQ(2u, read().m_manifest.getNumberOfResources());
}

TEST_F(LoadCheckpointTest, leavesTheDictionaryOfTheFolder) {
    ShardedDictionary old({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
    resolve(makeForm(5, "old"), old);
    {
        FileLock lock(getFolder() + "/manifest");
        old.save(lock);
    }
    const std::set<std::string> files = getFiles();
    LoadCheckpoint checkpoint = makeCheckpoint();
    LoadWork work;
    for (const char* const form : {"one", "two", "three"}) {
        resolve(makeForm(5, form), m_dictionary);
        checkpoint.save(work);
        EXPECT_EQ(files.size() + 2, getFiles().size()) << "one shard, and the manifest that names it";
        EXPECT_NO_THROW(ShardedDictionary::open(getFolder(), {.m_memoryLimit = MEMORY_LIMIT})->verify());
    }
    LoadCheckpoint::removeFrom(getFolder());
    ShardedDictionary::removeRemains(getFolder(), {&old.getManifest()});
    EXPECT_EQ(files, getFiles());
}

/// Each thread saves its shards before it notes that, concurrently with the others.
TEST_F(LoadCheckpointTest, notesOfShardsLeaveTheFilesThatOthersAreMaking) {
    const std::vector<std::string> forms{makeForm(1, ""), makeForm(2, ""), makeForm(3, "")};
    for (const std::string& form : forms) {
        resolve("first " + form, m_dictionary); // in any shard
        putAside(form);
    }
    m_dictionary.saveAndRelease(getFolder(), 1);
    LoadCheckpoint checkpoint = makeCheckpoint({.m_blocks = 1});
    checkpoint.startResolving({.m_task = "", .m_fileIndex = 1, .m_isFull = true});
    for (uint32_t shard = 1; shard <= 3; ++shard)
        m_spill.resolveShard(m_dictionary, shard);
    const auto getFileName = [&](const uint32_t shard) { return m_dictionary.getManifest().getFileName(shard); };
    const std::string replacedName = getFileName(1);
    const bool isReplaced = hasFile(replacedName);
    m_dictionary.saveAndRelease(1);
    m_dictionary.saveAndRelease(2);
    m_directory.addFile("shard-3.saving", "");
    checkpoint.noteResolved(1);
    EXPECT_TRUE(hasFile(getFileName(1)));
    EXPECT_TRUE(hasFile(getFileName(2))) << "of which no note has been taken";
    EXPECT_TRUE(hasFile("shard-3.saving")) << "which is being written";
    EXPECT_TRUE(!isReplaced || !hasFile(replacedName));
    EXPECT_TRUE(read().m_work.m_shards[1].m_isResolved);
    EXPECT_EQ(8u, read().m_work.m_shards[1].m_ids.m_numberOfBytes);
    EXPECT_FALSE(read().m_work.m_shards[2].m_isResolved);
    checkpoint.noteResolved(2);
    m_dictionary.saveAndRelease(3);
    checkpoint.noteResolved(3);
    EXPECT_EQ(6u, read().m_manifest.getNumberOfResources());
    const std::unique_ptr<ShardedDictionary> dictionary =
        ShardedDictionary::open(getFolder(), read().m_manifest, {.m_memoryLimit = MEMORY_LIMIT});
    EXPECT_NO_THROW(dictionary->verify());
    ShardSpill spill(getFolder(), read().m_work);
    EXPECT_FALSE(spill.hasAnyTerms());
    spill.keep();
}

TEST_F(LoadCheckpointTest, aShardThatGrewTakesThePlaceOfItsFile) {
    resolve(makeForm(1, "a"), m_dictionary);
    putAside(makeForm(1, "b"));
    m_dictionary.saveAndRelease(getFolder(), 1);
    LoadCheckpoint checkpoint = makeCheckpoint({.m_blocks = 1});
    checkpoint.startResolving({.m_task = "", .m_fileIndex = 1});
    const std::string replacedName = m_dictionary.getManifest().getFileName(1);
    EXPECT_TRUE(hasFile(replacedName));
    m_spill.resolveShard(m_dictionary, 1);
    m_dictionary.saveAndRelease(1);
    EXPECT_TRUE(hasFile(replacedName)) << "which the manifest names";
    checkpoint.noteResolved(1);
    EXPECT_FALSE(hasFile(replacedName));
    EXPECT_TRUE(hasFile(m_dictionary.getManifest().getFileName(1)));
}

TEST_F(LoadCheckpointTest, aSaveThatFailsLeavesTheLastOne) {
    resolve("one", m_dictionary);
    putAside("aside");
    LoadCheckpoint checkpoint = makeCheckpoint();
    LoadWork work{.m_task = "", .m_blockIndex = 1};
    checkpoint.save(work);
    resolve("two", m_dictionary);
    for (const SystemCallFaults::Call call : {SystemCallFaults::Call::FSYNC, SystemCallFaults::Call::FDATASYNC}) {
        SystemCallFaults faults(call);
        faults.failAfter(0, EIO, SystemCallFaults::Duration::FOR_GOOD);
        LoadWork next{.m_task = "", .m_blockIndex = 2};
        EXPECT_THROW(checkpoint.save(next), SystemCallException);
    }
    EXPECT_EQ(work, read().m_work);
    EXPECT_NO_THROW(ShardedDictionary::open(getFolder(), read().m_manifest, {.m_memoryLimit = MEMORY_LIMIT})->verify());
}

TEST_F(LoadCheckpointTest, aLoadResumesWhateverCallOrAllocationOfASaveFails) {
    using Call = SystemCallFaults::Call;
    std::vector<Fault> faults =
        ofCalls({Call::OPEN, Call::FLOCK, Call::STAT, Call::LSTAT, Call::FSTAT, Call::WRITE, Call::FSYNC,
                 Call::FDATASYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::MMAP, Call::MPROTECT},
                {EIO, EINTR});
    for (const Fault& fault : ofAllocations())
        faults.push_back(fault);
    constexpr size_t STEP = 5;
    size_t newCame = 0;
    const FailureCounts counts = failEach(
        faults,
        [&](FailureRound& round) {
            const TemporaryDirectory directory;
            const std::string folder = directory.getPathOf(".");
            LoadWork oldWork{.m_task = "", .m_blockIndex = 1};
            LoadWork newWork{.m_task = "", .m_blockIndex = 2};
            const auto open = [&folder](const ShardManifest& manifest) {
                return ShardedDictionary::open(folder, manifest, {.m_memoryLimit = MEMORY_LIMIT});
            };
            bool isSaved = false;
            {
                ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
                ShardSpill spill(folder, {});
                LoadCheckpoint checkpoint(folder, {}, 1, dictionary, spill);
                resolve("one", dictionary);
                spill.addTerm(ShardLayout::getShard("aside", D_XSD_STRING), {"aside", 0, D_XSD_STRING});
                checkpoint.save(oldWork);
                resolve("two", dictionary);
                spill.addTerm(ShardLayout::getShard("more", D_XSD_STRING), {"more", 0, D_XSD_STRING});
                isSaved = round.attempt([&] { checkpoint.save(newWork); });
                spill.keep();
            }
            const LoadCheckpoint::Unfinished unfinished = LoadCheckpoint::read(folder).value();
            const bool isNew = unfinished.m_work.m_blockIndex == 2;
            newCame += isNew;
            EXPECT_TRUE(isNew || !isSaved);
            EXPECT_TRUE(isNew || unfinished.m_work == oldWork);

            const std::unique_ptr<ShardedDictionary> dictionary = open(unfinished.m_manifest);
            EXPECT_EQ(isNew ? 2u : 1u, dictionary->getNumberOfResources());
            EXPECT_NO_THROW(dictionary->verify());
            ShardSpill spill(folder, unfinished.m_work);
            LoadCheckpoint checkpoint(folder, {}, 1, *dictionary, spill);
            resolve("two", *dictionary);
            LoadWork work = unfinished.m_work;
            checkpoint.save(work);
            EXPECT_EQ(2u, open(LoadCheckpoint::read(folder)->m_manifest)->getNumberOfResources());
        },
        STEP);
    EXPECT_LT(50u, counts.m_throws * STEP);
    EXPECT_LT(0u, newCame);
    std::cout << "Saving an unfinished load, calls and allocations: " << counts << "; " << newCame << " new states\n";
}

TEST_F(LoadCheckpointTest, aDamagedOneIsNamed) {
    LoadWork work;
    makeCheckpoint().save(work);
    const std::string path = m_directory.getPathOf("work-manifest");
    std::string bytes = TemporaryDirectory::getContentsOf(path);
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    m_directory.addFile("work-manifest", bytes);
    const auto exception = catchException<MelnarException>([this] { LoadCheckpoint::read(getFolder()); });
    EXPECT_NE(std::string::npos, exception.getMessage().find("work-manifest")) << exception.getMessage();
}

TEST_F(LoadCheckpointTest, isRemovedWithSpilledData) {
    m_directory.addFile("work-plan", "");
    m_directory.addFile("work-manifesto", "");
    const std::set<std::string> files = getFiles();
    putAside("one");
    LoadWork work;
    makeCheckpoint().save(work);
    m_directory.addFile("work-manifest.saving", "of a killed process");
    EXPECT_EQ(files.size() + 3, getFiles().size());
    for (const std::string& name : getFiles())
        EXPECT_EQ(!files.contains(name), LoadCheckpoint::isNameOfFile(name)) << name;
    LoadCheckpoint::removeFrom(getFolder());
    EXPECT_EQ(files, getFiles());
    LoadCheckpoint::removeFrom(getFolder());
    EXPECT_EQ(files, getFiles());
}

/// Spilled data belongs to an unfinished load, and stays with it; files of shards that no manifest names are removed in
/// any case.
TEST_F(LoadCheckpointTest, allButAnUnfinishedLoadIsRemoved) {
    for (const bool isUnfinished : {false, true}) {
        resolve("one", m_dictionary);
        LoadWork work;
        if (isUnfinished)
            makeCheckpoint().save(work);
        m_directory.addFile("work-rows-0", "rows of a rank");
        m_directory.addFile("work-rows-12", "and of another");
        m_directory.addFile("work-terms-05", "");
        m_directory.addFile("work-plan", "somebody's");
        const std::set<std::string> allFiles = getFiles();
        m_directory.addFile("shard-05.saving", "of a killed process");
        LoadCheckpoint::removeAllButUnfinished(getFolder());
        if (isUnfinished) {
            EXPECT_EQ(allFiles, getFiles());
            EXPECT_EQ(work, read().m_work);
        } else
            EXPECT_EQ(std::set<std::string>{"work-plan"}, getFiles());
        LoadCheckpoint::removeFrom(getFolder());
    }
}

TEST_F(LoadCheckpointTest, whatCannotBeRemovedWithoutMemoryGoesLater) {
    const std::string folder = getFolder();
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        m_directory.addFile("work-terms-05", "");
        m_directory.addFile("shard-05.saving", "of a killed process");
        EXPECT_TRUE(round.attempt([&folder] { LoadCheckpoint::removeAllButUnfinished(folder); }));
        LoadCheckpoint::removeAllButUnfinished(folder);
        EXPECT_EQ(std::set<std::string>(), getFiles());
    });
    EXPECT_LT(2u, counts.m_tolerated);
}

TEST_F(LoadCheckpointTest, aDamagedUnfinishedLoadKeepsAllThatItMayName) {
    LoadWork work;
    resolve("one", m_dictionary);
    makeCheckpoint().save(work);
    m_directory.addFile("work-manifest", "damaged");
    m_directory.addFile("work-rows-0", "rows");
    const std::set<std::string> files = getFiles();
    LoadCheckpoint::removeAllButUnfinished(getFolder());
    EXPECT_EQ(files, getFiles());
}

TEST_F(LoadCheckpointTest, withoutAFolderThereIsNothingToRemove) {
    LoadCheckpoint::removeAllButUnfinished(m_directory.getPathOf("missing"));
    EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("missing")));
}

} // namespace
