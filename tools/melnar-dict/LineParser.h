#pragma once

#include "tools/melnar-dict/LineShape.h"
#include "tools/melnar-dict/LiteralCollector.h"
#include "tools/melnar-dict/ParsedPiece.h"
#include "tools/melnar-dict/PlainLine.h"
#include "tools/melnar-dict/RdfFormat.h"
#include "tools/melnar-dict/SerdClient.h"

#include <string_view>
#include <vector>

/// Reads blocks of N-Triples or N-Quads, each on its own. Collects their string literals, unless a subclass does
/// something else with the statements.
///
/// Plain lines are read at once. The others, once their shape is found to be sound, wait for serd to read them
/// together, up to the next plain line.
///
/// Units    Lines are counted by line feeds. Statements also end at a carriage return.
/// Threads  One at a time; each thread has its own parser.
/// Errors   Bad data goes into the piece: the first of the block, or, when lenient, one for each bad line.
class LineParser : private SerdClient {
public:
    LineParser(const RdfFormat format, const bool lenient)
        : m_format(format), m_isLenient(lenient), m_plainLine(hasGraphs(format)) {}

    /// Reads a block of whole lines into an empty piece.
    void parse(std::string_view text, ParsedPiece& piece);

protected:
    /// Takes a statement; null, or why it is refused, which is an error of its line.
    virtual const char* takeLineStatement(const SerdStatement& statement, LiteralKind kind, uint64_t line,
                                          ParsedPiece& piece);

private:
    /// A line with a statement that serd has yet to read.
    struct StatementLine {
        uint64_t m_line;
        const char* m_next; // the start of the next line
        bool m_isSubjectDisguised;
    };

    /// A part of the text, perhaps empty, that serd is given one byte for.
    struct Replacement {
        const char* m_begin;
        const char* m_end;
        char m_byte;
    };

    bool readLines();
    bool takePlainLine(const char* begin, const char* end);
    bool takeLine(const char* begin, const char* end, const char* next);
    bool runSerdTo(const char* end);
    bool addError(uint64_t line, std::string_view cause);

    size_t provideText(char* buffer, size_t size) final;
    const char* takeStatement(const SerdStatement& statement) final;
    const char* takeStatement(const SerdStatement& statement, uint64_t line);
    const char* takeBase(const SerdNode& iri) final;
    const char* takePrefix(const SerdNode& name, const SerdNode& iri) final;

    const RdfFormat m_format;
    const bool m_isLenient;
    PlainLine m_plainLine;
    ParsedPiece* m_piece = nullptr;
    const char* m_end = nullptr;
    const char* m_firstInvalidByte = nullptr;
    uint64_t m_line = 0;
    // The text from here on has been found well shaped but has not been given to serd.
    const char* m_unread = nullptr;
    const char* m_unreadEnd = nullptr;
    std::vector<StatementLine> m_statementLines; // of the text since the last error
    size_t m_numberOfStatementsRead = 0;
    std::vector<Replacement> m_replacements; // in the same text
    size_t m_nextReplacement = 0;
};
