#include "tools/melnar-dict/StatementRewriter.h"

#include <algorithm>

void StatementRewriter::rewrite(const std::string_view text, ParsedPiece& piece) {
    m_unfilled.clear();
    m_gaps.clear();
    startBlock();
    parse(text, piece);
    m_text.clear();
    answerGaps();
    fillGaps(piece);
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

const char* StatementRewriter::takeLineStatement(const SerdStatement& statement, const LiteralKind kind,
                                                 const uint64_t line, ParsedPiece& piece) {
    m_startOfStatement = m_unfilled.size();
    m_line = line;
    const auto appendAll = [&]() -> const char* {
        if (const char* const cause = appendTerm(*statement.m_subject, m_unfilled))
            return cause;
        m_unfilled += ' ';
        if (const char* const cause = appendTerm(*statement.m_predicate, m_unfilled))
            return cause;
        m_unfilled += ' ';
        if (const char* const cause = appendObject(statement, kind, m_unfilled))
            return cause;
        if (statement.m_graph == nullptr)
            return nullptr;
        m_unfilled += ' ';
        return appendTerm(*statement.m_graph, m_unfilled);
    };
    if (const char* const cause = appendAll()) {
        m_unfilled.resize(m_startOfStatement);
        return cause;
    }
    m_unfilled += " .\n";
    ++piece.m_counts.m_statements;
    return nullptr;
}

const char* StatementRewriter::appendTerm(const SerdNode& term, std::string& output) {
    if (term.type == SERD_BLANK)
        output.append("_:").append(getText(term));
    else
        output.append("<").append(getText(term)).append(">");
    return nullptr;
}

void StatementRewriter::appendUnchangedObject(const SerdStatement& statement, const LiteralKind kind,
                                              std::string& output) {
    const SerdNode& object = *statement.m_object;
    if (object.type == SERD_BLANK) {
        output.append("_:").append(getText(object));
        return;
    }
    if (object.type != SERD_LITERAL) {
        output.append("<").append(getText(object)).append(">");
        return;
    }
    output += '"';
    appendEscaped(getText(object), output);
    output += '"';
    if (statement.m_language != nullptr)
        output.append("@").append(getText(*statement.m_language));
    else if (statement.m_datatype != nullptr && kind != LiteralKind::STRING)
        output.append("^^<").append(getText(*statement.m_datatype)).append(">");
}

void StatementRewriter::appendEscaped(const std::string_view text, std::string& output) {
    for (size_t begin = 0;;) {
        const size_t end = std::min(text.find_first_of("\"\\\n\r", begin), text.size());
        output.append(text, begin, end - begin);
        if (end == text.size())
            return;
        output += '\\';
        output += text[end] == '\n' ? 'n' : text[end] == '\r' ? 'r' : text[end];
        begin = end + 1;
    }
}
