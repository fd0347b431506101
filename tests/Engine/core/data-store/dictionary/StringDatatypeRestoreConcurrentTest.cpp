#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr size_t RESTORING_THREADS = 6;
constexpr size_t READING_THREADS = 2;
constexpr uint64_t RESOURCES = 3000;

template<class T>
class StringDatatypeRestoreConcurrentTest : public testing::Test {};

/// Returns IDs that are far from each other, so the regions grow all the time, and often the first of a page, where a
/// region that is too short by one would be detected.
uint64_t getResourceID(const uint64_t number) {
    return (number + 1) * 64;
}

uint8_t chooseDatatypeID(const uint64_t number) {
    return number % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING;
}

std::string getForm(const uint64_t number) {
    return std::string(number % 11 == 0 ? 150 : 0, '.') + std::to_string(number) + "@en";
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeRestoreConcurrentTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeRestoreConcurrentTest, tablesAndRegionsGrowUnderRestoringAndReadingThreads) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<std::atomic<bool>> isRestored(RESOURCES);
    std::atomic<size_t> restoringThreads(RESTORING_THREADS);
    std::atomic<size_t> foundEarly(0);
    const auto expectWhole = [&](const uint64_t number) {
        const uint64_t resourceID = getResourceID(number);
        EXPECT_EQ(getForm(number), fixture.getLexicalForm(resourceID));
        EXPECT_EQ(chooseDatatypeID(number), fixture.m_resourceFlags[resourceID].load(std::memory_order_acquire));
    };
    const auto restore = [&](const size_t thread) {
        DictionaryThreadContext threadContext(fixture.m_dataPool);
        for (uint64_t number = thread; number < RESOURCES; number += RESTORING_THREADS) {
            const uint64_t resourceID = getResourceID(number);
            EXPECT_EQ(resourceID,
                      fixture.m_datatype.restoreResource(thread % 2 == 0 ? &threadContext : nullptr, resourceID,
                                                         StringValue(getForm(number), chooseDatatypeID(number))));
            isRestored[number].store(true, std::memory_order_release);
            expectWhole(number);
            if (number >= RESOURCES / 2) // and not before a reader has also arrived
                waitOrAbort("a reader", [&] { return foundEarly.load(std::memory_order_relaxed) != 0; });
        }
        restoringThreads.fetch_sub(1, std::memory_order_acq_rel);
    };
    const auto read = [&](const size_t thread) {
        for (uint64_t step = thread; restoringThreads.load(std::memory_order_acquire) != 0; ++step) {
            const uint64_t number = step * 1009 % RESOURCES;
            const bool mustBeFound = isRestored[number].load(std::memory_order_acquire);
            const uint64_t resourceID = fixture.tryResolve(getForm(number), chooseDatatypeID(number));
            if (mustBeFound || resourceID != 0) {
                ASSERT_EQ(getResourceID(number), resourceID);
                expectWhole(number);
                EXPECT_EQ(0u, fixture.tryResolve(getForm(number), chooseDatatypeID(number), {resourceID}));
                foundEarly.fetch_add(1, std::memory_order_relaxed);
            }
        }
    };
    runTogether(RESTORING_THREADS + READING_THREADS, [&](const size_t thread) {
        if (thread < RESTORING_THREADS)
            restore(thread);
        else
            read(thread);
    });

    for (uint64_t number = 0; number < RESOURCES; ++number) {
        ASSERT_EQ(getResourceID(number), fixture.tryResolve(getForm(number), chooseDatatypeID(number)));
        expectWhole(number);
        ASSERT_EQ(0, fixture.getDatatypeID(getResourceID(number) - 1)) << "unused";
    }
    EXPECT_EQ(1u, fixture.m_nextResourceID.load()) << "restoring takes no ID from the dictionary";
    EXPECT_LT(getResourceID(RESOURCES - 1), fixture.m_resourceDataOffsets.getEnd());
    EXPECT_LT(getResourceID(RESOURCES - 1), fixture.m_resourceFlags.getEnd());
    size_t tableBytes = 0;
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        EXPECT_LT(1024u, getTable(fixture, datatypeID).getNumberOfBuckets()) << "no table grew";
        tableBytes += getTable(fixture, datatypeID).getCommittedBytes();
    }
    EXPECT_EQ(RESOURCES / 3, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
    EXPECT_EQ(RESOURCES - RESOURCES / 3, getTable(fixture).getNumberOfNonEmptyBuckets());
    EXPECT_EQ(tableBytes + fixture.m_dataPool.getCommittedBytes() + fixture.m_resourceDataOffsets.getCommittedBytes() +
                  fixture.m_resourceFlags.getCommittedBytes() + fixture.m_datatype.getFingerprintBytes(),
              fixture.getBytesInUse());
    expectSound(fixture);
}
