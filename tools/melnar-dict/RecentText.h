#pragma once

#include "tools/melnar-dict/Block.h"
#include "tools/melnar-dict/BlockReader.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>

/// A file as a row of blocks, of which those that a parser may not be done with are kept, so that it can go back to the
/// line of an error.
///
/// Threads  One at a time.
/// Errors   Those of the reader.
class RecentText {
public:
    explicit RecentText(BlockReader& reader) : m_reader(reader) {}

    /// Moves to the next block, or after `skipStatement` to what it left; false at the end of the file.
    bool next();

    /// The current block, or the part of it that is left.
    std::string_view getText() const noexcept;

    /// The line that the current text starts with, counted from 1 by line feeds.
    uint64_t getFirstLine() const noexcept { return m_firstLine; }

    /// Notes that the parser will be done with the current block when it asks for what stands at `position`, and gives
    /// up the blocks that it is done with when it asks for what stands at `done`.
    void keepUntil(uint64_t position, uint64_t done);

    /// Leaves out the statement that has a fault in this line: the next text starts behind the first line, from this
    /// one on, that ends with a full stop. Reads on as far as that takes.
    void skipStatement(uint64_t line);

private:
    struct KeptBlock {
        Block m_block;
        uint64_t m_firstLine = 1;
        uint64_t m_keptUntil = 0;
    };

    bool advance();
    bool skipLine(bool& endsStatement);
    void goTo(uint64_t line);

    BlockReader& m_reader;
    std::deque<KeptBlock> m_blocks;
    Block m_spareBlock;       // whose memory the next block takes over
    size_t m_current = 0;     // the current block in m_blocks; behind them at the start and at the end
    size_t m_offset = 0;      // where the current text starts in it
    uint64_t m_firstLine = 1; // of the current text
    bool m_isAhead = false;   // whether the current text has yet to be moved to
};
