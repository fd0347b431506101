#include "tools/melnar-dict/input/Bzip2Scanner.h"

#include "tests/support/CaughtException.h"
#include "tests/tools/melnar-dict/input/TextSource.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using Kind = Bzip2Stretch::Kind;

BitString bitsOf(const uint64_t value, const size_t numberOfBits) {
    BitString bits;
    bits.append(value, numberOfBits);
    return bits;
}

std::vector<Bzip2Stretch> scan(const std::string& bytes, const size_t bytesAtOnce = 1 << 20) {
    Bzip2Scanner scanner(std::make_unique<TextSource>(bytes, bytesAtOnce));
    std::vector<Bzip2Stretch> stretches;
    while (std::optional<Bzip2Stretch> stretch = scanner.next())
        stretches.push_back(std::move(*stretch));
    EXPECT_FALSE(scanner.next());
    return stretches;
}

TEST(Bzip2ScannerTest, cutsAtEveryMagicAtEveryBit) {
    for (size_t first = 0; first < 20; ++first)
        for (size_t second = 0; second < 20; ++second)
            for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 3, 1000}) {
                BitString bits = bitsOf(0x55555555, 32);
                bits.append(0x2AAAAAAA, first);
                bits.append(Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::MAGIC_SIZE);
                bits.append(0x2AAAAAAA, second);
                bits.append(Bzip2Scanner::END_MAGIC, Bzip2Scanner::MAGIC_SIZE);
                bits.append(Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::MAGIC_SIZE);
                const std::vector<Bzip2Stretch> stretches = scan(bits.getBytes(), bytesAtOnce);
                ASSERT_EQ(4u, stretches.size());
                EXPECT_EQ(Kind::OTHER, stretches[0].m_kind);
                EXPECT_EQ(32 + first, stretches[0].m_bits.size());
                EXPECT_EQ(Kind::BLOCK, stretches[1].m_kind);
                EXPECT_EQ(first % 8, stretches[1].m_offset);
                EXPECT_EQ(48 + second, stretches[1].m_bits.size());
                EXPECT_EQ(Kind::END_OF_STREAM, stretches[2].m_kind);
                EXPECT_EQ((first + second) % 8, stretches[2].m_offset);
                EXPECT_EQ(48u, stretches[2].m_bits.size());
                EXPECT_EQ(Kind::BLOCK, stretches[3].m_kind);
                EXPECT_EQ(48 + (16 - (first + second) % 8) % 8, stretches[3].m_bits.size());
            }
}

TEST(Bzip2ScannerTest, losesNoBit) {
    const std::string bytes = "BZh91AY&SY\x17\x72\x45\x38\x50\x90xxx1AY&S1AY&SY";
    BitString joined;
    for (const Bzip2Stretch& stretch : scan(bytes, 5))
        joined.append(stretch.m_bits);
    EXPECT_EQ(bytes, joined.getBytes());
}

TEST(Bzip2ScannerTest, findsNothingInAnEmptyFile) {
    EXPECT_TRUE(scan("").empty());
}

TEST(Bzip2ScannerTest, holdsNoMoreThanTheLargestRangeAndFindsAMagicAfterIt) {
    constexpr size_t NUMBER_OF_BYTES = Bzip2Scanner::LARGEST_STRETCH / 8;
    const std::string magic = bitsOf(Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::MAGIC_SIZE).getBytes();
    for (const size_t extra : std::initializer_list<size_t>{0, 262143 - 4, 2 * NUMBER_OF_BYTES}) {
        const std::string bytes = magic + std::string(NUMBER_OF_BYTES + extra, 'x') + magic + "y";
        const std::vector<Bzip2Stretch> stretches = scan(bytes);
        BitString joined;
        for (const Bzip2Stretch& stretch : stretches) {
            EXPECT_LE(stretch.m_bits.size(), Bzip2Scanner::LARGEST_STRETCH + (size_t(256) << 13));
            joined.append(stretch.m_bits);
        }
        EXPECT_EQ(bytes, joined.getBytes());
        EXPECT_EQ(Kind::BLOCK, stretches.back().m_kind);
        EXPECT_EQ(56u, stretches.back().m_bits.size());
    }
}

TEST(Bzip2ScannerFailureTest, passesAFailureOfTheSourceOn) {
    Bzip2Scanner scanner(std::make_unique<TextSource>("BZh91AY&SYxx1AY&SYxx", 1000, "no more"));
    EXPECT_EQ(Kind::OTHER, scanner.next()->m_kind);
    EXPECT_EQ(Kind::BLOCK, scanner.next()->m_kind);
    EXPECT_STREQ("no more", catchException<ToolFailure>([&] { scanner.next(); }).what());
}

} // namespace
