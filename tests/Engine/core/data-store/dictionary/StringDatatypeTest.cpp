#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;

template<class T>
class StringDatatypeTest : public testing::Test {};

template<class T>
auto& getTable(DictionaryFixture<T>& fixture, const uint8_t datatypeID) {
    return StringDatatypeTestPeer::getTable(fixture.m_datatype, datatypeID);
}

/// Returns the argument of initializeForSnapshot for numbers of resources of the two datatypes.
std::vector<uint64_t> getResourceCounts(const uint64_t xsdStrings, const uint64_t plainLiterals) {
    return {0, 1000000, 0, 0, 1000000, xsdStrings, plainLiterals};
}

template<class T>
size_t getBytes(const size_t numberOfBuckets) {
    return numberOfBuckets * sizeof(T);
}

template<class T>
void expectEmpty(DictionaryFixture<T>& fixture, const uint8_t datatypeID, const size_t numberOfBuckets) {
    auto& table = getTable(fixture, datatypeID);
    EXPECT_EQ(numberOfBuckets, table.getNumberOfBuckets());
    EXPECT_EQ(0u, table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(table).load());
    expectSoundAtRest(table);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeTest, objectsLieOnCacheLines) {
    static_assert(alignof(StringDatatype<TypeParam>) == 64);
    const DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(&fixture.m_datatype) % 64);
}

TYPED_TEST(StringDatatypeTest, theTableOfXsdStringsComesBeforeThatOfPlainLiterals) {
    DictionaryFixture<TypeParam> fixture;
    auto& xsdStrings = getTable(fixture, D_XSD_STRING);
    auto& plainLiterals = getTable(fixture, D_RDF_PLAIN_LITERAL);
    const auto* const begin = reinterpret_cast<const uint8_t*>(&fixture.m_datatype);
    EXPECT_EQ(begin + 64, reinterpret_cast<const uint8_t*>(&xsdStrings)) << "the base class takes one cache line";
    EXPECT_EQ(&xsdStrings + 1, &plainLiterals);
    EXPECT_EQ(sizeof(fixture.m_datatype), 64 + 2 * sizeof(xsdStrings));
}

TYPED_TEST(StringDatatypeTest, onlyDatatypeIDFiveSelectsTheTableOfXsdStrings) {
    DictionaryFixture<TypeParam> fixture;
    auto& plainLiterals = getTable(fixture, D_RDF_PLAIN_LITERAL);
    for (unsigned datatypeID = 0; datatypeID < 256; ++datatypeID)
        EXPECT_EQ(datatypeID != 5, &plainLiterals == &getTable(fixture, static_cast<uint8_t>(datatypeID)));
}

TYPED_TEST(StringDatatypeTest, constructionReservesNothing) {
    const SystemCallFaults calls(SystemCallFaults::Call::MMAP);
    UninitializedDictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(3u, calls.getNumberOfCalls()) << "the two regions and the pool of the fixture";
    EXPECT_EQ(0u, fixture.getBytesInUse());
    auto& table = StringDatatypeTestPeer::getTable(fixture.m_datatype, D_XSD_STRING);
    EXPECT_EQ(0u, table.getNumberOfBuckets());
    EXPECT_EQ(0u, TablePeer::getHashMask(table));
    EXPECT_EQ(nullptr, TablePeer::getAfterLastBucket(table));
    EXPECT_EQ(table.NOT_RESIZING + 0, TablePeer::getResizeState(table).load());
    EXPECT_EQ(0u, TablePeer::getResizeThreshold(table));
    EXPECT_EQ(0.7, TablePeer::getMaxLoadFactor(table));
    EXPECT_EQ(&fixture.m_memoryManager, &TablePeer::getBuckets(table).getMemoryManager());
    EXPECT_EQ(&fixture.m_memoryManager, &TablePeer::getOldBuckets(table).getMemoryManager());
    expectAllSlotsFree(table);
}

TYPED_TEST(StringDatatypeTest, bothTablesStartWith1024BucketsWhateverTheInitialSize) {
    for (const size_t initialSize : {size_t(0), size_t(1), size_t(1000000), std::numeric_limits<size_t>::max()}) {
        DictionaryFixture<TypeParam> fixture;
        fixture.m_datatype.initialize(initialSize);
        expectEmpty(fixture, D_XSD_STRING, 1024);
        expectEmpty(fixture, D_RDF_PLAIN_LITERAL, 1024);
        EXPECT_EQ(716u, TablePeer::getResizeThreshold(getTable(fixture, D_XSD_STRING)));
        EXPECT_EQ(initialSize, StringDatatypeTestPeer::getInitialSize(fixture.m_datatype));
        EXPECT_EQ(2 * getBytes<TypeParam>(1024) + fixture.m_datatype.getFingerprintBytes(), fixture.getBytesInUse());
    }
}

TYPED_TEST(StringDatatypeTest, tablesForASnapshotAreTheSmallestThatHoldItWithoutGrowing) {
    struct {
        uint64_t m_count;
        size_t m_numberOfBuckets;
    } const cases[] = {{0, 1024},    {1, 1024},     {716, 1024},     {717, 2048},  {1000, 2048},
                       {1433, 2048}, {1434, 4096},  {2866, 4096},    {2867, 4096}, {2868, 8192},
                       {5734, 8192}, {5735, 16384}, {100000, 262144}};
    DictionaryFixture<TypeParam> fixture;
    for (const auto& [count, numberOfBuckets] : cases) {
        SCOPED_TRACE(count);
        fixture.m_datatype.initializeForSnapshot(getResourceCounts(count, 0));
        expectEmpty(fixture, D_XSD_STRING, numberOfBuckets);
        expectEmpty(fixture, D_RDF_PLAIN_LITERAL, 1024);
        fixture.m_datatype.initializeForSnapshot(getResourceCounts(0, count));
        expectEmpty(fixture, D_XSD_STRING, 1024);
        expectEmpty(fixture, D_RDF_PLAIN_LITERAL, numberOfBuckets);
    }
}

TYPED_TEST(StringDatatypeTest, eachTableIsSizedByItsOwnCount) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.initializeForSnapshot(getResourceCounts(717, 1434));
    expectEmpty(fixture, D_XSD_STRING, 2048);
    expectEmpty(fixture, D_RDF_PLAIN_LITERAL, 4096);
}

TYPED_TEST(StringDatatypeTest, aSnapshotKeepsTheInitialSize) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.initialize(77);
    fixture.m_datatype.initializeForSnapshot(getResourceCounts(0, 0));
    EXPECT_EQ(77u, StringDatatypeTestPeer::getInitialSize(fixture.m_datatype));
}

// 1400 resources use 14 batches of quota; a 15th would pass the threshold although 33 more resources would not.
TYPED_TEST(StringDatatypeTest, aSnapshotThatFillsItsTableMayGrowItNearTheEnd) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.initializeForSnapshot(getResourceCounts(1433, 0));
    auto& table = getTable(fixture, D_XSD_STRING);
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    EXPECT_EQ(1433u, TablePeer::getResizeThreshold(table));
    for (uint64_t resourceID = 1; resourceID <= 1400; ++resourceID)
        fixture.restore(resourceID, std::to_string(resourceID));
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    for (uint64_t resourceID = 1401; resourceID <= 1433; ++resourceID)
        fixture.restore(resourceID, std::to_string(resourceID));
    EXPECT_EQ(4096u, table.getNumberOfBuckets());
    expectSoundAtRest(table);
    for (uint64_t resourceID = 1; resourceID <= 1433; ++resourceID)
        EXPECT_EQ(resourceID, fixture.tryResolve(std::to_string(resourceID)));
}

TYPED_TEST(StringDatatypeTest, initialisingAgainEmptiesTheTablesAndNothingElse) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 0; number < 2000; ++number)
        fixture.resolve(std::to_string(number) + "@en", number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    const uint64_t poolEnd = fixture.m_dataPool.getEnd();
    const size_t tableBytes = getTable(fixture, D_XSD_STRING).getCommittedBytes() +
                              getTable(fixture, D_RDF_PLAIN_LITERAL).getCommittedBytes();
    const size_t otherBytes = fixture.getBytesInUse() - tableBytes;
    EXPECT_LT(1024u, getTable(fixture, D_XSD_STRING).getNumberOfBuckets());

    fixture.m_datatype.initialize(3);
    expectEmpty(fixture, D_XSD_STRING, 1024);
    expectEmpty(fixture, D_RDF_PLAIN_LITERAL, 1024);
    EXPECT_EQ(otherBytes + 2 * getBytes<TypeParam>(1024), fixture.getBytesInUse());
    EXPECT_EQ(poolEnd, fixture.m_dataPool.getEnd());
    EXPECT_EQ(2001u, fixture.m_nextResourceID.load());
    EXPECT_EQ("0@en", fixture.getLexicalForm(1)) << "chunk and offset stay";
    EXPECT_EQ(0u, fixture.tryResolve("0@en"));
    EXPECT_EQ(2001u, fixture.resolve("0@en"));
}

TYPED_TEST(StringDatatypeTest, aCompactionNeedsNoMappableEntries) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(0u, fixture.m_datatype.getNumberOfMappableEntriesInCompaction());
    fixture.resolve("text");
    EXPECT_EQ(0u, fixture.m_datatype.getNumberOfMappableEntriesInCompaction());
}

TYPED_TEST(StringDatatypeTest, destructionTakesDownEveryMutexAndConditionAndNoMemoryThatWasNeverTaken) {
    DictionaryParts parts;
    auto datatype = std::make_unique<StringDatatype<TypeParam>>(parts.m_memoryManager, parts.m_nextResourceID,
                                                                parts.m_resourceDataOffsets, parts.m_resourceFlags,
                                                                parts.m_dataPool);
    const SystemCallFaults mutexes(SystemCallFaults::Call::MUTEX_DESTROY);
    const SystemCallFaults conditions(SystemCallFaults::Call::CONDITION_DESTROY);
    const SystemCallFaults unmappings(SystemCallFaults::Call::MUNMAP);
    datatype.reset();
    EXPECT_EQ(514u, mutexes.getNumberOfCalls()) << "256 slots and the resize, of two tables";
    EXPECT_EQ(514u, conditions.getNumberOfCalls());
    EXPECT_EQ(0u, unmappings.getNumberOfCalls());
}

TYPED_TEST(StringDatatypeTest, destructionThroughTheBaseGivesTheTablesBack) {
    DictionaryParts parts;
    std::unique_ptr<DictionaryDatatype> datatype = std::make_unique<StringDatatype<TypeParam>>(
        parts.m_memoryManager, parts.m_nextResourceID, parts.m_resourceDataOffsets, parts.m_resourceFlags,
        parts.m_dataPool);
    datatype->initialize(0);
    for (uint64_t number = 0; number < 2000; ++number) {
        const std::string lexicalForm = std::to_string(number);
        datatype->resolveResource(nullptr, lexicalForm.data(), lexicalForm.size(), D_XSD_STRING);
    }
    const SystemCallFaults unmappings(SystemCallFaults::Call::MUNMAP);
    datatype.reset();
    EXPECT_EQ(2u, unmappings.getNumberOfCalls());
    EXPECT_EQ(parts.m_dataPool.getCommittedBytes() + parts.m_resourceDataOffsets.getCommittedBytes() +
                  parts.m_resourceFlags.getCommittedBytes(),
              parts.getBytesInUse());
}
