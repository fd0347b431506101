#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t BUCKETS = 1024;

template<class T>
class StringDatatypeLookupTest : public testing::Test {};

/// Stores a string in an empty bucket under an ID that is too large to commit the memory up to it.
template<class T>
void plant(DictionaryFixture<T>& fixture, const uint64_t resourceID, const std::string& lexicalForm) {
    uint64_t* const dataOffset = &fixture.m_resourceDataOffsets[resourceID];
    const uintptr_t distanceToPageBegin = reinterpret_cast<uintptr_t>(dataOffset) & (getVMPageSize() - 1);
    ASSERT_TRUE(VirtualMemory::commit(reinterpret_cast<uint8_t*>(dataOffset) - distanceToPageBegin, getVMPageSize()));
    *dataOffset = fixture.m_dataPool.newDataChunk(nullptr, StringChunk::getChunkSizeFor(lexicalForm.size()));
    StringChunk::write(fixture.m_dataPool.getData() + *dataOffset, lexicalForm.data(), lexicalForm.size());
    auto& table = getTable(fixture, D_XSD_STRING);
    const size_t home = getHome(lexicalForm, BUCKETS);
    table.learnFingerprint(home, hashLexicalForm(lexicalForm.data(), lexicalForm.size()));
    TablePeer::getBuckets(table)[home].store(static_cast<T>(resourceID));
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeLookupTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeLookupTest, aCommitPointCoversTheIDsBelowIt) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_nextResourceID = 10;
    EXPECT_EQ(10u, fixture.resolve("text"));
    EXPECT_EQ(10u, fixture.tryResolve("text", D_XSD_STRING, {11}));
    EXPECT_EQ(0u, fixture.tryResolve("text", D_XSD_STRING, {10}));
    EXPECT_EQ(0u, fixture.tryResolve("text", D_XSD_STRING, {1}));
    EXPECT_EQ(0u, fixture.tryResolve("text", D_XSD_STRING, {0}));
    EXPECT_EQ(10u, fixture.tryResolve("text"));
    EXPECT_EQ(10u, fixture.resolve("text")) << "resolving sees everything";
}

TYPED_TEST(StringDatatypeLookupTest, aResourceThatIsNotVisibleDoesNotEndTheSearch) {
    DictionaryFixture<TypeParam> fixture;
    const std::vector<std::string> lexicalForms = getFormsWithHome(5, BUCKETS, 3);
    fixture.restore(20, lexicalForms[0]);
    fixture.restore(21, lexicalForms[1]);
    fixture.restore(9, lexicalForms[2]);
    EXPECT_EQ(9u, fixture.tryResolve(lexicalForms[2], D_XSD_STRING, {10}));
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[0], D_XSD_STRING, {10}));
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[1], D_XSD_STRING, {21}));
    EXPECT_EQ(20u, fixture.tryResolve(lexicalForms[0], D_XSD_STRING, {21}));
}

TYPED_TEST(StringDatatypeLookupTest, lookingUpCreatesNothing) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(0u, fixture.tryResolve("text"));
    EXPECT_EQ(0u, fixture.tryResolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(getTable(fixture, D_XSD_STRING)).load());
}

TYPED_TEST(StringDatatypeLookupTest, similarStringsAreDistinguished) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("text");
    for (const std::string_view lexicalForm :
         {std::string_view("tex"), std::string_view("texts"), std::string_view("Text"), std::string_view(""),
          std::string_view("text\0", 5)})
        EXPECT_EQ(0u, fixture.tryResolve(lexicalForm)) << lexicalForm;
    EXPECT_EQ(0u, fixture.tryResolve("text@en", D_RDF_PLAIN_LITERAL));
}

TYPED_TEST(StringDatatypeLookupTest, aPlainLiteralWithAnEmptyTagIsLookedUpAsAnXsdString) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("abc");
    EXPECT_EQ(1u, fixture.tryResolve("abc@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, fixture.tryResolve("abc@", 42));
    EXPECT_EQ(0u, fixture.tryResolve("abc@", D_XSD_STRING));
    EXPECT_EQ(0u, fixture.tryResolve("@", D_RDF_PLAIN_LITERAL));
    fixture.resolve("");
    EXPECT_EQ(2u, fixture.tryResolve("@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(2u, fixture.m_datatype.tryResolveResource(EVERYTHING, nullptr, 0, D_XSD_STRING));
}

TYPED_TEST(StringDatatypeLookupTest, valuesAreLookedUpUnchecked) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("x");
    fixture.m_datatype.resolveResource(nullptr, StringValue("x@", D_RDF_PLAIN_LITERAL));
    fixture.m_datatype.resolveResource(nullptr, StringValue("no tag", 42));
    const auto tryResolve = [&fixture](const std::string_view lexicalForm, const uint8_t datatypeID) {
        return fixture.m_datatype.tryResolveResource(EVERYTHING, StringValue(lexicalForm, datatypeID));
    };
    EXPECT_EQ(1u, tryResolve("x", D_XSD_STRING));
    EXPECT_EQ(2u, tryResolve("x@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(3u, tryResolve("no tag", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(3u, tryResolve("no tag", 42));
    EXPECT_EQ(0u, tryResolve("x@", D_XSD_STRING));
    EXPECT_EQ(0u, tryResolve("no tag", D_XSD_STRING));
    EXPECT_EQ(0u, fixture.m_datatype.tryResolveResource({3}, StringValue("no tag", 42)));
}

TYPED_TEST(StringDatatypeLookupTest, aValuePointsIntoThePool) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("padding");
    const uint64_t resourceID = fixture.resolve(std::string(200, 'x'));
    const uint8_t auxiliaryData = 0;
    ResourceValue value;
    value.m_auxiliaryData = &auxiliaryData;
    value.m_auxiliaryDataSize = 1;
    fixture.m_datatype.getResource(resourceID, 99, value);
    EXPECT_EQ(99, value.m_datatypeID) << "the caller's word";
    EXPECT_EQ(fixture.m_dataPool.getData() + fixture.m_resourceDataOffsets[resourceID] + 2, value.m_data);
    EXPECT_EQ(201u, value.m_dataSize);
    EXPECT_EQ(std::string(200, 'x'), reinterpret_cast<const char*>(value.m_data)) << "with a terminator";
    EXPECT_EQ(nullptr, value.m_auxiliaryData);
    EXPECT_EQ(0u, value.m_auxiliaryDataSize);
    EXPECT_EQ(nullptr, value.m_heapBuffer);
}

TYPED_TEST(StringDatatypeLookupTest, readingAStringReplacesWhatWasThere) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("short");
    fixture.resolve(std::string("a\0b", 3));
    std::string lexicalForm = "something much longer than before";
    fixture.m_datatype.getResource(1, D_XSD_STRING, lexicalForm);
    EXPECT_EQ("short", lexicalForm);
    fixture.m_datatype.getResource(2, 99, lexicalForm);
    EXPECT_EQ(std::string("a\0b", 3), lexicalForm);
}

TYPED_TEST(StringDatatypeLookupTest, theEmptyStringIsReadBack) {
    DictionaryFixture<TypeParam> fixture;
    const uint64_t resourceID = fixture.resolve("");
    ResourceValue value;
    fixture.m_datatype.getResource(resourceID, D_XSD_STRING, value);
    EXPECT_EQ(1u, value.m_dataSize);
    EXPECT_EQ(0, *value.m_data);
    std::string lexicalForm = "before";
    fixture.m_datatype.getResource(resourceID, D_XSD_STRING, lexicalForm);
    EXPECT_EQ("", lexicalForm);
}

TYPED_TEST(StringDatatypeLookupTest, largeIDsComeOutOfABucketAsTheyWentIn) {
    constexpr uint64_t LARGEST_ID = 0xFFFFFFFD;
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, LARGEST_ID + 1);
    for (const uint64_t resourceID : {uint64_t(0x7FFFFFFF), uint64_t(0x80000000), LARGEST_ID}) {
        const std::string lexicalForm = "resource " + std::to_string(resourceID);
        plant(fixture, resourceID, lexicalForm);
        EXPECT_EQ(resourceID, fixture.tryResolve(lexicalForm));
        EXPECT_EQ(resourceID, fixture.tryResolve(lexicalForm, D_XSD_STRING, {resourceID + 1}));
        EXPECT_EQ(0u, fixture.tryResolve(lexicalForm, D_XSD_STRING, {resourceID}));
        EXPECT_EQ(resourceID, fixture.resolve(lexicalForm));
        EXPECT_EQ(lexicalForm, fixture.getLexicalForm(resourceID));
        fixture.m_datatype.deleteUncommittedResourceID(resourceID, D_XSD_STRING);
        EXPECT_EQ(0u, fixture.tryResolve(lexicalForm));
    }
}

TYPED_TEST(StringDatatypeLookupTest, aDeletedResourceIsNotFoundButStillRead) {
    DictionaryFixture<TypeParam> fixture;
    const uint64_t resourceID = fixture.resolve("text");
    fixture.m_datatype.deleteUncommittedResourceID(resourceID, D_XSD_STRING);
    EXPECT_EQ(0u, fixture.tryResolve("text"));
    EXPECT_EQ("text", fixture.getLexicalForm(resourceID));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(resourceID));
}

TYPED_TEST(StringDatatypeLookupTest, aDeletedStringCanBeResolvedAgainUnderANewID) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("text");
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    EXPECT_EQ(2u, fixture.resolve("text"));
    EXPECT_EQ(2u, fixture.resolve("text"));
    EXPECT_EQ(2u, fixture.tryResolve("text"));
    EXPECT_EQ(0u, fixture.tryResolve("text", D_XSD_STRING, {2}));
    EXPECT_EQ("text", fixture.getLexicalForm(1));
    EXPECT_EQ("text", fixture.getLexicalForm(2));
    EXPECT_NE(fixture.m_resourceDataOffsets[1], fixture.m_resourceDataOffsets[2]);
}

TYPED_TEST(StringDatatypeLookupTest, aTombstoneIsPassedAndNotUsedAgain) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    const std::vector<std::string> lexicalForms = getFormsWithHome(1022, BUCKETS, 4);
    for (size_t index = 0; index < 3; ++index)
        fixture.resolve(lexicalForms[index]);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[0]));
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[1]));
    EXPECT_EQ(3u, fixture.tryResolve(lexicalForms[2])) << "after two tombstones and the end of the array";
    EXPECT_EQ(4u, fixture.resolve(lexicalForms[3]));
    EXPECT_EQ(5u, fixture.resolve(lexicalForms[0]));
    const auto& buckets = TablePeer::getBuckets(table);
    EXPECT_EQ(table.getPolicy().BUCKET_DELETED + 0, buckets[1022].load());
    EXPECT_EQ(table.getPolicy().BUCKET_DELETED + 0, buckets[1023].load());
    EXPECT_EQ(3u, buckets[0].load());
    EXPECT_EQ(4u, buckets[1].load());
    EXPECT_EQ(5u, buckets[2].load());
    fixture.m_datatype.deleteUncommittedResourceID(4, D_XSD_STRING);
    EXPECT_EQ(5u, fixture.tryResolve(lexicalForms[0]));
    EXPECT_EQ(3u, table.getNumberOfDeletedBuckets());
    expectSoundAtRest(table);
}

TYPED_TEST(StringDatatypeLookupTest, deletingTwiceCountsOneTombstone) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    fixture.resolve("a");
    fixture.resolve("b");
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    EXPECT_EQ(1u, table.getNumberOfDeletedBuckets());
    EXPECT_EQ(2u, table.getNumberOfNonEmptyBuckets());
    EXPECT_EQ(100u, TablePeer::getNumberOfUsedBuckets(table).load()) << "nothing is given back";
    EXPECT_EQ(98u, table.getCurrentThreadContext().getInsertionQuota());
    EXPECT_EQ(2u, fixture.tryResolve("b"));
}

TYPED_TEST(StringDatatypeLookupTest, deletingAbsentEntriesChangesNothing) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    fixture.resolve("a@en", D_RDF_PLAIN_LITERAL);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_RDF_PLAIN_LITERAL);
    fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
    EXPECT_EQ(1u, fixture.tryResolve("a"));
    EXPECT_EQ(2u, fixture.tryResolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(0u, getTable(fixture, D_XSD_STRING).getNumberOfDeletedBuckets());
    EXPECT_EQ(0u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfDeletedBuckets());
}

TYPED_TEST(StringDatatypeLookupTest, deletionGoesByTheIDAndNotByTheString) {
    DictionaryFixture<TypeParam> fixture;
    const std::vector<std::string> lexicalForms = getFormsWithHome(7, BUCKETS, 2);
    fixture.resolve(lexicalForms[0]);
    fixture.resolve(lexicalForms[1]);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    EXPECT_EQ(3u, fixture.resolve(lexicalForms[0]));
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    EXPECT_EQ(3u, fixture.tryResolve(lexicalForms[0])) << "the newer resource of the same string stays";
    EXPECT_EQ(1u, getTable(fixture, D_XSD_STRING).getNumberOfDeletedBuckets());
}

TYPED_TEST(StringDatatypeLookupTest, anyIDButFiveDeletesFromTheTableOfPlainLiterals) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a@en", 42);
    fixture.m_datatype.deleteUncommittedResourceID(1, D_RDF_PLAIN_LITERAL);
    EXPECT_EQ(0u, fixture.tryResolve("a@en", D_RDF_PLAIN_LITERAL));
}

// 600 of 700 entries are tombstones: more than half the table, which is therefore rebuilt with the same size.
TYPED_TEST(StringDatatypeLookupTest, aResizeDropsTombstonesAndGivesTheirRoomBack) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    for (uint64_t number = 1; number <= 600; ++number)
        fixture.m_datatype.deleteUncommittedResourceID(number, D_XSD_STRING);
    EXPECT_EQ(600u, table.getNumberOfDeletedBuckets());
    EXPECT_EQ(701u, fixture.resolve("new"));
    EXPECT_EQ(1024u, table.getNumberOfBuckets());
    EXPECT_EQ(0u, table.getNumberOfDeletedBuckets());
    EXPECT_EQ(101u, table.getNumberOfNonEmptyBuckets());
    expectSoundAtRest(table);
    for (uint64_t number = 1; number <= 700; ++number)
        EXPECT_EQ(number <= 600 ? 0 : number, fixture.tryResolve(std::to_string(number)));
}

TYPED_TEST(StringDatatypeLookupTest, rollingBackManyResourcesLeavesTheCommittedOnes) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 3000; ++number)
        fixture.resolve(std::to_string(number) + "@en", 5 + number % 2);
    const uint64_t commitPoint = fixture.m_nextResourceID.load();
    for (uint64_t number = 3001; number <= 6000; ++number)
        fixture.resolve(std::to_string(number) + "@en", 5 + number % 2);
    for (uint64_t resourceID = commitPoint; resourceID < fixture.m_nextResourceID.load(); ++resourceID)
        fixture.m_datatype.deleteUncommittedResourceID(resourceID, fixture.getDatatypeID(resourceID));
    for (uint64_t number = 1; number <= 6000; ++number)
        ASSERT_EQ(number < commitPoint ? number : 0,
                  fixture.tryResolve(std::to_string(number) + "@en", 5 + number % 2));
    EXPECT_EQ(3000u, getTable(fixture, D_XSD_STRING).getNumberOfDeletedBuckets() +
                         getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfDeletedBuckets());
    expectSound(fixture);
}
