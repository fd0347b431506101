#include "tools/melnar-dict/shell/Amounts.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(AmountsTest, groupsDigitsByThree) {
    EXPECT_EQ("0", groupDigits(0));
    EXPECT_EQ("999", groupDigits(999));
    EXPECT_EQ("1,000", groupDigits(1000));
    EXPECT_EQ("299,980", groupDigits(299980));
    EXPECT_EQ("18,446,744,073,709,551,615", groupDigits(std::numeric_limits<uint64_t>::max()));
}

TEST(AmountsTest, describesBytesWithThreeDigits) {
    EXPECT_EQ("0 bytes", describeBytes(0));
    EXPECT_EQ("1 byte", describeBytes(1));
    EXPECT_EQ("1023 bytes", describeBytes(1023));
    EXPECT_EQ("1.00 KiB", describeBytes(1024));
    EXPECT_EQ("9.99 KiB", describeBytes(10230));
    EXPECT_EQ("10.0 KiB", describeBytes(10239));
    EXPECT_EQ("99.9 KiB", describeBytes(102300));
    EXPECT_EQ("100 KiB", describeBytes(102390));
    EXPECT_EQ("999 KiB", describeBytes(999 * 1024));
    EXPECT_EQ("0.98 MiB", describeBytes(1000 * 1024)) << "four digits would be longer";
    EXPECT_EQ("47.1 MiB", describeBytes(49388978));
    EXPECT_EQ("16.0 EiB", describeBytes(std::numeric_limits<uint64_t>::max()));
}

TEST(AmountsTest, describesSecondsWithUnitsThatFit) {
    EXPECT_EQ("0.0 s", describeSeconds(0));
    EXPECT_EQ("9.9 s", describeSeconds(9.94));
    EXPECT_EQ("10 s", describeSeconds(9.96));
    EXPECT_EQ("59 s", describeSeconds(59.4));
    EXPECT_EQ("1 min 0 s", describeSeconds(59.6));
    EXPECT_EQ("3 min 20 s", describeSeconds(200));
    EXPECT_EQ("59 min 59 s", describeSeconds(3599));
    EXPECT_EQ("1 h 0 min", describeSeconds(3599.6));
    EXPECT_EQ("2 h 5 min", describeSeconds(7500));
}

} // namespace
