#include "tools/melnar-dict/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

namespace {

constexpr std::string_view XSD_STRING_IRI = "http://www.w3.org/2001/XMLSchema#string";
constexpr std::string_view RDF_PLAIN_LITERAL_IRI = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";

bool isJoined(const std::string_view whole, const std::string_view start, const std::string_view end) noexcept {
    return whole.size() == start.size() + end.size() && whole.starts_with(start) && whole.ends_with(end);
}

std::string_view textOf(const SerdNode& node) noexcept {
    return {reinterpret_cast<const char*>(node.buf), node.n_bytes};
}

/// Whether the object went into the piece.
bool collectObject(const SerdStatement& statement, const LiteralKind kind, const uint64_t line, ParsedPiece& piece) {
    const SerdNode& object = *statement.m_object;
    if (object.type != SERD_LITERAL)
        return false;
    if (statement.m_language != nullptr) {
        piece.m_literals.appendTagged(textOf(object), textOf(*statement.m_language), line);
        ++piece.m_counts.m_plainLiterals;
    } else if (statement.m_datatype == nullptr || kind == LiteralKind::STRING) {
        piece.m_literals.append(textOf(object), D_XSD_STRING, line);
        ++piece.m_counts.m_strings;
    } else if (kind == LiteralKind::PLAIN_LITERAL) {
        piece.m_literals.append(textOf(object), D_RDF_PLAIN_LITERAL, line);
        ++piece.m_counts.m_plainLiterals;
    } else
        return false;
    return true;
}

} // namespace

LiteralKind literalKindOfDatatype(const std::string_view iriStart, const std::string_view iriEnd) noexcept {
    if (isJoined(XSD_STRING_IRI, iriStart, iriEnd))
        return LiteralKind::STRING;
    if (isJoined(RDF_PLAIN_LITERAL_IRI, iriStart, iriEnd))
        return LiteralKind::PLAIN_LITERAL;
    return LiteralKind::OTHER;
}

void collectStatement(const SerdStatement& statement, const LiteralKind kind, const uint64_t line, ParsedPiece& piece) {
    const bool isCollected = collectObject(statement, kind, line, piece);
    ++piece.m_counts.m_statements;
    piece.m_counts.m_otherTerms += 2u + (isCollected ? 0u : 1u) + (statement.m_graph != nullptr ? 1u : 0u);
}
