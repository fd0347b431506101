#include "Engine/core/data-store/dictionary/OffsetNeighbours.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/DictionaryFixture.h"

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
class LeftOverOffsetsTest : public testing::Test {
protected:
    /// Fills the dictionary with short strings, and then makes all of it new but for offsets and datatype bytes.
    void liveOnce() {
        for (int number = 1; number <= 20; ++number)
            m_fixture.resolve(std::to_string(number % 10));
        startAgain();
    }

    void startAgain() {
        m_fixture.m_nextResourceID = 1;
        m_fixture.m_dataPool.initialize(DictionaryParts::POOL_CAPACITY);
        m_fixture.m_datatype.initialize(0);
    }

    DictionaryFixture<T> m_fixture;
};

TYPED_TEST_SUITE(LeftOverOffsetsTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(LeftOverOffsetsTest, aRestoredResourceIsFound) {
    this->liveOnce();
    const std::string form(40, 'c');
    ASSERT_LT(this->m_fixture.m_resourceDataOffsets[2], 40u) << "inside the chunk that comes";
    EXPECT_EQ(1u, this->m_fixture.restore(1, form));
    EXPECT_EQ(1u, this->m_fixture.tryResolve(form));
    EXPECT_EQ((BatchAnswers{{1}}), lookUpAtOnce(this->m_fixture, {{form, D_XSD_STRING}}, EVERYTHING));
    EXPECT_EQ(1u, this->m_fixture.resolve(form));
    EXPECT_EQ(2u, this->m_fixture.restore(2, "next"));
    EXPECT_EQ(1u, this->m_fixture.tryResolve(form));
    EXPECT_EQ(2u, this->m_fixture.tryResolve("next"));
}

TYPED_TEST(LeftOverOffsetsTest, aNewResourceIsFoundWhileItIsTheLast) {
    this->liveOnce();
    OwnedLiterals literals;
    for (uint64_t resourceID = 1; resourceID <= 20; ++resourceID) {
        literals.push_back({std::string(40 + resourceID, 'c'), D_XSD_STRING});
        EXPECT_EQ(resourceID, this->m_fixture.resolve(literals.back().m_lexicalForm));
        for (uint64_t earlier = 1; earlier <= resourceID; ++earlier)
            EXPECT_EQ(earlier, this->m_fixture.tryResolve(literals[earlier - 1].m_lexicalForm));
    }
    EXPECT_EQ(lookUpOneByOne(this->m_fixture, literals, EVERYTHING),
              lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    this->startAgain();
    for (OwnedLiteral& literal : literals)
        literal.m_lexicalForm += literal.m_lexicalForm;
    const BatchAnswers answers = resolveAtOnce(this->m_fixture, literals);
    EXPECT_EQ(answers, lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    EXPECT_EQ(answers, lookUpOneByOne(this->m_fixture, literals, EVERYTHING));
}
