#include "benchmarks/data/TextList.h"

#include <limits>
#include <stdexcept>

void TextList::reserve(const size_t numberOfTexts, const size_t numberOfBytes) {
    m_ends.reserve(numberOfTexts + 1);
    m_bytes.reserve(numberOfBytes);
}

void TextList::append(const std::string_view text) {
    if (m_bytes.size() + text.size() > std::numeric_limits<uint32_t>::max())
        throw std::length_error("The strings of a list take more than 4 GiB.");
    m_bytes.insert(m_bytes.end(), text.begin(), text.end());
    m_ends.push_back(static_cast<uint32_t>(m_bytes.size()));
}

TextList TextList::select(const std::span<const uint32_t> indices) const {
    size_t numberOfBytes = 0;
    for (const uint32_t index : indices)
        numberOfBytes += (*this)[index].size();
    TextList selection;
    selection.reserve(indices.size(), numberOfBytes);
    for (const uint32_t index : indices)
        selection.append((*this)[index]);
    return selection;
}
