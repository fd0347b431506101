#include "tools/melnar-dict/input/Bzip2Block.h"

#include "tools/melnar-dict/input/Bzip2Scanner.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr size_t BITS_OF_CHECKSUM = 32;

BitString beginStream(const BitString& block) {
    constexpr std::string_view HEADER = "BZh9"; // for blocks of every size
    BitString stream(HEADER, 0, HEADER.size() * 8);
    stream.append(block);
    return stream;
}

/// Returns a stream of only this block; then the checksum of the stream is that of the block.
std::string makeStream(const BitString& block) {
    BitString stream = beginStream(block);
    if (block.size() >= Bzip2Scanner::MAGIC_SIZE + BITS_OF_CHECKSUM) {
        stream.append(Bzip2Scanner::END_MAGIC, Bzip2Scanner::MAGIC_SIZE);
        stream.append(block.getValue(Bzip2Scanner::MAGIC_SIZE, BITS_OF_CHECKSUM), BITS_OF_CHECKSUM);
    }
    return stream.getBytes();
}

} // namespace

Bzip2Block::Bzip2Block(const BitString& bits) : Bzip2Block(makeStream(bits)) {}

Bzip2Block::Bzip2Block(std::string stream) : m_stream(std::move(stream)) {
    if (BZ2_bzDecompressInit(&m_state, 0, 0) != BZ_OK)
        throw std::bad_alloc();
    m_state.next_in = m_stream.data();
    m_state.avail_in = static_cast<unsigned>(m_stream.size());
}

Bzip2Block::~Bzip2Block() {
    BZ2_bzDecompressEnd(&m_state);
}

Bzip2Block::State Bzip2Block::decode(std::span<char>& unpacked) {
    const int result = advance(unpacked);
    if (result == BZ_STREAM_END && m_state.avail_in == 0)
        return State::DONE;
    return result == BZ_OK && unpacked.empty() ? State::FULL : State::BROKEN;
}

bool Bzip2Block::couldBegin(const BitString& bits) {
    Bzip2Block block(beginStream(bits).getBytes());
    std::string buffer(256 * 1024, '\0');
    for (;;) {
        std::span<char> unpacked(buffer);
        const int result = block.advance(unpacked);
        if (result != BZ_OK || !unpacked.empty())
            return result == BZ_OK;
    }
}

int Bzip2Block::advance(std::span<char>& unpacked) {
    m_state.next_out = unpacked.data();
    m_state.avail_out = static_cast<unsigned>(std::min<size_t>(unpacked.size(), std::numeric_limits<unsigned>::max()));
    const int result = BZ2_bzDecompress(&m_state);
    if (result == BZ_MEM_ERROR)
        throw std::bad_alloc();
    unpacked = {m_state.next_out, unpacked.data() + unpacked.size()};
    return result;
}
