#include "tools/melnar-dict/Utf8.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
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

/// The same decision, made as plainly as possible.
size_t validLengthByTheBook(const std::string& text) {
    for (size_t begin = 0; begin < text.size();) {
        const auto byteAt = [&](const size_t index) { return static_cast<uint8_t>(text[begin + index]); };
        const uint8_t first = byteAt(0);
        const size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        if ((first >= 0x80 && first < 0xC0) || first >= 0xF8 || text.size() - begin < length)
            return begin;
        for (size_t index = 1; index < length; ++index)
            if ((byteAt(index) & 0xC0) != 0x80)
                return begin;
        const uint32_t codePoint = decodeUtf8(&text[begin]);
        const uint32_t smallest = length == 1 ? 0 : length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (codePoint < smallest || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return begin;
        begin += length;
    }
    return text.size();
}

TEST(Utf8Test, decidesAboutAnyBytesAsTheBookDoes) {
    const std::string pieces[] = {"a",
                                  "text of sixteen ",
                                  "\xC3\xA4",
                                  "\xE0\xA4\x95",
                                  "\xED\x95\x9C",
                                  "\xE2\x82\xAC",
                                  "\xF0\x9F\x98\x80",
                                  "\xF4\x8F\xBF\xBF"};
    std::mt19937 random(7);
    size_t numberOfValidTexts = 0;
    for (size_t round = 0; round < 50000; ++round) {
        std::string text;
        for (size_t count = random() % 30; count > 0; --count)
            text += pieces[random() % std::size(pieces)];
        if (random() % 4 != 0 && !text.empty())
            text[random() % text.size()] = static_cast<char>(random() % 256);
        if (random() % 4 == 0)
            text.resize(random() % (text.size() + 1));
        const size_t expected = validLengthByTheBook(text);
        ASSERT_EQ(expected, validLengthOf(text)) << testing::PrintToString(text);
        numberOfValidTexts += expected == text.size() ? 1u : 0u;
    }
    EXPECT_GT(numberOfValidTexts, 10000u);
    EXPECT_LT(numberOfValidTexts, 40000u);
}

TEST(Utf8Test, decodesSequencesOfEveryLength) {
    EXPECT_EQ(0x41u, decodeUtf8("A"));
    EXPECT_EQ(0xB7u, decodeUtf8("\xC2\xB7"));
    EXPECT_EQ(0x20ACu, decodeUtf8("\xE2\x82\xAC"));
    EXPECT_EQ(0x1F600u, decodeUtf8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(0x10FFFFu, decodeUtf8("\xF4\x8F\xBF\xBF"));
}

} // namespace
