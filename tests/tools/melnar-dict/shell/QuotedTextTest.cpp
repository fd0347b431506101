#include "tools/melnar-dict/shell/QuotedText.h"

#include <gtest/gtest.h>

namespace {

TEST(QuotedTextTest, keepsWhatATerminalCanShow) {
    EXPECT_EQ("''", quoteText(""));
    EXPECT_EQ("'it's \"\xC3\xA4\"'", quoteText("it's \"\xC3\xA4\""));
}

TEST(QuotedTextTest, escapesControlCharactersAndInvalidUtf8) {
    EXPECT_EQ("'\\u001B[2J'", quoteText("\x1B[2J"));
    EXPECT_EQ("'a\\u000A\\u007F'", quoteText("a\n\x7F"));
    EXPECT_EQ("'\\u009B'", quoteText("\xC2\x9B")) << "a control character of two bytes";
    EXPECT_EQ("'\\xFF\\xC3'", quoteText("\xFF\xC3"));
    EXPECT_EQ("'\\u0000'", quoteText(std::string_view("\0", 1)));
}

TEST(QuotedTextTest, cutsLongTextsBetweenCharacters) {
    EXPECT_EQ("'" + std::string(100, 'x') + "'", quoteText(std::string(100, 'x')));
    EXPECT_EQ("'" + std::string(100, 'x') + "...'", quoteText(std::string(101, 'x')));
    EXPECT_EQ("'" + std::string(98, 'x') + "\xC3\xA4...'", quoteText(std::string(98, 'x') + "\xC3\xA4\xC3\xA4"));
}

} // namespace
