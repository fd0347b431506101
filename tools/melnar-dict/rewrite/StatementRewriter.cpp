#include "tools/melnar-dict/rewrite/StatementRewriter.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <algorithm>

void StatementRewriter::rewrite(const std::string_view text, ParsedPiece& piece) {
    m_unfilled.clear();
    m_gaps.clear();
    std::string refusal;
    const std::string_view readText = startBlock(text, refusal);
    parse(readText, piece);
    m_text.clear();
    answerGaps();
    fillGaps(piece);
    if (readText.size() != text.size() && piece.m_errors.empty())
        piece.m_errors.push_back({piece.m_numberOfLineEnds + 1, ExitCode::BAD_DATA, refusal});
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

const char* StatementRewriter::takeLineStatement(const Rdf::Statement& statement, const uint64_t line,
                                                 ParsedPiece& piece) {
    m_startOfStatement = m_unfilled.size();
    m_line = line;
    if (const char* const cause = appendStatement(statement)) {
        m_unfilled.resize(m_startOfStatement);
        return cause;
    }
    ++piece.m_counts.m_statements;
    return nullptr;
}

/// Only objects can be triple terms, so all of them end where the innermost object does.
const char* StatementRewriter::appendStatement(const Rdf::Statement& statement) {
    size_t depth = 0;
    for (const Rdf::Triple* triple = &statement;; triple = triple->m_object.m_triple, ++depth) {
        for (const Rdf::Term* const term : {&triple->m_subject, &triple->m_predicate}) {
            if (const char* const cause = appendTerm(*term, m_unfilled))
                return cause;
            m_unfilled += ' ';
        }
        if (triple->m_object.m_kind != Rdf::TermKind::TRIPLE) {
            if (const char* const cause = appendObject(triple->m_object, m_unfilled))
                return cause;
            break;
        }
        m_unfilled += "<<( ";
    }
    while (depth-- != 0)
        m_unfilled += " )>>";
    if (statement.m_graph.m_kind != Rdf::TermKind::NONE) {
        m_unfilled += ' ';
        if (const char* const cause = appendTerm(statement.m_graph, m_unfilled))
            return cause;
    }
    m_unfilled += " .\n";
    return nullptr;
}

const char* StatementRewriter::appendTerm(const Rdf::Term& term, std::string& output) {
    if (term.m_kind == Rdf::TermKind::BLANK_NODE)
        output.append("_:").append(term.m_text);
    else
        output.append("<").append(term.m_text).append(">");
    return nullptr;
}

void StatementRewriter::appendUnchangedObject(const Rdf::Term& object, std::string& output) {
    if (object.m_kind == Rdf::TermKind::BLANK_NODE) {
        output.append("_:").append(object.m_text);
        return;
    }
    if (object.m_kind != Rdf::TermKind::LITERAL) {
        output.append("<").append(object.m_text).append(">");
        return;
    }
    output += '"';
    appendEscaped(object.m_text, output);
    output += '"';
    if (!object.m_tag.empty())
        output.append("@").append(object.m_tag);
    if (object.m_direction != Rdf::Direction::NONE)
        output += object.m_direction == Rdf::Direction::LEFT_TO_RIGHT ? "--ltr" : "--rtl";
    if (!object.m_datatype.empty() && literalKindOf(object) != LiteralKind::STRING)
        output.append("^^<").append(object.m_datatype).append(">");
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
