#pragma once

#include <array>
#include <cstdint>

namespace melnar {

/// A 128-bit checksum over a sequence of numbers: each step is 128-bit XXH3 with seed 0 over the last value and the
/// next number, 24 bytes.
class ChecksumChain {
public:
    /// The lower 64 bits, then the upper ones.
    using Value = std::array<uint64_t, 2>;

    /// Continues after a value; the value of no numbers is 0.
    explicit ChecksumChain(const Value& value = {}) noexcept : m_value(value) {}

    void add(uint64_t number) noexcept;

    const Value& getValue() const noexcept { return m_value; }

private:
    Value m_value;
};

} // namespace melnar
