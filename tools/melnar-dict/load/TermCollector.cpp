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
    m_rows.add(statement, m_document, line, piece.m_terms);
    if (&innermost != &statement.m_object && literalKindOf(innermost) != LiteralKind::OTHER)
        m_rows.addTerm(innermost, m_document, line, piece.m_terms);
    countStatement(statement, piece.m_counts);
    return nullptr;
}

void TermCollector::endBlock(ParsedPiece& piece) {
    m_resolver.resolve(m_rows, *m_thread, piece);
    m_rows.clear();
}
