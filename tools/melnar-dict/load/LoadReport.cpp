#include "tools/melnar-dict/load/LoadReport.h"

#include "tools/melnar-dict/load/Figures.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <nlohmann/json.hpp>

namespace {

Figures figuresOf(const LoadReport& report) {
    const StatementCounts& counts = report.m_counts;
    const auto distinct = [&report](const uint8_t datatypeID) { return std::to_string(report.m_distinct[datatypeID]); };
    return {
        {"triples", "triples", std::to_string(counts.m_statements)},
        {"string literals met", "stringLiterals", std::to_string(report.getNumberOfLiterals())},
        {"  xsd:string", "xsdStringLiterals", std::to_string(counts.m_strings)},
        {"  rdf:PlainLiteral", "rdfPlainLiteralLiterals", std::to_string(counts.m_plainLiterals)},
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
        {"first document", "firstDocument", std::to_string(report.m_firstDocument)},
        {"errors", "errors", std::to_string(report.m_errors)},
        {"bytes of text", "textBytes", std::to_string(report.m_textBytes)},
        {"bytes of other text", "otherTextBytes", std::to_string(report.m_otherTextBytes)},
        {"bytes of memory", "memoryBytes", std::to_string(report.m_memoryBytes)},
        {"seconds", "seconds", toFixed(report.m_seconds, 3)},
        {"literals per second", "literalsPerSecond", toFixed(report.getLiteralsPerSecond(), 0)},
        {"terms per second", "termsPerSecond", toFixed(report.getTermsPerSecond(), 0)},
    };
}

} // namespace

double LoadReport::getLiteralsPerSecond() const noexcept {
    return m_seconds > 0 ? static_cast<double>(getNumberOfLiterals()) / m_seconds : 0;
}

double LoadReport::getTermsPerSecond() const noexcept {
    return m_seconds > 0 ? static_cast<double>(getNumberOfTerms()) / m_seconds : 0;
}

std::string LoadReport::toText() const {
    return toTable(figuresOf(*this));
}

std::string LoadReport::toJson(const std::vector<Lookup>& lookups) const {
    Json json = makeJson(figuresOf(*this));
    for (const Lookup& lookup : lookups)
        json["lookups"].push_back(lookup.toJson());
    return ::toText(json, JsonLayout::DOCUMENT);
}
