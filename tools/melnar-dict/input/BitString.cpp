#include "tools/melnar-dict/input/BitString.h"

#include <algorithm>

namespace {

constexpr size_t BITS_PER_BYTE = 8;

uint64_t readBits(const std::string_view bytes, const size_t begin, const size_t numberOfBits) noexcept {
    const size_t endByte = (begin + numberOfBits + BITS_PER_BYTE - 1) / BITS_PER_BYTE;
    uint64_t value = 0;
    for (size_t index = begin / BITS_PER_BYTE; index < endByte; ++index)
        value = value << BITS_PER_BYTE | static_cast<uint8_t>(bytes[index]);
    return value >> (endByte * BITS_PER_BYTE - begin - numberOfBits) & ((uint64_t(1) << numberOfBits) - 1);
}

} // namespace

void BitString::append(const std::string_view bytes, size_t begin, const size_t end) {
    m_bytes.reserve((m_size + end - begin) / BITS_PER_BYTE + 1);
    while (begin < end) {
        const size_t numberOfBits = std::min(end - begin, LARGEST_VALUE);
        append(readBits(bytes, begin, numberOfBits), numberOfBits);
        begin += numberOfBits;
    }
}

void BitString::append(const uint64_t value, size_t numberOfBits) {
    while (numberOfBits != 0) {
        const size_t used = m_size % BITS_PER_BYTE;
        if (used == 0)
            m_bytes += '\0';
        const size_t taken = std::min(numberOfBits, BITS_PER_BYTE - used);
        numberOfBits -= taken;
        m_size += taken;
        const uint64_t bits = value >> numberOfBits & ((uint64_t(1) << taken) - 1);
        m_bytes.back() =
            static_cast<char>(static_cast<uint8_t>(m_bytes.back()) | bits << (BITS_PER_BYTE - used - taken));
    }
}

uint64_t BitString::getValue(const size_t begin, const size_t numberOfBits) const noexcept {
    return readBits(m_bytes, begin, numberOfBits);
}
