#include "tools/melnar-dict/rewrite/CanonicalLines.h"

#include "Reader/CanonicalWriter.h"

const char* CanonicalLines::take(const Rdf::Statement& statement, uint64_t, ParsedPiece& piece) {
    ++piece.m_counts.m_statements;
    if (!m_settings.m_hasGraphs && statement.m_graph.m_kind != Rdf::TermKind::NONE)
        return "the statement is in a named graph, which the output format cannot represent";
    Rdf::CanonicalWriter::appendStatementOf(statement, m_text,
                                            [this](const Rdf::Term& term, bool) { appendTerm(term); });
    return nullptr;
}

void CanonicalLines::appendTerm(const Rdf::Term& term) {
    if (term.m_kind == Rdf::TermKind::BLANK_NODE)
        BlankNodeScope::appendLabel(m_settings.m_document, term.m_text, m_text.append("_:"));
    else
        Rdf::CanonicalWriter::appendTerm(term, m_text);
}

void CanonicalLines::endBlock(ParsedPiece& piece) {
    m_output.write(piece.m_sequence, m_text);
    m_text.clear();
}
