#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Rdf {

/// Memory for texts of one statement that are not in the input in their final form. Texts never move.
class TextArena {
public:
    /// Returns `size` bytes, valid until clear.
    char* allocate(const size_t size) {
        if (size > m_capacity - m_used || m_blocks.empty())
            addBlock(size);
        char* const text = m_blocks.back().get() + m_used;
        m_used += size;
        return text;
    }

    /// Returns the space that is available without another block, for a text of unknown size.
    std::span<char> getRoom() const noexcept {
        return m_blocks.empty() ? std::span<char>() : std::span(m_blocks.back().get() + m_used, m_capacity - m_used);
    }

    /// Frees all texts; keeps the largest block, which is the last.
    void clear() noexcept {
        if (m_used == 0)
            return;
        if (m_blocks.size() > 1)
            m_blocks.erase(m_blocks.begin(), m_blocks.end() - 1);
        m_used = 0;
    }

private:
    static constexpr size_t SMALLEST_BLOCK = 4096;

    void addBlock(const size_t size) {
        const size_t capacity = std::max({SMALLEST_BLOCK, 2 * m_capacity, size});
        m_blocks.push_back(std::make_unique_for_overwrite<char[]>(capacity));
        m_capacity = capacity;
        m_used = 0;
    }

    std::vector<std::unique_ptr<char[]>> m_blocks;
    size_t m_capacity = 0; // of the last block
    size_t m_used = 0;     // of the last block
};

} // namespace Rdf
