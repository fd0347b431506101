#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/WaitUntil.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

template<class T>
class StringDatatypeConcurrentTest : public testing::Test {};

/// Returns the bucket at which the probe for a form starts.
template<class T>
auto& getHomeBucket(DictionaryFixture<T>& fixture, const std::string& lexicalForm) {
    auto& table = getTable(fixture);
    return TablePeer::getBuckets(table)[getHome(lexicalForm, table.getNumberOfBuckets())];
}

/// Runs an operation on the table of xsd:string in a separate thread, at its own slot.
template<class T>
class Worker {
public:
    static constexpr size_t FIRST_SLOT = 100;

    Worker(DictionaryFixture<T>& fixture, const size_t index, std::function<uint64_t()> operation)
        : m_slot(TablePeer::getThreadContexts(getTable(fixture))[FIRST_SLOT + index]), m_hasEnded(false), m_result(0),
          m_thread([this, index, operation = std::move(operation)] {
              const ScopedThreadContextIndex threadContextIndex(FIRST_SLOT + index);
              m_result = operation();
              m_hasEnded.store(true);
          }) {}

    ~Worker() { m_thread.join(); }

    /// Returns when the operation holds its slot and, very likely, waits for a bucket.
    void waitUntilInside() {
        waitUntil([this] { return m_slot.m_lockCount.load() == 1 || hasEnded(); });
        for (size_t turn = 0; turn < 20; ++turn)
            std::this_thread::yield();
    }

    bool hasEnded() const { return m_hasEnded.load(); }

    uint64_t getResult() const {
        waitUntil([this] { return hasEnded(); });
        return m_result;
    }

private:
    const TableThreadContext& m_slot;
    std::atomic<bool> m_hasEnded;
    uint64_t m_result; // written before m_hasEnded, read after
    std::thread m_thread;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeConcurrentTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeConcurrentTest, equalStringsFromManyThreadsGetOneIDAndOneChunk) {
    constexpr size_t THREADS = 8;
    constexpr size_t STRINGS = 200;
    DictionaryFixture<TypeParam> fixture;
    std::vector<std::vector<uint64_t>> resourceIDs(THREADS, std::vector<uint64_t>(STRINGS));
    std::barrier<> start(THREADS);
    {
        std::vector<std::jthread> threads;
        for (size_t thread = 0; thread < THREADS; ++thread)
            threads.emplace_back([&, thread] {
                for (size_t number = 0; number < STRINGS; ++number) {
                    start.arrive_and_wait();
                    resourceIDs[thread][number] = fixture.resolve("string " + std::to_string(number));
                }
            });
    }
    size_t poolBytes = 0;
    for (size_t number = 0; number < STRINGS; ++number) {
        poolBytes += StringChunk::getChunkSizeFor(("string " + std::to_string(number)).size());
        for (size_t thread = 0; thread < THREADS; ++thread)
            EXPECT_EQ(number + 1, resourceIDs[thread][number]);
    }
    EXPECT_EQ(STRINGS + 1, fixture.m_nextResourceID.load());
    EXPECT_EQ(poolBytes, fixture.m_dataPool.getEnd());
    EXPECT_EQ(STRINGS, getTable(fixture).getNumberOfNonEmptyBuckets());
    expectSoundAtRest(getTable(fixture));
}

TYPED_TEST(StringDatatypeConcurrentTest, restoringAStringThatIsThereWaitsUntilItIsDeleted) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("text"));
    Worker<TypeParam> worker(fixture, 0, [&] { return fixture.restore(50, "text"); });
    worker.waitUntilInside();
    EXPECT_FALSE(worker.hasEnded());
    EXPECT_EQ(1u, fixture.tryResolve("text")) << "all others continue";
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    EXPECT_EQ(50u, worker.getResult());
    EXPECT_EQ(50u, fixture.tryResolve("text"));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(50));
    EXPECT_EQ(2u, getTable(fixture).getNumberOfNonEmptyBuckets()) << "the tombstone and the new entry after it";
}

TYPED_TEST(StringDatatypeConcurrentTest, restoringWaitsForAStringThatAnotherThreadIsInserting) {
    DictionaryFixture<TypeParam> fixture;
    auto& bucket = getHomeBucket(fixture, "text");
    ASSERT_TRUE(getTable(fixture).tryClaim(bucket));
    Worker<TypeParam> worker(fixture, 0, [&] { return fixture.restore(50, "text"); });
    worker.waitUntilInside();
    EXPECT_FALSE(worker.hasEnded());
    getTable(fixture).unclaim(bucket);
    EXPECT_EQ(50u, worker.getResult());
    EXPECT_EQ(50u, bucket.load());
}

TYPED_TEST(StringDatatypeConcurrentTest, aSpinningInsertionTakesABucketThatAnotherThreadFailedToFill) {
    DictionaryFixture<TypeParam> fixture;
    auto& bucket = getHomeBucket(fixture, "text");
    ASSERT_TRUE(getTable(fixture).tryClaim(bucket));
    {
        Worker<TypeParam> first(fixture, 0, [&] { return fixture.resolve("text"); });
        Worker<TypeParam> second(fixture, 1, [&] { return fixture.resolve("text"); });
        first.waitUntilInside();
        second.waitUntilInside();
        EXPECT_FALSE(first.hasEnded());
        EXPECT_FALSE(second.hasEnded());
        getTable(fixture).unclaim(bucket);
        EXPECT_EQ(1u, first.getResult());
        EXPECT_EQ(1u, second.getResult());
    }
    EXPECT_EQ(1u, bucket.load());
    EXPECT_EQ(2u, fixture.m_nextResourceID.load());
    expectSoundAtRest(getTable(fixture));
}

TYPED_TEST(StringDatatypeConcurrentTest, aLookupWaitsForTheOutcomeOfAnInsertion) {
    DictionaryFixture<TypeParam> fixture;
    auto& bucket = getHomeBucket(fixture, "text");
    ASSERT_TRUE(getTable(fixture).tryClaim(bucket));
    if (areFingerprintsUnderTest()) {
        EXPECT_EQ(0u, fixture.tryResolve("text")) << "the fingerprint shows that nothing is there yet";
        getTable(fixture).unclaim(bucket);
        return;
    }
    Worker<TypeParam> worker(fixture, 0, [&] { return fixture.tryResolve("text"); });
    worker.waitUntilInside();
    EXPECT_FALSE(worker.hasEnded());
    getTable(fixture).unclaim(bucket);
    EXPECT_EQ(0u, worker.getResult());
}

TYPED_TEST(StringDatatypeConcurrentTest, aDeletionWaitsForTheOutcomeOfAnInsertionBeforeIt) {
    DictionaryFixture<TypeParam> fixture;
    const std::vector<std::string> lexicalForms = getFormsWithHome(3, 1024, 2);
    fixture.resolve(lexicalForms[0]);
    fixture.resolve(lexicalForms[1]);
    auto& bucket = getHomeBucket(fixture, lexicalForms[0]);
    const TypeParam previous = bucket.exchange(getTable(fixture).getPolicy().BUCKET_IN_PROGRESS);
    TablePeer::getFingerprints(getTable(fixture)).set(3, 0); // the state while an insertion may still fail
    Worker<TypeParam> worker(fixture, 0, [&] {
        fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
        return uint64_t(1);
    });
    worker.waitUntilInside();
    EXPECT_FALSE(worker.hasEnded());
    getTable(fixture).learnFingerprint(3, hashLexicalForm(lexicalForms[0].data(), lexicalForms[0].size()));
    bucket.store(previous);
    EXPECT_EQ(1u, worker.getResult());
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[1]));
    EXPECT_EQ(1u, fixture.tryResolve(lexicalForms[0]));
    EXPECT_EQ(1u, getTable(fixture).getNumberOfDeletedBuckets());
}

TYPED_TEST(StringDatatypeConcurrentTest, threadsThatDeleteTheSameResourceCountOneTombstone) {
    constexpr size_t THREADS = 8;
    constexpr size_t STRINGS = 300;
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 0; number < STRINGS; ++number)
        fixture.resolve(std::to_string(number));
    std::barrier<> start(THREADS);
    {
        std::vector<std::jthread> threads;
        for (size_t thread = 0; thread < THREADS; ++thread)
            threads.emplace_back([&] {
                for (uint64_t resourceID = 1; resourceID <= STRINGS; ++resourceID) {
                    start.arrive_and_wait();
                    fixture.m_datatype.deleteUncommittedResourceID(resourceID, D_XSD_STRING);
                }
            });
    }
    EXPECT_EQ(STRINGS, getTable(fixture).getNumberOfDeletedBuckets());
    expectSoundAtRest(getTable(fixture));
}

TYPED_TEST(StringDatatypeConcurrentTest, threadsAtOneSlotTakeTurns) {
    constexpr size_t THREADS = 8;
    constexpr uint64_t STRINGS = 2000;
    DictionaryFixture<TypeParam> fixture;
    {
        std::vector<std::jthread> threads;
        for (size_t thread = 0; thread < THREADS; ++thread)
            threads.emplace_back([&, thread] { // not registered: all at slot 0
                for (uint64_t step = 0; step < STRINGS; ++step)
                    fixture.resolve(std::to_string((thread * 251 + step) % STRINGS));
            });
    }
    EXPECT_EQ(STRINGS + 1, fixture.m_nextResourceID.load());
    EXPECT_LT(1024u, getTable(fixture).getNumberOfBuckets());
    expectSoundAtRest(getTable(fixture));
}
