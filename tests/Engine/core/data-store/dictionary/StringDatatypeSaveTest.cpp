#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/data-store/dictionary/RecordingOutputStream.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

template<class T>
class StringDatatypeSaveTest : public testing::Test {};

template<class T>
constexpr T DELETED = DatatypePolicy<T>::BUCKET_DELETED;

/// Delivers its bytes in pieces of varying sizes, like a socket or a decompressor.
class PiecewiseInputStream final : public InputStream {
public:
    explicit PiecewiseInputStream(const std::string_view bytes) : m_input(bytes), m_pieceSize(0) {}

    const std::string& getName() const override { return m_input.getName(); }

    size_t read(void* const data, const size_t numberOfBytes) override {
        m_pieceSize = m_pieceSize % 13 + 1;
        return m_input.read(data, std::min(numberOfBytes, m_pieceSize));
    }

private:
    MemoryInputStream m_input;
    size_t m_pieceSize;
};

/// A second datatype with the same parts, as after a restart that restored regions and pool.
template<class T>
class LoadedDatatype {
public:
    LoadedDatatype(DictionaryParts& parts, const std::string& bytes)
        : m_datatype(parts.m_memoryManager, parts.m_nextResourceID, parts.m_resourceDataOffsets, parts.m_resourceFlags,
                     parts.m_dataPool) {
        MemoryInputStream input(bytes);
        m_datatype.load(input);
        EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
    }

    uint64_t tryResolve(const std::string& lexicalForm, const uint8_t datatypeID) const {
        return m_datatype.tryResolveResource(EVERYTHING, lexicalForm.data(), lexicalForm.size(), datatypeID);
    }

    StringDatatype<T> m_datatype;
};

/// Stores an ID where a probe from the form's home ends.
template<class T>
void put(std::vector<T>& buckets, const std::string& lexicalForm, const T resourceID) {
    size_t index = getHome(lexicalForm, buckets.size());
    while (buckets[index] != 0)
        index = (index + 1) % buckets.size();
    buckets[index] = resourceID;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeSaveTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeSaveTest, aFreshDatatypeIsHeadersAndEmptyBuckets) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.initialize(0x0102030405060708);
    SavedDatatype<TypeParam> expected;
    expected.m_initialSize = 0x0102030405060708;
    const std::string bytes = save(fixture.m_datatype);
    EXPECT_EQ(expected.toStream(), bytes);
    EXPECT_EQ(30 + 2 * (1081 + 8 + 8 + 1024 * sizeof(TypeParam)), bytes.size());
    EXPECT_EQ(std::string("\x0E\0\0\0\0\0\0\0StringDatatype\x08\7\6\5\4\3\2\1\x11\0\0\0\0\0\0\0ParallelHashTable", 55),
              bytes.substr(0, 55));
}

TYPED_TEST(StringDatatypeSaveTest, aDatatypeThatWasNeverInitialisedHasNoBuckets) {
    UninitializedDictionaryFixture<TypeParam> fixture;
    SavedDatatype<TypeParam> expected;
    expected.m_xsdStringTable = {0, 0, 0, 0, {}, 0, {}};
    expected.m_plainLiteralTable = expected.m_xsdStringTable;
    const std::string bytes = save(fixture.m_datatype);
    EXPECT_EQ(expected.toStream(), bytes);
    EXPECT_EQ(30u + 2 * 1089, bytes.size());
    const LoadedDatatype<TypeParam> loaded(fixture, bytes);
    EXPECT_EQ(bytes, save(loaded.m_datatype));
}

TYPED_TEST(StringDatatypeSaveTest, insertionsShowAsIDsAndQuotas) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a"); // the homes follow from published hash values: AF63DC4C8601EC8C,
    fixture.resolve("b"); // AF63DF4C8601F1A5
    {
        const ScopedThreadContextIndex otherSlot(255);
        fixture.resolve("c"); // and AF63DE4C8601EFF2
        fixture.resolve("x@en", D_RDF_PLAIN_LITERAL);
    }
    SavedDatatype<TypeParam> expected;
    expected.m_xsdStringTable.m_numberOfUsedBuckets = 200;
    expected.m_xsdStringTable.m_quotas = {{0, 98}, {255, 99}};
    expected.m_xsdStringTable.m_buckets[0x08C] = 1;
    expected.m_xsdStringTable.m_buckets[0x1A5] = 2;
    expected.m_xsdStringTable.m_buckets[0x3F2] = 3;
    expected.m_plainLiteralTable.m_numberOfUsedBuckets = 100;
    expected.m_plainLiteralTable.m_quotas = {{255, 99}};
    expected.m_plainLiteralTable.m_buckets[getHome("x@en", 1024)] = 4;
    EXPECT_EQ(expected.toStream(), save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeSaveTest, deletionsShowAsMarkers) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    fixture.resolve("b");
    fixture.m_datatype.deleteUncommittedResourceID(1, D_XSD_STRING);
    fixture.resolve("a");
    SavedDatatype<TypeParam> expected;
    expected.m_xsdStringTable.m_numberOfUsedBuckets = 100;
    expected.m_xsdStringTable.m_numberOfDeletedBuckets = 1;
    expected.m_xsdStringTable.m_quotas = {{0, 97}};
    expected.m_xsdStringTable.m_buckets[0x08C] = DELETED<TypeParam>;
    expected.m_xsdStringTable.m_buckets[0x08D] = 3;
    expected.m_xsdStringTable.m_buckets[0x1A5] = 2;
    EXPECT_EQ(expected.toStream(), save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeSaveTest, aResizeShowsAsALargerTable) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<TypeParam> smallBuckets(1024);
    std::vector<std::string> lexicalForms{""};
    for (uint64_t number = 1; number <= 701; ++number) {
        lexicalForms.push_back("string " + std::to_string(number));
        fixture.resolve(lexicalForms.back());
        if (number <= 700)
            put(smallBuckets, lexicalForms.back(), static_cast<TypeParam>(number));
    }
    SavedDatatype<TypeParam> expected;
    SavedTable<TypeParam>& table = expected.m_xsdStringTable;
    table.m_numberOfBuckets = 2048;
    table.m_resizeThreshold = 1433;
    table.m_numberOfUsedBuckets = 800;
    table.m_quotas = {{0, 99}};
    table.m_capacity = 2048;
    table.m_buckets.assign(2048, 0);
    for (const TypeParam resourceID : smallBuckets) // a single thread moves the entries in the order of the old buckets
        if (resourceID != 0)
            put(table.m_buckets, lexicalForms[resourceID], resourceID);
    put(table.m_buckets, lexicalForms[701], TypeParam(701));
    EXPECT_EQ(expected.toStream(), save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeSaveTest, eachFieldIsOneWriteAndTheBucketsOfATableAreOne) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    RecordingOutputStream output;
    fixture.m_datatype.save(output);
    std::vector<size_t> expectedSizes{8, 14, 8};
    for (size_t table = 0; table < 2; ++table) {
        expectedSizes.insert(expectedSizes.end(), {8, 17, 8, 8, 8, 8});
        expectedSizes.insert(expectedSizes.end(), 256, 4);
        expectedSizes.insert(expectedSizes.end(), {8, 8, 1024 * sizeof(TypeParam)});
    }
    std::vector<size_t> sizes;
    for (const std::string& write : output.getWrites())
        sizes.push_back(write.size());
    EXPECT_EQ(expectedSizes, sizes);
}

TYPED_TEST(StringDatatypeSaveTest, aLoadedDatatypeFindsEveryStringAndContinues) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 3000; ++number)
        fixture.resolve(std::to_string(number) + "@en", 5 + number % 2);
    for (uint64_t number = 1; number <= 100; ++number)
        fixture.m_datatype.deleteUncommittedResourceID(number, fixture.getDatatypeID(number));
    fixture.m_datatype.initializeForSnapshot(std::vector<uint64_t>(7)); // the old contents stay in the other parts
    for (uint64_t number = 1; number <= 3000; ++number)
        fixture.resolve(std::to_string(number) + "@en", 5 + number % 2);
    StringDatatypeTestPeer::getInitialSize(fixture.m_datatype) = 77;

    const std::string bytes = save(fixture.m_datatype);
    LoadedDatatype<TypeParam> loaded(fixture, bytes);
    EXPECT_EQ(bytes, save(loaded.m_datatype));
    EXPECT_EQ(77u, StringDatatypeTestPeer::getInitialSize(loaded.m_datatype));
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        expectSoundAtRest(StringDatatypeTestPeer::getTable(loaded.m_datatype, datatypeID));
    for (uint64_t number = 1; number <= 3000; ++number)
        ASSERT_EQ(3000 + number, loaded.tryResolve(std::to_string(number) + "@en", 5 + number % 2));
    for (uint64_t number = 1; number <= 3000; ++number) {
        const std::string lexicalForm = "new " + std::to_string(number);
        ASSERT_EQ(6000 + number,
                  loaded.m_datatype.resolveResource(nullptr, lexicalForm.data(), lexicalForm.size(), D_XSD_STRING));
    }
    expectSoundAtRest(StringDatatypeTestPeer::getTable(loaded.m_datatype, D_XSD_STRING));
}

TYPED_TEST(StringDatatypeSaveTest, loadingReplacesWhatWasThere) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    const std::string bytes = save(fixture.m_datatype);
    const size_t tableBytes = 2 * 1024 * sizeof(TypeParam);
    for (uint64_t number = 0; number < 3000; ++number)
        fixture.resolve(std::to_string(number));
    fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
    MemoryInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
    EXPECT_EQ(1u, fixture.tryResolve("a"));
    EXPECT_EQ(0u, fixture.tryResolve("1"));
    EXPECT_EQ(tableBytes + fixture.m_dataPool.getCommittedBytes() + fixture.m_resourceDataOffsets.getCommittedBytes() +
                  fixture.m_resourceFlags.getCommittedBytes() + fixture.m_datatype.getFingerprintBytes(),
              fixture.getBytesInUse());
    expectSoundAtRest(StringDatatypeTestPeer::getTable(fixture.m_datatype, D_XSD_STRING));
}

TYPED_TEST(StringDatatypeSaveTest, loadingEndsAResizeThatWasLeftOver) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = save(fixture.m_datatype);
    auto& table = StringDatatypeTestPeer::getTable(fixture.m_datatype, D_XSD_STRING);
    TablePeer::getResizeState(table) = 1;
    TablePeer::getNumberOfResizeChunks(table) = 1;
    TablePeer::getNumberOfPendingChunks(table) = 1;
    TablePeer::getOldBuckets(table).initialize(1024);
    TablePeer::getOldBuckets(table).ensureEndAtLeast(1024);
    const size_t bytesBefore = fixture.getBytesInUse();
    MemoryInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(bytesBefore - 1024 * sizeof(TypeParam), fixture.getBytesInUse());
    EXPECT_EQ(0u, TablePeer::getNumberOfResizeChunks(table));
    expectSoundAtRest(table);
    EXPECT_EQ(1u, fixture.resolve("a"));
}

TYPED_TEST(StringDatatypeSaveTest, loadingTakesWhateverPiecesTheStreamDelivers) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    fixture.resolve("x@en", D_RDF_PLAIN_LITERAL);
    const std::string bytes = save(fixture.m_datatype);
    PiecewiseInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeSaveTest, loadingReadsNothingBeyondItsOwnEnd) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = save(fixture.m_datatype) + "what follows";
    MemoryInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(12u, input.getNumberOfRemainingBytes());
}
