#include "tools/melnar-dict/rewrite/StatementRewriter.h"

#include "Reader/CanonicalWriter.h"

#include <algorithm>

void StatementRewriter::endBlock(ParsedPiece& piece) {
    m_text.clear();
    try {
        answerGaps();
        fillGaps(piece);
    } catch (...) {
        m_output.write(piece.m_sequence, {}); // The others wait for this turn.
        throw;
    }
    m_output.write(piece.m_sequence, m_text);
    m_unfilled.clear();
    m_gaps.clear();
    clearGaps();
}

/// Writes the text with its gaps filled. A gap that cannot be filled comes before an error that ended the block.
void StatementRewriter::fillGaps(ParsedPiece& piece) {
    size_t begin = 0;
    for (size_t index = 0; index < m_gaps.size(); ++index) {
        const Gap& gap = m_gaps[index];
        const size_t end = std::min(gap.m_offset, m_unfilled.size());
        m_text.append(m_unfilled, begin, end - begin);
        begin = end;
        const size_t length = m_text.size();
        if (const char* const cause = appendAnswer(index, m_text)) {
            m_text.resize(length - (end - gap.m_startOfStatement));
            piece.m_errors.assign(1, {gap.m_line, ExitCode::BAD_DATA, cause});
            return;
        }
        if (gap.m_offset > m_unfilled.size())
            m_text.resize(length);
    }
    m_text.append(m_unfilled, begin);
}

const char* StatementRewriter::take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    m_startOfStatement = m_unfilled.size();
    m_line = line;
    const char* cause = nullptr;
    Rdf::CanonicalWriter::appendStatementOf(statement, m_unfilled, [&](const Rdf::Term& term, const bool isObject) {
        if (cause == nullptr)
            cause = isObject ? appendObject(term, m_unfilled) : appendTerm(term, m_unfilled);
    });
    if (cause != nullptr) {
        m_unfilled.resize(m_startOfStatement);
        return cause;
    }
    ++piece.m_counts.m_statements;
    return nullptr;
}

void StatementRewriter::appendUnchanged(const Rdf::Term& term, std::string& output) {
    Rdf::CanonicalWriter::appendTerm(term, output, Rdf::CanonicalWriter::Tags::AS_WRITTEN);
}
