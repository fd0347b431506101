#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

namespace {

static_assert(std::is_trivially_copyable_v<DictionaryCommitPoint> && sizeof(DictionaryCommitPoint) == sizeof(uint64_t),
              "it is passed in a register");

TEST(DictionaryCommitPointTest, aLaterOneComparesGreater) {
    constexpr DictionaryCommitPoint EARLIER{1};
    constexpr DictionaryCommitPoint LATER{uint64_t(1) << 40};
    EXPECT_TRUE(EARLIER < LATER);
    EXPECT_TRUE(LATER > EARLIER);
    EXPECT_TRUE(EARLIER <= EARLIER);
    EXPECT_TRUE(EARLIER == DictionaryCommitPoint{1});
    EXPECT_TRUE(EARLIER != LATER);
    EXPECT_FALSE(LATER < EARLIER);
}

TEST(DictionaryCommitPointTest, noneComparesGreaterThanTheOneThatCoversAll) {
    constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;
    EXPECT_TRUE(DictionaryCommitPoint{0} < ALL);
    EXPECT_TRUE(DictionaryCommitPoint{~uint64_t(0) - 1} < ALL);
    EXPECT_TRUE(DictionaryCommitPoint{~uint64_t(0)} == ALL);
}

} // namespace
