#include "tools/melnar-dict/shell/NumberText.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(NumberTextTest, takesDecimalDigitsOnly) {
    EXPECT_EQ(0u, parseNumber("0"));
    EXPECT_EQ(7u, parseNumber("007"));
    EXPECT_EQ(std::numeric_limits<uint64_t>::max(), parseNumber("18446744073709551615"));
    for (const char* const text : {"", "-1", "+1", "1.0", "1 ", " 1", "0x1", "one", "1K", "18446744073709551616"})
        EXPECT_EQ(std::nullopt, parseNumber(text)) << text;
}

TEST(NumberTextTest, takesBytesWithUnits) {
    EXPECT_EQ(1u, parseNumberOfBytes("1"));
    EXPECT_EQ(size_t(3) << 10, parseNumberOfBytes("3K"));
    EXPECT_EQ(size_t(3) << 10, parseNumberOfBytes("3k"));
    EXPECT_EQ(size_t(512) << 20, parseNumberOfBytes("512M"));
    EXPECT_EQ(size_t(16) << 30, parseNumberOfBytes("16G"));
    EXPECT_EQ(size_t(2) << 40, parseNumberOfBytes("2T"));
    EXPECT_EQ(size_t(16383) << 50, parseNumberOfBytes("16776192T"));
    for (const char* const text : {"0", "0G", "G", "", "1B", "1GB", "1.5G", "-1", "1 G", "16777216T", "1GG"})
        EXPECT_EQ(std::nullopt, parseNumberOfBytes(text)) << text;
}

TEST(NumberTextTest, writesBytesWithTheLargestUnit) {
    for (const char* const text : {"1", "1023", "1K", "1025", "1023K", "1M", "1536M", "3G", "2T", "2048T"})
        EXPECT_EQ(text, formatNumberOfBytes(*parseNumberOfBytes(text)));
    EXPECT_EQ("0", formatNumberOfBytes(0));
    EXPECT_EQ("1M", formatNumberOfBytes(*parseNumberOfBytes("1024K")));
}

} // namespace
