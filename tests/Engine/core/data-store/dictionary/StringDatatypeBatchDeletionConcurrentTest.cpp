#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

using namespace melnar;

// Some threads withdraw strings and create them again, under new IDs, while others resolve or look up batches of the
// same strings.

namespace {

constexpr size_t STRINGS = 2 * PreparedEntries::CAPACITY + 50; // a batch of several groups
constexpr size_t DELETING_THREADS = 3;
constexpr size_t BATCH_THREADS = 3;
constexpr size_t ROUNDS = 15;         // of withdrawing all strings; more if the batches have met too few withdrawals
constexpr size_t LARGEST_ROUND = 400; // after which the threads stop trying to meet
constexpr size_t LARGEST_ID = STRINGS * (LARGEST_ROUND + 1);

uint8_t chooseDatatypeID(const size_t number) {
    return number % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING;
}

OwnedLiterals makeStrings() {
    OwnedLiterals literals;
    for (size_t number = 0; number < STRINGS; ++number)
        literals.push_back({std::string(number % 17 == 0 ? 150 : 0, '.') + "string " + std::to_string(number) + "@en",
                            chooseDatatypeID(number)});
    return literals;
}

/// The state of a string, maintained by the only thread that withdraws it. While the version is even and unchanged, the
/// string has the ID; while it is odd, any thread may create the string.
struct Presence {
    bool operator==(const Presence&) const = default;
    bool isCertain() const { return m_version % 2 == 0; }

    uint64_t m_version = 1;
    uint64_t m_resourceID = 0;
};

template<class T>
class StringDatatypeBatchDeletionConcurrentTest : public testing::Test {
protected:
    StringDatatypeBatchDeletionConcurrentTest()
        : m_literals(makeStrings()), m_versions(STRINGS), m_resourceIDs(STRINGS), m_isWithdrawn(LARGEST_ID + 1) {
        for (std::atomic<uint64_t>& version : m_versions)
            version.store(1, std::memory_order_relaxed);
    }

    Presence getPresence(const size_t number) const {
        const uint64_t version = m_versions[number].load(std::memory_order_acquire);
        return {version, m_resourceIDs[number].load(std::memory_order_acquire)};
    }

    bool haveMet() const { return m_certainAnswers.load() != 0 && m_uncertainAnswers.load() != 0; }

    /// Creates and withdraws the strings of one thread repeatedly; they exist at the end.
    void withdrawAgainAndAgain(const size_t thread) {
        DictionaryThreadContext threadContext(m_fixture.m_dataPool);
        for (size_t round = 0; round < ROUNDS || (round < LARGEST_ROUND && !haveMet()); ++round)
            for (size_t number = thread; number < STRINGS; number += DELETING_THREADS) {
                const auto& [lexicalForm, datatypeID] = m_literals[number];
                if (round != 0) {
                    const uint64_t oldID = m_resourceIDs[number].load(std::memory_order_relaxed);
                    m_versions[number].fetch_add(1, std::memory_order_acq_rel); // odd
                    m_fixture.m_datatype.deleteUncommittedResourceID(oldID, datatypeID);
                    m_isWithdrawn[oldID].store(true, std::memory_order_release);
                    m_withdrawals.fetch_add(1, std::memory_order_relaxed);
                }
                const uint64_t resourceID = m_fixture.m_datatype.resolveResource(&threadContext, lexicalForm.data(),
                                                                                 lexicalForm.size(), datatypeID);
                ASSERT_FALSE(m_isWithdrawn[resourceID].load(std::memory_order_acquire));
                m_resourceIDs[number].store(resourceID, std::memory_order_release);
                m_versions[number].fetch_add(1, std::memory_order_acq_rel); // even
            }
        m_deletingThreads.fetch_sub(1, std::memory_order_acq_rel);
    }

    /// Expects that each result was right at some moment between `begin` and now. `wasWithdrawn` states which IDs were
    /// certainly withdrawn at the start.
    void expectAnswersOfTheirTime(const std::vector<BatchEntry>& entries, const std::vector<size_t>& numbers,
                                  const std::vector<Presence>& begin, const uint64_t firstNewID,
                                  const std::vector<bool>& wasWithdrawn, const bool isLookUp) {
        for (size_t index = 0; index < entries.size(); ++index) {
            const size_t number = numbers[index];
            const uint64_t resourceID = entries[index].m_resourceID;
            if (begin[index].isCertain() && getPresence(number) == begin[index]) {
                ASSERT_EQ(begin[index].m_resourceID, resourceID) << "the string had this ID all the time";
                m_certainAnswers.fetch_add(1, std::memory_order_relaxed);
                continue;
            }
            m_uncertainAnswers.fetch_add(1, std::memory_order_relaxed);
            ASSERT_TRUE(isLookUp || resourceID != 0);
            if (resourceID == 0)
                continue;
            ASSERT_GT(m_fixture.m_nextResourceID.load(), resourceID);
            ASSERT_EQ(m_literals[number].m_lexicalForm, m_fixture.getLexicalForm(resourceID));
            ASSERT_EQ(m_literals[number].m_datatypeID,
                      m_fixture.m_resourceFlags[resourceID].load(std::memory_order_acquire));
            ASSERT_TRUE(resourceID >= firstNewID || !wasWithdrawn[resourceID])
                << "an ID that was withdrawn before the batch began";
        }
    }

    void resolveAndLookUp(const size_t thread) {
        std::minstd_rand random(static_cast<uint32_t>(thread + 1));
        DictionaryThreadContext threadContext(m_fixture.m_dataPool);
        for (size_t round = 0; m_deletingThreads.load(std::memory_order_acquire) != 0; ++round) {
            const bool isLookUp = (round + thread) % 2 == 0;
            std::vector<BatchEntry> entries;
            std::vector<size_t> numbers;
            const size_t first = random() % STRINGS;
            const size_t size = random() % STRINGS + 1;
            for (size_t index = 0; index < size; ++index) {
                const size_t number = (first + index) % STRINGS;
                numbers.push_back(number);
                entries.push_back(
                    {m_literals[number].m_lexicalForm, STALE_RESOURCE_ID, m_literals[number].m_datatypeID});
            }
            std::vector<Presence> begin;
            for (const size_t number : numbers)
                begin.push_back(getPresence(number));
            const uint64_t firstNewID = m_fixture.m_nextResourceID.load();
            std::vector<bool> wasWithdrawn(firstNewID);
            for (uint64_t resourceID = 1; resourceID < firstNewID; ++resourceID)
                wasWithdrawn[resourceID] = m_isWithdrawn[resourceID].load(std::memory_order_acquire);
            std::vector<BatchFailure> failures;
            if (isLookUp)
                m_fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures);
            else
                m_fixture.m_datatype.resolveResources(&threadContext, entries, failures);
            ASSERT_TRUE(failures.empty());
            expectAnswersOfTheirTime(entries, numbers, begin, firstNewID, wasWithdrawn, isLookUp);
        }
    }

    DictionaryFixture<T> m_fixture;
    const OwnedLiterals m_literals;
    std::vector<std::atomic<uint64_t>> m_versions; // together with the next member: Presence
    std::vector<std::atomic<uint64_t>> m_resourceIDs;
    std::vector<std::atomic<bool>> m_isWithdrawn; // by ID; true only after the withdrawal
    std::atomic<size_t> m_deletingThreads{DELETING_THREADS};
    std::atomic<size_t> m_withdrawals{0};
    std::atomic<size_t> m_certainAnswers{0};
    std::atomic<size_t> m_uncertainAnswers{0};
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchDeletionConcurrentTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeBatchDeletionConcurrentTest, everyAnswerWasRightAtSomeMomentOfItsBatch) {
    runTogether(DELETING_THREADS + BATCH_THREADS, [this](const size_t thread) {
        if (thread < DELETING_THREADS)
            this->withdrawAgainAndAgain(thread);
        else
            this->resolveAndLookUp(thread);
    });
    EXPECT_LT(0u, this->m_certainAnswers.load()) << "the batches met no string that stayed";
    EXPECT_LT(0u, this->m_uncertainAnswers.load()) << "the batches met no string that was being withdrawn";
    BatchAnswers expected;
    for (const std::atomic<uint64_t>& resourceID : this->m_resourceIDs)
        expected.m_resourceIDs.push_back(resourceID.load());
    EXPECT_EQ(expected, lookUpAtOnce(this->m_fixture, this->m_literals, EVERYTHING));
    EXPECT_EQ(expected, resolveAtOnce(this->m_fixture, this->m_literals));
    EXPECT_EQ(STRINGS + this->m_withdrawals.load() + 1, this->m_fixture.m_nextResourceID.load())
        << "no string had two IDs together";
    expectSound(this->m_fixture);
}
