#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/CaughtException.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

// Resolving, looking up and reading; for folders see ShardedDictionaryFolderTest.

namespace {

constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;

/// A batch of valid terms and some that every dictionary refuses.
struct MixedTerms {
    MixedTerms(const size_t size, const uint32_t seed) {
        std::minstd_rand random(seed);
        for (const Term& term : m_terms.draw(size, static_cast<uint32_t>(size), random))
            m_batch.add(random() % 20 == 0 ? m_terms.makeRefused(static_cast<uint32_t>(random() % 1000)) : term);
    }

    ModelTerms m_terms;
    TermBatch m_batch;
};

void expectSameFailures(const std::vector<BatchFailure>& expected, const std::vector<BatchFailure>& found) {
    ASSERT_EQ(expected.size(), found.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(expected[index].m_entryIndex, found[index].m_entryIndex);
        EXPECT_EQ(expected[index].m_kind, found[index].m_kind);
        EXPECT_EQ(describeFailure(expected[index]), describeFailure(found[index]));
    }
}

TEST(ShardedDictionaryTest, literalsOfAllFamiliesGetTheIDsOfTheModel) {
    for (const uint32_t seed : getTestSeeds(3)) {
        SCOPED_TRACE(describeSeed(seed));
        std::minstd_rand random(seed);
        ShardedHost host;
        std::vector<uint32_t> resolved;
        for (size_t round = 0; round < 10; ++round) {
            std::vector<uint32_t> numbers;
            for (size_t count = random() % 2000; count != 0; --count)
                numbers.push_back(static_cast<uint32_t>(random() % 10000));
            resolved.insert(resolved.end(), numbers.begin(), numbers.end());
            const std::vector<uint64_t> expected = getModelIDs(resolved);
            const auto ofRound = expected.end() - static_cast<ptrdiff_t>(numbers.size());
            ASSERT_EQ(std::vector<uint64_t>(ofRound, expected.end()), host.resolve(numbers));
            ASSERT_EQ(expected, host.lookUp(resolved));
        }
        const std::vector<uint64_t> expected = getModelIDs(resolved);
        EXPECT_EQ((std::set<uint64_t>(expected.begin(), expected.end()).size()), host->getNumberOfResources());
        EXPECT_EQ(*std::ranges::max_element(expected) + 1, host->getEndOfResourceIDs());
        host->verify();
    }
}

TEST(ShardedDictionaryTest, aNewDictionaryHasNothing) {
    const ShardedHost host;
    EXPECT_EQ(0u, host->getNumberOfResources());
    EXPECT_EQ(1u, host->getEndOfResourceIDs());
    EXPECT_EQ(0u, host->getMemoryInUse());
    EXPECT_EQ(SHARDED_MEMORY_LIMIT, host->getMemoryLimit());
    EXPECT_FALSE(host->getHistory().getIdentity());
    EXPECT_EQ(nullptr, host->getShard(0));
    EXPECT_FALSE(host->hasResource(0));
    EXPECT_FALSE(host->hasResource(1));
    EXPECT_EQ(std::vector<uint64_t>(100), host.lookUp(LiteralBatch::count(0, 100)));
    host->forEachShard([](uint32_t, const Dictionary&) { ADD_FAILURE(); });
    host->verify();
}

TEST(ShardedDictionaryTest, aPlainLiteralWithAnEmptyTagIsTheString) {
    ShardedHost host;
    ShardedDictionaryThread thread(*host);
    for (uint32_t number = 0; number < 500; ++number) {
        const std::string text = std::to_string(number);
        const std::string tagged = text + "@";
        std::vector<BatchEntry> entries{{tagged, 0, D_RDF_PLAIN_LITERAL}, {text, 0, D_XSD_STRING}};
        std::vector<BatchFailure> failures;
        host->resolveResources(thread, entries, failures);
        ASSERT_NE(0u, entries[0].m_resourceID);
        ASSERT_EQ(entries[0].m_resourceID, entries[1].m_resourceID);
        ASSERT_TRUE(failures.empty());
    }
    EXPECT_EQ(500u, host->getNumberOfResources());
    host->verify();
}

TEST(ShardedDictionaryTest, whatADictionaryRefusesIsRefusedTheSameWay) {
    for (const size_t size : {size_t(1), size_t(100), size_t(3000)}) {
        MixedTerms terms(size, 1);
        Dictionary dictionary({.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = FEW_RESOURCES});
        DictionaryThread ofDictionary(dictionary);
        std::vector<BatchFailure> expected;
        std::vector<BatchFailure> expectedOfLookups;
        std::vector<BatchEntry> entries(terms.m_batch.getEntries().begin(), terms.m_batch.getEntries().end());
        dictionary.resolveResources(ofDictionary, entries, expected);
        dictionary.tryResolveResources(ALL, entries, expectedOfLookups);
        EXPECT_TRUE(size < 100 || !expected.empty());
        ShardedHost host;
        std::vector<BatchFailure> whenEmpty;
        host->tryResolveResources(terms.m_batch.getEntries(), whenEmpty);
        expectSameFailures(expectedOfLookups, whenEmpty);
        for (const BatchEntry& entry : terms.m_batch.getEntries())
            EXPECT_EQ(0u, entry.m_resourceID);
        std::vector<BatchFailure> whenResolved;
        ShardedDictionaryThread thread(*host);
        host->resolveResources(thread, terms.m_batch.getEntries(), whenResolved);
        expectSameFailures(expected, whenResolved);
        std::vector<BatchFailure> whenLookedUp;
        host->tryResolveResources(terms.m_batch.getEntries(), whenLookedUp);
        expectSameFailures(expectedOfLookups, whenLookedUp);
        EXPECT_EQ(dictionary.getNextResourceID() - 1, host->getNumberOfResources());
    }
}

/// Batches are processed block by block. Earlier failures of the caller stay before the new ones.
TEST(ShardedDictionaryTest, aBatchOfManyBlocksIsAnsweredAsOneBatch) {
    constexpr size_t SIZE = 150000;
    constexpr size_t BLOCK = size_t(1) << 16;
    std::vector<uint32_t> numbers = LiteralBatch::count(0, SIZE / 2);
    numbers.insert(numbers.end(), numbers.begin(), numbers.end());
    LiteralBatch batch(numbers);
    const std::vector<size_t> refused{0, 1, BLOCK - 1, BLOCK, 2 * BLOCK - 1, 2 * BLOCK, SIZE - 1};
    for (const size_t index : refused)
        batch.m_entries[index].m_datatypeID = 7;
    ShardedHost host;
    ShardedDictionaryThread thread(*host);
    batch.m_failures.emplace_back(4711, FailureKind::FULL, nullptr);
    host->resolveResources(thread, batch.m_entries, batch.m_failures);
    ASSERT_EQ(refused.size() + 1, batch.m_failures.size());
    EXPECT_EQ(4711u, batch.m_failures.front().m_entryIndex);
    for (size_t index = 0; index < refused.size(); ++index)
        EXPECT_EQ(refused[index], batch.m_failures[index + 1].m_entryIndex);
    const std::vector<uint64_t> resourceIDs = batch.getIDs();
    for (size_t index = 0; index < SIZE; ++index)
        ASSERT_EQ(std::ranges::count(refused, index) != 0, resourceIDs[index] == 0);
    batch.m_failures.clear();
    for (BatchEntry& entry : batch.m_entries)
        entry.m_resourceID = 4711;
    host->tryResolveResources(batch.m_entries, batch.m_failures);
    EXPECT_EQ(refused.size(), batch.m_failures.size());
    EXPECT_EQ(resourceIDs, batch.getIDs());
    std::vector<BatchEntry> read(SIZE);
    for (size_t index = 0; index < SIZE; ++index)
        read[index].m_resourceID = resourceIDs[index];
    host->getResources(read);
    for (size_t index = 0; index < SIZE; ++index) {
        ASSERT_EQ(resourceIDs[index], read[index].m_resourceID);
        if (resourceIDs[index] == 0) {
            ASSERT_EQ(D_INVALID, read[index].m_datatypeID);
            continue;
        }
        const DictionaryModel::Literal stored = batch.m_literals[index].getStored();
        std::string form;
        host->appendLexicalForm(read[index], form);
        ASSERT_EQ(stored.m_datatypeID, read[index].m_datatypeID);
        ASSERT_EQ(stored.m_lexicalForm, form);
    }
}

TEST(ShardedDictionaryTest, resourcesAreReadByTheirIDs) {
    ShardedHost host;
    constexpr uint32_t COUNT = 3000;
    const std::vector<uint64_t> resourceIDs = host.resolve(LiteralBatch::count(0, COUNT));
    std::vector<BatchEntry> entries;
    for (const uint64_t resourceID : resourceIDs)
        entries.push_back({"stale", resourceID, 77, 88});
    for (const uint64_t resourceID : {uint64_t(0), host->getEndOfResourceIDs(), host->getEndOfResourceIDs() + 256,
                                      uint64_t(1) << 51, ~uint64_t(0), ~uint64_t(0) - 1})
        entries.push_back({"stale", resourceID, 77, 88});
    const std::vector<BatchEntry> questions = entries;
    host->getResources(entries);
    size_t shared = 0;
    for (uint32_t number = 0; number < COUNT; ++number) {
        const DictionaryModel::Literal stored = DictionaryModel::makeLiteral(number).getStored();
        const BatchEntry& entry = entries[number];
        EXPECT_EQ(resourceIDs[number], entry.m_resourceID);
        EXPECT_EQ(stored.m_datatypeID, entry.m_datatypeID);
        std::string form = "before ";
        host->appendLexicalForm(entry, form);
        EXPECT_EQ("before " + stored.m_lexicalForm, form);
        const std::string_view affix = host->getAffix(entry);
        EXPECT_EQ(stored.m_lexicalForm.size(), affix.size() + entry.m_lexicalForm.size());
        shared += !affix.empty();
        std::string found;
        EXPECT_TRUE(host->hasResource(resourceIDs[number]));
        EXPECT_TRUE(Term::parse(stored.m_datatypeID, stored.m_lexicalForm) ==
                    host->getTerm(resourceIDs[number], found));
    }
    EXPECT_LT(100u, shared);
    for (size_t index = COUNT; index < entries.size(); ++index) {
        const BatchEntry& entry = entries[index];
        EXPECT_EQ(questions[index].m_resourceID, entry.m_resourceID);
        EXPECT_EQ(D_INVALID, entry.m_datatypeID);
        EXPECT_EQ("", entry.m_lexicalForm);
        EXPECT_EQ("", host->getAffix(entry));
        EXPECT_FALSE(host->hasResource(entry.m_resourceID));
        std::string form;
        const auto exception =
            catchException<MelnarException>([&] { static_cast<void>(host->getTerm(entry.m_resourceID, form)); });
        EXPECT_EQ("There is no resource with ID " + std::to_string(entry.m_resourceID) + ".", exception.getMessage());
    }
}

TEST(ShardedDictionaryTest, termsOneByOneGetTheIDsOfBatches) {
    ModelTerms terms;
    ShardedHost host;
    ShardedDictionaryThread thread(*host);
    const std::vector<uint64_t> expected = getModelIDs(LiteralBatch::count(0, 2000));
    for (uint32_t number = 0; number < 2000; ++number) {
        const Term term = terms.make(number);
        EXPECT_TRUE(host->tryResolveTerm(term) == 0 || host->tryResolveTerm(term) == expected[number]);
        ASSERT_EQ(expected[number], host->resolveTerm(thread, term));
        ASSERT_EQ(expected[number], host->tryResolveTerm(term));
    }
    Dictionary dictionary({.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = FEW_RESOURCES});
    DictionaryThread ofDictionary(dictionary);
    const ShardedHost empty;
    for (uint32_t number = 0; number < 40; ++number) {
        const Term term = terms.makeRefused(number);
        const std::string message =
            catchException<MelnarException>([&] { dictionary.resolveTerm(ofDictionary, term); }).getMessage();
        const auto expectRefused = [&](const auto& operation) {
            EXPECT_EQ(message, catchException<MelnarException>(operation).getMessage());
        };
        expectRefused([&] { host->resolveTerm(thread, term); });
        expectRefused([&] { static_cast<void>(host->tryResolveTerm(term)); });
        expectRefused([&] { static_cast<void>(empty->tryResolveTerm(term)); });
    }
}

TEST(ShardedDictionaryTest, shardsAreVisitedInAscendingOrder) {
    ShardedHost host;
    const std::vector<uint32_t> numbers = findNumbersOfFirstShards(3, 50);
    const std::vector<uint64_t> resourceIDs = host.resolve(numbers);
    std::vector<uint32_t> shards;
    uint64_t sum = 0;
    host->forEachShard([&](const uint32_t shard, const Dictionary& dictionary) {
        shards.push_back(shard);
        EXPECT_EQ(host->getShard(shard), &dictionary);
        sum += dictionary.getNextResourceID() - 1;
    });
    EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), shards);
    EXPECT_EQ(host->getNumberOfResources(), sum);
    ASSERT_NE(nullptr, host->getShard(200)) << "a thread was registered";
    EXPECT_EQ(1u, host->getShard(200)->getNextResourceID());
}

TEST(ShardedDictionaryTest, aShardHoldsNoMoreThanItsMaximum) {
    const std::vector<uint32_t> numbers = findNumbersOfFirstShards(2, 60);
    ShardedHost host(SHARDED_MEMORY_LIMIT, 20);
    ShardedDictionaryThread thread(*host);
    LiteralBatch batch(numbers);
    host->resolveResources(thread, batch.m_entries, batch.m_failures);
    EXPECT_EQ(40u, host->getNumberOfResources());
    const std::vector<uint64_t> expected = getModelIDs(numbers);
    size_t failed = 0;
    for (size_t index = 0; index < numbers.size(); ++index) {
        if (ShardLayout::toLocal(expected[index]) <= 20) {
            EXPECT_EQ(expected[index], batch.m_entries[index].m_resourceID);
            continue;
        }
        ASSERT_LT(failed, batch.m_failures.size());
        EXPECT_EQ(0u, batch.m_entries[index].m_resourceID);
        EXPECT_EQ(index, batch.m_failures[failed].m_entryIndex);
        EXPECT_EQ(FailureKind::FULL, batch.m_failures[failed].m_kind);
        ++failed;
    }
    EXPECT_EQ(failed, batch.m_failures.size());
    EXPECT_LT(10u, failed);
    host->verify();
}

TEST(ShardedDictionaryTest, moreResourcesThanAShardCanHoldAreRefused) {
    const auto exception = catchException<MelnarException>([] {
        ShardedDictionary(
            {.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = (uint64_t(1) << 30) + 1});
    });
    EXPECT_EQ("A shard can hold at most 1073741824 resources, but was asked to hold 1073741825.",
              exception.getMessage());
    const ShardedDictionary largest({.m_memoryLimit = SHARDED_MEMORY_LIMIT});
    EXPECT_EQ(uint64_t(1) << 30, largest.getManifest().m_maximumNumberOfResourcesOfShard);
}

/// Each shard alone could have more than there is for all.
TEST(ShardedDictionaryTest, theMemoryLimitHoldsForAllShardsTogether) {
    constexpr size_t LIMIT = size_t(96) << 20;
    ShardedHost host(LIMIT, uint64_t(1) << 20);
    ShardedDictionaryThread thread(*host);
    std::vector<uint64_t> resourceIDs;
    std::vector<std::string> texts;
    size_t failed = 0;
    for (uint32_t round = 0; failed == 0; ++round) {
        ASSERT_LT(round, 400u);
        texts.clear();
        for (uint32_t number = 0; number < 1000; ++number)
            texts.push_back(std::to_string(round * 1000 + number) + std::string(700, 'x'));
        std::vector<BatchEntry> entries;
        for (const std::string& text : texts)
            entries.push_back({text, 0, D_XSD_STRING});
        std::vector<BatchFailure> failures;
        host->resolveResources(thread, entries, failures);
        ASSERT_LE(host->getMemoryInUse(), LIMIT);
        failed = failures.size();
        for (const BatchFailure& failure : failures) {
            ASSERT_EQ(FailureKind::MEMORY, failure.m_kind);
            ASSERT_EQ(0u, entries[failure.m_entryIndex].m_resourceID);
        }
        ASSERT_TRUE(std::ranges::is_sorted(failures, {}, &BatchFailure::m_entryIndex));
        for (const BatchEntry& entry : entries)
            if (entry.m_resourceID != 0)
                resourceIDs.push_back(entry.m_resourceID);
        if (failed != 0) { // Terms that have fitted are found, and no others.
            const std::vector<BatchEntry> answers = entries;
            failures.clear();
            host->tryResolveResources(entries, failures);
            ASSERT_TRUE(failures.empty());
            for (size_t index = 0; index < entries.size(); ++index)
                ASSERT_EQ(answers[index].m_resourceID, entries[index].m_resourceID);
        }
    }
    EXPECT_LT(LIMIT / 2, host->getMemoryInUse());
    EXPECT_EQ(resourceIDs.size(), host->getNumberOfResources());
    std::ranges::sort(resourceIDs);
    EXPECT_EQ(resourceIDs.end(), std::ranges::adjacent_find(resourceIDs));
    host->verify();
}

TEST(ShardedDictionaryTest, aLimitThatIsTooLowForTheShardsIsAnError) {
    ShardedDictionary dictionary({.m_memoryLimit = size_t(1) << 20, .m_maximumNumberOfResources = FEW_RESOURCES});
    EXPECT_THROW(ShardedDictionaryThread thread(dictionary), MemoryExhaustedException);
    EXPECT_LE(dictionary.getMemoryInUse(), dictionary.getMemoryLimit());
    EXPECT_EQ(0u, dictionary.getNumberOfResources());
}

TEST(ShardedDictionaryTest, aThreadOfAnotherOrInAnotherIsRefused) {
    const DictionaryOptions options{.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = FEW_RESOURCES};
    ShardedDictionary dictionary(options);
    ShardedDictionary other(options);
    ShardedDictionaryThread thread(dictionary);
    const Term term{.m_kind = Term::Kind::LITERAL, .m_text = "text"};
    const auto expectRefused = [&](ShardedDictionary& called) {
        std::vector<BatchEntry> entries{{"text", 4711, D_XSD_STRING}, {"more", 4711, D_XSD_STRING}};
        std::vector<BatchFailure> failures;
        for (const std::function<void()>& operation :
             {std::function<void()>([&] { called.resolveTerm(thread, term); }),
              std::function<void()>([&] { called.resolveResources(thread, entries, failures); })})
            EXPECT_EQ(FailureKind::MISUSE, catchException<MelnarException>(operation).getKind());
        for (const BatchEntry& entry : entries)
            EXPECT_EQ(4711u, entry.m_resourceID);
        EXPECT_TRUE(failures.empty());
        EXPECT_EQ(0u, called.getNumberOfResources());
    };
    expectRefused(other);
    std::jthread([&] { expectRefused(dictionary); }).join();
    EXPECT_NE(0u, dictionary.resolveTerm(thread, term));
}

} // namespace
