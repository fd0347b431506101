#include "Engine/core/data-store/sharded/ShardedBatch.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace melnar;

namespace {

size_t getNumberOfEntriesInParts(ShardedBatch& batch) {
    size_t sum = 0;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        sum += batch.getPart(shard).size();
    return sum;
}

TEST(ShardedBatchTest, eachTermGoesToItsShardInTheOrderOfTheBatch) {
    const LiteralBatch terms(0, 5000);
    ShardedBatch batch;
    batch.assignTerms(terms.m_entries);
    EXPECT_EQ(terms.m_entries.size(), getNumberOfEntriesInParts(batch));
    std::vector<size_t> places(ShardLayout::NUMBER_OF_SHARDS);
    for (const BatchEntry& entry : terms.m_entries) {
        const uint32_t shard = ShardLayout::getShard(entry.m_lexicalForm, entry.m_datatypeID);
        const BatchEntry& found = batch.getPart(shard)[places[shard]++];
        EXPECT_EQ(entry.m_lexicalForm.data(), found.m_lexicalForm.data());
        EXPECT_EQ(entry.m_datatypeID, found.m_datatypeID);
    }
}

TEST(ShardedBatchTest, eachIDGoesToItsShardAsALocalOneAndNoIDToNone) {
    std::vector<BatchEntry> entries;
    for (uint64_t resourceID = 0; resourceID < 3000; ++resourceID)
        entries.push_back({{}, resourceID * 7 % 2048});
    ShardedBatch batch;
    batch.assignIDs(entries);
    const auto isNone = [](const BatchEntry& entry) { return entry.m_resourceID == 0; };
    const auto numberOfNones = static_cast<size_t>(std::ranges::count_if(entries, isNone));
    EXPECT_EQ(2u, numberOfNones);
    EXPECT_EQ(entries.size() - numberOfNones, getNumberOfEntriesInParts(batch));
    std::vector<size_t> places(ShardLayout::NUMBER_OF_SHARDS);
    for (const BatchEntry& entry : entries)
        if (!isNone(entry)) {
            const uint32_t shard = ShardLayout::getShard(entry.m_resourceID);
            EXPECT_EQ(ShardLayout::toLocal(entry.m_resourceID), batch.getPart(shard)[places[shard]++].m_resourceID);
        }
}

TEST(ShardedBatchTest, answersAndFailuresComeBackToTheirEntries) {
    LiteralBatch terms(0, 1000);
    const std::vector<BatchEntry> questions = terms.m_entries;
    ShardedBatch batch;
    batch.assignTerms(terms.m_entries);
    size_t failedEntries = 0;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        std::vector<BatchFailure> failures;
        const std::span<BatchEntry> part = batch.getPart(shard);
        for (size_t index = 0; index < part.size(); ++index) {
            if (index % 3 == 2) {
                failures.emplace_back(index, FailureKind::FULL, nullptr);
                ++failedEntries;
            } else
                part[index].m_resourceID = index + 1;
        }
        batch.copyAnswers(shard, terms.m_entries);
        batch.appendFailures(shard, failures, terms.m_failures);
    }
    EXPECT_EQ(failedEntries, terms.m_failures.size());
    std::vector<size_t> places(ShardLayout::NUMBER_OF_SHARDS);
    for (size_t index = 0; index < questions.size(); ++index) {
        const uint32_t shard = ShardLayout::getShard(questions[index].m_lexicalForm, questions[index].m_datatypeID);
        const size_t place = places[shard]++;
        EXPECT_EQ(questions[index].m_lexicalForm.data(), terms.m_entries[index].m_lexicalForm.data());
        EXPECT_EQ(place % 3 == 2 ? 0 : ShardLayout::toGlobal(place + 1, shard), terms.m_entries[index].m_resourceID);
        EXPECT_EQ(place % 3 == 2,
                  std::ranges::find(terms.m_failures, index, &BatchFailure::m_entryIndex) != terms.m_failures.end());
    }
}

TEST(ShardedBatchTest, nothingIsLeftOfTheBatchBefore) {
    const LiteralBatch terms(0, 1000);
    ShardedBatch batch;
    EXPECT_EQ(0u, getNumberOfEntriesInParts(batch));
    batch.assignTerms(terms.m_entries);
    batch.assignTerms({});
    EXPECT_EQ(0u, getNumberOfEntriesInParts(batch));
    const std::vector<BatchEntry> ids{{{}, 300}};
    batch.assignTerms(terms.m_entries);
    batch.assignIDs(ids);
    EXPECT_EQ(1u, getNumberOfEntriesInParts(batch));
    EXPECT_EQ(2u, batch.getPart(43).front().m_resourceID);
}

TEST(ShardedBatchTest, aBatchThatIsNoLargerAllocatesNothing) {
    const LiteralBatch terms(0, 1000);
    const LiteralBatch others(500, 1500);
    ShardedBatch batch;
    batch.assignTerms(terms.m_entries);
    const AllocationFaults faults = AllocationFaults::failAfter(0);
    batch.assignTerms(others.m_entries);
    batch.assignIDs(terms.m_entries);
    EXPECT_FALSE(faults.hasFailed());
}

TEST(ShardedBatchTest, aBatchForWhichThereIsNoMemoryHasNoParts) {
    const LiteralBatch few(0, 10);
    const LiteralBatch terms(0, 1000);
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        ShardedBatch batch;
        batch.assignTerms(few.m_entries);
        round.attempt([&] { batch.assignTerms(terms.m_entries); });
        ASSERT_EQ(round.hasFailed() ? 0 : terms.m_entries.size(), getNumberOfEntriesInParts(batch));
    });
    EXPECT_EQ(2 * 3u, counts.m_throws);
}

} // namespace
