#include "tests/support/CollidingTexts.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

constexpr uint64_t LOW_BITS = (uint64_t(1) << NUMBER_OF_COLLIDING_HASH_BITS) - 1;

uint64_t getHash(const std::string& text) {
    return hashLexicalForm(text.data(), text.size());
}

TEST(CollidingTextsTest, allTextsAreDistinctAndEquallyLong) {
    const std::vector<std::string> texts = makeCollidingTexts(LARGEST_NUMBER_OF_COLLIDING_TEXTS);
    EXPECT_EQ(LARGEST_NUMBER_OF_COLLIDING_TEXTS, std::unordered_set<std::string>(texts.begin(), texts.end()).size());
    EXPECT_TRUE(std::all_of(texts.begin(), texts.end(),
                            [](const std::string& text) { return text.size() == COLLIDING_TEXT_LENGTH; }));
}

TEST(CollidingTextsTest, allHashesAgreeInTheirLowBitsAlsoAfterACommonSuffix) {
    const std::vector<std::string> texts = makeCollidingTexts(LARGEST_NUMBER_OF_COLLIDING_TEXTS);
    for (const std::string suffix : {"", "@en"}) {
        const uint64_t lowBits = getHash(texts.front() + suffix) & LOW_BITS;
        const size_t numberOfOthers =
            static_cast<size_t>(std::count_if(texts.begin(), texts.end(), [&](const std::string& text) {
                return (getHash(text + suffix) & LOW_BITS) != lowBits;
            }));
        EXPECT_EQ(0u, numberOfOthers) << "suffix '" << suffix << "'";
    }
}

TEST(CollidingTextsTest, hashesDifferInTheirUpperBits) {
    const std::vector<std::string> texts = makeCollidingTexts(LARGEST_NUMBER_OF_COLLIDING_TEXTS);
    std::bitset<256> isTopByte;
    std::unordered_set<uint64_t> hashes;
    for (const std::string& text : texts) {
        isTopByte.set(getHash(text) >> 56);
        hashes.insert(getHash(text));
    }
    EXPECT_EQ(256u, isTopByte.count()) << "every value of the top byte occurs";
    EXPECT_LT(LARGEST_NUMBER_OF_COLLIDING_TEXTS - 10, hashes.size()) << "whole hashes hardly ever agree";
}

TEST(CollidingTextsTest, fewerTextsAreTheFirstOfAll) {
    const std::vector<std::string> all = makeCollidingTexts(LARGEST_NUMBER_OF_COLLIDING_TEXTS);
    const std::vector<std::string> few = makeCollidingTexts(100);
    ASSERT_EQ(100u, few.size());
    EXPECT_TRUE(std::equal(few.begin(), few.end(), all.begin()));
    EXPECT_THROW(makeCollidingTexts(LARGEST_NUMBER_OF_COLLIDING_TEXTS + 1), std::length_error);
}

} // namespace
