#include "tools/melnar-dict/input/BitString.h"

#include <gtest/gtest.h>

namespace {

std::string toDigits(const BitString& bits) {
    std::string digits;
    for (size_t place = 0; place < bits.size(); ++place)
        digits += bits.getValue(place, 1) != 0 ? '1' : '0';
    return digits;
}

TEST(BitStringTest, isEmptyAtFirst) {
    EXPECT_EQ(0u, BitString().size());
    EXPECT_EQ("", BitString().getBytes());
    EXPECT_EQ(0u, BitString("text", 7, 7).size());
}

TEST(BitStringTest, takesEachPartOfBytes) {
    std::string bytes;
    std::string digits;
    for (unsigned number = 0; number < 24; ++number) {
        const unsigned byte = number * 97 + 13;
        bytes += static_cast<char>(byte);
        for (unsigned bit = 8; bit-- != 0;)
            digits += (byte >> bit & 1) != 0 ? '1' : '0';
    }
    for (size_t begin = 0; begin <= digits.size(); begin += 5)
        for (size_t end = begin; end <= digits.size(); ++end) {
            const BitString bits(bytes, begin, end);
            EXPECT_EQ(digits.substr(begin, end - begin), toDigits(bits));
            EXPECT_EQ((end - begin + 7) / 8, bits.getBytes().size());
            BitString joined("\xA0", 0, 3);
            joined.append(bits);
            EXPECT_EQ("101" + digits.substr(begin, end - begin), toDigits(joined));
        }
}

TEST(BitStringTest, readsWhatItAppended) {
    for (size_t offset = 0; offset < 8; ++offset)
        for (size_t size = 0; size <= BitString::LARGEST_VALUE; ++size) {
            constexpr uint64_t PATTERN = 0x123456789ABCDEF0;
            BitString bits("\xFF", 0, offset);
            bits.append(PATTERN, size);
            bits.append(1, 1);
            EXPECT_EQ(offset + size + 1, bits.size());
            EXPECT_EQ(PATTERN & ((uint64_t(1) << size) - 1), bits.getValue(offset, size));
            EXPECT_EQ(1u, bits.getValue(offset + size, 1));
        }
}

TEST(BitStringTest, leavesTheRestOfTheLastByteZero) {
    EXPECT_EQ("\xF0", BitString("\xFF", 0, 4).getBytes());
    EXPECT_EQ("\xE0", BitString("\xFF", 5, 8).getBytes());
}

} // namespace
