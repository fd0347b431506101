#include "tools/melnar-dict/load/LoadReport.h"

#include "tools/melnar-dict/load/Figures.h"

#include <nlohmann/json.hpp>

namespace {

Figures figuresOf(const LoadReport& report) {
    const StatementCounts& counts = report.m_counts;
    return {
        {"triples", "triples", std::to_string(counts.m_statements)},
        {"string literals met", "stringLiterals", std::to_string(report.getNumberOfLiterals())},
        {"  xsd:string", "xsdStringLiterals", std::to_string(counts.m_strings)},
        {"  rdf:PlainLiteral", "rdfPlainLiteralLiterals", std::to_string(counts.m_plainLiterals)},
        {"distinct xsd:string", "distinctXsdString", std::to_string(report.m_distinctStrings)},
        {"distinct rdf:PlainLiteral", "distinctRdfPlainLiteral", std::to_string(report.m_distinctPlainLiterals)},
        {"other terms", "otherTerms", std::to_string(counts.m_otherTerms)},
        {"errors", "errors", std::to_string(report.m_errors)},
        {"bytes of text", "textBytes", std::to_string(report.m_textBytes)},
        {"bytes of memory", "memoryBytes", std::to_string(report.m_memoryBytes)},
        {"seconds", "seconds", toFixed(report.m_seconds, 3)},
        {"literals per second", "literalsPerSecond", toFixed(report.getLiteralsPerSecond(), 0)},
    };
}

} // namespace

double LoadReport::getLiteralsPerSecond() const noexcept {
    return m_seconds > 0 ? static_cast<double>(getNumberOfLiterals()) / m_seconds : 0;
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
