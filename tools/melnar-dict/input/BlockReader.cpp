#include "tools/melnar-dict/input/BlockReader.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

namespace {

constexpr std::string_view BYTE_ORDER_MARK("\xEF\xBB\xBF");

void enlarge(Block& block, const size_t capacity) {
    if (block.m_capacity >= capacity)
        return;
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    if (block.m_end != 0)
        std::memcpy(bytes.get(), block.m_bytes.get(), block.m_end);
    block.m_bytes = std::move(bytes);
    block.m_capacity = capacity;
}

} // namespace

BlockReader::BlockReader(std::unique_ptr<ByteSource> source, const size_t blockSize, const size_t maximumLine)
    : m_source(std::move(source)), m_blockSize(blockSize), m_maximumLine(maximumLine) {}

bool BlockReader::next(Block& block) {
    const std::lock_guard guard(m_mutex);
    block.m_begin = block.m_end = 0;
    if (!m_failure)
        try {
            fill(block);
        } catch (...) {
            block.m_begin = block.m_end = 0;
            m_failure = std::current_exception();
        }
    if (block.m_begin != block.m_end) {
        block.m_sequence = m_nextSequence++;
        return true;
    }
    m_atEnd = true;
    m_remainder.clear();
    if (const std::exception_ptr failure = std::exchange(m_failure, nullptr))
        std::rethrow_exception(failure);
    return false;
}

uint64_t BlockReader::getNumberOfBlocks() const {
    const std::lock_guard guard(m_mutex);
    return m_nextSequence;
}

void BlockReader::fill(Block& block) {
    size_t size = std::max(m_blockSize, m_remainder.size());
    enlarge(block, size);
    block.m_end = m_remainder.copy(block.m_bytes.get(), m_remainder.size());
    m_remainder.clear();
    readMore(block, size);
    if (m_nextSequence == 0 && block.getText().starts_with(BYTE_ORDER_MARK))
        block.m_begin = BYTE_ORDER_MARK.size();
    while (!m_atEnd && findCut(block) == block.m_begin) {
        const size_t length = block.getText().size();
        if (length > m_maximumLine && length - m_maximumLine >= 2) { // also without a line end that is cut off
            dropRestOfLongLine(block);
            size = block.m_end + m_blockSize;
        } else
            size *= 2;
        enlarge(block, size);
        readMore(block, size);
    }
    // Only at the true end of the file is a last line without an end a line; where reading failed it is a fragment.
    const size_t cut = m_atEnd && !m_failure ? block.m_end : findCut(block);
    if (!m_atEnd)
        m_remainder.assign(block.m_bytes.get() + cut, block.m_end - cut);
    block.m_end = cut;
}

/// Drops what the only line of a block has beyond the maximum and a byte, up to its end.
void BlockReader::dropRestOfLongLine(Block& block) {
    const size_t kept = block.m_begin + m_maximumLine + 1;
    enlarge(block, kept + m_blockSize);
    char* const rest = block.m_bytes.get() + kept;
    for (;;) {
        char* const end = block.m_bytes.get() + block.m_end;
        char* const lineEnd = std::find_if(rest, end, [](const char byte) { return byte == '\n' || byte == '\r'; });
        block.m_end = static_cast<size_t>(std::move(lineEnd, end, rest) - block.m_bytes.get());
        if (lineEnd != end || m_atEnd)
            return;
        readMore(block, block.m_capacity);
    }
}

/// Fills the block up to a size, as far as the source goes.
void BlockReader::readMore(Block& block, const size_t size) {
    try {
        while (!m_atEnd && block.m_end != size) {
            const size_t numberOfBytes = m_source->read(block.m_bytes.get() + block.m_end, size - block.m_end);
            block.m_end += numberOfBytes;
            m_atEnd = numberOfBytes == 0;
        }
    } catch (...) {
        m_failure = std::current_exception();
        m_atEnd = true;
    }
}

/// The place behind the last line end, or the block's begin when there is none.
size_t BlockReader::findCut(const Block& block) const {
    if (m_maximumLine == WITHOUT_LINES)
        return block.m_end;
    const std::string_view text = block.getText();
    const size_t lineFeed = text.rfind('\n');
    if (lineFeed != std::string_view::npos)
        return block.m_begin + lineFeed + 1;
    // The last byte may be the first half of a line end of two bytes.
    const size_t carriageReturn = text.substr(0, text.empty() ? 0 : text.size() - 1).rfind('\r');
    return carriageReturn == std::string_view::npos ? block.m_begin : block.m_begin + carriageReturn + 1;
}
