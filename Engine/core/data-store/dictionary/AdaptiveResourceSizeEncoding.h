#pragma once

#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// The size header before every string in the data pool: 1, 2, 4 or 8 bytes, always the shortest that holds the size.
/// The low bits of the first byte determine the length:
///
///   size S                            bytes   stored, little-endian   low bits
///   S <= 0x7F                         1       S << 1                  0
///   S <= 0x3FFF                       2       S << 2 | 1              01
///   S <= 0x1FFFFFFF                   4       S << 3 | 3              011
///   S <= 0x1FFFFFFFFFFFFFFF           8       S << 3 | 7              111
///
/// Sizes are bytes and include the terminating zero. Headers need no alignment.
class AdaptiveResourceSizeEncoding {
public:
    static constexpr size_t MAXIMUM_SIZE = 0x1FFFFFFFFFFFFFFF;
    static constexpr size_t MAXIMUM_SIZE_IN_ONE_BYTE = 0x7F;
    static constexpr size_t MAXIMUM_HEADER_LENGTH = 8;

    AdaptiveResourceSizeEncoding() = delete;

    /// Throws MelnarException if no header can hold `size`.
    static void checkSize(const size_t size) {
        if (size > MAXIMUM_SIZE)
            throw MelnarException(FailureKind::REFUSED_LITERAL, SOURCE_FILE, LINE_RESOURCE_TOO_LARGE,
                                  MelnarException::NO_CAUSES,
                                  "The resource is larger than the largest resource supported by Melnar.");
    }

    /// Does the same for a lexical form of `length` bytes, which needs one byte more for its terminator. Any length is
    /// valid, also the largest one, which has no successor.
    static void checkLength(const size_t length) { checkSize(std::max(length, length + 1)); }

    /// Returns the length of the header for `size`.
    static constexpr size_t getEncodedSizeLength(const size_t size) noexcept {
        return size <= MAXIMUM_SIZE_IN_ONE_BYTE ? 1 : size <= 0x3FFF ? 2 : size <= 0x1FFFFFFF ? 4 : 8;
    }

    /// Writes the header for `size` and returns its length.
    static size_t encodeSize(uint8_t* const chunk, const size_t size) noexcept {
        if (size <= MAXIMUM_SIZE_IN_ONE_BYTE)
            return store(chunk, static_cast<uint8_t>(size << 1));
        if (size <= 0x3FFF)
            return store(chunk, static_cast<uint16_t>(size << 2 | 1));
        if (size <= 0x1FFFFFFF)
            return store(chunk, static_cast<uint32_t>(size << 3 | 3));
        return store(chunk, static_cast<uint64_t>(size << 3 | 7));
    }

    /// Reads a header into `size` and returns its length.
    static size_t decodeSize(const uint8_t* const chunk, size_t& size) noexcept {
        const uint8_t firstByte = *chunk;
        if ((firstByte & 1) == 0) [[likely]] {
            size = firstByte >> 1;
            return 1;
        }
        if ((firstByte & 3) == 1) {
            size = load<uint16_t>(chunk) >> 2;
            return 2;
        }
        if ((firstByte & 7) == 3) {
            size = load<uint32_t>(chunk) >> 3;
            return 4;
        }
        size = load<uint64_t>(chunk) >> 3;
        return 8;
    }

private:
    static constexpr const char* SOURCE_FILE = "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding";
    static constexpr long LINE_RESOURCE_TOO_LARGE = 37;

    template<class Header>
    static size_t store(uint8_t* const chunk, const Header header) noexcept {
        std::memcpy(chunk, &header, sizeof(header));
        return sizeof(header);
    }

    template<class Header>
    static Header load(const uint8_t* const chunk) noexcept {
        Header header;
        std::memcpy(&header, chunk, sizeof(header));
        return header;
    }
};
