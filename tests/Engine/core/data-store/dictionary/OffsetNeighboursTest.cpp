#include "Engine/core/data-store/dictionary/OffsetNeighbours.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/LeftOverOffsets.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

namespace {

/// Two lines of offsets.
using Offsets = std::array<uint64_t, 16>;

} // namespace

TEST(OffsetNeighboursTest, aChunkEndsWhereTheNextBegins) {
    alignas(64) Offsets offsets{};
    offsets[3] = 100;
    offsets[4] = 110;
    for (size_t size = 1; size <= 10; ++size)
        EXPECT_TRUE(OffsetNeighbours::mayHaveChunkSize(offsets.data(), 3, size)) << size;
    for (const size_t size : {size_t(11), size_t(12), size_t(1) << 62})
        EXPECT_FALSE(OffsetNeighbours::mayHaveChunkSize(offsets.data(), 3, size)) << size;
}

TEST(OffsetNeighboursTest, aNeighbourElsewhereTellsNothing) {
    alignas(64) Offsets offsets{};
    constexpr size_t LARGE = size_t(1) << 62;
    offsets[3] = 100;
    for (const uint64_t next : {0u, 99u, 100u}) { // none yet, one in front, itself
        offsets[4] = next;
        EXPECT_TRUE(OffsetNeighbours::mayHaveChunkSize(offsets.data(), 3, LARGE)) << next;
    }
    offsets[7] = 100;
    offsets[8] = 101; // in another line
    EXPECT_TRUE(OffsetNeighbours::mayHaveChunkSize(offsets.data(), 7, LARGE));
}

TEST(OffsetNeighboursTest, onlyAnOffsetInsideAChunkIsCleared) {
    alignas(64) Offsets offsets{};
    for (const uint64_t resourceID : {3u, 7u})
        for (const uint64_t next : {0u, 99u, 101u, 109u, 110u, 1000u}) {
            offsets[resourceID] = 100;
            offsets[resourceID + 1] = next;
            OffsetNeighbours::clearNextInside(offsets.data(), resourceID, 10);
            const bool isCleared = resourceID == 3 && (next == 101 || next == 109);
            EXPECT_EQ(isCleared ? 0 : next, offsets[resourceID + 1]) << "of " << resourceID << " where it is " << next;
            EXPECT_EQ(100u, offsets[resourceID]);
            EXPECT_TRUE(OffsetNeighbours::mayHaveChunkSize(offsets.data(), resourceID, 10)) << next;
        }
}

template<class T>
class LeftOverOffsetsTest : public testing::Test {};

TYPED_TEST_SUITE(LeftOverOffsetsTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(LeftOverOffsetsTest, newResourcesAreFoundHoweverALifeBegins) {
    for (const NewLife newLife : ALL_NEW_LIVES) {
        SCOPED_TRACE(static_cast<int>(newLife));
        LeftOverOffsets<TypeParam> fixture(20);
        fixture.startAgain(newLife);
        for (uint64_t resourceID = 1; resourceID <= 20; ++resourceID) {
            ASSERT_EQ(20 + 40 * (resourceID - 1), fixture.m_resourceDataOffsets[resourceID + 1]) << "left over";
            const std::string form = fixture.makeForm(resourceID);
            ASSERT_EQ(resourceID, fixture.resolve(form));
            ASSERT_EQ(40 * (resourceID - 1), fixture.m_resourceDataOffsets[resourceID]);
            ASSERT_EQ(resourceID, fixture.tryResolve(form));
            ASSERT_EQ((BatchAnswers{{resourceID}}), lookUpAtOnce(fixture, {{form, D_XSD_STRING}}, EVERYTHING));
            ASSERT_EQ(resourceID, fixture.resolve(form));
        }
    }
}

TYPED_TEST(LeftOverOffsetsTest, restoredResourcesAreFoundHoweverALifeBegins) {
    for (const NewLife newLife : ALL_NEW_LIVES) {
        SCOPED_TRACE(static_cast<int>(newLife));
        LeftOverOffsets<TypeParam> fixture(20);
        fixture.startAgain(newLife);
        for (const uint64_t resourceID : {1u, 2u, 5u, 4u, 3u}) {
            const std::string form = fixture.makeForm(resourceID);
            fixture.restore(resourceID, form);
            ASSERT_EQ(resourceID, fixture.tryResolve(form));
            ASSERT_EQ((BatchAnswers{{resourceID}}), lookUpAtOnce(fixture, {{form, D_XSD_STRING}}, EVERYTHING));
        }
        for (uint64_t resourceID = 1; resourceID <= 5; ++resourceID)
            ASSERT_EQ(resourceID, fixture.tryResolve(fixture.makeForm(resourceID)));
    }
}
