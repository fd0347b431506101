#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Reader/StreamReader.h"
#include "Reader/TurtleReader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Reads a file of Turtle or TriG from its start to its end and hands out what it finds piece by piece.
///
/// Units    Lines are counted from the start of the file, by line feeds.
/// Threads  One at a time.
/// Errors   Bad data goes into the piece that is being filled: the first of the file, or, when lenient, each, after
///          which it goes on after the statement. So do the bytes that errors cost, if asked for, and statements with a
///          literal that the dictionary will refuse; each of them ends with a line end. So do errors of the block reader, after everything that was read
///          before them.
class TurtleParser final : private Rdf::StatementSink {
public:
    /// Takes a piece, none at the start, and returns the one to fill next, which is empty; null ends the parser.
    using PieceExchange = std::function<std::unique_ptr<ParsedPiece>(std::unique_ptr<ParsedPiece>)>;

    /// Reads the whole of the blocks.
    TurtleParser(const Rdf::ReaderOptions& options, BlockReader& blocks, PieceExchange exchangePiece,
                 bool keepsRejected = false);

    void parse();

private:
    void readBlocks();
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    void takeSkipped(std::string_view bytes) final;
    void rejectStatement(const Rdf::Place& place, const char* begin);
    void exchangeFullPiece();

    BlockReader& m_blocks;
    const PieceExchange m_exchangePiece;
    Rdf::TurtleReader m_reader;
    const bool m_keepsRejected;
    char m_lastRejectedByte = '\n';                  // of what was skipped last
    uint64_t m_lastRejectedStatement = ~uint64_t(0); // the offset where it began, of those with refused literals
    std::unique_ptr<ParsedPiece> m_piece;
};
