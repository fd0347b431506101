#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

/// A small file of two streams.
struct Sample {
    const char* m_name;
    std::string m_first;
    std::string m_second;
};

const std::string FIRST_TEXT = "<urn:first> <urn:p> \"first\" .\n<urn:first> <urn:q> \"first first\" .\n";
const std::string SECOND_TEXT = "<urn:second> <urn:p> \"second\" .\n";

std::vector<Sample> makeSamples() {
    return {
        {"a.nt.gz", gzip(FIRST_TEXT), gzip(SECOND_TEXT)},
        {"a.nt.bz2", bzip2(FIRST_TEXT), bzip2(SECOND_TEXT)},
        {"a.nt.xz", xz(FIRST_TEXT), xz(SECOND_TEXT)},
        {"a.nt.zst", zstd(FIRST_TEXT), zstd(SECOND_TEXT)},
    };
}

/// Returns the content of a file with these bytes, or nothing if it is an error with a cause.
std::optional<std::string> read(const TemporaryDirectory& directory, const char* const name, const std::string& bytes) {
    const std::string path = directory.addFile(name, bytes);
    try {
        const std::string text = readAll(*openInputFile(path, 2));
        std::filesystem::remove(path); // Some systems flush a file that is overwritten.
        return text;
    } catch (const ToolFailure& failure) {
        std::filesystem::remove(path);
        EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
        EXPECT_NE("", std::string(failure.what()));
        return std::nullopt;
    }
}

TEST(PackedDamageTest, everyFlippedBitIsFoundOrHarmless) {
    const TemporaryDirectory directory;
    for (const Sample& sample : makeSamples()) {
        const std::string packed = sample.m_first + sample.m_second;
        size_t numberOfHarmless = 0;
        for (size_t bit = 0; bit < packed.size() * 8; ++bit) {
            std::string damaged = packed;
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
            const std::optional<std::string> text = read(directory, sample.m_name, damaged);
            if (!text)
                continue;
            // For example a time in a header, or the padding of the last byte.
            ++numberOfHarmless;
            ASSERT_EQ(FIRST_TEXT + SECOND_TEXT, *text) << sample.m_name << " bit " << bit;
        }
        EXPECT_LT(numberOfHarmless, packed.size() * 2) << sample.m_name << ": that is a quarter of the bits";
        std::cout << sample.m_name << ": " << packed.size() * 8 << " bits, " << numberOfHarmless << " harmless\n";
    }
}

TEST(PackedDamageTest, everyCutIsFoundUnlessItIsBetweenStreams) {
    const TemporaryDirectory directory;
    for (const Sample& sample : makeSamples()) {
        const std::string packed = sample.m_first + sample.m_second;
        for (size_t length = 0; length < packed.size(); ++length)
            EXPECT_EQ(length == sample.m_first.size() ? std::optional(FIRST_TEXT) : std::nullopt,
                      read(directory, sample.m_name, packed.substr(0, length)))
                << sample.m_name << ' ' << length;
    }
}

TEST(PackedDamageTest, damageToAZstdFileWithoutAChecksumNeedNotBeFound) {
    const TemporaryDirectory directory;
    const std::string packed = zstd(FIRST_TEXT, false);
    size_t numberOfOthers = 0;
    for (size_t bit = 0; bit < packed.size() * 8; ++bit) {
        std::string damaged = packed;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        const std::optional<std::string> text = read(directory, "a.nt.zst", damaged);
        numberOfOthers += text && *text != FIRST_TEXT ? 1u : 0u;
    }
    EXPECT_GT(numberOfOthers, 0u) << "docs/tool.md says otherwise";
}

} // namespace
