#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;

template<class T>
class StringDatatypeCompactionTest : public testing::Test {};

/// A state with room for `capacity` records.
struct CompactionState : public DictionaryCompactionState {
    CompactionState(MemoryManager& memoryManager, const size_t capacity) : DictionaryCompactionState(memoryManager) {
        m_entries.initialize(capacity);
        m_entries.ensureEndAtLeast(capacity);
    }

    void add(const CompactionEntry& entry) { m_entries[m_numberOfEntries++] = entry; }

    void sort() {
        std::stable_sort(m_entries.getData(), m_entries.getData() + m_numberOfEntries,
                         [](const CompactionEntry& first, const CompactionEntry& second) {
                             return first.datatypeID < second.datatypeID;
                         });
    }
};

/// Compacts like a dictionary: the surviving resources, in ascending order of their IDs, get IDs from 1 on, and their
/// chunks are moved together.
template<class T>
void compact(DictionaryFixture<T>& fixture, const std::vector<uint64_t>& survivors) {
    CompactionState state(fixture.m_memoryManager, survivors.size() + 1);
    uint64_t newResourceID = 0;
    uint64_t poolEnd = 0;
    for (const uint64_t resourceID : survivors) {
        const size_t chunkSize = fixture.m_datatype.prepareCompact(resourceID, ++newResourceID, state);
        CompactionEntry& entry = state.m_entries[state.m_numberOfEntries - 1];
        ASSERT_EQ(chunkSize, entry.dataSize);
        std::memmove(fixture.m_dataPool.getData() + poolEnd, fixture.m_dataPool.getData() + entry.dataOffset,
                     chunkSize);
        entry.dataOffset = poolEnd;
        poolEnd += chunkSize;
    }
    state.sort();
    fixture.m_datatype.finishCompact(state);
}

/// Writes bytes to the pool as the chunk of a resource.
void plantChunk(DictionaryParts& parts, const uint64_t resourceID, const uint8_t datatypeID,
                const std::vector<uint8_t>& bytes) {
    parts.m_resourceDataOffsets.ensureEndAtLeast(resourceID + 1);
    parts.m_resourceFlags.ensureEndAtLeast(resourceID + 1);
    parts.m_resourceDataOffsets[resourceID] = parts.m_dataPool.newDataChunk(nullptr, bytes.size());
    parts.m_resourceFlags[resourceID] = datatypeID;
    std::copy(bytes.begin(), bytes.end(), parts.m_dataPool.getData() + parts.m_resourceDataOffsets[resourceID]);
}

template<class T>
void expectRebuilt(DictionaryFixture<T>& fixture, const uint8_t datatypeID, const size_t numberOfBuckets,
                   const size_t numberOfEntries) {
    auto& table = getTable(fixture, datatypeID);
    EXPECT_EQ(numberOfBuckets, table.getNumberOfBuckets());
    EXPECT_EQ(numberOfEntries, TablePeer::getNumberOfUsedBuckets(table).load()) << "all quota was taken back";
    EXPECT_EQ(0u, TablePeer::getSumOfQuotas(table));
    EXPECT_EQ(0u, table.getNumberOfDeletedBuckets());
    expectSoundAtRest(table);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeCompactionTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeCompactionTest, recordsHaveTheirFieldsInTheAgreedOrder) {
    EXPECT_EQ(0u, offsetof(CompactionEntry, resourceID));
    EXPECT_EQ(8u, offsetof(CompactionEntry, datatypeID));
    EXPECT_EQ(9u, offsetof(CompactionEntry, dictionaryFlag));
    EXPECT_EQ(16u, offsetof(CompactionEntry, dataOffset));
    EXPECT_EQ(24u, offsetof(CompactionEntry, dataSize));
    EXPECT_EQ(32u, sizeof(CompactionEntry));
}

TYPED_TEST(StringDatatypeCompactionTest, preparingAppendsARecordAndReturnsTheSizeOfTheChunk) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("abc");
    fixture.resolve("x@en", D_RDF_PLAIN_LITERAL);
    fixture.resolve(std::string(127, 'x'));
    CompactionState state(fixture.m_memoryManager, 10);
    for (size_t index = 0; index < 10; ++index)
        state.m_entries[index].dictionaryFlag = true;
    EXPECT_EQ(5u, fixture.m_datatype.prepareCompact(1, 77, state));
    EXPECT_EQ(6u, fixture.m_datatype.prepareCompact(2, 78, state));
    EXPECT_EQ(130u, fixture.m_datatype.prepareCompact(3, 79, state));
    ASSERT_EQ(3u, state.m_numberOfEntries);
    const auto expectEntry = [&state](const size_t index, const uint64_t newResourceID, const uint8_t datatypeID,
                                      const uint64_t dataOffset, const uint64_t dataSize) {
        const CompactionEntry& entry = state.m_entries[index];
        EXPECT_EQ(newResourceID, entry.resourceID);
        EXPECT_EQ(datatypeID, entry.datatypeID);
        EXPECT_FALSE(entry.dictionaryFlag);
        EXPECT_EQ(dataOffset, entry.dataOffset);
        EXPECT_EQ(dataSize, entry.dataSize);
    };
    expectEntry(0, 77, D_XSD_STRING, 0, 5);
    expectEntry(1, 78, D_RDF_PLAIN_LITERAL, 5, 6);
    expectEntry(2, 79, D_XSD_STRING, 11, 130);
    EXPECT_TRUE(state.m_entries[3].dictionaryFlag) << "nothing beyond is written";
    EXPECT_EQ(1u, fixture.tryResolve("abc")) << "the old IDs hold until the compaction is finished";
}

TYPED_TEST(StringDatatypeCompactionTest, chunksAreMeasuredByTheHeadersTheyHave) {
    DictionaryFixture<TypeParam> fixture;
    plantChunk(fixture, 1, 5, {0x0A, 'a', 'b', 'c', 'd', 0});
    plantChunk(fixture, 2, 6, {0x15, 0x00, 'a', '@', 'c', 'd', 0});
    plantChunk(fixture, 3, 42, {0x2B, 0x00, 0x00, 0x00, 'a', 'b', 'c', 'd', 0});
    plantChunk(fixture, 4, 5, {0x2F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 'a', 'b', 'c', 'd', 0});
    CompactionState state(fixture.m_memoryManager, 4);
    EXPECT_EQ(6u, fixture.m_datatype.prepareCompact(1, 1, state));
    EXPECT_EQ(7u, fixture.m_datatype.prepareCompact(2, 2, state));
    EXPECT_EQ(9u, fixture.m_datatype.prepareCompact(3, 3, state));
    EXPECT_EQ(13u, fixture.m_datatype.prepareCompact(4, 4, state));
    EXPECT_EQ(13u, state.m_entries[3].dataSize);
    EXPECT_EQ(42, state.m_entries[2].datatypeID) << "as stored";
}

TYPED_TEST(StringDatatypeCompactionTest, survivorsAreFoundUnderTheirNewIDs) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<uint64_t> survivors;
    std::map<uint64_t, std::pair<std::string, uint8_t>> expected;
    for (uint64_t number = 1; number <= 3000; ++number) {
        const std::string lexicalForm = std::string(number % 200, 'x') + std::to_string(number) + "@en";
        const auto datatypeID = static_cast<uint8_t>(5 + number % 3 % 2);
        const uint64_t resourceID = fixture.resolve(lexicalForm, datatypeID);
        if (number % 5 == 0)
            fixture.m_datatype.deleteUncommittedResourceID(resourceID, datatypeID);
        else {
            survivors.push_back(resourceID);
            expected[survivors.size()] = {lexicalForm, datatypeID};
        }
    }
    compact(fixture, survivors);
    size_t xsdStrings = 0;
    for (const auto& [newResourceID, literal] : expected) {
        const auto& [lexicalForm, datatypeID] = literal;
        xsdStrings += datatypeID == D_XSD_STRING ? 1 : 0;
        ASSERT_EQ(newResourceID, fixture.tryResolve(lexicalForm, datatypeID));
        ASSERT_EQ(lexicalForm, fixture.getLexicalForm(newResourceID));
        ASSERT_EQ(datatypeID, fixture.getDatatypeID(newResourceID));
    }
    for (uint64_t number = 5; number <= 3000; number += 5)
        ASSERT_EQ(0u, fixture.tryResolve(std::string(number % 200, 'x') + std::to_string(number) + "@en",
                                         static_cast<uint8_t>(5 + number % 3 % 2)));
    EXPECT_EQ(1600u, xsdStrings);
    expectRebuilt(fixture, D_XSD_STRING, 4096, 1600);
    expectRebuilt(fixture, D_RDF_PLAIN_LITERAL, 2048, 800);
}

// The offsets after the last survivor belong to no resource, and point to where other chunks are now.
TYPED_TEST(StringDatatypeCompactionTest, theLastSurvivorIsFoundWhereOldOffsetsFollow) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 4; ++number)
        fixture.resolve(std::to_string(number));
    const std::string longForm(40, 'c');
    const uint64_t longResourceID = fixture.resolve(longForm);
    compact(fixture, {longResourceID});
    EXPECT_EQ(1u, fixture.tryResolve(longForm));
    EXPECT_EQ((BatchAnswers{{1}}), lookUpAtOnce(fixture, {{longForm, D_XSD_STRING}}, EVERYTHING));
    EXPECT_EQ(1u, fixture.resolve(longForm));
}

TYPED_TEST(StringDatatypeCompactionTest, aTableShrinksToWhatItsSurvivorsNeed) {
    struct {
        size_t m_survivors;
        size_t m_numberOfBuckets;
    } const cases[] = {{716, 1024}, {717, 2048}, {1433, 2048}, {1434, 4096}, {2866, 4096}, {3000, 8192}};
    for (const auto& [numberOfSurvivors, numberOfBuckets] : cases) {
        SCOPED_TRACE(numberOfSurvivors);
        DictionaryFixture<TypeParam> fixture;
        std::vector<uint64_t> survivors;
        for (uint64_t number = 1; number <= 3000; ++number) {
            fixture.resolve(std::to_string(number));
            if (number <= numberOfSurvivors)
                survivors.push_back(number);
        }
        ASSERT_EQ(8192u, getTable(fixture, D_XSD_STRING).getNumberOfBuckets());
        compact(fixture, survivors);
        expectRebuilt(fixture, D_XSD_STRING, numberOfBuckets, numberOfSurvivors);
        expectRebuilt(fixture, D_RDF_PLAIN_LITERAL, 1024, 0);
        EXPECT_EQ(numberOfBuckets * sizeof(TypeParam), getTable(fixture, D_XSD_STRING).getCommittedBytes());
        for (uint64_t number = 1; number <= 3000; ++number)
            ASSERT_EQ(number <= numberOfSurvivors ? number : 0, fixture.tryResolve(std::to_string(number)));
    }
}

TYPED_TEST(StringDatatypeCompactionTest, aTableNeverGrows) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<uint64_t> survivors;
    for (uint64_t number = 1; number <= 700; ++number)
        survivors.push_back(fixture.resolve(std::to_string(number)));
    compact(fixture, survivors);
    expectRebuilt(fixture, D_XSD_STRING, 1024, 700);
    EXPECT_EQ(701u, fixture.resolve("new"));
    EXPECT_EQ(2048u, getTable(fixture, D_XSD_STRING).getNumberOfBuckets());
}

TYPED_TEST(StringDatatypeCompactionTest, withoutRecordsBothTablesEndEmptyAndSmall) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 4000; ++number)
        fixture.resolve(std::to_string(number) + "@en", 5 + number % 2);
    compact(fixture, {});
    expectRebuilt(fixture, D_XSD_STRING, 1024, 0);
    expectRebuilt(fixture, D_RDF_PLAIN_LITERAL, 1024, 0);
    EXPECT_EQ(0u, fixture.tryResolve("2@en"));
    EXPECT_EQ(4001u, fixture.resolve("2@en"));
}

TYPED_TEST(StringDatatypeCompactionTest, anEmptyDatatypeStaysEmpty) {
    DictionaryFixture<TypeParam> fixture;
    compact(fixture, {});
    EXPECT_EQ(SavedDatatype<TypeParam>().toStream(), save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeCompactionTest, recordsOfOneDatatypeEmptyTheOthersTable) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        DictionaryFixture<TypeParam> fixture;
        std::vector<uint64_t> survivors;
        for (uint64_t number = 1; number <= 2000; ++number) {
            const auto ownID = static_cast<uint8_t>(5 + number % 2);
            const uint64_t resourceID = fixture.resolve(std::to_string(number) + "@en", ownID);
            if (ownID == datatypeID && survivors.size() < 3)
                survivors.push_back(resourceID);
        }
        compact(fixture, survivors);
        expectRebuilt(fixture, datatypeID, 1024, 3);
        expectRebuilt(fixture, static_cast<uint8_t>(11 - datatypeID), 1024, 0);
        EXPECT_EQ(1u, fixture.tryResolve(std::to_string(survivors[0]) + "@en", datatypeID));
    }
}

TYPED_TEST(StringDatatypeCompactionTest, recordsOfOtherDatatypesAreLeftAlone) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("abc");
    fixture.resolve("x@en", D_RDF_PLAIN_LITERAL);
    constexpr uint64_t FIRST_OTHER = 1000;
    constexpr uint64_t GARBAGE = 0xDEADBEEF;
    fixture.m_resourceDataOffsets.ensureEndAtLeast(FIRST_OTHER + 256);
    fixture.m_resourceFlags.ensureEndAtLeast(FIRST_OTHER + 256);
    for (uint64_t resourceID = FIRST_OTHER; resourceID < FIRST_OTHER + 256; ++resourceID) {
        fixture.m_resourceDataOffsets[resourceID] = resourceID * 3;
        fixture.m_resourceFlags[resourceID] = 99;
    }
    const std::vector<uint8_t> otherIDs{1, 1, 2, 3, 4, 4, 4, 7, 8, 8, 200, 255};
    CompactionState state(fixture.m_memoryManager, 20);
    fixture.m_datatype.prepareCompact(2, 11, state);
    for (const uint8_t otherID : otherIDs)
        state.add({FIRST_OTHER + otherID, otherID, true, GARBAGE, GARBAGE});
    fixture.m_datatype.prepareCompact(1, 10, state);
    state.sort();
    fixture.m_datatype.finishCompact(state);

    EXPECT_EQ(10u, fixture.tryResolve("abc"));
    EXPECT_EQ(11u, fixture.tryResolve("x@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("abc", fixture.getLexicalForm(10));
    EXPECT_EQ("x@en", fixture.getLexicalForm(11));
    expectRebuilt(fixture, D_XSD_STRING, 1024, 1);
    expectRebuilt(fixture, D_RDF_PLAIN_LITERAL, 1024, 1);
    for (uint64_t resourceID = FIRST_OTHER; resourceID < FIRST_OTHER + 256; ++resourceID) {
        EXPECT_EQ(resourceID * 3, fixture.m_resourceDataOffsets[resourceID]);
        EXPECT_EQ(99, fixture.getDatatypeID(resourceID));
    }
}

TYPED_TEST(StringDatatypeCompactionTest, recordsOfOtherDatatypesAloneAreLeftAlone) {
    for (const uint8_t otherID : {uint8_t(1), uint8_t(4), uint8_t(7), uint8_t(255)}) {
        DictionaryFixture<TypeParam> fixture;
        fixture.resolve("abc");
        CompactionState state(fixture.m_memoryManager, 2);
        state.add({1, otherID, false, 12345, 1});
        fixture.m_datatype.finishCompact(state);
        expectRebuilt(fixture, D_XSD_STRING, 1024, 0);
        EXPECT_EQ(0u, fixture.m_resourceDataOffsets[1]);
        EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(1));
    }
}

TYPED_TEST(StringDatatypeCompactionTest, quotasOfAllSlotsAreTakenBack) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<uint64_t> survivors;
    for (const size_t slot : {size_t(0), size_t(7), size_t(255)}) {
        const ScopedThreadContextIndex threadContextIndex(slot);
        survivors.push_back(fixture.resolve("slot " + std::to_string(slot)));
    }
    const ScopedThreadContextIndex anotherSlot(9);
    compact(fixture, survivors);
    expectRebuilt(fixture, D_XSD_STRING, 1024, 3);
    EXPECT_EQ(2u, fixture.tryResolve("slot 7"));
}

TYPED_TEST(StringDatatypeCompactionTest, anUnfinishedResizeIsFinishedFirst) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<uint64_t> survivors;
    for (uint64_t number = 1; number <= 500; ++number)
        survivors.push_back(fixture.resolve(std::to_string(number)));
    // The state that a leader leaves that was stopped right after it started a resize.
    auto& table = getTable(fixture, D_XSD_STRING);
    auto& oldBuckets = TablePeer::getOldBuckets(table);
    oldBuckets.initialize(2048);
    oldBuckets.ensureEndAtLeast(2048);
    TablePeer::getBuckets(table).swapContents(oldBuckets);
    TablePeer::getNumberOfBuckets(table) = 2048;
    TablePeer::getHashMask(table) = 2047;
    TablePeer::getAfterLastBucket(table) = TablePeer::getBuckets(table).getData() + 2048;
    TablePeer::getResizeThreshold(table) = 1433;
    TablePeer::getNumberOfResizeChunks(table) = 1;
    TablePeer::getNumberOfPendingChunks(table) = 1;
    TablePeer::getResizeState(table) = 0;

    compact(fixture, survivors);
    expectRebuilt(fixture, D_XSD_STRING, 1024, 500);
    for (uint64_t number = 1; number <= 500; ++number)
        ASSERT_EQ(number, fixture.tryResolve(std::to_string(number)));
}

TYPED_TEST(StringDatatypeCompactionTest, aCompactedDatatypeIsSavedWithItsReservation) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 3000; ++number)
        fixture.resolve(number == 100 ? "a" : std::to_string(number));
    compact(fixture, {100});
    SavedDatatype<TypeParam> expected;
    SavedTable<TypeParam>& table = expected.m_xsdStringTable;
    table.m_numberOfUsedBuckets = 1;
    table.m_capacity = 8192; // the address space stays
    table.m_buckets[0x08C] = 1;
    EXPECT_EQ(expected.toStream(), save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeCompactionTest, compactingTwiceGivesTheSameTables) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<uint64_t> survivors;
    for (uint64_t number = 1; number <= 2000; ++number)
        survivors.push_back(fixture.resolve(std::to_string(number)));
    compact(fixture, survivors);
    const std::string bytes = save(fixture.m_datatype);
    compact(fixture, survivors);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
}
