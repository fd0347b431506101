#include "tools/melnar-dict/input/PackedFormat.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>

namespace {

bool beginsLikeGzip(const std::string_view bytes) {
    return bytes.starts_with("\x1F\x8B");
}

/// "BZh9" alone could be a prefix in Turtle, so the first block, or the end of an empty stream, is checked, too.
bool beginsLikeBzip2(const std::string_view bytes) {
    return bytes.size() >= LENGTH_OF_PACKED_BEGINNING && bytes.starts_with("BZh") && bytes[3] >= '1' &&
           bytes[3] <= '9' &&
           (bytes.substr(4).starts_with("\x31\x41\x59\x26\x53\x59") ||
            bytes.substr(4).starts_with("\x17\x72\x45\x38\x50\x90"));
}

bool beginsLikeXz(const std::string_view bytes) {
    return bytes.starts_with(std::string_view("\xFD\x37zXZ\0", 6));
}

/// Returns whether the bytes start with a frame, or with one of the 16 kinds of skippable frames.
bool beginsLikeZstd(const std::string_view bytes) {
    return bytes.starts_with("\x28\xB5\x2F\xFD") ||
           (bytes.size() >= 4 && (bytes[0] & 0xF0) == 0x50 && bytes.substr(1).starts_with("\x2A\x4D\x18"));
}

struct Description {
    PackedFormat m_format;
    const char* m_name;
    std::string_view m_extension;
    bool (*m_matchesBeginning)(std::string_view bytes);
};

constexpr Description DESCRIPTIONS[] = {
    {PackedFormat::GZIP, "gzip", ".gz", &beginsLikeGzip},
    {PackedFormat::BZIP2, "bzip2", ".bz2", &beginsLikeBzip2},
    {PackedFormat::XZ, "xz", ".xz", &beginsLikeXz},
    {PackedFormat::ZSTD, "zstd", ".zst", &beginsLikeZstd},
};

bool hasExtension(const std::string_view fileName, const std::string_view extension) {
    return fileName.size() >= extension.size() &&
           std::equal(extension.begin(), extension.end(), fileName.end() - extension.size(),
                      [](const char lowerCase, const char character) {
                          return character == lowerCase ||
                                 (character >= 'A' && character <= 'Z' && character - 'A' + 'a' == lowerCase);
                      });
}

const Description* describeFile(const std::string_view fileName) {
    const auto description = std::find_if(std::begin(DESCRIPTIONS), std::end(DESCRIPTIONS), [&](const auto& candidate) {
        return hasExtension(fileName, candidate.m_extension);
    });
    return description == std::end(DESCRIPTIONS) ? nullptr : description;
}

} // namespace

std::optional<PackedFormat> packedFormatOfBeginning(const std::string_view firstBytes) {
    for (const Description& description : DESCRIPTIONS)
        if (description.m_matchesBeginning(firstBytes))
            return description.m_format;
    return std::nullopt;
}

std::optional<PackedFormat> packedFormatOfFile(const std::string_view fileName) {
    const Description* const description = describeFile(fileName);
    return description == nullptr ? std::nullopt : std::optional(description->m_format);
}

std::string_view withoutPackedExtension(const std::string_view fileName) {
    const Description* const description = describeFile(fileName);
    return fileName.substr(0, fileName.size() - (description == nullptr ? 0 : description->m_extension.size()));
}

void refusePackedOutput(const std::string& outputName) {
    if (const Description* const description = describeFile(outputName))
        throw ToolFailure(ExitCode::USAGE, "output '" + outputName + "' would not be compressed as " +
                                               description->m_name +
                                               ", as its name says; give it another name and compress it afterwards");
}

void failAsUnsound(const PackedFormat format, const std::string& cause) {
    throw ToolFailure(ExitCode::FAILURE, std::string("not a sound ") +
                                             DESCRIPTIONS[static_cast<size_t>(format)].m_name + " file: " + cause);
}

void failAsTooLarge(const size_t largestMemory) {
    throw ToolFailure(ExitCode::FAILURE, "decompressing it takes more than the " + std::to_string(largestMemory >> 20) +
                                             " MiB of memory allowed");
}
