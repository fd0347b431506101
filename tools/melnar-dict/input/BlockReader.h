#pragma once

#include "tools/melnar-dict/input/Block.h"
#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/input/RdfFormat.h"

#include "Reader/PlaceCounter.h"

#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

/// Cuts a file into blocks that threads can work on independently: at line ends, or, in Turtle and TriG, where
/// statements seem to end.
///
/// Units      A line ends with a line feed; in a stretch of a block's size without one, with a carriage return. Blocks
///            have the given size or less. If a line is longer, the size is doubled for its block until it fits, or
///            until the line is longer than the maximum: then the block has one byte more than that, which shows that
///            the line is too long, and the next blocks contain the rest, marked as such. If no statement seems to end
///            in a block of Turtle or TriG, it is cut anywhere. A byte order mark at the start of the file is skipped.
/// Ownership  The caller owns the blocks and may pass one in again to reuse its memory.
/// Threads    Any number call `next` concurrently; only one reads at a time.
/// Errors     Those of the source, once, after all whole lines before them; after that there are no more blocks.
class BlockReader {
public:
    static constexpr size_t DEFAULT_BLOCK_SIZE = 256 * 1024;

    /// The position where the source starts: a byte order mark at the start of a file is skipped.
    enum class Begin : uint8_t { OF_FILE, WITHIN_FILE };

    explicit BlockReader(std::unique_ptr<ByteSource> source, size_t blockSize = DEFAULT_BLOCK_SIZE,
                         size_t maximumLine = std::numeric_limits<size_t>::max(),
                         RdfFormat format = RdfFormat::N_TRIPLES, Begin begin = Begin::OF_FILE);

    /// Fills the block with the next part; returns false if there is none.
    bool next(Block& block);

    /// Returns the number of blocks so far; after an error, the position of the error among the blocks.
    uint64_t getNumberOfBlocks() const;

private:
    void fill(Block& block);
    void readMore(Block& block, size_t size);
    size_t passLongLine(std::string_view text);
    size_t cutLines(Block& block);
    size_t findCut(const Block& block) const;
    size_t findStatementEnd(Block& block);

    mutable std::mutex m_mutex;
    const std::unique_ptr<ByteSource> m_source;
    const size_t m_blockSize;
    const size_t m_maximumLine;
    const RdfFormat m_format;
    const Begin m_begin;
    uint64_t m_nextSequence = 0;
    std::string m_remainder;     // cut off by the last block
    bool m_isInLongLine = false; // whether it continues with one that is too long
    // Of Turtle and TriG: where the next block starts, and after which character.
    Rdf::PlaceCounter m_places;
    Rdf::TurtleRelay::Cut m_cut = Rdf::TurtleRelay::Cut::ANYWHERE;
    bool m_atEnd = false;
    std::exception_ptr m_failure;
};
