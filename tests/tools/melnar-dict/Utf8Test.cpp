#include "tools/melnar-dict/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// How many bytes of the text are valid.
size_t validLengthOf(const std::string& text) {
    return static_cast<size_t>(findInvalidUtf8(text.data(), text.data() + text.size()) - text.data());
}

TEST(Utf8Test, acceptsTheFirstAndLastCodePointOfEveryLength) {
    using namespace std::string_literals;
    for (const std::string& text :
         {"\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s, "\xEF\xBF\xBF"s,
          "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s, ""s, "plain text, longer than one word of the machine"s})
        EXPECT_EQ(text.size(), validLengthOf(text));
}

TEST(Utf8Test, refusesEveryOtherStart) {
    // Continuations, overlong forms, surrogates, beyond U+10FFFF, and bytes that never occur.
    for (const std::string text : {"\x80",
                                   "\xBF",
                                   "\xC0\x80",
                                   "\xC1\xBF",
                                   "\xE0\x80\x80",
                                   "\xE0\x9F\xBF",
                                   "\xED\xA0\x80",
                                   "\xED\xBF\xBF",
                                   "\xF0\x80\x80\x80",
                                   "\xF0\x8F\xBF\xBF",
                                   "\xF4\x90\x80\x80",
                                   "\xF5\x80\x80\x80",
                                   "\xF8\x88\x80\x80\x80",
                                   "\xFE",
                                   "\xFF",
                                   "\xC3(",
                                   "\xE2\x28\xA1",
                                   "\xE2\x82(",
                                   "\xF0\x9F\x98(",
                                   "\xF0\x9F(\x80",
                                   "\xF0(\x98\x80"})
        EXPECT_EQ(0u, validLengthOf(text)) << testing::PrintToString(text);
}

TEST(Utf8Test, refusesSequencesThatTheEndCutsShort) {
    for (const std::string text : {"\xC3", "\xE2", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"})
        EXPECT_EQ(0u, validLengthOf(text)) << testing::PrintToString(text);
}

TEST(Utf8Test, findsTheFirstInvalidByteAtEveryDistance) {
    for (size_t distance = 0; distance < 40; ++distance)
        for (const std::string filling : {"a", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
            std::string text;
            while (text.size() < distance)
                text += filling;
            EXPECT_EQ(text.size(), validLengthOf(text + "\xFFzzzzzzzzzzzzzzzz")) << distance;
        }
}

TEST(Utf8Test, decodesSequencesOfEveryLength) {
    EXPECT_EQ(0x41u, decodeUtf8("A"));
    EXPECT_EQ(0xB7u, decodeUtf8("\xC2\xB7"));
    EXPECT_EQ(0x20ACu, decodeUtf8("\xE2\x82\xAC"));
    EXPECT_EQ(0x1F600u, decodeUtf8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(0x10FFFFu, decodeUtf8("\xF4\x8F\xBF\xBF"));
}

} // namespace
