#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/WaitUntil.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t BUCKETS = 1024;
constexpr size_t GROUP = PreparedEntries::CAPACITY;

template<class T>
class StringDatatypeBatchConcurrentTest : public testing::Test {
protected:
    auto& getHomeBucket(const std::string& lexicalForm, const uint8_t datatypeID = D_XSD_STRING) {
        return TablePeer::getBuckets(getTable(m_fixture, datatypeID))[getHome(lexicalForm, BUCKETS)];
    }

    /// Returns whether a thread holds its slot in a table.
    bool isInside(const size_t slot, const uint8_t datatypeID) {
        return TablePeer::getThreadContexts(getTable(m_fixture, datatypeID))[slot].m_lockCount.load() != 0;
    }

    DictionaryFixture<T> m_fixture;
};

/// An operation in a separate thread, at its own slot.
class Worker {
public:
    Worker(const size_t slot, std::function<BatchAnswers()> operation)
        : m_hasEnded(false), m_thread([this, slot, operation = std::move(operation)] {
              const ScopedThreadContextIndex threadContextIndex(slot);
              m_answers = operation();
              m_hasEnded.store(true);
          }) {}

    ~Worker() { m_thread.join(); }

    bool hasEnded() const { return m_hasEnded.load(); }

    const BatchAnswers& getAnswers() const {
        waitUntil([this] { return hasEnded(); });
        return m_answers;
    }

private:
    std::atomic<bool> m_hasEnded;
    BatchAnswers m_answers; // written before m_hasEnded, read after
    std::thread m_thread;
};

/// Gives a thread that is about to wait for a bucket time to reach it.
void letOthersRun() {
    for (size_t turn = 0; turn < 20; ++turn)
        std::this_thread::yield();
}

OwnedLiterals makeStrings(const size_t count, const std::string& prefix, const uint8_t datatypeID = D_XSD_STRING) {
    OwnedLiterals literals;
    for (size_t number = 0; number < count; ++number)
        literals.push_back({prefix + std::to_string(number) + "@en", datatypeID});
    return literals;
}

BatchAnswers getConsecutiveIDs(const uint64_t first, const size_t count) {
    BatchAnswers answers{std::vector<uint64_t>(count)};
    std::iota(answers.m_resourceIDs.begin(), answers.m_resourceIDs.end(), first);
    return answers;
}

constexpr size_t FIRST_SLOT = 100;
constexpr size_t SECOND_SLOT = 101;

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchConcurrentTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeBatchConcurrentTest, equalBatchesFromManyThreadsGetTheSameIDs) {
    constexpr size_t THREADS = 8;
    const OwnedLiterals literals = makeStrings(1500, "string ");
    std::vector<BatchAnswers> answers(THREADS);
    runTogether(THREADS, [&](const size_t thread) { answers[thread] = resolveAtOnce(this->m_fixture, literals); });
    for (size_t thread = 1; thread < THREADS; ++thread)
        EXPECT_EQ(answers[0], answers[thread]);
    EXPECT_EQ(literals.size() + 1, this->m_fixture.m_nextResourceID.load());
    EXPECT_EQ(literals.size(), getTable(this->m_fixture).getNumberOfNonEmptyBuckets());
    EXPECT_LT(BUCKETS, getTable(this->m_fixture).getNumberOfBuckets());
    expectSound(this->m_fixture);
}

TYPED_TEST(StringDatatypeBatchConcurrentTest, aBatchTakesTheBucketThatAnotherThreadFailedToFill) {
    const OwnedLiterals literals = makeStrings(GROUP, "");
    auto& bucket = this->getHomeBucket(literals[GROUP / 2].m_lexicalForm);
    ASSERT_TRUE(getTable(this->m_fixture).tryClaim(bucket));
    Worker worker(FIRST_SLOT, [&] { return resolveAtOnce(this->m_fixture, literals); });
    waitUntil([&] { return this->isInside(FIRST_SLOT, D_XSD_STRING); });
    letOthersRun();
    EXPECT_FALSE(worker.hasEnded());
    getTable(this->m_fixture).unclaim(bucket);
    EXPECT_EQ(getConsecutiveIDs(1, GROUP), worker.getAnswers());
    EXPECT_NE(0u, bucket.load());
    expectSound(this->m_fixture);
}

TYPED_TEST(StringDatatypeBatchConcurrentTest, aBatchFindsWhatAnotherThreadWasCreating) {
    const OwnedLiterals literals = makeStrings(GROUP, "");
    resolveAtOnce(this->m_fixture, literals);
    for (const bool isLookUp : {false, true}) {
        auto& bucket = this->getHomeBucket(literals[GROUP / 2].m_lexicalForm);
        const TypeParam previous = bucket.exchange(getTable(this->m_fixture).getPolicy().BUCKET_IN_PROGRESS);
        Worker worker(FIRST_SLOT, [&] {
            return isLookUp ? lookUpAtOnce(this->m_fixture, literals, EVERYTHING)
                            : resolveAtOnce(this->m_fixture, literals);
        });
        waitUntil([&] { return this->isInside(FIRST_SLOT, D_XSD_STRING); });
        letOthersRun();
        EXPECT_FALSE(worker.hasEnded());
        bucket.store(previous);
        EXPECT_EQ(getConsecutiveIDs(1, GROUP), worker.getAnswers());
    }
    expectSound(this->m_fixture);
}

TYPED_TEST(StringDatatypeBatchConcurrentTest, aLookupOfABatchWaitsForTheOutcomeOfAnInsertion) {
    const OwnedLiterals literals = makeStrings(GROUP, "");
    auto& bucket = this->getHomeBucket(literals[0].m_lexicalForm);
    ASSERT_TRUE(getTable(this->m_fixture).tryClaim(bucket));
    if (areFingerprintsUnderTest()) {
        EXPECT_EQ((BatchAnswers{std::vector<uint64_t>(GROUP, 0)}), lookUpAtOnce(this->m_fixture, literals, EVERYTHING))
            << "the fingerprint shows that nothing is there yet";
        getTable(this->m_fixture).unclaim(bucket);
        return;
    }
    Worker worker(FIRST_SLOT, [&] { return lookUpAtOnce(this->m_fixture, literals, EVERYTHING); });
    waitUntil([&] { return this->isInside(FIRST_SLOT, D_XSD_STRING); });
    letOthersRun();
    EXPECT_FALSE(worker.hasEnded());
    getTable(this->m_fixture).unclaim(bucket);
    EXPECT_EQ((BatchAnswers{std::vector<uint64_t>(GROUP, 0)}), worker.getAnswers());
}

// The batch has looked up its strings in one table and waits in the other one. The first table, where it holds no slot,
// grows: the buckets at which its probes ended are no longer valid.
TYPED_TEST(StringDatatypeBatchConcurrentTest, oneTableGrowsWhileABatchWaitsInTheOther) {
    if (areFingerprintsUnderTest())
        GTEST_SKIP() << "a batch that only looks does not wait then, so nothing can grow meanwhile";
    OwnedLiterals literals = makeStrings(GROUP / 2, "a ", D_XSD_STRING);
    const OwnedLiterals others = makeStrings(GROUP / 2, "b ", D_RDF_PLAIN_LITERAL);
    literals.insert(literals.end(), others.begin(), others.end());
    auto& bucket = this->getHomeBucket(others[3].m_lexicalForm, D_RDF_PLAIN_LITERAL);
    for (const bool isKnown : {false, true}) {
        const TypeParam previous = bucket.exchange(getTable(this->m_fixture).getPolicy().BUCKET_IN_PROGRESS);
        {
            Worker worker(FIRST_SLOT, [&] { return resolveAtOnce(this->m_fixture, literals); });
            waitUntil([&] { return this->isInside(FIRST_SLOT, D_RDF_PLAIN_LITERAL); });
            EXPECT_FALSE(this->isInside(FIRST_SLOT, D_XSD_STRING)) << "one slot at a time";
            letOthersRun();
            const size_t numberOfBuckets = getTable(this->m_fixture).getNumberOfBuckets();
            resolveAtOnce(this->m_fixture, makeStrings(2000, isKnown ? "more " : "other "));
            EXPECT_LT(numberOfBuckets, getTable(this->m_fixture).getNumberOfBuckets());
            EXPECT_FALSE(worker.hasEnded());
            bucket.store(previous);
            EXPECT_EQ(getConsecutiveIDs(2001, GROUP), worker.getAnswers());
        }
        EXPECT_EQ(getConsecutiveIDs(2001, GROUP), lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
        expectSound(this->m_fixture);
        ASSERT_EQ(BUCKETS, getTable(this->m_fixture, D_RDF_PLAIN_LITERAL).getNumberOfBuckets());
    }
}

// The batch has no quota left and waits for a bucket while another thread starts a resize, which waits for the batch's
// slot. When the batch continues, it joins the resize: its buckets have moved.
TYPED_TEST(StringDatatypeBatchConcurrentTest, aBatchJoinsTheResizeThatWaitsForIt) {
    if (areFingerprintsUnderTest())
        GTEST_SKIP() << "a batch that only looks does not wait then, so no resize can wait for it";
    resolveAtOnce(this->m_fixture, makeStrings(700, "old "));
    ASSERT_EQ(BUCKETS, getTable(this->m_fixture).getNumberOfBuckets());
    OwnedLiterals literals = makeStrings(GROUP - 1, "new ");
    literals.push_back({"old 5@en", D_XSD_STRING});
    // A bucket that ends a probe, so that only the batch waits for it.
    auto& table = getTable(this->m_fixture);
    size_t index = table.getHomeIndex(
        hashLexicalForm(literals[GROUP / 2].m_lexicalForm.data(), literals[GROUP / 2].m_lexicalForm.size()));
    while (table.getBucket(index).load() != 0)
        index = table.getNextIndex(index);
    auto& bucket = table.getBucket(index);
    ASSERT_TRUE(table.tryClaim(bucket));
    Worker batch(FIRST_SLOT, [&] { return resolveAtOnce(this->m_fixture, literals); });
    waitUntil([&] { return this->isInside(FIRST_SLOT, D_XSD_STRING); });
    letOthersRun();
    Worker leader(SECOND_SLOT, [&] { return BatchAnswers{{this->m_fixture.resolve("leader")}}; });
    waitUntil([&] {
        return TablePeer::getResizeState(getTable(this->m_fixture)).load() ==
               std::decay_t<decltype(getTable(this->m_fixture))>::RESIZE_PREPARING;
    });
    letOthersRun();
    EXPECT_FALSE(batch.hasEnded());
    EXPECT_FALSE(leader.hasEnded());
    EXPECT_EQ(BUCKETS, getTable(this->m_fixture).getNumberOfBuckets());
    getTable(this->m_fixture).unclaim(bucket);
    const BatchAnswers answers = batch.getAnswers();
    EXPECT_EQ(6u, answers.m_resourceIDs.back());
    const uint64_t leaderID = leader.getAnswers().m_resourceIDs[0];
    EXPECT_EQ(leaderID, this->m_fixture.tryResolve("leader"));
    EXPECT_EQ(2 * BUCKETS, getTable(this->m_fixture).getNumberOfBuckets());
    EXPECT_EQ(answers, lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    EXPECT_EQ(701u + GROUP, this->m_fixture.m_nextResourceID.load());
    expectSound(this->m_fixture);
}
