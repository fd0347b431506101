#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;

/// The first one, with its terminator, exceeds the largest size by one; the last one's count wraps to 0.
constexpr size_t TOO_LONG[] = {0x1FFFFFFFFFFFFFFF, std::numeric_limits<size_t>::max() - 1,
                               std::numeric_limits<size_t>::max()};

template<class T>
class StringDatatypeFailureTest : public testing::Test {};

void expectFailure(const std::string& message, const std::string& sourceFileName, const long sourceLineNumber,
                   const std::function<void()>& operation) {
    const auto exception = catchException<MelnarException>(operation);
    EXPECT_EQ(message, exception.getMessage());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_EQ(sourceFileName, exception.getSourceFileName());
    EXPECT_EQ(sourceLineNumber, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
}

void expectRefusal(const std::string& reason, const long sourceLineNumber, const std::string& lexicalForm,
                   const std::function<void()>& operation) {
    expectFailure("Lexical form '" + lexicalForm + "' is invalid for datatype rdf:PlainLiteral because " + reason,
                  "Engine/core/data-store/dictionary/StringDatatype", sourceLineNumber, operation);
}

constexpr const char* const WITHOUT_AT_SIGN = "it does not contain the '@' character.";
constexpr const char* const WITH_MALFORMED_TAG = " it its language tag is malformed.";

const std::vector<std::string> FORMS_WITHOUT_AT_SIGN{"", "abc", std::string("a\0b", 3), std::string(1000, 'x')};
const std::vector<std::string> FORMS_WITH_MALFORMED_TAG{
    "a@b-", "a@-b", "a@1b", "a@b--c", "a@b c", "abc@en-", "abc@1en", "abc@en--x", std::string("a\0b@c\0d", 7)};

/// Everything that a refused literal might have changed.
template<class T>
void expectUntouched(DictionaryFixture<T>& fixture) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        auto& table = getTable(fixture, datatypeID);
        EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(table).load()) << "no quota was reserved";
        expectSoundAtRest(table);
    }
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets.getEnd());
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeFailureTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeFailureTest, resolvingAPlainLiteralWithoutAtSignTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : FORMS_WITHOUT_AT_SIGN)
        expectRefusal(WITHOUT_AT_SIGN, 220, lexicalForm, [&] { fixture.resolve(lexicalForm, D_RDF_PLAIN_LITERAL); });
    expectRefusal(WITHOUT_AT_SIGN, 220, "abc", [&] { fixture.resolve("abc", 42); });
    expectUntouched(fixture);
}

TYPED_TEST(StringDatatypeFailureTest, resolvingAPlainLiteralWithAMalformedTagTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : FORMS_WITH_MALFORMED_TAG)
        expectRefusal(WITH_MALFORMED_TAG, 229, lexicalForm, [&] { fixture.resolve(lexicalForm, D_RDF_PLAIN_LITERAL); });
    expectUntouched(fixture);
}

TYPED_TEST(StringDatatypeFailureTest, lookingUpAPlainLiteralWithoutAtSignTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : FORMS_WITHOUT_AT_SIGN)
        expectRefusal(WITHOUT_AT_SIGN, 158, lexicalForm, [&] { fixture.tryResolve(lexicalForm, D_RDF_PLAIN_LITERAL); });
    expectUntouched(fixture);
}

TYPED_TEST(StringDatatypeFailureTest, lookingUpAPlainLiteralWithAMalformedTagTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : FORMS_WITH_MALFORMED_TAG)
        expectRefusal(WITH_MALFORMED_TAG, 166, lexicalForm,
                      [&] { fixture.tryResolve(lexicalForm, D_RDF_PLAIN_LITERAL); });
    expectUntouched(fixture);
}

TYPED_TEST(StringDatatypeFailureTest, aStringThatNoHeaderCanDescribeTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    for (const size_t length : TOO_LONG)
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            const std::function<void()> operations[] = {
                [&] { fixture.m_datatype.resolveResource(nullptr, "text", length, datatypeID); },
                [&] { fixture.m_datatype.tryResolveResource(EVERYTHING, "text", length, datatypeID); }};
            for (const std::function<void()>& operation : operations)
                expectFailure("The resource is larger than the largest resource supported by Melnar.",
                              "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding", 37, operation);
        }
    expectUntouched(fixture);
}

// The pool, the offsets and the datatype bytes each need a page, in this order.
TYPED_TEST(StringDatatypeFailureTest, anInsertionWithoutMemoryLeavesItsBucketEmpty) {
    size_t failures = 0;
    for (size_t pages = 0;; ++pages) {
        SCOPED_TRACE(testing::Message() << pages << " pages left");
        DictionaryFixture<TypeParam> fixture;
        auto& table = getTable(fixture, D_XSD_STRING);
        MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
        try {
            EXPECT_EQ(1u, fixture.resolve("text"));
            break;
        } catch (const MemoryExhaustedException& exception) {
            EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
            EXPECT_EQ(73, exception.getSourceLineNumber());
            ++failures;
        }
        EXPECT_EQ(0u, table.getNumberOfNonEmptyBuckets());
        EXPECT_EQ(100u, table.getCurrentThreadContext().getInsertionQuota()) << "reserved, and not spent";
        expectSoundAtRest(table);
        EXPECT_EQ(0u, fixture.tryResolve("text"));
        EXPECT_EQ(1u, fixture.m_nextResourceID.load());
        EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
        EXPECT_THROW(fixture.resolve("text"), MemoryExhaustedException) << "again, by the bucket's next claimer";

        shortage.end();
        EXPECT_EQ(1u, fixture.resolve("text"));
        EXPECT_EQ(1u, fixture.tryResolve("text"));
        EXPECT_EQ(0u, fixture.m_resourceDataOffsets[1]);
        EXPECT_EQ("text", fixture.getLexicalForm(1));
        expectSoundAtRest(table);
    }
    EXPECT_EQ(3u, failures);
}

TYPED_TEST(StringDatatypeFailureTest, aFailedInsertionDoesNotHideEntriesAfterItsBucket) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, 3);
    const std::vector<std::string> lexicalForms = getFormsWithHome(9, 1024, 4);
    fixture.resolve(lexicalForms[0]);
    fixture.resolve(lexicalForms[1]);
    EXPECT_THROW(fixture.resolve(lexicalForms[2]), MelnarException);
    EXPECT_EQ(0u, TablePeer::getBuckets(getTable(fixture, D_XSD_STRING))[11].load());
    EXPECT_EQ(1u, fixture.resolve(lexicalForms[0])) << "what exists is found in a full dictionary";
    EXPECT_EQ(2u, fixture.tryResolve(lexicalForms[1]));
    EXPECT_EQ(0u, fixture.tryResolve(lexicalForms[2]));
    expectFailure("The dictionary cannot create resource 3 because it was created to hold at most 2 resources.",
                  "Engine/core/data-store/dictionary/DictionaryDatatype", 47,
                  [&] { fixture.resolve(lexicalForms[3]); });
    expectSoundAtRest(getTable(fixture, D_XSD_STRING));
}

TYPED_TEST(StringDatatypeFailureTest, restoringWithoutRoomForTheChunkLeavesTheBucketEmpty) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, DictionaryParts::CAPACITY, 8);
    fixture.restore(5, "abc");
    EXPECT_THROW(fixture.restore(6, "def"), MelnarException);
    auto& table = getTable(fixture, D_XSD_STRING);
    EXPECT_EQ(1u, table.getNumberOfNonEmptyBuckets());
    expectSoundAtRest(table);
    EXPECT_EQ(0u, fixture.tryResolve("def"));
    EXPECT_EQ(5u, fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets[6]);
    EXPECT_EQ(0, fixture.getDatatypeID(6));
    EXPECT_EQ(6u, fixture.restore(6, "d"));
}

TYPED_TEST(StringDatatypeFailureTest, restoringBeyondTheCapacityTouchesNothing) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, 100);
    expectFailure("Failed to ensure that a memory region could hold 101 items because it was initialized to hold at "
                  "most 100 items.",
                  "Engine/core/platform/system/MemoryRegion", 242, [&] { fixture.restore(100, "text"); });
    expectUntouched(fixture);
    EXPECT_EQ(99u, fixture.restore(99, "text"));
}

// The offsets and the datatype bytes each need a page, then the pool.
TYPED_TEST(StringDatatypeFailureTest, restoringWithoutMemoryCanBeRepeated) {
    size_t failures = 0;
    for (size_t pages = 0;; ++pages) {
        SCOPED_TRACE(testing::Message() << pages << " pages left");
        DictionaryFixture<TypeParam> fixture;
        MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
        try {
            EXPECT_EQ(7u, fixture.restore(7, "text"));
            break;
        } catch (const MemoryExhaustedException&) {
            ++failures;
        }
        EXPECT_EQ(pages >= 1, fixture.m_resourceDataOffsets.getEnd() > 7) << "the offsets come first";
        EXPECT_EQ(pages >= 2, fixture.m_resourceFlags.getEnd() > 7);
        EXPECT_EQ(0u, getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets());
        expectSoundAtRest(getTable(fixture, D_XSD_STRING));
        shortage.end();
        EXPECT_EQ(7u, fixture.restore(7, "text"));
        EXPECT_EQ(7u, fixture.tryResolve("text"));
    }
    EXPECT_EQ(3u, failures);
}

TYPED_TEST(StringDatatypeFailureTest, aTableThatCannotGrowServesLookupsAndGrowsLater) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    const uint64_t poolEnd = fixture.m_dataPool.getEnd();
    {
        const MemoryShortage shortage(fixture.m_memoryManager, 2048 * sizeof(TypeParam) - 1);
        const size_t freeBytes = fixture.m_memoryManager.getFreeBytes();
        EXPECT_THROW(fixture.resolve("new"), MemoryExhaustedException);
        EXPECT_THROW(fixture.resolve("1"), MemoryExhaustedException) << "quota comes before the search";
        EXPECT_THROW(fixture.restore(2000, "new"), MemoryExhaustedException);
        EXPECT_EQ(freeBytes, fixture.m_memoryManager.getFreeBytes());
        EXPECT_EQ(1024u, table.getNumberOfBuckets());
        EXPECT_EQ(700u, TablePeer::getNumberOfUsedBuckets(table).load());
        expectSoundAtRest(table);
        EXPECT_EQ(701u, fixture.m_nextResourceID.load());
        EXPECT_EQ(poolEnd, fixture.m_dataPool.getEnd());
        for (uint64_t number = 1; number <= 700; ++number)
            EXPECT_EQ(number, fixture.tryResolve(std::to_string(number)));
    }
    EXPECT_EQ(701u, fixture.resolve("new"));
    EXPECT_EQ(2048u, table.getNumberOfBuckets());
    expectSoundAtRest(table);
}

TYPED_TEST(StringDatatypeFailureTest, aTableWhoseGrowthTheSystemRefusesStaysAsItIs) {
    DictionaryFixture<TypeParam> fixture;
    auto& table = getTable(fixture, D_XSD_STRING);
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    const size_t bytesInUse = fixture.getBytesInUse();
    for (const auto call : {SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT}) {
        SystemCallFaults faults(call);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
        EXPECT_THROW(fixture.resolve("new"), SystemCallException);
        EXPECT_EQ(1u, faults.getNumberOfFailures());
        EXPECT_EQ(1024u, table.getNumberOfBuckets());
        EXPECT_EQ(bytesInUse, fixture.getBytesInUse());
        expectSoundAtRest(table);
    }
    EXPECT_EQ(701u, fixture.resolve("new"));
}

TYPED_TEST(StringDatatypeFailureTest, aDatatypeThatCannotBeInitialisedCanBeLater) {
    const size_t tableBytes = 1024 * sizeof(TypeParam);
    for (const size_t bytesLeft : {size_t(0), tableBytes - 1, tableBytes, 2 * tableBytes - 1}) {
        SCOPED_TRACE(bytesLeft);
        UninitializedDictionaryFixture<TypeParam> fixture;
        {
            const MemoryShortage shortage(fixture.m_memoryManager, bytesLeft);
            EXPECT_THROW(fixture.m_datatype.initialize(1), MemoryExhaustedException);
            EXPECT_THROW(fixture.m_datatype.initializeForSnapshot(std::vector<uint64_t>(7)), MemoryExhaustedException);
        }
        fixture.m_datatype.initialize(1);
        EXPECT_EQ(2 * tableBytes, fixture.getBytesInUse());
        EXPECT_EQ(1u, fixture.resolve("text"));
        expectSound(fixture);
    }
}

TYPED_TEST(StringDatatypeFailureTest, aDatatypeWhoseMemoryTheSystemRefusesCanBeInitialisedLater) {
    for (const auto call : {SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT})
        for (const size_t allowedCalls : {size_t(0), size_t(1)}) {
            UninitializedDictionaryFixture<TypeParam> fixture;
            {
                SystemCallFaults faults(call);
                faults.failAfter(allowedCalls, ENOMEM, SystemCallFaults::Duration::ONCE);
                EXPECT_THROW(fixture.m_datatype.initialize(1), SystemCallException);
            }
            fixture.m_datatype.initialize(1);
            EXPECT_EQ(2 * 1024 * sizeof(TypeParam), fixture.getBytesInUse());
            EXPECT_EQ(1u, fixture.resolve("text"));
        }
}

TYPED_TEST(StringDatatypeFailureTest, aDatatypeThatFailedToInitialiseIsDestroyedWithoutLoss) {
    DictionaryParts parts;
    {
        StringDatatype<TypeParam> datatype(parts.m_memoryManager, parts.m_nextResourceID, parts.m_resourceDataOffsets,
                                           parts.m_resourceFlags, parts.m_dataPool);
        const MemoryShortage shortage(parts.m_memoryManager, 1024 * sizeof(TypeParam));
        EXPECT_THROW(datatype.initialize(0), MemoryExhaustedException);
    }
    EXPECT_EQ(0u, parts.getBytesInUse());
}
