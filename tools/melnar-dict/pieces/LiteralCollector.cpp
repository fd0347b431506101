#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Reader/Vocabulary.h"

LiteralKind literalKindOf(const Rdf::Term& term) noexcept {
    if (term.m_kind != Rdf::TermKind::LITERAL || term.m_direction != Rdf::Direction::NONE)
        return LiteralKind::OTHER;
    if (!term.m_tag.empty())
        return LiteralKind::PLAIN_LITERAL;
    if (term.m_datatype.empty() || term.m_datatype == Rdf::Vocabulary::XSD_STRING)
        return LiteralKind::STRING;
    return term.m_datatype == RDF_PLAIN_LITERAL ? LiteralKind::PLAIN_LITERAL : LiteralKind::OTHER;
}

const Rdf::Term& innermostObject(const Rdf::Statement& statement) noexcept {
    const Rdf::Term* object = &statement.m_object;
    while (object->m_kind == Rdf::TermKind::TRIPLE)
        object = &object->m_triple->m_object;
    return *object;
}

void appendLiteral(const Rdf::Term& literal, const LiteralKind kind, const uint64_t line, FormBatch& batch) {
    if (!literal.m_tag.empty())
        batch.appendTagged(literal.m_text, literal.m_tag, line);
    else
        batch.append(literal.m_text, kind == LiteralKind::STRING ? D_XSD_STRING : D_RDF_PLAIN_LITERAL, line);
}

namespace {

void countOtherTerm(const Rdf::Term& term, StatementCounts& counts) noexcept {
    switch (term.m_kind) {
    case Rdf::TermKind::NONE:
        break;
    case Rdf::TermKind::IRI:
        ++counts.m_iris;
        break;
    case Rdf::TermKind::BLANK_NODE:
        ++counts.m_blankNodes;
        break;
    case Rdf::TermKind::TRIPLE:
        ++counts.m_tripleTerms;
        break;
    case Rdf::TermKind::LITERAL:
        ++(term.m_direction == Rdf::Direction::NONE ? counts.m_otherLiterals : counts.m_directionalStrings);
        break;
    }
}

} // namespace

LiteralKind countStatement(const Rdf::Statement& statement, StatementCounts& counts) noexcept {
    const Rdf::Term& object = innermostObject(statement);
    const LiteralKind kind = literalKindOf(object);
    if (kind != LiteralKind::OTHER)
        ++(kind == LiteralKind::STRING ? counts.m_strings : counts.m_plainLiterals);
    ++counts.m_statements;
    countOtherTerm(statement.m_subject, counts);
    countOtherTerm(statement.m_predicate, counts);
    countOtherTerm(statement.m_graph, counts);
    if (kind == LiteralKind::OTHER || &object != &statement.m_object)
        countOtherTerm(statement.m_object, counts);
    return kind;
}

void collectStatement(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    const LiteralKind kind = countStatement(statement, piece.m_counts);
    if (kind != LiteralKind::OTHER)
        appendLiteral(innermostObject(statement), kind, line, piece.m_terms);
}

InputError makeInputError(const Rdf::SyntaxError& error, const ParsedPiece& piece) {
    return {error.m_place.m_line, ExitCode::BAD_DATA, error.m_message, error.m_place.m_column,
            piece.m_terms.getEntries().size()};
}
