#pragma once

#include "tools/melnar-dict/input/PackedFormat.h"

#include <cstddef>
#include <string>

/// What a library makes of a compressed file.
struct PlainText {
    std::string m_text;     // at most the largest size; of an unsound file, what was decompressed before the error
    bool m_isSound = false; // unknown if the text has the largest size: the rest has not been read
};

/// Decompresses a file in the simplest way, by one thread: all its streams, and zero bytes after them as the format's
/// users expect. Of gzip, by another library than the tool's.
PlainText decodePlainly(PackedFormat format, const std::string& packed, size_t largestText);

/// Returns a gzip member with the correct checksum and length for its data, after a header without optional fields; the
/// bytes themselves if their data cannot be decompressed, or to more than the largest text.
std::string repairGzip(const std::string& packed, size_t largestText);
