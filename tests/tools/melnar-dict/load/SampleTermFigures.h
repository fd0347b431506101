#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <nlohmann/json.hpp>

/// The figures of terms that the tests of reports and estimates share, and their printed form.
namespace SampleTermFigures {

template<class Figures>
void set(Figures& figures) {
    figures.m_counts = {10, 3, 4, 15, 4, 3, 2, 1};
    figures.m_distinct[D_XSD_STRING] = 2;
    figures.m_distinct[D_RDF_PLAIN_LITERAL] = 1;
    figures.m_distinct[D_IRI] = 9;
    figures.m_distinct[D_BLANK_NODE] = 8;
    figures.m_distinct[D_TYPED_LITERAL] = 7;
    figures.m_distinct[D_DIRECTIONAL_STRING] = 6;
    figures.m_distinct[D_TRIPLE_TERM] = 5;
}

inline constexpr const char* LINES = "distinct xsd:string                     2\n"
                                     "distinct rdf:PlainLiteral               1\n"
                                     "other terms                            25\n"
                                     "  IRIs                                 15\n"
                                     "  blank nodes                           4\n"
                                     "  other literals                        3\n"
                                     "  directional strings                   2\n"
                                     "  triple terms                          1\n"
                                     "distinct IRIs                           9\n"
                                     "distinct blank nodes                    8\n"
                                     "distinct other literals                 7\n"
                                     "distinct directional strings            6\n"
                                     "distinct triple terms                   5\n";

/// Adds the figures to the others of a document.
inline nlohmann::json addTo(nlohmann::json json) {
    json.update({{"distinctXsdString", 2},
                 {"distinctRdfPlainLiteral", 1},
                 {"otherTerms", 25},
                 {"iris", 15},
                 {"blankNodes", 4},
                 {"otherLiterals", 3},
                 {"directionalStrings", 2},
                 {"tripleTerms", 1},
                 {"distinctIris", 9},
                 {"distinctBlankNodes", 8},
                 {"distinctOtherLiterals", 7},
                 {"distinctDirectionalStrings", 6},
                 {"distinctTripleTerms", 5}});
    return json;
}

} // namespace SampleTermFigures
