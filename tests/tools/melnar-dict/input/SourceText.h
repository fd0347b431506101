#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

/// Reads a source to its end, `bytesAtOnce` bytes at a time. After a failure the text contains what was read before.
inline void readInto(std::string& text, ByteSource& source, const size_t bytesAtOnce) {
    std::string buffer(bytesAtOnce, '\0');
    while (const size_t numberOfBytes = source.read(buffer.data(), buffer.size()))
        text.append(buffer, 0, numberOfBytes);
    EXPECT_EQ(0u, source.read(buffer.data(), buffer.size())) << "the end stays the end";
}

inline std::string readAll(ByteSource& source, const size_t bytesAtOnce = 4096) {
    std::string text;
    readInto(text, source, bytesAtOnce);
    return text;
}

/// Makes lines of numbers that do not compress to almost nothing.
inline std::string makeNumbers(const unsigned numberOfLines) {
    std::string text;
    for (unsigned number = 0; number < numberOfLines; ++number)
        text += std::to_string(number * 2654435761u) + '\n';
    return text;
}
