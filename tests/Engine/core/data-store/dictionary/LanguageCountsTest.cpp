#include "Engine/core/data-store/dictionary/LanguageCounts.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

using namespace melnar;

namespace {

std::string describe(const std::initializer_list<std::string_view> plainLiterals) {
    LanguageCounts languages;
    for (const std::string_view plainLiteral : plainLiterals)
        languages.add(plainLiteral);
    const std::unique_ptr<ComponentInfo> componentInfo = languages.toComponentInfo();
    std::string text = componentInfo->getName();
    for (const std::unique_ptr<ComponentProperty>& property : componentInfo->getProperties())
        text += ' ' + property->getLabel() + ':' + property->getValueText();
    return text;
}

TEST(LanguageCountsTest, nothingHasNoLanguages) {
    EXPECT_EQ("Languages", describe({}));
}

TEST(LanguageCountsTest, theMostFrequentLanguageComesFirst) {
    EXPECT_EQ("Languages de:3 en:1", describe({"a@en", "b@de", "c@de", "d@de"}));
}

TEST(LanguageCountsTest, equallyFrequentLanguagesComeInAlphabeticalOrder) {
    EXPECT_EQ("Languages de:1 en:1 fr:1", describe({"a@fr", "b@en", "c@de"}));
}

TEST(LanguageCountsTest, malformedTagsAreNotReportedAsTags) {
    EXPECT_EQ("Languages (malformed):5 en:1", describe({"a@\x1B[2J", "no tag", "a@", "a@en\n", "a@\xFF", "b@en"}));
}

TEST(LanguageCountsTest, theTagFollowsTheLastAtSign) {
    EXPECT_EQ("Languages en-GB:2", describe({"name@example.com@en-GB", "@en-GB"}));
}

} // namespace
