#include "tools/melnar-dict/input/DecodingSource.h"

#include <utility>

DecodingSource::DecodingSource(std::unique_ptr<ByteSource> packed, const PackedFormat format,
                               std::unique_ptr<Decoder> decoder)
    : m_source(std::move(packed)), m_format(format), m_decoder(std::move(decoder)),
      m_buffer(std::make_unique_for_overwrite<char[]>(PACKED_BUFFER_SIZE)) {}

size_t DecodingSource::read(char* const buffer, const size_t size) {
    std::span<char> unpacked(buffer, size);
    try {
        if (m_failure)
            std::rethrow_exception(std::exchange(m_failure, nullptr));
        while (unpacked.size() == size && !m_isAtEnd)
            fill(unpacked);
    } catch (...) {
        m_isAtEnd = true;
        if (unpacked.size() == size)
            throw;
        m_failure = std::current_exception();
    }
    return size - unpacked.size();
}

void DecodingSource::fill(std::span<char>& unpacked) {
    // A decoder may hold bytes of the buffer that it returns later, so it gets others only when it requests them.
    if (m_isHungry && m_packed.empty() && !m_isLast) {
        m_packed = {m_buffer.get(), m_source->read(m_buffer.get(), PACKED_BUFFER_SIZE)};
        m_isLast = m_packed.empty();
    }
    const bool mayEnd = m_decoder->decode(m_packed, m_isLast, unpacked);
    m_isHungry = !unpacked.empty();
    if (m_isLast && m_isHungry) {
        m_isAtEnd = true;
        if (!mayEnd)
            failAsUnsound(m_format, "it ends early");
    }
}
