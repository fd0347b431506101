#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// The possible lengths of a chunk's size header.
constexpr std::array<size_t, 4> HEADER_LENGTHS{1, 2, 4, 8};

/// Returns whether a header of this length can hold the size of a string with its terminator.
constexpr bool canHeaderHold(const size_t headerLength, const size_t lexicalFormLength) {
    const size_t freeBits = headerLength == 1 ? 7 : headerLength == 2 ? 14 : headerLength == 4 ? 29 : 61;
    return (lexicalFormLength + 1) >> freeBits == 0;
}

/// Makes the chunk of a string with a size header of a given length, which may be longer than necessary. Written by
/// hand: a number, lowest byte first, whose lowest bits 0, 01, 011 and 111 mean that the header has 1, 2, 4 and 8
/// bytes.
inline std::vector<uint8_t> makeChunk(const std::string_view lexicalForm, const size_t headerLength) {
    const uint64_t storedSize = lexicalForm.size() + 1;
    const uint64_t header = headerLength == 1   ? storedSize << 1
                            : headerLength == 2 ? storedSize << 2 | 1
                            : headerLength == 4 ? storedSize << 3 | 3
                                                : storedSize << 3 | 7;
    std::vector<uint8_t> chunk;
    for (size_t index = 0; index < headerLength; ++index)
        chunk.push_back(static_cast<uint8_t>(header >> 8 * index));
    chunk.insert(chunk.end(), lexicalForm.begin(), lexicalForm.end());
    chunk.push_back(0);
    return chunk;
}
