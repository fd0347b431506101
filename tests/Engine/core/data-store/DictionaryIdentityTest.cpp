#include "Engine/core/data-store/DictionaryIdentity.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DictionaryIdentityTest, isWrittenWithTheUpperHalfFirst) {
    EXPECT_EQ("00000000000000000000000000000000", DictionaryIdentity().toString());
    EXPECT_EQ("0123456789abcdef000000000000000f", (DictionaryIdentity{{15, 0x0123456789ABCDEF}}.toString()));
}

TEST(DictionaryIdentityTest, isReadAsItIsWritten) {
    for (const DictionaryIdentity& identity :
         {DictionaryIdentity{}, {{1, 2}}, {{~uint64_t(0), 0x0123456789ABCDEF}}, {{uint64_t(1) << 63, 7}}})
        EXPECT_EQ(identity, DictionaryIdentity::parse(identity.toString()));
}

TEST(DictionaryIdentityTest, nothingElseIsRead) {
    const std::string text = DictionaryIdentity{{1, 2}}.toString();
    for (size_t index = 0; index < text.size(); ++index)
        for (const char character : {'A', 'g', ' ', '\0', '-', 'x'}) {
            std::string other = text;
            other[index] = character;
            EXPECT_FALSE(DictionaryIdentity::parse(other)) << other;
        }
    EXPECT_FALSE(DictionaryIdentity::parse(""));
    EXPECT_FALSE(DictionaryIdentity::parse(text.substr(1)));
    EXPECT_FALSE(DictionaryIdentity::parse(text + '0'));
}

} // namespace
