#include "Reader/StreamReader.h"

#include <algorithm>
#include <cstring>

namespace Rdf {

std::span<char> StreamReader::getSpace() {
    if (m_capacity - m_size < SMALLEST_SPACE / 2 || m_capacity < m_sizeToRead) {
        const size_t capacity = std::max(m_size + SMALLEST_SPACE, 2 * m_size);
        auto buffer = std::make_unique_for_overwrite<char[]>(capacity);
        std::copy_n(m_buffer.get(), m_size, buffer.get());
        m_buffer = std::move(buffer);
        m_capacity = capacity;
    }
    return {m_buffer.get() + m_size, m_capacity - m_size};
}

void StreamReader::addText(const size_t size) {
    m_size += size;
    if (m_size >= m_sizeToRead)
        read(false);
}

void StreamReader::feed(std::string_view text) {
    while (!text.empty()) {
        const std::span<char> space = getSpace();
        const size_t size = std::min(space.size(), text.size());
        std::copy_n(text.data(), size, space.data());
        text.remove_prefix(size);
        addText(size);
    }
}

void StreamReader::finish() {
    getSpace(); // there is a buffer even if the input is empty
    read(true);
}

void StreamReader::read(const bool isLast) {
    const size_t size = m_reader.read({m_buffer.get(), m_size}, isLast);
    m_size -= size;
    std::memmove(m_buffer.get(), m_buffer.get() + size, m_size);
    m_sizeToRead = 2 * m_size;
}

} // namespace Rdf
