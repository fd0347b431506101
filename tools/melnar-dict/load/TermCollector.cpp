#include "tools/melnar-dict/load/TermCollector.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

const char* TermCollector::take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    const Rdf::Term& innermost = innermostObject(statement);
    if (isRefusedTerm(innermost)) [[unlikely]] {
        m_cause = m_resolver.getCauseOfRefusal({innermost.m_text, 0, D_RDF_PLAIN_LITERAL});
        return m_cause.c_str();
    }
    add(statement, innermost, m_document, line, m_rows, piece);
    return nullptr;
}

void TermCollector::add(const Rdf::Statement& statement, const Rdf::Term& innermost, const uint64_t document,
                        const uint64_t line, TermRows& rows, ParsedPiece& piece) {
    rows.add(statement, document, line, piece.m_terms);
    if (&innermost != &statement.m_object && literalKindOf(innermost) != LiteralKind::OTHER)
        rows.addTerm(innermost, document, line, piece.m_terms);
    countStatement(statement, piece.m_counts);
}

void TermCollector::endBlock(ParsedPiece& piece) {
    m_resolver.resolve(m_rows, *m_thread, piece);
    m_rows.clear();
}
