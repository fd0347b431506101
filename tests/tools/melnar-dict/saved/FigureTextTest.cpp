#include "tools/melnar-dict/saved/FigureText.h"

#include <gtest/gtest.h>

namespace {

TEST(FigureTextTest, nounsAreInTheSingularForOneAlone) {
    EXPECT_EQ("0 strings", toCountText(0, "string"));
    EXPECT_EQ("1 string", toCountText(1, "string"));
    EXPECT_EQ("2,000 strings", toCountText(2000, "string"));
}

TEST(FigureTextTest, onlyNothingIsNoShareAndOnlyAllIsTheWhole) {
    EXPECT_EQ("0%", toShareText(0, 0));
    EXPECT_EQ("0%", toShareText(0, 7));
    EXPECT_EQ("<0.1%", toShareText(1, 1000000));
    EXPECT_EQ("0.1%", toShareText(1, 1000));
    EXPECT_EQ("33.3%", toShareText(1, 3));
    EXPECT_EQ("99.9%", toShareText(999, 1000));
    EXPECT_EQ(">99.9%", toShareText(999999, 1000000));
    EXPECT_EQ("100%", toShareText(7, 7));
}

TEST(FigureTextTest, decimalsHaveTwoDigits) {
    EXPECT_EQ("0.00", toDecimalText(0));
    EXPECT_EQ("1.52", toDecimalText(1.5161));
    EXPECT_EQ("14,331.00", toDecimalText(14331));
    EXPECT_EQ("1,000.00", toDecimalText(999.999));
}

} // namespace
