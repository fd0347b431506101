#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;

template<class T>
class StringDatatypeResolveTest : public testing::Test {};

template<class T>
auto& getTable(DictionaryFixture<T>& fixture, const uint8_t datatypeID) {
    return StringDatatypeTestPeer::getTable(fixture.m_datatype, datatypeID);
}

template<class T>
size_t getUsedBuckets(DictionaryFixture<T>& fixture) {
    return TablePeer::getNumberOfUsedBuckets(getTable(fixture, D_XSD_STRING)).load();
}

template<class T>
uint32_t getQuota(DictionaryFixture<T>& fixture) {
    return getTable(fixture, D_XSD_STRING).getCurrentThreadContext().getInsertionQuota();
}

std::vector<uint8_t> getPoolBytes(const DictionaryParts& parts) {
    return std::vector<uint8_t>(parts.m_dataPool.getData(), parts.m_dataPool.getData() + parts.m_dataPool.getEnd());
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeResolveTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeResolveTest, equalStringsHaveOneIDAndOneChunk) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("text"));
    EXPECT_EQ(2u, fixture.resolve("texts"));
    const uint64_t poolEnd = fixture.m_dataPool.getEnd();
    EXPECT_EQ(1u, fixture.resolve("text"));
    EXPECT_EQ(2u, fixture.resolve("texts"));
    EXPECT_EQ(3u, fixture.m_nextResourceID.load());
    EXPECT_EQ(poolEnd, fixture.m_dataPool.getEnd());
    EXPECT_EQ(2u, getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets());
}

TYPED_TEST(StringDatatypeResolveTest, bothDatatypesHaveTheirOwnResources) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("a@en", D_XSD_STRING));
    EXPECT_EQ(2u, fixture.resolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, fixture.resolve("a@en", D_XSD_STRING));
    EXPECT_EQ(2u, fixture.resolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(1));
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, fixture.getDatatypeID(2));
    EXPECT_EQ(1u, getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets());
    EXPECT_EQ(1u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
}

TYPED_TEST(StringDatatypeResolveTest, chunksAreWrittenByteForByte) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("abc");
    fixture.resolve("");
    fixture.resolve("x@en", D_RDF_PLAIN_LITERAL);
    fixture.resolve("y@", D_RDF_PLAIN_LITERAL);
    EXPECT_EQ((std::vector<uint8_t>{0x08, 'a', 'b', 'c', 0, 0x02, 0, 0x0A, 'x', '@', 'e', 'n', 0, 0x04, 'y', 0}),
              getPoolBytes(fixture));
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets[1]);
    EXPECT_EQ(5u, fixture.m_resourceDataOffsets[2]);
    EXPECT_EQ(7u, fixture.m_resourceDataOffsets[3]);
    EXPECT_EQ(13u, fixture.m_resourceDataOffsets[4]);
}

TYPED_TEST(StringDatatypeResolveTest, longStringsHaveLongerHeaders) {
    struct {
        size_t m_length;
        std::vector<uint8_t> m_header;
    } const cases[] = {{126, {0xFE}},
                       {127, {0x01, 0x02}},
                       {16382, {0xFD, 0xFF}},
                       {16383, {0x03, 0x00, 0x02, 0x00}},
                       {100000, {0x0B, 0x35, 0x0C, 0x00}}};
    for (const auto& [length, header] : cases) {
        DictionaryFixture<TypeParam> fixture;
        const std::string lexicalForm(length, 'x');
        EXPECT_EQ(1u, fixture.resolve(lexicalForm));
        std::vector<uint8_t> expected = header;
        expected.insert(expected.end(), lexicalForm.begin(), lexicalForm.end());
        expected.push_back(0);
        EXPECT_EQ(expected, getPoolBytes(fixture)) << length;
        EXPECT_EQ(1u, fixture.resolve(lexicalForm));
        EXPECT_EQ(1u, fixture.tryResolve(lexicalForm));
        EXPECT_EQ(lexicalForm, fixture.getLexicalForm(1));
    }
}

TYPED_TEST(StringDatatypeResolveTest, zeroBytesArePartsOfAString) {
    DictionaryFixture<TypeParam> fixture;
    const std::vector<std::string> lexicalForms{std::string("a"),       std::string("a\0", 2), std::string("a\0b", 3),
                                                std::string("a\0c", 3), std::string("\0", 1),  std::string()};
    for (uint64_t index = 0; index < lexicalForms.size(); ++index)
        EXPECT_EQ(index + 1, fixture.resolve(lexicalForms[index]));
    for (uint64_t index = 0; index < lexicalForms.size(); ++index) {
        EXPECT_EQ(index + 1, fixture.resolve(lexicalForms[index]));
        EXPECT_EQ(lexicalForms[index], fixture.getLexicalForm(index + 1));
    }
}

TYPED_TEST(StringDatatypeResolveTest, allByteValuesAreKept) {
    DictionaryFixture<TypeParam> fixture;
    std::string lexicalForm;
    for (unsigned byte = 0; byte < 256; ++byte) {
        lexicalForm.push_back(static_cast<char>(byte));
        const uint64_t resourceID = fixture.resolve(std::string(1, static_cast<char>(byte)));
        EXPECT_EQ(byte + 1, resourceID);
        EXPECT_EQ(std::string(1, static_cast<char>(byte)), fixture.getLexicalForm(resourceID));
    }
    EXPECT_EQ(lexicalForm, fixture.getLexicalForm(fixture.resolve(lexicalForm)));
}

TYPED_TEST(StringDatatypeResolveTest, theEmptyStringIsAResource) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.m_datatype.resolveResource(nullptr, nullptr, 0, D_XSD_STRING));
    EXPECT_EQ(1u, fixture.resolve(""));
    EXPECT_EQ((std::vector<uint8_t>{0x02, 0}), getPoolBytes(fixture));
}

TYPED_TEST(StringDatatypeResolveTest, aPlainLiteralWithAnEmptyTagIsAnXsdString) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("abc"));
    EXPECT_EQ(1u, fixture.resolve("abc@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(2u, fixture.resolve("def@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(2));
    EXPECT_EQ(2u, fixture.resolve("def", D_XSD_STRING));
    EXPECT_EQ(3u, fixture.resolve("@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(3u, fixture.resolve("", D_XSD_STRING));
    EXPECT_EQ(4u, fixture.resolve("a@en@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("a@en", fixture.getLexicalForm(4));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(4));
    EXPECT_EQ(0u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
}

TYPED_TEST(StringDatatypeResolveTest, acceptedPlainLiteralsAreStoredWhole) {
    DictionaryFixture<TypeParam> fixture;
    uint64_t resourceID = 0;
    for (const char* const lexicalForm : {"a@b-1", "a@abcdefghijklmnop", "a@x-0-0", "a@b@en", "a@EN", "a@en", "@en"}) {
        EXPECT_EQ(++resourceID, fixture.resolve(lexicalForm, D_RDF_PLAIN_LITERAL));
        EXPECT_EQ(lexicalForm, fixture.getLexicalForm(resourceID));
        EXPECT_EQ(D_RDF_PLAIN_LITERAL, fixture.getDatatypeID(resourceID));
    }
}

TYPED_TEST(StringDatatypeResolveTest, anyOtherDatatypeIDIsTreatedAsAPlainLiteralsButStored) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("a@en", 42));
    EXPECT_EQ(42, fixture.getDatatypeID(1));
    EXPECT_EQ(1u, fixture.resolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(2u, fixture.resolve("abc@", 42));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(2));
}

TYPED_TEST(StringDatatypeResolveTest, valuesAreTakenUnchecked) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.m_datatype.resolveResource(nullptr, StringValue("x@", D_RDF_PLAIN_LITERAL)));
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, fixture.getDatatypeID(1));
    EXPECT_EQ("x@", fixture.getLexicalForm(1));
    EXPECT_EQ(2u, fixture.m_datatype.resolveResource(nullptr, StringValue("no tag", 42)));
    EXPECT_EQ(42, fixture.getDatatypeID(2));
    EXPECT_EQ(2u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
    EXPECT_EQ(0u, getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets());
    EXPECT_EQ(1u, fixture.m_datatype.resolveResource(nullptr, StringValue("x@", D_RDF_PLAIN_LITERAL)));
    EXPECT_EQ(3u, fixture.m_datatype.resolveResource(nullptr, StringValue("x@", D_XSD_STRING)));
}

TYPED_TEST(StringDatatypeResolveTest, valuesAndLexicalFormsNameTheSameResources) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(1u, fixture.resolve("text"));
    EXPECT_EQ(1u, fixture.m_datatype.resolveResource(nullptr, StringValue("text", D_XSD_STRING)));
    EXPECT_EQ(2u, fixture.m_datatype.resolveResource(nullptr, StringValue("a@en", D_RDF_PLAIN_LITERAL)));
    EXPECT_EQ(2u, fixture.resolve("a@en", D_RDF_PLAIN_LITERAL));
}

TYPED_TEST(StringDatatypeResolveTest, chunksComeFromTheThreadsBlock) {
    DictionaryFixture<TypeParam> fixture;
    DictionaryThreadContext first(fixture.m_dataPool);
    DictionaryThreadContext second(fixture.m_dataPool);
    fixture.m_datatype.resolveResource(&first, "a", 1, D_XSD_STRING);
    fixture.m_datatype.resolveResource(&second, "b", 1, D_XSD_STRING);
    fixture.m_datatype.resolveResource(&first, StringValue("c", D_XSD_STRING));
    fixture.m_datatype.restoreResource(&second, 9, StringValue("d", D_XSD_STRING));
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets[1]);
    EXPECT_EQ(DataPool::BLOCK_SIZE, fixture.m_resourceDataOffsets[2]);
    EXPECT_EQ(3u, fixture.m_resourceDataOffsets[3]);
    EXPECT_EQ(DataPool::BLOCK_SIZE + 3, fixture.m_resourceDataOffsets[9]);
}

TYPED_TEST(StringDatatypeResolveTest, anIDGoesToTheFirstEmptyBucketFromItsHome) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    const std::vector<std::string> lexicalForms = getFormsWithHome(1022, 1024, 4);
    for (const std::string& lexicalForm : lexicalForms)
        fixture.resolve(lexicalForm);
    const auto& buckets = TablePeer::getBuckets(table);
    EXPECT_EQ(1u, buckets[1022].load());
    EXPECT_EQ(2u, buckets[1023].load());
    EXPECT_EQ(3u, buckets[0].load());
    EXPECT_EQ(4u, buckets[1].load());
    for (uint64_t index = 0; index < lexicalForms.size(); ++index) {
        EXPECT_EQ(index + 1, fixture.resolve(lexicalForms[index]));
        EXPECT_EQ(index + 1, fixture.tryResolve(lexicalForms[index]));
    }
    EXPECT_EQ(0u, fixture.tryResolve(getFormsWithHome(1022, 1024, 5).back()));
}

TYPED_TEST(StringDatatypeResolveTest, eachInsertionUsesOneOfAHundredThatItsSlotReserved) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    EXPECT_EQ(100u, getUsedBuckets(fixture));
    EXPECT_EQ(99u, getQuota(fixture));
    fixture.resolve("a");
    EXPECT_EQ(99u, getQuota(fixture)) << "what is found costs nothing";
    for (uint64_t number = 1; number < 100; ++number)
        fixture.resolve(std::to_string(number));
    EXPECT_EQ(100u, getUsedBuckets(fixture));
    EXPECT_EQ(0u, getQuota(fixture));
    fixture.resolve("b");
    EXPECT_EQ(200u, getUsedBuckets(fixture));
    EXPECT_EQ(99u, getQuota(fixture));
    {
        const ScopedThreadContextIndex otherSlot(17);
        fixture.resolve("c");
        EXPECT_EQ(300u, getUsedBuckets(fixture));
        EXPECT_EQ(99u, getQuota(fixture));
    }
    expectSoundAtRest(getTable(fixture, D_XSD_STRING));
}

TYPED_TEST(StringDatatypeResolveTest, whoOnlyFindsReservesQuotaToo) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    const ScopedThreadContextIndex otherSlot(17);
    fixture.resolve("a");
    EXPECT_EQ(200u, getUsedBuckets(fixture));
    EXPECT_EQ(100u, getQuota(fixture));
}

TYPED_TEST(StringDatatypeResolveTest, lookupsReserveNothing) {
    DictionaryFixture<TypeParam> fixture;
    const uint64_t resourceID = fixture.resolve("a");
    const ScopedThreadContextIndex otherSlot(17);
    fixture.tryResolve("a");
    fixture.m_datatype.deleteUncommittedResourceID(resourceID, D_XSD_STRING);
    EXPECT_EQ(100u, getUsedBuckets(fixture));
    EXPECT_EQ(0u, getQuota(fixture));
}

TYPED_TEST(StringDatatypeResolveTest, theTableGrowsWhenABatchWouldPassTheThreshold) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    EXPECT_EQ(1024u, table.getNumberOfBuckets());
    EXPECT_EQ(701u, fixture.resolve("701"));
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    EXPECT_EQ(1024u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfBuckets());
    EXPECT_EQ(800u, getUsedBuckets(fixture));
    EXPECT_EQ(99u, getQuota(fixture));
    expectSoundAtRest(table);
    for (uint64_t number = 1; number <= 701; ++number) {
        EXPECT_EQ(number, fixture.tryResolve(std::to_string(number)));
        EXPECT_EQ(std::to_string(number), fixture.getLexicalForm(number));
    }
}

TYPED_TEST(StringDatatypeResolveTest, whoOnlyFindsMayGrowTheTable) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    EXPECT_EQ(1u, fixture.tryResolve("1"));
    EXPECT_EQ(1024u, table.getNumberOfBuckets()) << "a lookup does not";
    EXPECT_EQ(1u, fixture.resolve("1"));
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    expectSoundAtRest(table);
}

TYPED_TEST(StringDatatypeResolveTest, manyStringsKeepTheirIDsThroughManyResizes) {
    constexpr uint64_t STRINGS = 20000;
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= STRINGS; ++number)
        ASSERT_EQ(number, fixture.resolve(std::to_string(number) + "@en", 5 + number % 2));
    for (uint64_t number = 1; number <= STRINGS; ++number)
        ASSERT_EQ(number, fixture.resolve(std::to_string(number) + "@en", 5 + number % 2));
    EXPECT_EQ(16384u, getTable(fixture, D_XSD_STRING).getNumberOfBuckets());
    expectSoundAtRest(getTable(fixture, D_XSD_STRING));
    expectSoundAtRest(getTable(fixture, D_RDF_PLAIN_LITERAL));
}

TYPED_TEST(StringDatatypeResolveTest, restoringInsertsUnderExactlyTheGivenID) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(7u, fixture.restore(7, "text"));
    EXPECT_EQ(3u, fixture.restore(3, "a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, fixture.m_nextResourceID.load()) << "the counter is not asked";
    EXPECT_EQ(7u, fixture.tryResolve("text"));
    EXPECT_EQ(7u, fixture.resolve("text"));
    EXPECT_EQ("text", fixture.getLexicalForm(7));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(7));
    EXPECT_EQ(3u, fixture.tryResolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, fixture.getDatatypeID(3));
    EXPECT_EQ(99u, getQuota(fixture));
}

TYPED_TEST(StringDatatypeResolveTest, restoringGrowsBothRegionsToTheID) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets.getEnd());
    EXPECT_EQ(100000u, fixture.restore(100000, "text"));
    EXPECT_LT(100000u, fixture.m_resourceDataOffsets.getEnd());
    EXPECT_LT(100000u, fixture.m_resourceFlags.getEnd());
    EXPECT_EQ(100000u, fixture.tryResolve("text"));
    EXPECT_EQ(100000u, fixture.restore(100000 - 1, "other") + 1) << "below the ends nothing grows";
}

TYPED_TEST(StringDatatypeResolveTest, restoringTakesValuesUnchecked) {
    DictionaryFixture<TypeParam> fixture;
    fixture.restore(5, "x@", D_RDF_PLAIN_LITERAL);
    fixture.restore(6, "no tag", 42);
    EXPECT_EQ("x@", fixture.getLexicalForm(5));
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, fixture.getDatatypeID(5));
    EXPECT_EQ(42, fixture.getDatatypeID(6));
    EXPECT_EQ(2u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
}

TYPED_TEST(StringDatatypeResolveTest, restoringManyResourcesRebuildsADatatype) {
    constexpr uint64_t STRINGS = 5000;
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = STRINGS; number >= 1; --number)
        ASSERT_EQ(number * 3, fixture.restore(number * 3, std::to_string(number)));
    for (uint64_t number = 1; number <= STRINGS; ++number)
        ASSERT_EQ(number * 3, fixture.tryResolve(std::to_string(number)));
    expectSoundAtRest(getTable(fixture, D_XSD_STRING));
}
