#include "tools/melnar-dict/load/TermCollector.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

const char* TermCollector::take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    const Rdf::Term& innermost = innermostObject(statement);
    if (isRefusedTerm(innermost)) [[unlikely]] {
        m_cause = m_resolver.getCauseOfRefusal({innermost.m_text, 0, D_RDF_PLAIN_LITERAL});
        return m_cause.c_str();
    }
    ++piece.m_counts.m_statements;
    const uint32_t subject = add(statement.m_subject, line, piece);
    const uint32_t predicate = add(statement.m_predicate, line, piece);
    const uint32_t object = add(statement.m_object, line, piece);
    const uint32_t graph =
        statement.m_graph.m_kind == Rdf::TermKind::NONE ? TermResolver::NO_TERM : add(statement.m_graph, line, piece);
    if (&innermost != &statement.m_object && literalKindOf(innermost) != LiteralKind::OTHER)
        add(innermost, line, piece);
    const size_t numberOfColumns = m_resolver.getNumberOfColumns();
    if (numberOfColumns != 0)
        m_rows.insert(m_rows.end(), {subject, predicate, object});
    if (numberOfColumns == 4)
        m_rows.push_back(graph);
    return nullptr;
}

void TermCollector::withdraw() {
    m_distinctTerms.clear();
    m_rows.clear();
}

void TermCollector::endBlock(ParsedPiece& piece) {
    m_resolver.resolve(m_rows, m_thread, piece);
    withdraw();
}

/// Counts a term; returns its index in the piece's batch.
uint32_t TermCollector::add(const Rdf::Term& rdfTerm, const uint64_t line, ParsedPiece& piece) {
    m_text.clear();
    const Term term = toTerm(rdfTerm, m_document, m_text);
    const uint8_t datatypeID = term.getDatatypeID();
    if (datatypeID == D_XSD_STRING)
        ++piece.m_counts.m_strings;
    else if (datatypeID == D_RDF_PLAIN_LITERAL)
        ++piece.m_counts.m_plainLiterals;
    else
        countOtherTerm(rdfTerm, piece.m_counts);
    if (term.isTextTheForm())
        return m_distinctTerms.add(term.m_text, datatypeID, line, piece.m_literals);
    m_form.clear();
    term.appendLexicalForm(m_form);
    return m_distinctTerms.add(m_form, datatypeID, line, piece.m_literals);
}
