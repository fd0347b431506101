#include "tools/melnar-dict/rewrite/CanonicalLines.h"

#include "Reader/CanonicalWriter.h"

namespace {

constexpr std::string_view DOCUMENT = "doc";

} // namespace

CanonicalLines::CanonicalLines(OrderedOutput& output, const Settings& settings)
    : m_output(output), m_settings(settings),
      m_labelPrefix(std::string(DOCUMENT) + std::to_string(settings.m_document) + '-') {}

const char* CanonicalLines::take(const Rdf::Statement& statement, uint64_t, ParsedPiece& piece) {
    ++piece.m_counts.m_statements;
    if (!m_settings.m_hasGraphs && statement.m_graph.m_kind != Rdf::TermKind::NONE)
        return "the statement is in a named graph, for which the output's format has no place";
    Rdf::CanonicalWriter::appendStatementOf(statement, m_text,
                                            [this](const Rdf::Term& term, bool) { appendTerm(term); });
    return nullptr;
}

void CanonicalLines::appendTerm(const Rdf::Term& term) {
    if (term.m_kind != Rdf::TermKind::BLANK_NODE || !m_settings.m_hasDocuments) {
        Rdf::CanonicalWriter::appendTerm(term, m_text);
        return;
    }
    m_text += "_:";
    std::string_view label = term.m_text;
    if (m_settings.m_document != 0)
        m_text += m_labelPrefix;
    else if (label.starts_with(DOCUMENT)) {
        m_text.append(DOCUMENT).append("_");
        label.remove_prefix(DOCUMENT.size());
    }
    m_text += label;
}

void CanonicalLines::endBlock(ParsedPiece& piece) {
    m_output.write(piece.m_sequence, m_text);
    m_text.clear();
}
