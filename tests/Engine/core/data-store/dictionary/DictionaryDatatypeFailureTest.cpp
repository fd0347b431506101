#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>

namespace {

using Peer = StringDatatypeTestPeer;

template<class T>
class DictionaryDatatypeFailureTest : public testing::Test {};

template<class T>
void expectFull(DictionaryFixture<T>& fixture, const uint64_t resourceID, const uint64_t maximum) {
    const auto exception =
        catchException<MelnarException>([&] { Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10); });
    EXPECT_EQ("The dictionary cannot create resource " + std::to_string(resourceID) +
                  " because it was created to hold at most " + std::to_string(maximum) + " resources.",
              exception.getMessage());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_EQ("Engine/core/data-store/dictionary/DictionaryDatatype", exception.getSourceFileName());
    EXPECT_EQ(47, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
}

} // namespace

TYPED_TEST_SUITE(DictionaryDatatypeFailureTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(DictionaryDatatypeFailureTest, aFullDictionaryTakesNeitherIDNorChunk) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, 4);
    for (uint64_t resourceID = 1; resourceID < 4; ++resourceID)
        EXPECT_EQ(resourceID, Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10).first);
    expectFull(fixture, 4, 3);
    expectFull(fixture, 4, 3);
    EXPECT_EQ(4u, fixture.m_nextResourceID.load());
    EXPECT_EQ(30u, fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, fixture.m_dataPool.getUnusedBytes());
}

TYPED_TEST(DictionaryDatatypeFailureTest, aDictionaryWithoutRoomHasNoResources) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, 0);
    expectFull(fixture, 1, 0);
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
}

TYPED_TEST(DictionaryDatatypeFailureTest, aFullDictionaryGivesTheChunkBackToTheBlock) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, 2);
    DictionaryThreadContext threadContext(fixture.m_dataPool);
    Peer::newResourceIDAndDataChunk(fixture.m_datatype, &threadContext, 10);
    EXPECT_THROW(Peer::newResourceIDAndDataChunk(fixture.m_datatype, &threadContext, 10), MelnarException);
    EXPECT_EQ(10u, Peer::newDataChunk(fixture.m_datatype, &threadContext, 10));
}

// The pool, the offsets and the datatype bytes each need a page, in this order.
TYPED_TEST(DictionaryDatatypeFailureTest, eachGrowthThatExceedsTheMemoryLimitTakesNothing) {
    size_t failures = 0;
    for (size_t pages = 0;; ++pages) {
        SCOPED_TRACE(testing::Message() << pages << " pages left");
        DictionaryFixture<TypeParam> fixture;
        MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
        try {
            EXPECT_EQ((std::pair<uint64_t, uint64_t>(1, 0)),
                      Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10));
            EXPECT_EQ(0u, fixture.m_memoryManager.getFreeBytes());
            break;
        } catch (const MemoryExhaustedException&) {
            ++failures;
        }
        EXPECT_EQ(1u, fixture.m_nextResourceID.load());
        EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
        EXPECT_EQ(0u, fixture.m_dataPool.getUnusedBytes());
        EXPECT_EQ(0u, fixture.m_memoryManager.getFreeBytes()) << "earlier steps keep their page for the next try";
        shortage.end();
        EXPECT_EQ((std::pair<uint64_t, uint64_t>(1, 0)),
                  Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10));
    }
    EXPECT_EQ(3u, failures);
}

TYPED_TEST(DictionaryDatatypeFailureTest, eachGrowthThatTheSystemRefusesTakesNothing) {
    const FailureCounts counts =
        failEach(ofCalls({SystemCallFaults::Call::MPROTECT}, {ENOMEM}), [](FailureRound& round) {
            DictionaryFixture<TypeParam> fixture;
            const size_t bytesBefore = fixture.getBytesInUse();
            const auto take = [&fixture] { return Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10); };
            if (!round.attempt(take)) {
                EXPECT_EQ(1u, fixture.m_nextResourceID.load());
                EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
                EXPECT_EQ((std::pair<uint64_t, uint64_t>(1, 0)), take());
            }
            EXPECT_EQ(bytesBefore + fixture.m_dataPool.getCommittedBytes() +
                          fixture.m_resourceDataOffsets.getCommittedBytes() +
                          fixture.m_resourceFlags.getCommittedBytes(),
                      fixture.getBytesInUse());
        });
    EXPECT_EQ(3u, counts.m_tolerated) << "what is needed fits when a larger step is refused once";
    EXPECT_EQ(3u, counts.m_throws);
}

TYPED_TEST(DictionaryDatatypeFailureTest, aFullPoolTakesNoID) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, DictionaryParts::CAPACITY, 100);
    Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 95);
    const auto exception =
        catchException<MelnarException>([&] { Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10); });
    EXPECT_EQ("Failed to ensure that a memory region could hold 105 items because it was initialized to hold at most "
              "100 items.",
              exception.getMessage());
    EXPECT_EQ(2u, fixture.m_nextResourceID.load());
    EXPECT_EQ(95u, fixture.m_dataPool.getEnd());
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(2, 95)), Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 5));
}

TYPED_TEST(DictionaryDatatypeFailureTest, datatypeBytesWithoutRoomTakeNothing) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_resourceFlags.initialize(1);
    const auto exception =
        catchException<MelnarException>([&] { Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10); });
    EXPECT_EQ("Failed to ensure that a memory region could hold 2 items because it was initialized to hold at most 1 "
              "items.",
              exception.getMessage());
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
}
