#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include "Reader/LineReader.h"

#include <cstdint>
#include <string_view>

/// Reads blocks of N-Triples or N-Quads, each independently.
///
/// Units      Lines are counted by line feeds. Statements also end at a carriage return.
/// Ownership  The consumer must outlive it.
/// Threads    One at a time; each thread has its own parser.
/// Errors     Bad data is recorded in the piece: the first error of the block, or, if lenient, one for each bad line.
///            If requested, so are the bad lines, including those with a literal that the dictionary will refuse.
class LineParser final : private Rdf::StatementSink {
public:
    LineParser(const Rdf::ReaderOptions& options, StatementConsumer& consumer, bool keepsRejected = false);

    /// Reads a block of whole lines into an empty piece. So many bytes at its start are the rest of a line that is too
    /// long; of these, only the line ends are read.
    void parse(std::string_view text, ParsedPiece& piece, size_t lengthOfRest = 0);

private:
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    void takeSkipped(std::string_view line) final;

    StatementConsumer& m_consumer;
    const bool m_isLenient;
    const bool m_keepsRejected;
    Rdf::LineReader m_reader;
    std::string_view m_text; // of the block
    ParsedPiece* m_piece = nullptr;
};
