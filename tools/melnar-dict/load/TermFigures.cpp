#include "tools/melnar-dict/load/TermFigures.h"

#include "Engine/core/data-store/terms/TermFamily.h"

Figures figuresOfTerms(const StatementCounts& counts, const DistinctCounts& distinctCounts) {
    const auto distinct = [&](const uint8_t datatypeID) { return std::to_string(distinctCounts[datatypeID]); };
    return {
        {"distinct xsd:string", "distinctXsdString", distinct(D_XSD_STRING)},
        {"distinct rdf:PlainLiteral", "distinctRdfPlainLiteral", distinct(D_RDF_PLAIN_LITERAL)},
        {"other terms", "otherTerms", std::to_string(counts.getNumberOfOtherTerms())},
        {"  IRIs", "iris", std::to_string(counts.m_iris)},
        {"  blank nodes", "blankNodes", std::to_string(counts.m_blankNodes)},
        {"  other literals", "otherLiterals", std::to_string(counts.m_otherLiterals)},
        {"  directional strings", "directionalStrings", std::to_string(counts.m_directionalStrings)},
        {"  triple terms", "tripleTerms", std::to_string(counts.m_tripleTerms)},
        {"distinct IRIs", "distinctIris", distinct(D_IRI)},
        {"distinct blank nodes", "distinctBlankNodes", distinct(D_BLANK_NODE)},
        {"distinct other literals", "distinctOtherLiterals", distinct(D_TYPED_LITERAL)},
        {"distinct directional strings", "distinctDirectionalStrings", distinct(D_DIRECTIONAL_STRING)},
        {"distinct triple terms", "distinctTripleTerms", distinct(D_TRIPLE_TERM)},
    };
}
