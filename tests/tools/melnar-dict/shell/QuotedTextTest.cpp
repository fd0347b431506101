#include "tools/melnar-dict/shell/QuotedText.h"

#include <gtest/gtest.h>

namespace {

TEST(QuotedTextTest, keepsWhatATerminalCanShow) {
    EXPECT_EQ("''", quoteText(""));
    EXPECT_EQ("'it's \"\xC3\xA4\"'", quoteText("it's \"\xC3\xA4\""));
}

TEST(QuotedTextTest, replacesControlCharactersAndWhatIsNotUtf8) {
    EXPECT_EQ("'\xEF\xBF\xBD[2J'", quoteText("\x1B[2J"));
    EXPECT_EQ("'a\xEF\xBF\xBD\xEF\xBF\xBD'", quoteText("a\n\x7F"));
    EXPECT_EQ("'\xEF\xBF\xBD'", quoteText("\xC2\x9B")) << "a control character of two bytes";
    EXPECT_EQ("'\xEF\xBF\xBD\xEF\xBF\xBD'", quoteText("\xFF\xC3"));
    EXPECT_EQ("'\xEF\xBF\xBD'", quoteText(std::string_view("\0", 1)));
}

TEST(QuotedTextTest, cutsLongTextsBetweenCharacters) {
    EXPECT_EQ("'" + std::string(100, 'x') + "'", quoteText(std::string(100, 'x')));
    EXPECT_EQ("'" + std::string(100, 'x') + "...'", quoteText(std::string(101, 'x')));
    EXPECT_EQ("'" + std::string(99, 'x') + "\xC3\xA4...'", quoteText(std::string(99, 'x') + "\xC3\xA4\xC3\xA4"));
}

} // namespace
