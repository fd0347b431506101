#include "tools/melnar-dict/input/Bzip2Source.h"

#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tests/tools/melnar-dict/input/TextDamage.h"
#include "tests/tools/melnar-dict/input/TextSource.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <initializer_list>

namespace {

Bzip2Source makeSource(const std::string& packed, const size_t numberOfThreads = 3, const size_t bytesAtOnce = 1 << 20,
                       const std::optional<std::string>& failure = std::nullopt) {
    return Bzip2Source(std::make_unique<TextSource>(packed, bytesAtOnce, failure), numberOfThreads);
}

std::string unpack(const std::string& packed) {
    Bzip2Source source = makeSource(packed);
    return readAll(source);
}

/// Returns the message of a failure, and the text read before it.
std::pair<std::string, std::string> failureOf(const std::string& packed) {
    Bzip2Source source = makeSource(packed);
    std::string text;
    const auto failure = catchException<ToolFailure>([&] { readInto(text, source, 4096); });
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
    return {failure.what(), text};
}

size_t countBeginnings(const std::string& packed) {
    Bzip2Scanner scanner(std::make_unique<TextSource>(packed));
    size_t number = 0;
    while (const std::optional<Bzip2Stretch> stretch = scanner.next())
        number += stretch->m_kind != Bzip2Stretch::Kind::OTHER ? 1u : 0u;
    return number;
}

TEST(Bzip2SourceTest, unpacksStreamsOfNoBlockOfOneAndOfMany) {
    const std::string text = makeNumbers(100000);
    EXPECT_EQ("", unpack(bzip2("")));
    EXPECT_EQ("a", unpack(bzip2("a")));
    EXPECT_GT(countBeginnings(bzip2(text)), 8u);
    EXPECT_EQ(text, unpack(bzip2(text)));
    EXPECT_EQ(text, unpack(bzip2(text, 9)));
    EXPECT_EQ("a" + text + text + "b",
              unpack(bzip2("a") + bzip2("") + bzip2(text) + bzip2(text, 9) + bzip2("b") + bzip2("")));
}

TEST(Bzip2SourceTest, unpacksTheSameWithAnyNumberOfThreadsHoweverItsBytesCome) {
    const std::string text = makeNumbers(50000);
    const std::string packed = bzip2(text) + bzip2("a") + bzip2("b");
    for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 16})
        for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 1000, 1000000}) {
            Bzip2Source source = makeSource(packed, numberOfThreads, bytesAtOnce);
            EXPECT_EQ(text + "ab", readAll(source, bytesAtOnce));
        }
}

TEST(Bzip2SourceTest, unpacksBlocksThatHoldWhatLooksLikeABeginning) {
    for (const uint64_t magic : {Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::END_MAGIC})
        for (const char* const filler : {"", "\n", "!", "1"}) {
            const std::string text = makeTextWithMagic(magic, *filler);
            const std::string packed = bzip2(text);
            ASSERT_EQ(3u, countBeginnings(packed)) << "the block has no magic within it";
            EXPECT_EQ(text, unpack(packed));
            EXPECT_EQ(text + "between" + text + text, unpack(packed + bzip2("between") + packed + packed));
            EXPECT_EQ("not a sound bzip2 file: it ends early", failureOf(packed.substr(0, packed.size() - 12)).first);
        }
}

TEST(Bzip2SourceTest, unpacksBlocksOfLongRunsPieceByPiece) {
    const std::string text(100 << 20, 'r');
    const std::string packed = bzip2(text, 9) + bzip2("end");
    EXPECT_LT(packed.size(), 1000u);
    Bzip2Source source = makeSource(packed);
    std::string buffer(100000, '\0');
    size_t size = 0;
    while (size < text.size()) {
        const size_t numberOfBytes = source.read(buffer.data(), std::min(buffer.size(), text.size() - size));
        ASSERT_NE(0u, numberOfBytes);
        ASSERT_EQ(std::string::npos, buffer.substr(0, numberOfBytes).find_first_not_of('r'));
        size += numberOfBytes;
    }
    EXPECT_EQ("end", readAll(source));
}

// About as long as the longest text that is kept.
TEST(Bzip2SourceTest, unpacksBlocksOf4MebibytesOfText) {
    for (const size_t size : {(size_t(4) << 20) - 1, size_t(4) << 20, (size_t(4) << 20) + 1}) {
        const std::string text(size, 'r');
        EXPECT_TRUE(unpack(bzip2(text, 9) + bzip2("end")) == text + "end") << size;
    }
}

TEST(Bzip2SourceTest, passesOverZeroBytesAtTheEnd) {
    EXPECT_EQ("a", unpack(bzip2("a") + '\0'));
    EXPECT_EQ("ab", unpack(bzip2("a") + bzip2("b") + std::string(9 << 20, '\0')));
}

TEST(Bzip2SourceTest, refusesWhatFollows) {
    const std::string message = "not a sound bzip2 file: something else follows the compressed data";
    const std::string packed = bzip2("a");
    for (const std::string& following :
         {std::string("x"), std::string("BZx"), std::string("BZh0"), '\0' + packed, xz("a"), zstd("a"),
          std::string(9 << 20, '\0') + "x", std::string(9 << 20, 'x')})
        EXPECT_EQ(std::pair(message, std::string("a")), failureOf(packed + following));
}

TEST(Bzip2SourceTest, refusesEveryCut) {
    const std::string first = bzip2(makeNumbers(50));
    const std::string packed = first + bzip2(makeNumbers(60));
    for (size_t length = 10; length < packed.size(); ++length) {
        if (length == first.size())
            ++length;
        EXPECT_EQ("not a sound bzip2 file: it ends early", failureOf(packed.substr(0, length)).first) << length;
    }
}

// The bits that end a stream, which are added to each block, complete this one to a text of 4,874,512 bytes.
TEST(Bzip2SourceTest, deliversNothingOfALongBlockThatEndsEarly) {
    constexpr std::array<uint8_t, 230> BYTES{
        0x42, 0x5a, 0x68, 0x31, 0x31, 0x41, 0x59, 0x26, 0x53, 0x59, 0x1a, 0xdf, 0x70, 0x2d, 0x00, 0x96, 0xd9, 0xff,
        0xfb, 0xc8, 0xa4, 0xc2, 0xc4, 0x90, 0x02, 0x24, 0x60, 0x52, 0x44, 0x40, 0x10, 0x04, 0x40, 0x10, 0x00, 0x00,
        0x02, 0x40, 0x00, 0x02, 0x83, 0x08, 0x00, 0x00, 0x40, 0x00, 0x10, 0x00, 0x20, 0xb0, 0x01, 0x73, 0x42, 0x58,
        0xc1, 0xa6, 0x8d, 0x34, 0xc2, 0x62, 0x64, 0xc0, 0x40, 0xd3, 0x04, 0xd5, 0x52, 0x46, 0x86, 0x9a, 0x68, 0x3d,
        0x40, 0xd3, 0xd4, 0x6d, 0x4d, 0xa8, 0x64, 0x0a, 0x55, 0x51, 0x89, 0x80, 0x8c, 0x23, 0x02, 0x03, 0x35, 0x0c,
        0x52, 0x24, 0xdd, 0x14, 0x5a, 0xf0, 0x45, 0x25, 0xcf, 0xee, 0x91, 0x26, 0x1a, 0xd2, 0x24, 0xc5, 0x11, 0x36,
        0x60, 0x2a, 0x4f, 0x4a, 0x44, 0x9c, 0xa9, 0x12, 0x62, 0x4a, 0x4b, 0xd4, 0x94, 0x97, 0x72, 0x52, 0x59, 0xb6,
        0x81, 0xe7, 0xe1, 0x45, 0x49, 0xa8, 0xa2, 0x4c, 0xa9, 0x12, 0x67, 0x48, 0x93, 0x55, 0x22, 0x4c, 0xa9, 0x12,
        0x71, 0xa4, 0x49, 0xf4, 0x91, 0x27, 0xf5, 0x22, 0x4d, 0x29, 0x12, 0x7b, 0xa4, 0x49, 0xe5, 0x48, 0x93, 0x85,
        0x22, 0x4c, 0xe9, 0x12, 0x67, 0x48, 0x93, 0x8d, 0x22, 0x4e, 0x15, 0x22, 0x4f, 0xca, 0x44, 0x9a, 0x52, 0x25,
        0x74, 0x2a, 0x04, 0xd0, 0x4a, 0x4b, 0xf4, 0x94, 0x97, 0xd6, 0x04, 0xa4, 0xbf, 0x09, 0x49, 0x60, 0x4a, 0x4b,
        0xf8, 0x94, 0x96, 0x04, 0xa4, 0xb8, 0x02, 0x54, 0xb4, 0xa4, 0x49, 0x84, 0x01, 0x09, 0x72, 0xd9, 0x44, 0x4e,
        0x78, 0x92, 0x0a, 0xc2, 0xee, 0x48, 0xa7, 0x0a, 0x12, 0x03, 0x5b, 0xee, 0x05, 0xa0};
    const std::string packed(BYTES.begin(), BYTES.end());
    EXPECT_EQ(std::pair(std::string("not a sound bzip2 file: it ends early"), std::string("before")),
              failureOf(bzip2("before") + packed));
}

TEST(Bzip2SourceTest, refusesDamageAndDeliversTheBlocksBefore) {
    const std::string text = makeNumbers(50000);
    const std::string packed = bzip2(text);
    TextDamage damage(5);
    for (int round = 0; round < 30; ++round) {
        std::string damaged = packed;
        const size_t place = packed.size() / 2 + damage.below(packed.size() / 2 - 1);
        damaged[place] = static_cast<char>(damaged[place] ^ 1 << damage.below(8));
        const auto [message, delivered] = failureOf(damaged);
        EXPECT_TRUE(message.starts_with("not a sound bzip2 file: ")) << message;
        EXPECT_GE(delivered.size(), 100000u);
        EXPECT_TRUE(text.starts_with(delivered));
    }
}

TEST(Bzip2SourceTest, checksTheSumOfAllBlocks) {
    std::string packed = bzip2(makeNumbers(50000));
    packed[packed.size() - 3] = static_cast<char>(packed[packed.size() - 3] ^ 8);
    EXPECT_EQ("not a sound bzip2 file: its checksum does not match its data", failureOf(packed).first);
    // Each block is sound, but one of them is missing.
    const std::string text = makeNumbers(50000);
    Bzip2Scanner scanner(std::make_unique<TextSource>(bzip2(text)));
    BitString without;
    for (int number = 0; const std::optional<Bzip2Stretch> stretch = scanner.next(); ++number)
        if (number != 2)
            without.append(stretch->m_bits);
    EXPECT_EQ("not a sound bzip2 file: its checksum does not match its data", failureOf(without.getBytes()).first);
}

TEST(Bzip2SourceTest, refusesAFileOfNothingButBeginnings) {
    std::string packed = "BZh9";
    for (int number = 0; number < 100000; ++number)
        packed += "1AY&SY";
    EXPECT_EQ("not a sound bzip2 file: its data is damaged", failureOf(packed).first);
    EXPECT_EQ("not a sound bzip2 file: its data is damaged",
              failureOf("BZh91AY&SY" + std::string(20 << 20, 'x')).first);
}

TEST(Bzip2SourceFailureTest, reportsAFailureOfItsSourceAfterTheBlocksBefore) {
    const std::string text = makeNumbers(50000);
    Bzip2Source source = makeSource(bzip2(text), 3, 1000, "no more");
    std::string delivered;
    EXPECT_STREQ("no more", catchException<ToolFailure>([&] { readInto(delivered, source, 4096); }).what());
    EXPECT_GE(delivered.size(), 400000u);
    EXPECT_TRUE(text.starts_with(delivered));
}

TEST(Bzip2SourceFailureTest, everyAllocationOfItsThreadMayFail) {
    const std::string packed = bzip2("text");
    std::string text(100, '\0');
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        size_t size = 0;
        auto packedSource = std::make_unique<TextSource>(packed);
        const bool isRead = round.attempt([&] {
            Bzip2Source source(std::move(packedSource), 2);
            size = source.read(text.data(), text.size());
        });
        if (isRead) {
            EXPECT_EQ("text", text.substr(0, size));
        }
    });
    EXPECT_LT(10u, counts.m_throws);
}

} // namespace
