#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include "Reader/StreamReader.h"
#include "Reader/TurtleContext.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Reads the statements of stretches of a file that start anywhere. Continues after faulty statements.
///
/// In N-Triples and N-Quads, a stretch is read from the first line that starts in it. In Turtle and TriG, it is read
/// after its first line that ends with a full stop, with the prefixes at the start of the file. Nodes without a label
/// get labels that no other stretch has, and about as long as those of the whole file.
///
/// Ownership  Refers to the consumer.
/// Threads    One at a time.
class SampleParser final : private Rdf::StatementSink {
public:
    /// The base is for relative IRIs.
    SampleParser(const RdfFormat format, std::string base, StatementConsumer& consumer)
        : m_format(format), m_base(std::move(base)), m_consumer(consumer) {}

    /// Starts a stretch at this offset in the file.
    void start(uint64_t offset);

    /// Continues the stretch; the consumer takes the statements that end here.
    void feed(std::string_view text, ParsedPiece& piece);

    /// Ends the stretch.
    void finish(ParsedPiece& piece);

private:
    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    size_t findStart(std::string_view text);

    const RdfFormat m_format;
    const std::string m_base;
    StatementConsumer& m_consumer;
    std::shared_ptr<const Rdf::TurtleContext> m_context; // at the end of the first stretch of the file
    std::unique_ptr<Rdf::SyntaxReader> m_reader;
    std::optional<Rdf::StreamReader> m_stream;
    bool m_isAtStart = false; // whether the stretch is at the start of the file
    bool m_isStarted = false; // whether a place to start was found
    char m_lastByte = 0;      // before which no place was found
    ParsedPiece* m_piece = nullptr;
};
