#include "tools/melnar-dict/shell/JsonText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

std::string toJson(const std::string& text) {
    std::string output = "x";
    appendJsonString(output, text);
    return output.substr(1);
}

TEST(JsonTextTest, survivesAParserForEveryAsciiCharacter) {
    std::string text;
    for (char character = 0; character < 127; ++character)
        text += character;
    text += '\x7F';
    EXPECT_EQ(text, nlohmann::json::parse(toJson(text)));
}

TEST(JsonTextTest, keepsCharactersBeyondAsciiAsTheyAre) {
    EXPECT_EQ("\"\xC3\xA4\xF0\x9F\x98\x80\"", toJson("\xC3\xA4\xF0\x9F\x98\x80"));
    EXPECT_EQ("\"\"", toJson(""));
}

TEST(JsonTextTest, replacesBytesThatAreNotUtf8) {
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD",
              nlohmann::json::parse(toJson("a\xFF"
                                           "b\xC3\xC3")));
}

} // namespace
