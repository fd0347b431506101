#include "Reader/Utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Rdf;

std::string encode(const uint32_t character) {
    std::array<char, 4> buffer;
    return {buffer.data(), Utf8::encode(character, buffer.data())};
}

/// Returns the offset of the first invalid byte, on which all implementations must agree.
size_t findInvalid(const std::string& text) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* const found = Utf8::findInvalidPortably(begin, end);
    if (const Utf8::FindInvalid withAVX2 = Utf8::getFindInvalidWithAVX2()) {
        EXPECT_EQ(found, withAVX2(begin, end)) << testing::PrintToString(text);
    }
    EXPECT_EQ(found, Utf8::findInvalid(begin, end));
    return static_cast<size_t>(found - begin);
}

TEST(Utf8Test, everyCharacterIsWellFormedAndComesBack) {
    for (uint32_t character = 0; character <= 0x10FFFF; ++character) {
        if (character >= 0xD800 && character <= 0xDFFF)
            continue;
        const std::string text = encode(character);
        ASSERT_EQ(character < 0x80 ? 1u : character < 0x800 ? 2u : character < 0x10000 ? 3u : 4u, text.size());
        ASSERT_EQ(text.size(), Utf8::getLength(text.data(), text.data() + text.size())) << character;
        ASSERT_EQ(character, Utf8::decode(text.data()));
    }
}

TEST(Utf8Test, faultySequencesAreFoundWhereverTheyStand) {
    const std::vector<std::string> faults{"\x80",
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
                                          "\xFE",
                                          "\xFF",
                                          "\xC3",
                                          "\xE2\x82",
                                          "\xE2",
                                          "\xF0\x9F\x98",
                                          "\xF0\x9F",
                                          "\xF0",
                                          "\xC3\xC3\xA4",
                                          "\xE2\x82\x41",
                                          "\xF8\x88\x80\x80\x80"};
    for (const std::string& fault : faults)
        for (const char* const filler : {"a", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
            for (size_t before = 0; before < 40; ++before)
                for (const size_t after : {size_t(0), size_t(1), size_t(40)}) {
                    std::string text;
                    for (size_t index = 0; index < before; ++index)
                        text += filler;
                    const size_t place = text.size();
                    text += fault;
                    for (size_t index = 0; index < after; ++index)
                        text += filler;
                    ASSERT_EQ(place, findInvalid(text)) << testing::PrintToString(text);
                }
}

TEST(Utf8Test, wellFormedTextsOfAllLengthsPass) {
    for (const char* const filler :
         {"a", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"}) {
        std::string text;
        for (size_t index = 0; index < 80; ++index, text += filler)
            ASSERT_EQ(text.size(), findInvalid(text));
    }
}

TEST(Utf8Test, implementationsAgreeAboutRandomBytes) {
    std::mt19937 random(1);
    const std::string bytes("a\x80\x8F\x90\x9F\xA0\xBF\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4", 16);
    for (int round = 0; round < 20'000; ++round) {
        std::string text(random() % 70, 'a');
        for (size_t index = 0; index < text.size(); ++index)
            if (random() % 4 == 0)
                text[index] = bytes[random() % bytes.size()];
        findInvalid(text);
    }
}

TEST(Utf8Test, aCutSequenceIsOneThatMoreBytesCouldComplete) {
    for (const std::string& text : std::vector<std::string>{"\xC3", "\xE2\x82", "\xF0", "\xF0\x9F\x98"})
        EXPECT_TRUE(Utf8::isCutSequence(text.data(), text.data() + text.size()));
    for (const std::string& text :
         std::vector<std::string>{"\x80", "\xE0\x80", "\xED\xA0", "\xC3\xA4", "\xF4\x90", "\xC3\x41"})
        EXPECT_FALSE(Utf8::isCutSequence(text.data(), text.data() + text.size()));
}

} // namespace
