#pragma once

#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tools/melnar-dict/input/Bzip2Scanner.h"
#include "tools/melnar-dict/input/PackedFormat.h"

#include <string>
#include <utility>
#include <vector>

/// Compresses a text into one stream.
inline std::string pack(const PackedFormat format, const std::string& text) {
    switch (format) {
    case PackedFormat::GZIP:
        return gzip(text);
    case PackedFormat::BZIP2:
        return bzip2(text);
    case PackedFormat::XZ:
        return xz(text, {.m_blockSize = 1 << 16, .m_dictionarySize = 1 << 16}); // several threads read it
    default:
        return zstd(text);
    }
}

/// Makes small files of each format, of one stream and of several, with several blocks in a stream, and with blocks
/// that contain what looks like the start of another.
inline std::vector<std::string> makeSoundPackedFiles() {
    std::string numbers;
    while (numbers.size() < 250'000)
        numbers += "0123456789ABCDEF";
    std::vector<std::string> files;
    for (const PackedFormat format : {PackedFormat::GZIP, PackedFormat::BZIP2, PackedFormat::XZ, PackedFormat::ZSTD}) {
        const std::string one = pack(format, "<urn:s> <urn:p> \"one\" .\n");
        files.insert(files.end(), {one, one + pack(format, "") + one, pack(format, numbers)});
    }
    for (const uint64_t magic : {Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::END_MAGIC})
        files.push_back(bzip2(makeTextWithMagic(magic, '!')));
    files.push_back(xz("<urn:s> <urn:p> \"one\" .\n", {.m_dictionarySize = 1 << 16}) + std::string(8, '\0'));
    return files;
}
