#include "Engine/core/data-store/sharded/ShardedBatch.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr size_t MAXIMUM_NUMBER_OF_ROUNDS = 100;

// Address space is reserved for 256 shards, and ThreadSanitizer leaves little address space.
constexpr size_t MEMORY_LIMIT = size_t(192) << 20;
constexpr uint64_t MAXIMUM = uint64_t(1) << 12;

std::vector<uint32_t> shuffle(std::vector<uint32_t> numbers, const size_t seed) {
    std::minstd_rand random(static_cast<uint32_t>(seed + 1));
    std::ranges::shuffle(numbers, random);
    return numbers;
}

/// Expects that resources are those of the model's literals.
void expectRead(const ShardedDictionary& dictionary, const std::vector<uint32_t>& numbers,
                const std::vector<uint64_t>& resourceIDs) {
    std::vector<BatchEntry> entries;
    for (const uint64_t resourceID : resourceIDs)
        entries.push_back({{}, resourceID});
    dictionary.getResources(entries);
    for (size_t index = 0; index < numbers.size(); ++index) {
        const DictionaryModel::Literal stored = DictionaryModel::makeLiteral(numbers[index]).getStored();
        std::string form;
        dictionary.appendLexicalForm(entries[index], form);
        ASSERT_EQ(stored.m_datatypeID, entries[index].m_datatypeID);
        ASSERT_EQ(stored.m_lexicalForm, form);
    }
}

/// Returns whether several threads have created terms of one shard: if only one has, its IDs ascend.
bool resolveTogether(const std::vector<uint32_t>& numbers) {
    constexpr size_t BATCH_SIZE = 500;
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM});
    std::vector<std::vector<uint64_t>> idsOfNumbers(NUMBER_OF_THREADS, std::vector<uint64_t>(numbers.back() + 1));
    std::vector<uint8_t> areAscending(NUMBER_OF_THREADS, 1);
    runTogether(NUMBER_OF_THREADS, [&](const size_t index) {
        const std::vector<uint32_t> ofThread = shuffle(numbers, index);
        ShardedDictionaryThread thread(dictionary); // each opens all shards at the same time
        std::vector<uint64_t> lastIDs(ShardLayout::NUMBER_OF_SHARDS);
        for (size_t begin = 0; begin < ofThread.size(); begin += BATCH_SIZE) {
            const std::vector<uint32_t> ofBatch(ofThread.begin() + static_cast<ptrdiff_t>(begin),
                                                ofThread.begin() + static_cast<ptrdiff_t>(begin + BATCH_SIZE));
            LiteralBatch batch(ofBatch);
            dictionary.resolveResources(thread, batch.m_entries, batch.m_failures);
            EXPECT_TRUE(batch.m_failures.empty());
            const std::vector<uint64_t> resourceIDs = batch.getIDs();
            dictionary.tryResolveResources(batch.m_entries, batch.m_failures);
            EXPECT_EQ(resourceIDs, batch.getIDs());
            expectRead(dictionary, ofBatch, resourceIDs);
            for (size_t place = 0; place < ofBatch.size(); ++place) {
                uint64_t& lastID = lastIDs[ShardLayout::getShard(resourceIDs[place])];
                if (resourceIDs[place] < lastID)
                    areAscending[index] = 0;
                lastID = resourceIDs[place];
                idsOfNumbers[index][ofBatch[place]] = resourceIDs[place];
            }
        }
    });
    for (const std::vector<uint64_t>& resourceIDs : idsOfNumbers)
        EXPECT_EQ(idsOfNumbers.front(), resourceIDs) << "all threads agree";
    const std::set<uint64_t> given(idsOfNumbers.front().begin(), idsOfNumbers.front().end());
    EXPECT_EQ(given.size() - 1, dictionary.getNumberOfResources()); // 0 is the ID of unused numbers
    dictionary.verify();
    return std::ranges::count(areAscending, 1) == 0;
}

TEST(ShardedDictionaryConcurrentTest, threadsAgreeOnTheIDsOfTheirTerms) {
    const std::vector<uint32_t> numbers = findNumbersOfFirstShards(40, 3000);
    constexpr size_t WANTED_ROUNDS = 2;
    size_t races = 0;
    for (size_t round = 0; races < WANTED_ROUNDS && round < MAXIMUM_NUMBER_OF_ROUNDS && !HasFailure(); ++round)
        races += resolveTogether(numbers);
    EXPECT_EQ(WANTED_ROUNDS, races) << "no two threads ever created terms at the same time";
}

/// Some threads look up, read and count while others resolve terms that none has looked up before.
TEST(ShardedDictionaryConcurrentTest, readersSeeATermWholeOrNotAtAll) {
    const std::vector<uint32_t> numbers = findNumbersOfFirstShards(20, 4000);
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM});
    std::atomic<size_t> resolvingThreads(2);
    std::atomic<size_t> misses(0);
    std::atomic<size_t> hits(0);
    runTogether(NUMBER_OF_THREADS, [&](const size_t index) {
        if (index < 2) {
            ShardedDictionaryThread thread(dictionary);
            for (const uint32_t number : shuffle(numbers, index)) {
                LiteralBatch batch({number});
                dictionary.resolveResources(thread, batch.m_entries, batch.m_failures);
                EXPECT_NE(0u, batch.m_entries.front().m_resourceID);
            }
            resolvingThreads.fetch_sub(1);
            return;
        }
        std::vector<uint64_t> known(numbers.back() + 1);
        std::minstd_rand random(static_cast<uint32_t>(index));
        do {
            const uint32_t number = numbers[random() % numbers.size()];
            LiteralBatch batch({number});
            dictionary.tryResolveResources(batch.m_entries, batch.m_failures);
            const uint64_t resourceID = batch.m_entries.front().m_resourceID;
            ASSERT_TRUE(known[number] == 0 || known[number] == resourceID) << "what was found stays";
            known[number] = resourceID;
            (resourceID == 0 ? misses : hits).fetch_add(1);
            if (resourceID != 0) {
                ASSERT_TRUE(dictionary.hasResource(resourceID));
                expectRead(dictionary, {number}, {resourceID});
            }
            ASSERT_LE(dictionary.getNumberOfResources(), numbers.size());
            ASSERT_LT(resourceID, dictionary.getEndOfResourceIDs());
        } while (resolvingThreads.load() != 0);
    });
    EXPECT_LT(0u, misses.load());
    EXPECT_LT(0u, hits.load()) << "no thread has seen a term that another thread created";
    dictionary.verify();
}

class ShardedDictionaryOpeningConcurrentTest : public testing::Test {
protected:
    ShardedDictionaryOpeningConcurrentTest() {
        std::filesystem::create_directory(m_folder);
        ShardedHost host(MEMORY_LIMIT, MAXIMUM);
        m_resourceIDs = host.resolve(m_numbers);
        host.save(m_folder);
    }

    std::unique_ptr<ShardedDictionary> open() const {
        return ShardedDictionary::open(m_folder, {.m_memoryLimit = MEMORY_LIMIT});
    }

    /// Looks up all terms, each thread in its own order, or only those whose shards have this remainder.
    void lookUp(const ShardedDictionary& dictionary, const size_t seed, const uint32_t divisor = 1,
                const uint32_t remainder = 0) const {
        for (const uint32_t place : shuffle(LiteralBatch::count(0, COUNT), seed)) {
            if (getShardOf(m_numbers[place]) % divisor != remainder)
                continue;
            LiteralBatch batch({m_numbers[place]});
            dictionary.tryResolveResources(batch.m_entries, batch.m_failures);
            ASSERT_EQ(m_resourceIDs[place], batch.m_entries.front().m_resourceID);
            expectRead(dictionary, {m_numbers[place]}, {m_resourceIDs[place]});
        }
    }

    static constexpr uint32_t COUNT = 600;
    static constexpr uint32_t SHARDS_IN_USE = 24;

    const std::vector<uint32_t> m_numbers = findNumbersOfFirstShards(SHARDS_IN_USE, COUNT);
    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("terms");
    std::vector<uint64_t> m_resourceIDs;
};

TEST_F(ShardedDictionaryOpeningConcurrentTest, eachShardIsOpenedOnce) {
    const auto alone = open();
    lookUp(*alone, 0);
    for (size_t round = 0; round < 5; ++round) {
        const auto dictionary = open();
        runTogether(NUMBER_OF_THREADS, [&](const size_t index) { lookUp(*dictionary, index); });
        EXPECT_EQ(alone->getMemoryInUse(), dictionary->getMemoryInUse());
    }
}

/// Threads that resolve need all shards, those that look up one after the other, and those that visit keep none.
TEST_F(ShardedDictionaryOpeningConcurrentTest, shardsAreOpenedWhileOthersResolve) {
    const std::vector<uint32_t> more = findNumbersOfFirstShards(SHARDS_IN_USE, 2 * COUNT);
    for (size_t round = 0; round < 5; ++round) {
        const auto dictionary = open();
        runTogether(NUMBER_OF_THREADS, [&](const size_t index) {
            if (index == 0) {
                ShardedDictionaryThread thread(*dictionary);
                LiteralBatch batch(more);
                dictionary->resolveResources(thread, batch.m_entries, batch.m_failures);
                EXPECT_TRUE(batch.m_failures.empty());
            } else if (index == 1) {
                size_t shards = 0;
                dictionary->forEachShard([&](uint32_t, const Dictionary& shard) {
                    EXPECT_LT(1u, shard.getNextResourceID());
                    ++shards;
                });
                EXPECT_EQ(SHARDS_IN_USE, shards);
            } else
                lookUp(*dictionary, index);
        });
        dictionary->verify();
    }
}

/// The folder from which shards are opened changes.
TEST_F(ShardedDictionaryOpeningConcurrentTest, readersContinueWhileTheDictionaryIsSaved) {
    for (size_t round = 0; round < 3; ++round) {
        const std::string folder = m_directory.getPathOf("copy" + std::to_string(round));
        std::filesystem::create_directory(folder);
        const auto dictionary = open();
        runTogether(NUMBER_OF_THREADS, [&](const size_t index) {
            if (index != 0) {
                lookUp(*dictionary, index);
                EXPECT_EQ(dictionary->getEndOfResourceIDs(), *std::ranges::max_element(m_resourceIDs) + 1);
                return;
            }
            for (const std::string& target : {folder, m_folder, folder}) {
                FileLock lock(target + "/manifest");
                dictionary->save(lock, ShardedDictionary::State::WHOLE, 2);
            }
        });
        EXPECT_EQ(getFolderContents(m_folder), getFolderContents(folder));
    }
}

/// Simulates another process that writes: a dictionary that shares only the folder with the readers' dictionary.
/// Readers need some new shards as soon as each save has started.
TEST_F(ShardedDictionaryOpeningConcurrentTest, readersContinueWhileAnotherDictionaryIsSavedToTheFolder) {
    constexpr uint32_t SAVES = 3;
    std::atomic<size_t> replaced(0);
    for (uint32_t round = 0; round < 5; ++round) {
        const auto reader = open();
        ShardedHost writer(open());
        std::atomic<uint32_t> begunSaves(0);
        runTogether(3, [&](const size_t index) {
            if (index == 0)
                for (uint32_t save = 0; save < SAVES; ++save) {
                    writer.resolve(findNumbersOfFirstShards(SHARDS_IN_USE, COUNT + 100 * (round * SAVES + save + 1)));
                    begunSaves.fetch_add(1);
                    writer.save(m_folder, save + 1 == SAVES ? ShardedDictionary::State::WHOLE
                                                            : ShardedDictionary::State::INTERMEDIATE);
                }
            else
                for (uint32_t save = 0; save <= SAVES; ++save) {
                    while (begunSaves.load() < save)
                        std::this_thread::yield();
                    lookUp(*reader, index, SAVES + 1, save);
                }
        });
        reader->forEachShard([&](const uint32_t shard, const Dictionary& dictionary) {
            replaced += dictionary.getNextResourceID() - 1 > reader->getManifest().m_shards[shard].m_numberOfResources;
        });
        reader->verify();
    }
    EXPECT_LT(0u, replaced.load()) << "no reader ever found that a shard had been replaced";
}

/// Simulates a load that exceeds memory: each shard is built, saved and released separately.
TEST_F(ShardedDictionaryOpeningConcurrentTest, shardsAreBuiltSavedAndReleasedEachOnItsOwn) {
    const std::string folder = m_directory.getPathOf("parts");
    std::filesystem::create_directory(folder);
    ShardedHost host(MEMORY_LIMIT, MAXIMUM);
    host->saveAndRelease(folder, 1); // from here on shards are read from the folder
    LiteralBatch batch(m_numbers);
    ShardedBatch parts;
    parts.assignTerms(batch.m_entries);
    std::atomic<uint32_t> nextShard(0);
    runTogether(NUMBER_OF_THREADS, [&](size_t) {
        for (uint32_t shard = nextShard.fetch_add(1); shard < SHARDS_IN_USE; shard = nextShard.fetch_add(1)) {
            Dictionary& dictionary = host->getOrMakeShard(shard);
            {
                DictionaryThread thread(dictionary);
                std::vector<BatchFailure> failures;
                dictionary.resolveResources(thread, parts.getPart(shard), failures);
                EXPECT_TRUE(failures.empty());
            }
            parts.copyAnswers(shard, batch.m_entries);
            host->saveAndRelease(shard);
        }
    });
    EXPECT_EQ(0u, host->getMemoryInUse());
    EXPECT_EQ(m_resourceIDs, batch.getIDs());
    host.save(folder);
    EXPECT_EQ(getFolderContents(m_folder), getFolderContents(folder));
}

} // namespace
