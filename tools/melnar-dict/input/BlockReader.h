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

/// Cuts a file into blocks that threads can work on independently: at line ends, or, in Turtle and TriG, where statements
/// seem to end.
///
/// Units      A line ends with a line feed; in a stretch of a block's size without one, with a carriage return. Blocks
///            have the given size or less; where a line is longer, the size is doubled for its block until it fits, or
///            until the line is found to be longer than the maximum: then one byte more than that is handed out, which
///            tells that it is too long, and the rest, marked as such, in the next blocks. Where no statement seems to end
///            in a block of Turtle or TriG, it is cut anywhere. The byte order mark that a file may start with is left out.
/// Ownership  The caller owns the blocks and may hand one in again to use its memory anew.
/// Threads    Any number call `next` at once; reading is done by one at a time.
/// Errors     Those of the source, once, after all whole lines before them; from then on there is nothing more.
class BlockReader {
public:
    static constexpr size_t DEFAULT_BLOCK_SIZE = 256 * 1024;

    /// Where the source begins: a file may start with a byte order mark, which is left out.
    enum class Begin : uint8_t { OF_FILE, WITHIN_FILE };

    explicit BlockReader(std::unique_ptr<ByteSource> source, size_t blockSize = DEFAULT_BLOCK_SIZE,
                         size_t maximumLine = std::numeric_limits<size_t>::max(),
                         RdfFormat format = RdfFormat::N_TRIPLES, Begin begin = Begin::OF_FILE);

    /// Fills the block with the next piece; false when there is none.
    bool next(Block& block);

    /// The number of blocks handed out so far; after an error, the place of the error among the blocks.
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
    std::string m_remainder;     // what the last block cut off
    bool m_isInLongLine = false; // whether it goes on with one that is too long
    // Of Turtle and TriG, where the next block begins, and after what.
    Rdf::PlaceCounter m_places;
    Rdf::TurtleRelay::Cut m_cut = Rdf::TurtleRelay::Cut::ANYWHERE;
    bool m_atEnd = false;
    std::exception_ptr m_failure;
};
