#include "tools/melnar-dict/shell/Html.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string toMarkup(const std::string_view text) {
    return Html::ofText(text).getMarkup();
}

TEST(HtmlTest, textNeverActsAsMarkup) {
    EXPECT_EQ("&lt;script&gt;alert(&quot;1&quot;, &#39;2&#39;)&lt;/script&gt; &amp;lt;",
              toMarkup("<script>alert(\"1\", '2')</script> &lt;"));
    EXPECT_EQ("a{}b", toMarkup("a{}b"));
    EXPECT_EQ("", toMarkup(""));
    EXPECT_EQ("Grüße, 世界 😀", toMarkup("Grüße, 世界 😀"));
}

TEST(HtmlTest, controlCharactersAreReplaced) {
    EXPECT_EQ("\uFFFD\uFFFD\uFFFDa\uFFFD", toMarkup({"\x01\x1B\0a\x7F", 5}));
    EXPECT_EQ("\uFFFD\uFFFD\u00A0", toMarkup("\xC2\x80\xC2\x9F\xC2\xA0")) << "those of two bytes, too";
}

TEST(HtmlTest, bytesThatAreNotUtf8AreReplaced) {
    EXPECT_EQ("a\uFFFDb\uFFFD", toMarkup("a\xFF"
                                         "b\xC3"));
    EXPECT_EQ("\uFFFD\uFFFD\uFFFD", toMarkup("\xED\xA0\x80")) << "a surrogate";
}

TEST(HtmlTest, fillEscapesTextsAndKeepsPieces) {
    const Html piece = Html::fill("<b>{}</b>", "<>");
    EXPECT_EQ("<p>&amp;: <b>&lt;&gt;</b>, 7, 0.50</p>",
              Html::fill("<p>{}: {}, {}, {}</p>", "&", piece, 7, 0.5).getMarkup());
}

TEST(HtmlTest, fillPutsNothingIntoWhatItHasPutIn) {
    EXPECT_EQ("{}{}-x", Html::fill("{}-{}", "{}{}", std::string("x")).getMarkup());
    EXPECT_EQ("a {} b", Html::fill("a {} b").getMarkup()) << "a style sheet, for example";
}

TEST(HtmlTest, numbersHaveNoExponent) {
    EXPECT_EQ("0.00 100000000000000000000.00 -3", Html::fill("{} {} {}", 1e-9, 1e20, -3).getMarkup());
}

} // namespace
