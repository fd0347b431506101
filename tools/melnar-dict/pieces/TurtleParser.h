#pragma once

#include "tools/melnar-dict/input/Block.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include "Reader/TurtleRelay.h"

#include <cstdint>
#include <string_view>

/// Reads blocks of Turtle or TriG. The parsers of all threads share a relay.
///
/// Units      Lines are counted from the start of the file, by line feeds.
/// Ownership  Relay and consumer must outlive it.
/// Threads    One at a time; each thread has its own parser.
/// Errors     Bad data is recorded in the piece: the first error of the file, or, if lenient, each of the block; then
///            reading continues after the statement. If requested, so are the bytes that errors skip, and statements
///            with a literal that the dictionary will refuse; each of them ends with a line end.
class TurtleParser final : private Rdf::TurtleRelay::Sink {
public:
    TurtleParser(Rdf::TurtleRelay& relay, StatementConsumer& consumer, const bool keepsRejected = false)
        : m_runner(relay, *this), m_consumer(consumer), m_isLenient(relay.isLenient()), m_keepsRejected(keepsRejected) {
    }

    /// Reads a block into an empty piece, including the start of the statement that the block before it cuts.
    void parse(const Block& block, ParsedPiece& piece);

    /// Reads the rest after all blocks of the file into an empty piece.
    void parseEnd(ParsedPiece& piece);

private:
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    void takeSkipped(std::string_view bytes) final;
    void withdraw() final;
    void rejectStatement(const Rdf::Term& literal);

    static constexpr uint64_t NO_STATEMENT = ~uint64_t(0);

    Rdf::TurtleRelay::Runner m_runner;
    StatementConsumer& m_consumer;
    const bool m_isLenient;
    const bool m_keepsRejected;
    uint64_t m_lastRejectedStatement = NO_STATEMENT; // the offset where it began, of those with refused literals
    ParsedPiece* m_piece = nullptr;
};
