#include "tools/melnar-dict/shell/Json.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

std::string rowOf(const std::string& text) {
    return toText(Json(text), JsonLayout::ROW);
}

TEST(JsonTest, keepsTheOrderOfKeysAndEndsWithALineFeed) {
    const Json json{{"z", 1}, {"a", nullptr}};
    EXPECT_EQ("{\"z\":1,\"a\":null}\n", toText(json, JsonLayout::ROW));
    EXPECT_EQ("{\n  \"z\": 1,\n  \"a\": null\n}\n", toText(json, JsonLayout::DOCUMENT));
}

TEST(JsonTest, escapesWhatStringsMayNotHold) {
    EXPECT_EQ("\"\\\"\\\\\\n\\u001b/\"\n", rowOf("\"\\\n\x1B/"));
    EXPECT_EQ("\"\\u0000\"\n", rowOf(std::string(1, '\0')));
    EXPECT_EQ("\"\xC3\xA4\xF0\x9F\x98\x80\"\n", rowOf("\xC3\xA4\xF0\x9F\x98\x80"));
}

TEST(JsonTest, escapesWhatATerminalMayObey) {
    EXPECT_EQ("\"\\u007f\\u0080 \\u009b\\u009f\"\n", rowOf("\x7F\xC2\x80 \xC2\x9B\xC2\x9F"));
    EXPECT_EQ("\"~\xC2\xA0\xC2\xBF\xC3\x80\"\n", rowOf("~\xC2\xA0\xC2\xBF\xC3\x80"));
    EXPECT_EQ("\x7F\xC2\x9B", Json::parse(rowOf("\x7F\xC2\x9B")).get<std::string>());
}

TEST(JsonTest, replacesInvalidUtf8) {
    for (const std::string bytes : {"\xFF", "\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\x80"}) {
        const std::string text = rowOf("a" + bytes + "b");
        EXPECT_TRUE(text.starts_with("\"a\xEF\xBF\xBD")) << text;
        EXPECT_TRUE(text.ends_with("b\"\n")) << text;
        EXPECT_TRUE(Json::accept(text));
    }
}

} // namespace
