#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <numeric>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

constexpr uint64_t STRINGS = 900; // more than the first table holds

template<class T>
class StringDatatypeMemoryStressTest : public testing::Test {};

std::string getForm(const uint64_t number) {
    return "string " + std::to_string(number);
}

/// The IDs that a thread got, 0 if it was refused.
using ResourceIDs = std::vector<uint64_t>;

/// Resolves all strings, each thread in its own order; stops after some refusals.
template<class T>
void resolveAll(DictionaryFixture<T>& fixture, const size_t threadIndex, ResourceIDs& resourceIDs, size_t& refusals) {
    constexpr size_t PATIENCE = 20;
    DictionaryThreadContext threadContext(fixture.m_dataPool);
    for (uint64_t step = 0; step < STRINGS && refusals < PATIENCE; ++step) {
        const uint64_t number = (threadIndex * 37 + step) % STRINGS;
        const std::string lexicalForm = getForm(number);
        try {
            resourceIDs[number] = fixture.m_datatype.resolveResource(&threadContext, lexicalForm.data(),
                                                                     lexicalForm.size(), D_XSD_STRING);
        } catch (const MemoryExhaustedException&) {
            ++refusals;
        }
    }
}

size_t getCommittedBytes(const DictionaryParts& parts) {
    return parts.m_dataPool.getCommittedBytes() + parts.m_resourceDataOffsets.getCommittedBytes() +
           parts.m_resourceFlags.getCommittedBytes();
}

/// Expects that the threads agree on the ID of each string, and returns it; 0 if all were refused.
ResourceIDs expectAgreement(const std::vector<ResourceIDs>& idsByThread) {
    ResourceIDs agreedIDs(STRINGS);
    for (const ResourceIDs& resourceIDs : idsByThread)
        for (uint64_t number = 0; number < STRINGS; ++number) {
            if (resourceIDs[number] == 0)
                continue;
            if (agreedIDs[number] == 0)
                agreedIDs[number] = resourceIDs[number];
            EXPECT_EQ(agreedIDs[number], resourceIDs[number]) << number;
        }
    return agreedIDs;
}

/// Runs threads with `pages` pages of memory to share; returns how often they were refused.
template<class T>
size_t resolveWithin(const size_t pages, const size_t numberOfThreads) {
    SCOPED_TRACE(testing::Message() << pages << " pages for " << numberOfThreads << " threads");
    DictionaryFixture<T> fixture;
    auto& table = getTable(fixture);
    const size_t otherTableBytes = 1024 * sizeof(T);
    std::vector<ResourceIDs> idsByThread(numberOfThreads, ResourceIDs(STRINGS));
    std::vector<size_t> refusals(numberOfThreads);
    MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
    runTogether(numberOfThreads,
                [&](const size_t index) { resolveAll(fixture, index, idsByThread[index], refusals[index]); });
    shortage.end();

    expectSoundAtRest(table);
    const ResourceIDs agreedIDs = expectAgreement(idsByThread);
    std::set<uint64_t> distinctIDs(agreedIDs.begin(), agreedIDs.end());
    distinctIDs.erase(0);
    EXPECT_EQ(fixture.m_nextResourceID.load(), 1 + distinctIDs.size()) << "a refused string used an ID up";
    EXPECT_EQ(distinctIDs.size(), table.getNumberOfNonEmptyBuckets());
    for (uint64_t number = 0; number < STRINGS; ++number)
        EXPECT_EQ(agreedIDs[number], fixture.tryResolve(getForm(number)));
    EXPECT_EQ(getCommittedBytes(fixture) + table.getCommittedBytes() + otherTableBytes +
                  fixture.m_datatype.getFingerprintBytes(),
              fixture.getBytesInUse());

    size_t chunkBytes = 0;
    for (uint64_t number = 0; number < STRINGS; ++number) {
        const uint64_t resourceID = fixture.resolve(getForm(number));
        EXPECT_NE(0u, resourceID);
        EXPECT_TRUE(agreedIDs[number] == 0 || agreedIDs[number] == resourceID);
        EXPECT_EQ(getForm(number), fixture.getLexicalForm(resourceID));
        chunkBytes += StringChunk::getChunkSizeFor(getForm(number).size());
    }
    EXPECT_EQ(STRINGS + 1, fixture.m_nextResourceID.load());
    EXPECT_EQ(chunkBytes + fixture.m_dataPool.getUnusedBytes(), fixture.m_dataPool.getEnd()) << "a chunk was lost";
    expectSoundAtRest(table);
    EXPECT_EQ(getCommittedBytes(fixture) + table.getCommittedBytes() + otherTableBytes +
                  fixture.m_datatype.getFingerprintBytes(),
              fixture.getBytesInUse());
    return std::accumulate(refusals.begin(), refusals.end(), size_t(0));
}

/// Threads insert one string repeatedly while there is no memory for it, until there is.
template<class T>
void contendForOneBucket(const size_t numberOfThreads) {
    SCOPED_TRACE(testing::Message() << numberOfThreads << " threads");
    DictionaryFixture<T> fixture;
    auto& table = getTable(fixture);
    const std::string lexicalForm(100, 'x'); // short, so that the time to hash it does not hide the contention
    ASSERT_NO_FATAL_FAILURE(fillPool(fixture, lexicalForm.size()));
    const uint64_t nextResourceID = fixture.m_nextResourceID.load();
    const uint64_t endOfPool = fixture.m_dataPool.getEnd();
    const size_t buckets = table.getNumberOfBuckets();
    const size_t nonEmptyBuckets = table.getNumberOfNonEmptyBuckets();
    MemoryShortage shortage(fixture.m_memoryManager, 0);
    std::atomic<size_t> refusals(0);
    ResourceIDs resourceIDs(numberOfThreads);
    {
        std::vector<std::jthread> threads;
        for (size_t index = 0; index < numberOfThreads; ++index)
            threads.emplace_back([&, index] {
                while (resourceIDs[index] == 0) {
                    try {
                        resourceIDs[index] = fixture.resolve(lexicalForm);
                    } catch (const MemoryExhaustedException&) {
                        ++refusals;
                    }
                }
            });
        while (refusals.load() < 3 * numberOfThreads && !testing::Test::HasFailure())
            EXPECT_EQ(0u, fixture.tryResolve(lexicalForm));
        shortage.end();
    }
    for (const uint64_t resourceID : resourceIDs)
        EXPECT_EQ(nextResourceID, resourceID);
    EXPECT_EQ(nextResourceID + 1, fixture.m_nextResourceID.load());
    EXPECT_EQ(buckets, table.getNumberOfBuckets()) << "threads waited for a resize, not for the bucket";
    EXPECT_EQ(nonEmptyBuckets + 1, table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(endOfPool + StringChunk::getChunkSizeFor(lexicalForm.size()), fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, fixture.m_dataPool.getUnusedBytes());
    EXPECT_EQ(lexicalForm, fixture.getLexicalForm(nextResourceID));
    expectSoundAtRest(table);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeMemoryStressTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeMemoryStressTest, memoryThatEndsAtAnyGrowthHarmsNothing) {
    for (const size_t numberOfThreads : {size_t(1), size_t(3)}) {
        size_t pages = 0;
        while (resolveWithin<TypeParam>(pages, numberOfThreads) != 0) {
            ASSERT_FALSE(testing::Test::HasFailure());
            ++pages;
        }
        EXPECT_LT(5u, pages) << "hardly any growth has failed";
    }
}

TYPED_TEST(StringDatatypeMemoryStressTest, insertionsThatFailLeaveTheirBucketToThoseThatWaitForIt) {
    repeatUntilDeadline([](uint32_t) {
        for (const size_t numberOfThreads : {size_t(2), size_t(8), size_t(64)})
            contendForOneBucket<TypeParam>(numberOfThreads);
    });
}
