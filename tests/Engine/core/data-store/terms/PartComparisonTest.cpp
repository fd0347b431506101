#include "Engine/core/data-store/terms/PartComparison.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace melnar;

namespace {

TEST(PartComparisonTest, eachByteOfATextOfAnyLengthCounts) {
    for (size_t length = 0; length <= 200; ++length) {
        std::string text;
        for (size_t index = 0; index < length; ++index)
            text += static_cast<char>('A' + index % 57);
        // Separate blocks, so that AddressSanitizer detects reads outside of them.
        const auto first = std::make_unique<char[]>(length);
        const auto second = std::make_unique<char[]>(length);
        text.copy(first.get(), length);
        text.copy(second.get(), length);
        EXPECT_TRUE(PartComparison::areEqual(first.get(), second.get(), length)) << length;
        for (size_t index = 0; index < length; ++index) {
            second[index] = static_cast<char>(second[index] ^ 0x80);
            EXPECT_FALSE(PartComparison::areEqual(first.get(), second.get(), length)) << length << ' ' << index;
            second[index] = first[index];
        }
    }
}

TEST(PartComparisonTest, differencesDoNotCancelEachOtherOut) {
    for (size_t length = 2; length <= 100; ++length)
        EXPECT_FALSE(PartComparison::areEqual(std::string(length, 'a').data(), std::string(length, 'b').data(), length))
            << length;
}

TEST(PartComparisonTest, anEmptyTextMayLieNowhere) {
    EXPECT_TRUE(PartComparison::areEqual(nullptr, nullptr, 0));
    EXPECT_TRUE(PartComparison::areEqual("a", nullptr, 0));
}

} // namespace
