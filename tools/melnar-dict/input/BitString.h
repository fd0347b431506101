#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A sequence of bits that may start and end within bytes.
class BitString {
public:
    /// The maximum number of bits that are read or appended as one value.
    static constexpr size_t LARGEST_VALUE = 56;

    BitString() = default;

    /// The bits of some bytes from one position to before another; the highest bit of each byte is its first.
    BitString(std::string_view bytes, size_t begin, size_t end) { append(bytes, begin, end); }

    size_t size() const noexcept { return m_size; }

    /// Returns the bits in bytes; unused bits of the last byte are 0.
    const std::string& getBytes() const noexcept { return m_bytes; }

    void append(const BitString& other) { append(other.m_bytes, 0, other.m_size); }

    /// Appends the lowest bits of a value, the highest of them first.
    void append(uint64_t value, size_t numberOfBits);

    /// Returns some bits as a value, the first of them as the highest.
    uint64_t getValue(size_t begin, size_t numberOfBits) const noexcept;

private:
    void append(std::string_view bytes, size_t begin, size_t end);

    std::string m_bytes;
    size_t m_size = 0;
};
