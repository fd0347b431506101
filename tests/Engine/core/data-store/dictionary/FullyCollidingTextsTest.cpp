#include "tests/support/FullyCollidingTexts.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

TEST(FullyCollidingTextsTest, allTextsAreDistinctEquallyLongAndWithoutAtSigns) {
    const std::vector<std::string> texts = makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS);
    EXPECT_EQ(4096u, std::unordered_set<std::string>(texts.begin(), texts.end()).size());
    for (const std::string& text : texts) {
        ASSERT_EQ(FULLY_COLLIDING_TEXT_LENGTH, text.size());
        ASSERT_EQ(std::string::npos,
                  text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"));
    }
}

TEST(FullyCollidingTextsTest, allHashesAreEqualAlsoAfterACommonSuffix) {
    const std::vector<std::string> texts = makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS);
    for (const std::string suffix : {"", "@en"}) {
        std::unordered_set<uint64_t> hashes;
        for (const std::string& text : texts)
            hashes.insert(hashLexicalForm((text + suffix).data(), text.size() + suffix.size()));
        EXPECT_EQ(1u, hashes.size()) << "suffix '" << suffix << "'";
    }
}

TEST(FullyCollidingTextsTest, fewerTextsAreTheFirstOfAll) {
    const std::vector<std::string> all = makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS);
    const std::vector<std::string> few = makeFullyCollidingTexts(100);
    ASSERT_EQ(100u, few.size());
    EXPECT_TRUE(std::equal(few.begin(), few.end(), all.begin()));
    EXPECT_THROW(makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS + 1), std::length_error);
}

} // namespace
