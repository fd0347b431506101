#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

uint64_t hash(const std::string_view lexicalForm) {
    return hashLexicalForm(lexicalForm.data(), lexicalForm.size());
}

} // namespace

TEST(LexicalFormHashTest, valuesAreThoseThatTheInventorsPublish) {
    EXPECT_EQ(0xCBF29CE484222325u, hash(""));
    EXPECT_EQ(0xAF63DC4C8601EC8Cu, hash("a"));
    EXPECT_EQ(0xAF63DF4C8601F1A5u, hash("b"));
    EXPECT_EQ(0xAF63DE4C8601EFF2u, hash("c"));
    EXPECT_EQ(0x85944171F73967E8u, hash("foobar"));
    EXPECT_EQ(0x46810940EFF5F915u, hash("chongo was here!\n"));
}

TEST(LexicalFormHashTest, bytesCountAsUnsignedNumbersAndZeroBytesCount) {
    EXPECT_EQ(0xAF63BD4C8601B7DFu, hash(std::string(1, '\0')));
    EXPECT_EQ(0x6961196491CC682Du, hash(std::string("\xFF\0\0\1", 4)));
}

TEST(LexicalFormHashTest, theEmptyFormNeedsNoBytes) {
    EXPECT_EQ(FNV_1A_OFFSET_BASIS, hashLexicalForm(nullptr, 0));
}

TEST(LexicalFormHashTest, onlyTheGivenLengthIsRead) {
    EXPECT_EQ(hash("foo"), hashLexicalForm("foobar", 3));
}
