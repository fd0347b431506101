#include "tools/melnar-dict/input/DecodingSource.h"

#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/input/GzipDecoder.h"
#include "tools/melnar-dict/input/XzDecoder.h"
#include "tools/melnar-dict/input/ZstdDecoder.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

constexpr PackedFormat FORMATS[] = {PackedFormat::GZIP, PackedFormat::XZ, PackedFormat::ZSTD};

std::string pack(const PackedFormat format, const std::string& text) {
    return format == PackedFormat::GZIP ? gzip(text) : format == PackedFormat::XZ ? xz(text) : zstd(text);
}

std::unique_ptr<Decoder> makeDecoder(const PackedFormat format) {
    if (format == PackedFormat::GZIP)
        return std::make_unique<GzipDecoder>();
    if (format == PackedFormat::XZ)
        return std::make_unique<XzDecoder>(2);
    return std::make_unique<ZstdDecoder>();
}

DecodingSource makeSource(const PackedFormat format, const std::string& packed, const size_t bytesAtOnce = 1 << 20,
                          const std::optional<std::string>& failure = std::nullopt) {
    return DecodingSource(std::make_unique<TextSource>(packed, bytesAtOnce, failure), format, makeDecoder(format));
}

std::string unpack(const PackedFormat format, const std::string& packed) {
    DecodingSource source = makeSource(format, packed);
    return readAll(source);
}

/// Returns the message of a failure, and the text read before it.
std::pair<std::string, std::string> failureOf(const PackedFormat format, const std::string& packed) {
    DecodingSource source = makeSource(format, packed);
    std::string text;
    const auto failure = catchException<ToolFailure>([&] { readInto(text, source, 4096); });
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
    return {failure.what(), text};
}

std::string withHeaderFields(std::string member) {
    // A comment, a name, an extra field, and a checksum of the header.
    member[3] = 2 | 4 | 8 | 16;
    const std::string fields("\x05\x00"
                             "extra"
                             "name.nt\0"
                             "comment\0",
                             23);
    member.insert(10, fields);
    const uint32_t checksum = static_cast<uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(member.data()), static_cast<uInt>(10 + fields.size())));
    const char bytes[] = {static_cast<char>(checksum & 0xFF), static_cast<char>(checksum >> 8 & 0xFF)};
    return member.insert(10 + fields.size(), bytes, 2);
}

TEST(DecodingSourceTest, unpacksTheSameHoweverItsBytesCome) {
    const std::string text = makeNumbers(60);
    for (const PackedFormat format : FORMATS) {
        const std::string packed =
            pack(format, text) + pack(format, "") + pack(format, "a") + pack(format, text) + pack(format, "b");
        for (const size_t packedAtOnce : std::initializer_list<size_t>{1, 2, 3, 5, 7, 8, 9, 13, 30, 64, 100, 10000})
            for (const size_t textAtOnce : std::initializer_list<size_t>{1, 2, 3, 7, 100, 1000, 100000}) {
                DecodingSource source = makeSource(format, packed, packedAtOnce);
                EXPECT_EQ(text + "a" + text + "b", readAll(source, textAtOnce))
                    << static_cast<int>(format) << ' ' << packedAtOnce << ' ' << textAtOnce;
            }
    }
}

TEST(DecodingSourceTest, unpacksMoreThanItsBuffersHold) {
    const std::string text = makeNumbers(400000);
    for (const PackedFormat format : FORMATS)
        EXPECT_EQ(text + text, unpack(format, pack(format, text) + pack(format, text)));
}

TEST(DecodingSourceTest, unpacksAMillionZeroBytes) {
    const std::string text(3000000, '\0');
    for (const PackedFormat format : FORMATS)
        for (const size_t textAtOnce : std::initializer_list<size_t>{100, 65536, 4000000}) {
            DecodingSource source = makeSource(format, pack(format, text) + pack(format, text), 100);
            EXPECT_EQ(text + text, readAll(source, textAtOnce));
        }
}

TEST(DecodingSourceTest, skipsTheOptionalFieldsOfAGzipHeader) {
    const std::string packed = withHeaderFields(gzip("text")) + withHeaderFields(gzip("more"));
    for (const size_t packedAtOnce : std::initializer_list<size_t>{1, 2, 3, 11, 12, 20, 1000}) {
        DecodingSource source = makeSource(PackedFormat::GZIP, packed, packedAtOnce);
        EXPECT_EQ("textmore", readAll(source)) << packedAtOnce;
    }
}

TEST(DecodingSourceTest, checksTheHeaderOfAGzipMemberAgainstItsChecksum) {
    std::string packed = withHeaderFields(gzip("text"));
    packed[18] = static_cast<char>(packed[18] ^ 1);
    EXPECT_EQ("not a sound gzip file: its checksum or length does not match its data",
              failureOf(PackedFormat::GZIP, packed).first);
}

TEST(DecodingSourceTest, refusesAGzipMemberWithAReservedFlag) {
    for (const int flag : {0x20, 0x40, 0x80}) {
        std::string packed = gzip("text");
        packed[3] = static_cast<char>(flag);
        EXPECT_EQ(std::pair(std::string("not a sound gzip file: a header has a reserved flag"), std::string()),
                  failureOf(PackedFormat::GZIP, packed))
            << flag;
        EXPECT_EQ("text", failureOf(PackedFormat::GZIP, gzip("text") + packed).second) << flag;
    }
}

TEST(DecodingSourceTest, unpacksXzBlocksByThreads) {
    const std::string text = makeNumbers(200000);
    EXPECT_EQ(text, unpack(PackedFormat::XZ, xz(text, {.m_blockSize = 100000})));
}

TEST(DecodingSourceTest, unpacksXzWithEveryChecksumAndWithNone) {
    for (const lzma_check check : {LZMA_CHECK_NONE, LZMA_CHECK_CRC32, LZMA_CHECK_CRC64, LZMA_CHECK_SHA256})
        EXPECT_EQ("text", unpack(PackedFormat::XZ, xz("text", {.m_check = check})));
}

TEST(DecodingSourceTest, passesOverPaddingAsTheFormatHasIt) {
    const std::string zeros(300000, '\0');
    EXPECT_EQ("ab", unpack(PackedFormat::GZIP, gzip("a") + gzip("b") + zeros));
    EXPECT_EQ("a", unpack(PackedFormat::GZIP, gzip("a") + '\0'));
    EXPECT_EQ("ab", unpack(PackedFormat::XZ, xz("a") + zeros + xz("b") + zeros));
    EXPECT_EQ("not a sound xz file: its data is damaged",
              failureOf(PackedFormat::XZ, xz("a") + std::string(5, '\0') + xz("b")).first);
    EXPECT_EQ("not a sound xz file: its data is damaged", failureOf(PackedFormat::XZ, xz("a") + '\0').first);
    EXPECT_EQ("not a sound zstd file: something else follows the compressed data",
              failureOf(PackedFormat::ZSTD, zstd("a") + zeros).first);
}

TEST(DecodingSourceTest, skipsSkippableZstdFrames) {
    const std::string skipped("\x5A\x2A\x4D\x18\x05\0\0\0abcde", 13);
    EXPECT_EQ("ab", unpack(PackedFormat::ZSTD, skipped + zstd("a") + skipped + skipped + zstd("b") + skipped));
    EXPECT_EQ("", unpack(PackedFormat::ZSTD, skipped));
    EXPECT_EQ("not a sound zstd file: it ends early",
              failureOf(PackedFormat::ZSTD, zstd("a") + skipped.substr(0, 12)).first);
}

TEST(DecodingSourceTest, refusesWhatFollows) {
    for (const PackedFormat format : FORMATS) {
        const std::string packed = pack(format, "text");
        std::vector<std::string> others{"x", "xxxxxxxxxxxxxxxxxxxxxx", std::string(4, '\0') + "x"};
        if (format != PackedFormat::XZ)
            others.push_back(std::string(4, '\0') + packed);
        for (const PackedFormat other : FORMATS)
            if (other != format)
                others.push_back(pack(other, "text"));
        others.push_back(bzip2("text"));
        for (const std::string& following : others) {
            const auto [message, text] = failureOf(format, packed + following);
            EXPECT_TRUE(message.starts_with("not a sound ")) << message;
            EXPECT_EQ("text", text);
        }
    }
    EXPECT_EQ("not a sound gzip file: something else follows the compressed data",
              failureOf(PackedFormat::GZIP, gzip("a") + xz("a")).first);
    EXPECT_EQ("not a sound zstd file: something else follows the compressed data",
              failureOf(PackedFormat::ZSTD, zstd("a") + xz("a")).first);
}

TEST(DecodingSourceTest, deliversTheTextBeforeDamageInAnotherStream) {
    const std::string text = makeNumbers(1000);
    for (const PackedFormat format : FORMATS) {
        std::string damaged = pack(format, "damaged");
        damaged[damaged.size() / 2] = static_cast<char>(~damaged[damaged.size() / 2]);
        const auto [message, delivered] = failureOf(format, pack(format, text) + damaged);
        EXPECT_TRUE(delivered.starts_with(text)) << static_cast<int>(format);
        EXPECT_TRUE(message.starts_with("not a sound ")) << message;
    }
}

TEST(DecodingSourceTest, reportsAFailureOfItsSourceAfterTheTextBefore) {
    const std::string text = makeNumbers(1000);
    for (const PackedFormat format : FORMATS) {
        DecodingSource source = makeSource(format, pack(format, text), 50, "no more");
        std::string delivered;
        EXPECT_STREQ("no more", catchException<ToolFailure>([&] { readInto(delivered, source, 4096); }).what());
        EXPECT_EQ(text, delivered) << static_cast<int>(format);
    }
}

TEST(DecodingSourceFailureTest, refusesToTakeTooMuchMemory) {
    // The dictionary size of an xz file is in a header with a checksum, so the library makes the forged one.
    const std::string forged = xz("text", {.m_dictionarySize = 1536u << 20});
    EXPECT_LT(forged.size(), 100u);
    EXPECT_EQ("decompressing it takes more than the 256 MiB of memory allowed",
              failureOf(PackedFormat::XZ, forged).first);
    // A frame whose window has 2 GiB, with a raw block.
    EXPECT_EQ("decompressing it takes more than the 128 MiB of memory allowed",
              failureOf(PackedFormat::ZSTD, std::string("\x28\xB5\x2F\xFD\x00\xA8\x21\x00\x00text", 13)).first);
}

TEST(DecodingSourceTest, takesAsMuchMemoryAsIsAllowed) {
    EXPECT_EQ("text", unpack(PackedFormat::XZ, xz("text", {.m_dictionarySize = 128u << 20})));
    EXPECT_EQ("text", unpack(PackedFormat::ZSTD, std::string("\x28\xB5\x2F\xFD\x00\x88\x21\x00\x00text", 13)));
}

TEST(DecodingSourceFailureTest, everyAllocationMayFail) {
    for (const PackedFormat format : FORMATS) {
        const std::string packed = pack(format, "text");
        std::string text(100, '\0');
        const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
            size_t size = 0;
            auto packedSource = std::make_unique<TextSource>(packed);
            const bool isRead = round.attempt([&] {
                DecodingSource source(std::move(packedSource), format, makeDecoder(format));
                size = source.read(text.data(), text.size());
            });
            if (isRead) {
                EXPECT_EQ("text", text.substr(0, size));
            }
        });
        EXPECT_LT(1u, counts.m_throws);
    }
}

} // namespace
