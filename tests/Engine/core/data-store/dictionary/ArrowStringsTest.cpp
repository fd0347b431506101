#include "Engine/core/data-store/dictionary/ArrowStrings.h"

#include "tests/Engine/core/data-store/ArrowTexts.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

template<class Offset>
class ArrowStringsTest : public testing::Test {};

struct OffsetNames {
    template<class Offset>
    static std::string GetName(int) { // NOLINT(readability-identifier-naming): GoogleTest's name
        return sizeof(Offset) == 4 ? "Narrow" : "Wide";
    }
};

using Offsets = testing::Types<int32_t, int64_t>;
TYPED_TEST_SUITE(ArrowStringsTest, Offsets, OffsetNames);

TYPED_TEST(ArrowStringsTest, nothingIsAColumnWithoutStrings) {
    const ArrowStrings<TypeParam> none;
    none.check();
    EXPECT_EQ(0u, none.size());
    const std::array<TypeParam, 1> offsets{7};
    const ArrowStrings<TypeParam> empty{"0123456789", offsets};
    empty.check();
    EXPECT_EQ(0u, empty.size());
}

TYPED_TEST(ArrowStringsTest, offsetsTellTheTexts) {
    const std::string bytes("ab\0cd", 5);
    const std::array<TypeParam, 5> offsets{1, 1, 4, 4, 5};
    const ArrowStrings<TypeParam> strings{bytes.data(), offsets};
    strings.check();
    ASSERT_EQ(4u, strings.size());
    EXPECT_EQ("", strings.getText(0));
    EXPECT_EQ(std::string_view("b\0c", 3), strings.getText(1));
    EXPECT_EQ("", strings.getText(2));
    EXPECT_EQ("d", strings.getText(3));
    for (size_t index = 0; index < 4; ++index)
        EXPECT_FALSE(strings.isNull(index)) << "there is no bitmap";
}

TYPED_TEST(ArrowStringsTest, aBitOfZeroMakesANullWhereverTheSliceBegins) {
    for (size_t numberOfOthers = 0; numberOfOthers < 20; ++numberOfOthers) {
        const ArrowTexts<TypeParam> texts({{}, "a", "", {}, {}, "b", "c", "d", {}, "e"}, numberOfOthers);
        const ArrowStrings<TypeParam> strings = texts.get();
        strings.check();
        const std::vector<bool> expected{true, false, false, true, true, false, false, false, true, false};
        for (size_t index = 0; index < expected.size(); ++index)
            EXPECT_EQ(expected[index], strings.isNull(index)) << index;
        EXPECT_EQ("", strings.getText(2));
        EXPECT_EQ("e", strings.getText(9));
    }
}

TYPED_TEST(ArrowStringsTest, offsetsThatDoNotAscendFromZeroAreRefused) {
    const auto check = [](const std::vector<TypeParam>& offsets) { ArrowStrings<TypeParam>{"abc", offsets}.check(); };
    for (const TypeParam first : {TypeParam(-1), TypeParam(-2)})
        EXPECT_EQ("The offsets of a column of strings begin with " + std::to_string(first) + ".",
                  catchException<MelnarException>([&] {
                      check({first, 2});
                  }).getMessage());
    const auto getMessage = [&check](const std::vector<TypeParam>& offsets) {
        const auto exception = catchException<ColumnException>([&] { check(offsets); });
        EXPECT_EQ(FailureKind::MISUSE, exception.getKind());
        EXPECT_EQ(0u, exception.getMessage().find("Entry " + std::to_string(exception.getEntryIndex()) + " of "));
        EXPECT_TRUE(exception.getCauses().empty());
        return exception.getMessage();
    };
    EXPECT_EQ("Entry 0 of a column: it begins at offset 1, and ends before that, at 0.", getMessage({1, 0, 2}));
    EXPECT_EQ("Entry 2 of a column: it begins at offset 3, and ends before that, at 2.", getMessage({0, 1, 3, 2}));
    EXPECT_EQ("Entry 1 of a column: it begins at offset 3, and ends before that, at -5.", getMessage({0, 3, -5, 9}));
    constexpr TypeParam LARGEST = std::numeric_limits<TypeParam>::max();
    constexpr TypeParam SMALLEST = std::numeric_limits<TypeParam>::min();
    EXPECT_EQ("Entry 0 of a column: it begins at offset " + std::to_string(LARGEST) + ", and ends before that, at " +
                  std::to_string(SMALLEST) + ".",
              getMessage({LARGEST, SMALLEST}));
}

TYPED_TEST(ArrowStringsTest, bytesMayLackOnlyWhereThereAreNone) {
    const std::array<TypeParam, 3> zeros{};
    (ArrowStrings<TypeParam>{nullptr, zeros}).check();
    const std::array<TypeParam, 2> offsets{0, 3};
    EXPECT_EQ("A column of strings has offsets up to 3, but no bytes.",
              catchException<MelnarException>([&] {
                  ArrowStrings<TypeParam>{nullptr, offsets}.check();
              }).getMessage());
}

} // namespace
