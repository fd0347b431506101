#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>

using namespace melnar;

namespace {

template<class T>
class StringDatatypeLoadFailureTest : public testing::Test {};

/// Loads bytes that must be refused; returns how many of them were not read.
template<class T>
size_t expectRefusal(DictionaryFixture<T>& fixture, const std::string& bytes, const char* const message,
                     const char* const sourceFileName, const long sourceLineNumber) {
    MemoryInputStream input(bytes);
    const auto exception = catchException<MelnarException>([&] { fixture.m_datatype.load(input); });
    EXPECT_EQ(message, exception.getMessage());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_EQ(sourceFileName, exception.getSourceFileName());
    EXPECT_EQ(sourceLineNumber, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    return input.getNumberOfRemainingBytes();
}

template<class T>
size_t expectNoDatatype(DictionaryFixture<T>& fixture, const std::string& bytes) {
    return expectRefusal(fixture, bytes, "Invalid input file: cannot load StringDatatype.",
                         "Engine/core/data-store/dictionary/StringDatatype", 251);
}

template<class T>
size_t expectNoTable(DictionaryFixture<T>& fixture, const std::string& bytes) {
    return expectRefusal(fixture, bytes, "Invalid input file: cannot load ParallelHashTable.",
                         "Engine/core/platform/collections/ParallelHashTableImpl", 476);
}

template<class T>
size_t expectPrematureEnd(DictionaryFixture<T>& fixture, const std::string& bytes) {
    return expectRefusal(fixture, bytes, "Premature end of stream.", "Engine/core/platform/stream/InputStream", 26);
}

/// Expects that a datatype that is initialised or loaded again after a failure works like a new one.
template<class T>
void expectUsableAgain(DictionaryFixture<T>& fixture) {
    const std::string bytes = SavedDatatype<T>().toStream();
    MemoryInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
    fixture.m_datatype.initialize(0);
    expectSound(fixture);
    EXPECT_EQ(1u, fixture.resolve("text"));
}

std::string replace(std::string bytes, const size_t position, const std::string& replacement) {
    return bytes.replace(position, replacement.size(), replacement);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeLoadFailureTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeLoadFailureTest, aStreamCutAnywhereEndsPrematurely) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    for (size_t length = 0; length < bytes.size(); ++length)
        ASSERT_EQ(0u, expectPrematureEnd(fixture, bytes.substr(0, length))) << length;
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, aDifferenceInAnyByteOfTheDatatypesMarkerIsNoticed) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    for (size_t position = 8; position < 22; ++position)
        EXPECT_EQ(bytes.size() - 22,
                  expectNoDatatype(fixture, replace(bytes, position, std::string(1, bytes[position] ^ 1))))
            << position;
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, aWrongLengthOfTheDatatypesMarkerStopsTheReading) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    for (const uint64_t length : {uint64_t(0), uint64_t(13), uint64_t(15), uint64_t(14) << 32, ~uint64_t(0)})
        EXPECT_EQ(bytes.size() - 8, expectNoDatatype(fixture, replace(bytes, 0, toBytes(length)))) << length;
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, aDifferenceInAnyByteOfATablesMarkerIsNoticed) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    const size_t tableSize = SavedTable<TypeParam>().toStream().size();
    for (const size_t tableBegin : {size_t(30), 30 + tableSize})
        for (size_t position = tableBegin + 8; position < tableBegin + 25; ++position)
            EXPECT_EQ(bytes.size() - tableBegin - 25,
                      expectNoTable(fixture, replace(bytes, position, std::string(1, bytes[position] ^ 1))))
                << position;
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, aWrongLengthOfATablesMarkerStopsTheReading) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    const size_t tableSize = SavedTable<TypeParam>().toStream().size();
    for (const size_t tableBegin : {size_t(30), 30 + tableSize})
        for (const uint64_t length : {uint64_t(0), uint64_t(16), uint64_t(18), ~uint64_t(0)})
            EXPECT_EQ(bytes.size() - tableBegin - 8,
                      expectNoTable(fixture, replace(bytes, tableBegin, toBytes(length))));
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, whatWasReadBeforeTheFailureStays) {
    DictionaryFixture<TypeParam> fixture;
    SavedDatatype<TypeParam> saved;
    saved.m_initialSize = 55;
    expectPrematureEnd(fixture, saved.toStream().substr(0, 100));
    EXPECT_EQ(55u, StringDatatypeTestPeer::getInitialSize(fixture.m_datatype));
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, moreBucketsThanReservedAreRefused) {
    DictionaryFixture<TypeParam> fixture;
    SavedDatatype<TypeParam> saved;
    saved.m_xsdStringTable.m_capacity = 1023;
    EXPECT_EQ(1024 * sizeof(TypeParam) + SavedTable<TypeParam>().toStream().size(),
              expectRefusal(fixture, saved.toStream(),
                            "Failed to ensure that a memory region could hold 1024 items because it was initialized to "
                            "hold at most 1023 items.",
                            "Engine/core/platform/system/MemoryRegion", 242));
    expectUsableAgain(fixture);
}

TYPED_TEST(StringDatatypeLoadFailureTest, bucketsBeyondTheMemoryLimitAreRefused) {
    DictionaryFixture<TypeParam> fixture;
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    const size_t tableBytes = 1024 * sizeof(TypeParam);
    // The present contents of the datatype are released, each table when its successor is read.
    for (const size_t bytesLeft : {size_t(0), tableBytes - 1}) {
        UninitializedDictionaryFixture<TypeParam> uninitialized;
        const MemoryShortage shortage(uninitialized.m_memoryManager, bytesLeft);
        MemoryInputStream input(bytes);
        EXPECT_THROW(uninitialized.m_datatype.load(input), MemoryExhaustedException);
        EXPECT_EQ(bytesLeft, uninitialized.m_memoryManager.getFreeBytes());
    }
    {
        UninitializedDictionaryFixture<TypeParam> uninitialized;
        const MemoryShortage shortage(uninitialized.m_memoryManager, 2 * tableBytes - 1);
        MemoryInputStream input(bytes);
        EXPECT_THROW(uninitialized.m_datatype.load(input), MemoryExhaustedException);
        EXPECT_EQ(tableBytes - 1, uninitialized.m_memoryManager.getFreeBytes()) << "the first table was loaded";
    }
    const MemoryShortage shortage(fixture.m_memoryManager, 0);
    MemoryInputStream input(bytes);
    fixture.m_datatype.load(input);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
}

TYPED_TEST(StringDatatypeLoadFailureTest, bucketsThatTheSystemRefusesCanBeLoadedLater) {
    const std::string bytes = SavedDatatype<TypeParam>().toStream();
    for (const auto call : {SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT})
        for (const size_t allowedCalls : {size_t(0), size_t(1)}) {
            DictionaryFixture<TypeParam> fixture;
            {
                SystemCallFaults faults(call);
                faults.failAfter(allowedCalls, ENOMEM, SystemCallFaults::Duration::ONCE);
                MemoryInputStream input(bytes);
                EXPECT_THROW(fixture.m_datatype.load(input), SystemCallException);
            }
            expectUsableAgain(fixture);
        }
}
