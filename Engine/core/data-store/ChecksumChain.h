#pragma once

#include <array>
#include <cstdint>

namespace melnar {

/// A checksum of 128 bits over numbers that come one after the other: after each, XXH3 with 128 bits and seed 0 over
/// the last value and the number, 24 bytes.
class ChecksumChain {
public:
    /// The lower 64 bits and the upper ones.
    using Value = std::array<uint64_t, 2>;

    /// Continues after a value, which is 0 for no numbers.
    explicit ChecksumChain(const Value& value = {}) noexcept : m_value(value) {}

    void add(uint64_t number) noexcept;

    const Value& getValue() const noexcept { return m_value; }

private:
    Value m_value;
};

} // namespace melnar
