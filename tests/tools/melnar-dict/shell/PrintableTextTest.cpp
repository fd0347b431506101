#include "tools/melnar-dict/shell/PrintableText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

TEST(PrintableTextTest, leavesTextAsItIs) {
    for (const std::string& text :
         {""s, "plain \\ 'text' \"\""s, "\xC3\xA4 \xE6\xBC\xA2 \xF0\x9F\x98\x80"s, "\xC2\xA0\xC2\xBF"s}) {
        EXPECT_EQ(text, toPrintable(text));
        EXPECT_EQ(text, toPrintableLines(text));
    }
}

TEST(PrintableTextTest, escapesEveryControlCharacter) {
    EXPECT_EQ("\\u001B[31mred\\u0007\\u0000", toPrintable("\x1B[31mred\a\0"s));
    EXPECT_EQ("\\u007F\\u0080\\u009B2J\\u009F", toPrintable("\x7F\xC2\x80\xC2\x9B"
                                                            "2J\xC2\x9F"));
    for (char character = 0; character < 0x20; ++character)
        EXPECT_EQ(6u, toPrintable(std::string(1, character)).size()) << int(character);
}

TEST(PrintableTextTest, keepsLineFeedsAloneWhereLinesAreWanted) {
    EXPECT_EQ("a\\u000Ab\\u000D\\u0009", toPrintable("a\nb\r\t"));
    EXPECT_EQ("a\nb\\u000D\\u0009", toPrintableLines("a\nb\r\t"));
}

TEST(PrintableTextTest, escapesEveryByteThatIsNotUtf8) {
    EXPECT_EQ("\\xFFa\\xC3", toPrintable("\xFF"
                                         "a\xC3"));
    EXPECT_EQ("\\x9B\\xC0\\x80\\xED\\xA0\\x80", toPrintable("\x9B\xC0\x80\xED\xA0\x80"));
}

} // namespace
