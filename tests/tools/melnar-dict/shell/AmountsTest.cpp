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

} // namespace
