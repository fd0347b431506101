#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A row of bits that may begin and end within bytes.
class BitString {
public:
    /// The most bits that are read or appended as one value.
    static constexpr size_t LARGEST_VALUE = 56;

    BitString() = default;

    /// The bits of some bytes from one place to before another, the highest of each byte being its first.
    BitString(std::string_view bytes, size_t begin, size_t end) { append(bytes, begin, end); }

    size_t size() const noexcept { return m_size; }

    /// The bits in bytes; what the last byte has beyond them is 0.
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
