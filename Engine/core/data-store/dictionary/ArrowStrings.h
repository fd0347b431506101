#pragma once

#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/platform/MelnarException.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The offsets of Arrow's layouts for strings: 32 bits (utf8, binary) or 64 (large_utf8, large_binary).
template<class T>
concept ArrowOffset = std::same_as<T, int32_t> || std::same_as<T, int64_t>;

/// A column of strings in Arrow's layout: the bytes of all strings one after the other, the offsets at which they start
/// and, last, the offset at which they end. For a slice, the offsets are those of the slice, and m_validityOffset is
/// the number of its first string.
///
///     ArrowStrings<int32_t> cities{bytes, std::span(offsets, numberOfCities + 1)};
///
/// Units      Offsets count bytes.
/// Ownership  Refers to the caller's buffers, which must be as large as the offsets and the number of strings say.
/// Threads    Any threads at any time.
/// Errors     Only those of check. Offsets must not be trusted before it was called.
template<ArrowOffset Offset>
struct ArrowStrings {
    const char* m_bytes = nullptr;       ///< of all strings
    std::span<const Offset> m_offsets{}; ///< one more than there are strings; or none if there are no strings

    /// One bit per string, lowest bit first, 0 for a null; or no nulls if null.
    const uint8_t* m_validity = nullptr;

    size_t m_validityOffset = 0; ///< the number of the first string's bit

    /// Returns the number of strings.
    size_t size() const noexcept { return m_offsets.empty() ? 0 : m_offsets.size() - 1; }

    /// Returns whether a string is a null.
    bool isNull(const size_t index) const noexcept {
        const size_t bit = m_validityOffset + index;
        return m_validity != nullptr && (m_validity[bit / 8] >> (bit % 8) & 1) == 0;
    }

    /// Returns the bytes between two offsets, also for a null.
    std::string_view getText(const size_t index) const noexcept {
        const Offset begin = m_offsets[index];
        return {m_bytes + begin, static_cast<size_t>(m_offsets[index + 1] - begin)};
    }

    /// Throws MelnarException unless the offsets ascend from 0 or more, and there are bytes if an offset is not 0. It
    /// is a ColumnException for the first string that ends before it starts.
    void check() const {
        if (m_offsets.empty())
            return;
        if (m_offsets.front() < 0)
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_NEGATIVE_OFFSET, MelnarException::NO_CAUSES,
                                  "The offsets of a column of strings begin with ", std::to_string(m_offsets.front()),
                                  ".");
        bool isAscending = true; // without a branch, so that the compiler can vectorise
        for (size_t index = 0; index < size(); ++index)
            isAscending &= m_offsets[index] <= m_offsets[index + 1];
        if (!isAscending)
            refuseOrder();
        if (m_bytes == nullptr && m_offsets.back() != 0)
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_NO_BYTES, MelnarException::NO_CAUSES,
                                  "A column of strings has offsets up to ", std::to_string(m_offsets.back()),
                                  ", but no bytes.");
    }

private:
    static constexpr const char* SOURCE_FILE = "Engine/core/data-store/dictionary/ArrowStrings";
    static constexpr long LINE_NEGATIVE_OFFSET = 52;
    static constexpr long LINE_NO_BYTES = 61;
    static constexpr long LINE_DESCENDING_OFFSETS = 79;

    [[noreturn]] void refuseOrder() const {
        size_t index = 0;
        while (m_offsets[index] <= m_offsets[index + 1])
            ++index;
        throw ColumnException(FailureKind::MISUSE, SOURCE_FILE, LINE_DESCENDING_OFFSETS, MelnarException::NO_CAUSES,
                              index, "it begins at offset ", std::to_string(m_offsets[index]),
                              ", and ends before that, at ", std::to_string(m_offsets[index + 1]), ".");
    }
};
