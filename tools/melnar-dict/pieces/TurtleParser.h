#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Reader/StreamReader.h"
#include "Reader/TurtleReader.h"

#include <functional>
#include <memory>
#include <string>

/// Reads a file of Turtle or TriG from its start to its end and hands out what it finds piece by piece.
///
/// Units    Lines are counted from the start of the file, by line feeds.
/// Threads  One at a time.
/// Errors   Bad data goes into the piece that is being filled: the first of the file, or, when lenient, each, after
///          which it goes on after the statement. So do errors of the block reader, after everything that was read
///          before them.
class TurtleParser final : private Rdf::StatementSink {
public:
    /// Takes a piece, none at the start, and returns the one to fill next, which is empty; null ends the parser.
    using PieceExchange = std::function<std::unique_ptr<ParsedPiece>(std::unique_ptr<ParsedPiece>)>;

    /// Reads the whole of the blocks.
    TurtleParser(const Rdf::ReaderOptions& options, BlockReader& blocks, PieceExchange exchangePiece);

    void parse();

private:
    void readBlocks();
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;

    BlockReader& m_blocks;
    const PieceExchange m_exchangePiece;
    Rdf::TurtleReader m_reader;
    std::unique_ptr<ParsedPiece> m_piece;
};
