#include "tools/melnar-dict/load/LoadReport.h"

#include "tools/melnar-dict/shell/Json.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace {

struct Figure {
    const char* m_name;
    const char* m_jsonName;
    std::string m_value;
};

std::string toFixed(const double value, const int decimals) {
    char text[512]; // enough for the largest double
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::vector<Figure> figuresOf(const LoadReport& report) {
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
    std::string text;
    for (const Figure& figure : figuresOf(*this)) {
        char line[600];
        std::snprintf(line, sizeof line, "%-26s %14s\n", figure.m_name, figure.m_value.c_str());
        text += line;
    }
    return text;
}

std::string LoadReport::toJson(const std::vector<Lookup>& lookups) const {
    Json json;
    for (const Figure& figure : figuresOf(*this))
        json[figure.m_jsonName] = Json::parse(figure.m_value);
    for (const Lookup& lookup : lookups)
        json["lookups"].push_back(lookup.toJson());
    return ::toText(json, JsonLayout::DOCUMENT);
}
