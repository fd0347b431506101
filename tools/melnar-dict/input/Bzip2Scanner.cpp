#include "tools/melnar-dict/input/Bzip2Scanner.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr size_t BITS_PER_BYTE = 8;
constexpr size_t BYTES_AT_ONCE = 256 * 1024;
constexpr uint64_t MAGIC_MASK = (uint64_t(1) << Bzip2Scanner::MAGIC_SIZE) - 1;

bool isMagic(const uint64_t bits) noexcept {
    return bits == Bzip2Scanner::BLOCK_MAGIC || bits == Bzip2Scanner::END_MAGIC;
}

/// The bytes that are possible before the byte in which a magic ends.
constexpr std::array<bool, 256> makeCandidates() {
    std::array<bool, 256> candidates{};
    for (const uint64_t magic : {Bzip2Scanner::BLOCK_MAGIC, Bzip2Scanner::END_MAGIC})
        for (size_t shift = 0; shift < BITS_PER_BYTE; ++shift)
            candidates[magic << shift >> BITS_PER_BYTE & 0xFF] = true;
    return candidates;
}

constexpr std::array<bool, 256> CANDIDATES = makeCandidates();

Bzip2Stretch::Kind kindOf(const BitString& bits) noexcept {
    if (bits.size() < Bzip2Scanner::MAGIC_SIZE)
        return Bzip2Stretch::Kind::OTHER;
    const uint64_t magic = bits.getValue(0, Bzip2Scanner::MAGIC_SIZE);
    return magic == Bzip2Scanner::BLOCK_MAGIC ? Bzip2Stretch::Kind::BLOCK
           : magic == Bzip2Scanner::END_MAGIC ? Bzip2Stretch::Kind::END_OF_STREAM
                                              : Bzip2Stretch::Kind::OTHER;
}

} // namespace

Bzip2Scanner::Bzip2Scanner(std::unique_ptr<ByteSource> packed) : m_source(std::move(packed)) {}

std::optional<Bzip2Stretch> Bzip2Scanner::next() {
    std::optional<size_t> end = findMagic();
    while (!end)
        if (getNumberOfBits() - m_begin > LARGEST_STRETCH)
            end = getNumberOfBits() - MAGIC_SIZE; // A magic may have started after that.
        else if (readMore())
            end = findMagic();
        else
            end = getNumberOfBits();
    if (m_begin == *end)
        return std::nullopt;
    BitString bits(m_bytes, m_begin, *end);
    const Bzip2Stretch::Kind kind = kindOf(bits);
    return Bzip2Stretch{kind, std::exchange(m_begin, *end) % BITS_PER_BYTE, std::move(bits)};
}

size_t Bzip2Scanner::getNumberOfBits() const noexcept {
    return m_bytes.size() * BITS_PER_BYTE;
}

/// Returns where the first magic after the start of the stretch starts.
std::optional<size_t> Bzip2Scanner::findMagic() noexcept {
    uint64_t window = 0; // the last bytes
    for (size_t index = m_numberOfScanned - std::min(m_numberOfScanned, sizeof window); index < m_numberOfScanned;
         ++index)
        window = window << BITS_PER_BYTE | static_cast<uint8_t>(m_bytes[index]);
    for (; m_numberOfScanned < m_bytes.size(); ++m_numberOfScanned) {
        window = window << BITS_PER_BYTE | static_cast<uint8_t>(m_bytes[m_numberOfScanned]);
        if (CANDIDATES[window >> BITS_PER_BYTE & 0xFF])
            for (size_t shift = BITS_PER_BYTE; shift-- != 0;) {
                const size_t end = (m_numberOfScanned + 1) * BITS_PER_BYTE - shift;
                if (isMagic(window >> shift & MAGIC_MASK) && end > m_begin + MAGIC_SIZE)
                    return end - MAGIC_SIZE;
            }
    }
    return std::nullopt;
}

/// Drops the bytes before the stretch and appends others. Returns false at the end of the source.
bool Bzip2Scanner::readMore() {
    const size_t dropped = m_begin / BITS_PER_BYTE;
    m_bytes.erase(0, dropped);
    m_begin -= dropped * BITS_PER_BYTE;
    m_numberOfScanned -= dropped;
    const size_t size = m_bytes.size();
    m_bytes.resize(size + BYTES_AT_ONCE);
    m_bytes.resize(size + m_source->read(m_bytes.data() + size, BYTES_AT_ONCE));
    return m_bytes.size() != size;
}
