#pragma once

#include "Engine/core/data-store/dictionary/ArrowStrings.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Buffers in Arrow's layout with texts, some of which may be nulls, as a slice of a longer column: there are other
/// strings and validity bits before and after the slice.
template<ArrowOffset Offset>
class ArrowTexts {
public:
    explicit ArrowTexts(const std::vector<std::optional<std::string>>& texts, const size_t numberOfOthers = 11)
        : m_numberOfOthers(numberOfOthers), m_size(texts.size()) {
        for (size_t index = 0; index < numberOfOthers; ++index)
            append("other " + std::to_string(index));
        for (const std::optional<std::string>& text : texts)
            append(text);
        append("the last other");
    }

    ArrowStrings<Offset> get() const {
        return {m_bytes.data(), std::span(m_offsets).subspan(m_numberOfOthers, m_size + 1), m_validity.data(),
                m_numberOfOthers};
    }

private:
    void append(const std::optional<std::string>& text) {
        const size_t index = m_offsets.size() - 1;
        if (index % 8 == 0)
            m_validity.push_back(0);
        if (text.has_value())
            m_validity.back() |= static_cast<uint8_t>(1 << index % 8);
        m_bytes += text.value_or("the bytes of a null");
        m_offsets.push_back(static_cast<Offset>(m_bytes.size()));
    }

    size_t m_numberOfOthers;
    size_t m_size;
    std::string m_bytes;
    std::vector<Offset> m_offsets = std::vector<Offset>(1);
    std::vector<uint8_t> m_validity;
};
