#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Reader/LineReader.h"

#include <cstdint>
#include <string_view>

/// Reads blocks of N-Triples or N-Quads, each on its own. Collects their string literals, unless a subclass does
/// something else with the statements.
///
/// Units    Lines are counted by line feeds. Statements also end at a carriage return.
/// Threads  One at a time; each thread has its own parser.
/// Errors   Bad data goes into the piece: the first of the block, or, when lenient, one for each bad line. So do the bad
///          lines, if asked for, those with a literal that the dictionary will refuse included.
class LineParser : private Rdf::StatementSink {
public:
    explicit LineParser(const Rdf::ReaderOptions& options, bool keepsRejected = false);

    /// Reads a block of whole lines into an empty piece. So many bytes at its start are the rest of a line that is too
    /// long, of which nothing is read but the line ends.
    void parse(std::string_view text, ParsedPiece& piece, size_t lengthOfRest = 0);

protected:
    /// Takes a statement; null, or why it is refused, which is an error of its line.
    virtual const char* takeLineStatement(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece);

private:
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    void takeSkipped(std::string_view line) final;

    const bool m_isLenient;
    const bool m_keepsRejected;
    Rdf::LineReader m_reader;
    std::string_view m_text; // of the block
    ParsedPiece* m_piece = nullptr;
};
