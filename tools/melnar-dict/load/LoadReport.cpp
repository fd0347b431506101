#include "tools/melnar-dict/load/LoadReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace {

Figures figuresOf(const LoadReport& report) {
    const StatementCounts& counts = report.m_counts;
    Figures figures{
        {"triples", "triples", std::to_string(counts.m_statements)},
        {"string literals met", "stringLiterals", std::to_string(report.getNumberOfLiterals())},
        {"  xsd:string", "xsdStringLiterals", std::to_string(counts.m_strings)},
        {"  rdf:PlainLiteral", "rdfPlainLiteralLiterals", std::to_string(counts.m_plainLiterals)},
    };
    std::ranges::move(figuresOfTerms(counts, report.m_distinct), std::back_inserter(figures));
    figures.insert(figures.end(),
                   {{"first document", "firstDocument", std::to_string(report.m_firstDocument)},
                    {"errors", "errors", std::to_string(report.m_errors)},
                    {"bytes of text", "textBytes", std::to_string(report.m_textBytes)},
                    {"bytes of other text", "otherTextBytes", std::to_string(report.m_otherTextBytes)},
                    {"bytes of memory", "memoryBytes", std::to_string(report.m_memoryBytes)},
                    {"seconds", "seconds", toFixed(report.m_seconds, 3)},
                    {"literals per second", "literalsPerSecond", toFixed(report.getLiteralsPerSecond(), 0)},
                    {"terms per second", "termsPerSecond", toFixed(report.getTermsPerSecond(), 0)}});
    return figures;
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
