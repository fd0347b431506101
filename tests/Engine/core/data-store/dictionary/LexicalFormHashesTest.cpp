#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

void expectRightHashes(const std::vector<std::string>& texts) {
    const std::vector<std::string_view> forms(texts.begin(), texts.end());
    std::vector<uint64_t> hashes(forms.size() + 1, 7);
    std::vector<uint16_t> order(forms.size() + 1, 7);
    hashLexicalForms(forms.data(), forms.size(), hashes.data(), order.data());
    for (size_t place = 0; place < forms.size(); ++place)
        ASSERT_EQ(hashLexicalForm(forms[place].data(), forms[place].size()), hashes[place])
            << "form " << place << " of " << forms.size() << ", length " << forms[place].size();
    EXPECT_EQ(7u, hashes.back()) << "nothing beyond the forms is written";
    EXPECT_EQ(7u, order.back()) << "nothing beyond the forms is written";
    order.pop_back();
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), [&forms](const uint16_t first, const uint16_t second) {
        return forms[first].size() / LexicalFormLanes::BYTES_PER_WORD <
               forms[second].size() / LexicalFormLanes::BYTES_PER_WORD;
    }));
    std::sort(order.begin(), order.end());
    for (size_t place = 0; place < forms.size(); ++place)
        ASSERT_EQ(place, order[place]) << "every form has one place";
}

/// Makes texts of lengths 0 to `largestLength` in no particular order.
std::vector<std::string> makeTexts(const size_t numberOfTexts, const size_t largestLength) {
    std::mt19937_64 generator(numberOfTexts);
    std::vector<std::string> texts;
    for (size_t place = 0; place < numberOfTexts; ++place) {
        std::string& text = texts.emplace_back(generator() % (largestLength + 1), ' ');
        for (char& byte : text)
            byte = static_cast<char>(generator());
    }
    return texts;
}

TEST(LexicalFormHashesTest, everyNumberOfFormsUpToTheLargestHashesAsAlone) {
    for (size_t numberOfForms = 0; numberOfForms < 100; ++numberOfForms)
        expectRightHashes(makeTexts(numberOfForms, 60));
    expectRightHashes(makeTexts(MAXIMUM_NUMBER_OF_FORMS_TO_HASH - 1, 60));
    expectRightHashes(makeTexts(MAXIMUM_NUMBER_OF_FORMS_TO_HASH, 60));
}

TEST(LexicalFormHashesTest, longFormsHashAsAlone) {
    expectRightHashes(makeTexts(200, 2000));
    std::vector<std::string> texts = makeTexts(50, 300);
    texts[20] = std::string(1000000, 'x');
    expectRightHashes(texts);
}

TEST(LexicalFormHashesTest, equalFormsHashAlikeWhereverTheyStand) {
    std::vector<std::string> texts = makeTexts(500, 40);
    for (size_t place = 0; place < texts.size(); place += 7)
        texts[place] = "the same in many places";
    expectRightHashes(texts);
}

} // namespace
