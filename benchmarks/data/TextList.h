#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// Strings one after the other in one buffer. Reading them in order reads memory in order, as in a loader that has just
/// parsed them.
///
/// Units   Sizes are bytes, indices count strings.
/// Errors  append throws std::length_error when the bytes of all strings exceed 4 GiB: an end takes four bytes, since
///         tens of millions of strings are stored several times.
class TextList {
public:
    void reserve(size_t numberOfTexts, size_t numberOfBytes);
    void append(std::string_view text);

    size_t getSize() const noexcept { return m_ends.size() - 1; }
    size_t getTextBytes() const noexcept { return m_bytes.size(); }

    std::string_view operator[](const size_t index) const noexcept {
        return {m_bytes.data() + m_ends[index], m_ends[index + 1] - m_ends[index]};
    }

    /// Returns the strings with these indices, each as often as its index occurs.
    TextList select(std::span<const uint32_t> indices) const;

private:
    std::vector<char> m_bytes;
    std::vector<uint32_t> m_ends{0}; // the end of each string; the first one is the start of all
};
