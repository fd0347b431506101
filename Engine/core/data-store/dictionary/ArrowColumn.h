#pragma once

#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/platform/Unmovable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {
template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
class DictionaryTermColumns;
} // namespace melnar

/// Strings that decode of Dictionary or ShardedDictionary has read together, in buffers with Arrow's layout. A column
/// that is filled again keeps its buffers, which grow only for more strings or longer ones.
///
/// Ownership  Owns the buffers.
/// Addresses  Stay the same until the column is filled again or destroyed.
/// Threads    One at a time.
template<ArrowOffset Offset>
class ArrowColumn : private Unmovable {
public:
    /// Returns a string for each ID, in the order of the IDs; a null for an ID without a resource.
    ArrowStrings<Offset> getStrings() const noexcept {
        return {m_bytes.data(), m_offsets, m_numberOfNulls == 0 ? nullptr : m_validity.data(), 0};
    }

    /// Returns how many of the strings are nulls.
    size_t getNumberOfNulls() const noexcept { return m_numberOfNulls; }

private:
    template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
    friend class melnar::DictionaryTermColumns;

    void clear() noexcept {
        m_bytes.clear();
        m_offsets.resize(1);
        m_validity.clear();
        m_numberOfNulls = 0;
    }

    void reserve(const size_t numberOfStrings) {
        m_offsets.reserve(numberOfStrings + 1);
        m_validity.reserve((numberOfStrings + 7) / 8);
    }

    /// Appends strings. `numberOfBytes` is the sum of their lengths. `getText(index)` returns each one; it is a null if
    /// it points nowhere. The offsets must be able to reach the end.
    template<class GetText>
    void append(const size_t numberOfStrings, const size_t numberOfBytes, const GetText& getText) {
        const size_t begin = m_offsets.size() - 1;
        size_t offset = m_bytes.size();
        m_bytes.resize(offset + numberOfBytes);
        m_offsets.resize(m_offsets.size() + numberOfStrings);
        m_validity.resize((begin + numberOfStrings + 7) / 8);
        for (size_t index = 0; index < numberOfStrings; ++index) {
            const std::string_view text = getText(index);
            std::copy(text.begin(), text.end(), m_bytes.data() + offset);
            offset += text.size();
            m_offsets[begin + index + 1] = static_cast<Offset>(offset);
            const bool isNull = text.data() == nullptr;
            m_validity[(begin + index) / 8] |= static_cast<uint8_t>(!isNull << ((begin + index) % 8));
            m_numberOfNulls += isNull;
        }
    }

    std::string m_bytes;
    std::vector<Offset> m_offsets = std::vector<Offset>(1);
    std::vector<uint8_t> m_validity;
    size_t m_numberOfNulls = 0;
};
