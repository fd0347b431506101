#include "Engine/core/platform/CharacterMaps.h"

#include <gtest/gtest.h>

namespace {

bool isLetter(const unsigned byte) {
    return (byte >= 0x41 && byte <= 0x5A) || (byte >= 0x61 && byte <= 0x7A);
}

bool isDigit(const unsigned byte) {
    return byte >= 0x30 && byte <= 0x39;
}

} // namespace

TEST(CharacterMapsTest, alphabeticBytesAreExactlyTheASCIILetters) {
    for (unsigned byte = 0; byte < 256; ++byte)
        EXPECT_EQ(isLetter(byte), CHARMAP_ALPHABETIC[byte] != 0) << "byte " << byte;
}

TEST(CharacterMapsTest, alphanumericBytesAreExactlyTheASCIILettersAndDigits) {
    for (unsigned byte = 0; byte < 256; ++byte)
        EXPECT_EQ(isLetter(byte) || isDigit(byte), CHARMAP_ALPHANUMERIC[byte] != 0) << "byte " << byte;
}

TEST(CharacterMapsTest, tablesCoverAllBytes) {
    static_assert(CHARMAP_ALPHABETIC.size() == 256 && CHARMAP_ALPHANUMERIC.size() == 256);
    static_assert(sizeof(CHARMAP_ALPHABETIC[0]) == 1);
    static_assert(CHARMAP_ALPHABETIC[255] == 0 && CHARMAP_ALPHANUMERIC[255] == 0);
}
