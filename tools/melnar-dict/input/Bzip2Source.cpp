#include "tools/melnar-dict/input/Bzip2Source.h"

#include "tools/melnar-dict/input/PackedFormat.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <span>
#include <utility>

namespace {

constexpr size_t BITS_PER_BYTE = 8;
constexpr size_t BITS_OF_CHECKSUM = 32;
constexpr size_t BITS_OF_END = Bzip2Scanner::MAGIC_SIZE + BITS_OF_CHECKSUM;
constexpr size_t BYTES_OF_HEADER = 4;
constexpr size_t BYTES_OF_MAGIC = Bzip2Scanner::MAGIC_SIZE / BITS_PER_BYTE;

// A block contains 900,000 bytes, in which a run of up to 255 bytes counts as 5: its text is usually a little longer,
// and can be 46 MB. A text that is longer than this is decompressed again by one thread, piece by piece.
constexpr size_t USUAL_TEXT = 1 << 20;
constexpr size_t LONGEST_TEXT_OF_A_THREAD = 4 << 20;

// A block rarely contains one by chance; in a file made of them, each would take time in proportion to the file.
constexpr size_t LARGEST_NUMBER_OF_FALSE_BEGINNINGS = 16;

constexpr const char* DAMAGED = "its data is damaged";
constexpr const char* FOLLOWED = "something else follows the compressed data";

[[noreturn]] void failWith(const char* const cause) {
    failAsUnsound(PackedFormat::BZIP2, cause);
}

uint32_t checksumIn(const BitString& bits) noexcept {
    return static_cast<uint32_t>(bits.getValue(Bzip2Scanner::MAGIC_SIZE, BITS_OF_CHECKSUM));
}

/// Returns whether the bytes are the header of a stream, or as much as there is of a header and of the bytes after it.
bool beginsHeader(const std::string_view bytes) noexcept {
    return std::string_view("BZh").starts_with(bytes.substr(0, 3)) &&
           (bytes.size() < BYTES_OF_HEADER || (bytes[3] >= '1' && bytes[3] <= '9'));
}

} // namespace

Bzip2Source::Bzip2Source(std::unique_ptr<ByteSource> packed, const size_t numberOfThreads)
    : m_scanner(std::move(packed)), m_largestNumberOfPending(numberOfThreads + 1) {}

size_t Bzip2Source::read(char* const buffer, const size_t size) {
    for (;;) {
        if (m_delivered != m_text.size()) {
            const size_t numberOfBytes = m_text.copy(buffer, size, m_delivered);
            m_delivered += numberOfBytes;
            return numberOfBytes;
        }
        if (m_largeBlock) {
            std::span<char> unpacked(buffer, size);
            if (m_largeBlock->decode(unpacked) != Bzip2Block::State::FULL) // the end: the block is sound
                m_largeBlock.reset();
            if (unpacked.size() != size)
                return size - unpacked.size();
        } else if (!unpackNext())
            return 0;
    }
}

/// Called by any thread.
Bzip2Source::BlockText Bzip2Source::unpackBlock(const BitString& bits) {
    Bzip2Block block(bits);
    BlockText result{Bzip2Block::State::FULL, {}};
    for (size_t capacity = USUAL_TEXT;
         result.m_state == Bzip2Block::State::FULL && capacity <= LONGEST_TEXT_OF_A_THREAD; capacity *= 2) {
        const size_t size = result.m_text.size();
        result.m_text.resize(capacity);
        std::span<char> unpacked = std::span(result.m_text).subspan(size);
        result.m_state = block.decode(unpacked);
        result.m_text.resize(capacity - unpacked.size());
    }
    if (result.m_state == Bzip2Block::State::DONE)
        return result;
    // No text of a block is delivered before it is known to be sound: it may be cut, and continue in the next stretch.
    while (result.m_state == Bzip2Block::State::FULL) {
        std::span<char> unpacked(result.m_text);
        result.m_state = block.decode(unpacked);
    }
    if (result.m_state == Bzip2Block::State::DONE)
        result.m_state = Bzip2Block::State::FULL;
    result.m_text.clear();
    return result;
}

/// Gives every thread a stretch that looks like a block. Afterwards nothing is pending only at the end of the file.
void Bzip2Source::startThreads() {
    try {
        while (!m_isScanned && m_pending.size() < m_largestNumberOfPending)
            if (std::optional<Bzip2Stretch> next = m_scanner.next()) {
                const auto stretch = std::make_shared<const Bzip2Stretch>(std::move(*next));
                std::future<BlockText> text;
                if (stretch->m_kind == Bzip2Stretch::Kind::BLOCK)
                    text = std::async(std::launch::async, [stretch] { return unpackBlock(stretch->m_bits); });
                m_pending.push_back({stretch, std::move(text)});
            } else
                m_isScanned = true;
    } catch (...) {
        m_isScanned = true;
        m_scanFailure = std::current_exception();
    }
}

/// Takes the next stretch. Returns false at the end of the file.
bool Bzip2Source::unpackNext() {
    startThreads();
    if (m_pending.empty()) {
        if (m_position == Position::IN_STREAM || m_scanFailure)
            failAtEnd();
        return false;
    }
    Pending first = std::move(m_pending.front());
    m_pending.pop_front();
    const Bzip2Stretch& stretch = *first.m_stretch;
    if (stretch.m_kind == Bzip2Stretch::Kind::OTHER)
        takeBytesBetweenStreams(stretch.m_bits.getBytes());
    else if (m_position == Position::IN_PADDING)
        failWith(FOLLOWED);
    else if (m_position != Position::IN_STREAM)
        failWith(DAMAGED);
    else if (stretch.m_kind == Bzip2Stretch::Kind::END_OF_STREAM)
        takeEndOfStream(stretch);
    else
        takeBlock(stretch.m_bits, first.m_text.get());
    return true;
}

/// Takes the block that starts with the bits of a stretch, which has this text.
void Bzip2Source::takeBlock(BitString bits, BlockText text) {
    for (size_t number = 0; text.m_state == Bzip2Block::State::BROKEN; ++number) {
        startThreads();
        if (m_pending.empty() && Bzip2Block::couldBegin(bits))
            failAtEnd();
        if (m_pending.empty() || number == LARGEST_NUMBER_OF_FALSE_BEGINNINGS)
            failWith(DAMAGED);
        bits.append(m_pending.front().m_stretch->m_bits);
        m_pending.pop_front();
        if (bits.size() > Bzip2Scanner::LARGEST_STRETCH)
            failWith(DAMAGED);
        text = unpackBlock(bits);
    }
    m_checksum = std::rotl(m_checksum, 1) ^ checksumIn(bits);
    m_text = std::move(text.m_text);
    m_delivered = 0;
    if (text.m_state == Bzip2Block::State::FULL)
        m_largeBlock = std::make_unique<Bzip2Block>(bits);
}

void Bzip2Source::takeEndOfStream(const Bzip2Stretch& stretch) {
    if (stretch.m_bits.size() < BITS_OF_END) {
        if (m_pending.empty())
            failAtEnd();
        failWith(DAMAGED);
    }
    if (checksumIn(stretch.m_bits) != m_checksum)
        failWith("its checksum does not match its data");
    m_position = Position::BETWEEN_STREAMS;
    // The last byte of the stream is padded.
    const size_t bitsOfLastByte = (stretch.m_offset + BITS_OF_END) % BITS_PER_BYTE;
    const size_t begin = BITS_OF_END + (bitsOfLastByte == 0 ? 0 : BITS_PER_BYTE - bitsOfLastByte);
    takeBytesBetweenStreams(
        BitString(stretch.m_bits.getBytes(), std::min(begin, stretch.m_bits.size()), stretch.m_bits.size()).getBytes());
}

/// Takes the header of a stream, or padding.
void Bzip2Source::takeBytesBetweenStreams(const std::string& bytes) {
    if (m_position == Position::IN_STREAM)
        failWith(DAMAGED);
    if (bytes.empty())
        return;
    if (bytes.find_first_not_of('\0') == std::string::npos)
        m_position = Position::IN_PADDING;
    else if (m_position == Position::IN_PADDING || !beginsHeader(bytes))
        failWith(FOLLOWED);
    else if (bytes.size() != BYTES_OF_HEADER) {
        if (m_pending.empty() && bytes.size() < BYTES_OF_HEADER + BYTES_OF_MAGIC)
            failAtEnd();
        failWith(DAMAGED);
    } else {
        m_position = Position::IN_STREAM;
        m_checksum = 0;
    }
}

/// Fails where the file should continue.
void Bzip2Source::failAtEnd() {
    if (m_scanFailure)
        std::rethrow_exception(std::exchange(m_scanFailure, nullptr));
    failWith("it ends early");
}
