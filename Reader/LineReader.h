#pragma once

#include "Reader/LineTerms.h"
#include "Reader/SyntaxReader.h"

namespace Rdf {

/// Reads N-Triples and N-Quads, line by line: several readers can read blocks of whole lines, if each knows where its
/// block starts.
///
/// Lines      A statement ends at a line feed or a carriage return. Lines are counted by line feeds.
class LineReader : public SyntaxReader {
public:
    LineReader(const ReaderOptions& options, StatementSink& sink)
        : SyntaxReader(options, sink), m_triples(options.m_maximumNesting) {}

    /// Returns the line of the statement that the sink is taking.
    uint64_t getLine() const noexcept { return m_places.getLine(); }

private:
    const char* readText(const char* begin, const char* end, bool isLast) final;
    const char* readLines(const char* begin, const char* end);
    const char* readLine(const char* line);
    const char* readStatement(const char* at);
    const char* readVersion(const char* at);
    const char* readEndOfLine(const char* at, const char* expected);
    const char* checkLength(const char* line, const char* lineEnd);
    const char* skipLine(const char* line, const char* end);
    const char* skipLongLine(const char* at, const char* end, bool isLast);

    bool m_isInLongLine = false; // whether a line is being skipped
    SyntaxError m_error;         // of that line
    Statement m_statement;
    LineTerms::Triples m_triples; // triple terms of the statement
};

} // namespace Rdf
