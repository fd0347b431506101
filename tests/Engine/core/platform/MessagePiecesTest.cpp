#include "Engine/core/platform/MessagePieces.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

TEST(MessagePiecesTest, noPiecesMakeAnEmptyMessage) {
    EXPECT_EQ("", joinMessagePieces());
}

TEST(MessagePiecesTest, piecesAreJoinedFromLeftToRight) {
    EXPECT_EQ("a1b2c", joinMessagePieces("a", 1u, std::string("b"), uint64_t(2), "c"));
}

TEST(MessagePiecesTest, literalsEndAtTheirFirstZero) {
    EXPECT_EQ("ab", joinMessagePieces("a\0x", "b"));
}

TEST(MessagePiecesTest, stringsContributeAllTheirBytes) {
    const std::string piece("a\0b", 3);
    EXPECT_EQ(std::string("<a\0b>", 5), joinMessagePieces("<", piece, ">"));
}

TEST(MessagePiecesTest, charactersPointersMayBeOfEitherConstness) {
    char text[] = "text";
    char* const pointer = text;
    const char* const constantPointer = text;
    EXPECT_EQ("texttexttext", joinMessagePieces(text, pointer, constantPointer));
}

TEST(MessagePiecesTest, unsignedNumbersOfEveryWidthPrintInDecimal) {
    unsigned long number = 1000000;
    const unsigned long& reference = number;
    EXPECT_EQ("0 1000000 65535 4294967295 18446744073709551615",
              joinMessagePieces(0ul, " ", reference, " ", uint16_t(65535), " ", UINT32_MAX, " ", UINT64_MAX));
}

TEST(MessagePiecesTest, whatCouldSilentlyPrintWrongIsNotAPiece) {
    static_assert(MessagePiece<unsigned long> && MessagePiece<unsigned long&> && MessagePiece<const unsigned long&>);
    static_assert(MessagePiece<std::string> && MessagePiece<const std::string&> && MessagePiece<const char(&)[4]>);
    static_assert(!MessagePiece<int> && !MessagePiece<long> && !MessagePiece<bool> && !MessagePiece<double>);
    static_assert(!MessagePiece<signed char> && !MessagePiece<unsigned char>);
}
