#pragma once

#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Reads literals in Turtle syntax, `"text"` or `"text"@tag`, one a line. They are given to the parser as the objects
/// of statements, so that they are exactly what they are in N-Triples.
///
/// Units    Lines end with a line feed and are counted from 1.
/// Threads  One at a time.
class LiteralLines {
public:
    /// Called first with all literals of a text, to be answered together, and then for each line in order: with the
    /// answered literal, or with the cause why it holds none or one that the dictionary refuses. Any other failure of
    /// the first call is thrown when it is the turn of its literal. All texts are the receiver's only until it returns.
    struct Receiver {
        std::function<void(std::span<BatchEntry> literals, std::vector<BatchFailure>& failures)> m_answerLiterals;
        std::function<void(const BatchEntry& literal)> m_takeLiteral;
        std::function<void(uint64_t line, const std::string& cause)> m_takeError;
    };

    explicit LiteralLines(Receiver receiver);

    /// Reads the next lines; the text ends with a line end or is the last.
    void parse(std::string_view text);

private:
    /// Takes the statements whose object is all of the line.
    class ObjectParser final : public LineParser {
    public:
        ObjectParser() : LineParser(RdfFormat::N_QUADS, true) {}

    private:
        const char* takeLineStatement(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) final;
    };

    void appendStatement(std::string_view object);

    const Receiver m_receiver;
    ObjectParser m_parser;
    ParsedPiece m_piece;
    std::vector<BatchFailure> m_failures;
    std::string m_statements;
    uint64_t m_numberOfLines = 0; // of earlier texts
};
