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

BlockReader::BlockReader(std::unique_ptr<ByteSource> source, const size_t blockSize, const size_t maximumLine,
                         const RdfFormat format, const Begin begin)
    : m_source(std::move(source)), m_blockSize(blockSize), m_maximumLine(maximumLine), m_format(format),
      m_begin(begin) {}

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
    // One more byte may be needed to recognize the end of a line that is too long.
    const size_t size =
        m_isInLongLine ? m_remainder.size() + m_blockSize + 1 : std::max(m_blockSize, m_remainder.size());
    enlarge(block, size);
    block.m_end = m_remainder.copy(block.m_bytes.get(), m_remainder.size());
    m_remainder.clear();
    readMore(block, size);
    if (m_begin == Begin::OF_FILE && m_nextSequence == 0 && block.getText().starts_with(BYTE_ORDER_MARK))
        block.m_begin = BYTE_ORDER_MARK.size();
    block.m_lengthOfRest = m_isInLongLine ? passLongLine(block.getText()) : 0;
    const size_t endOfRest = block.m_begin + block.m_lengthOfRest;
    const size_t cut = m_isInLongLine
                           ? endOfRest
                           : std::max(endOfRest, isLineFormat(m_format) ? cutLines(block) : findStatementEnd(block));
    if (!m_atEnd)
        m_remainder.assign(block.m_bytes.get() + cut, block.m_end - cut);
    block.m_end = cut;
}

/// Returns the length of the part here of a line that started in an earlier block.
size_t BlockReader::passLongLine(const std::string_view text) {
    const size_t lineEnd = text.find_first_of("\n\r");
    if (lineEnd == std::string_view::npos)
        return text.size();
    // The last byte may be the first half of a line end of two bytes.
    if (lineEnd + 1 == text.size() && text[lineEnd] == '\r' && !m_atEnd)
        return lineEnd;
    m_isInLongLine = false;
    return lineEnd + (text.substr(lineEnd).starts_with("\r\n") ? 2 : 1);
}

/// Reads more until the block contains a whole line or is known to contain none; returns the position at which to cut
/// it.
size_t BlockReader::cutLines(Block& block) {
    for (;;) {
        // A last line without an end is a line only at the true end of the file; after a read failure it is a fragment.
        const size_t cut = m_atEnd && !m_failure ? block.m_end : findCut(block);
        if (m_atEnd || cut != block.m_begin)
            return cut;
        const size_t length = block.getText().size();
        m_isInLongLine = length > m_maximumLine && length - m_maximumLine >= 2; // also without half a line end
        if (m_isInLongLine)
            return block.m_begin + m_maximumLine + 1;
        const size_t size = 2 * block.m_end;
        enlarge(block, size);
        readMore(block, size);
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

/// Returns the position after the last line end, or the start of the block if there is none.
size_t BlockReader::findCut(const Block& block) const {
    const std::string_view text = block.getText();
    const size_t lineFeed = text.rfind('\n');
    if (lineFeed != std::string_view::npos)
        return block.m_begin + lineFeed + 1;
    // The last byte may be the first half of a line end of two bytes.
    const size_t carriageReturn = text.substr(0, text.empty() ? 0 : text.size() - 1).rfind('\r');
    return carriageReturn == std::string_view::npos ? block.m_begin : block.m_begin + carriageReturn + 1;
}

/// Returns where a statement seems to end, or the end of the block if there is none, and records where the block and
/// the next one start.
size_t BlockReader::findStatementEnd(Block& block) {
    const std::string_view text = block.getText();
    if (m_nextSequence == 0)
        m_places.startText(text.data(), {1, 1, block.m_begin});
    block.m_place = m_places.getBegin();
    block.m_cut = std::exchange(m_cut, Rdf::TurtleRelay::Cut::ANYWHERE);
    size_t size = m_atEnd ? 0 : Rdf::TurtleRelay::findCut(text, makeReaderOptions(m_format, false, 0).m_syntax, m_cut);
    if (size == 0)
        size = text.size();
    m_places.startText(text.data());
    m_places.endText(text.data() + size);
    return block.m_begin + size;
}
