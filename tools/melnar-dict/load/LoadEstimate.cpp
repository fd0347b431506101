#include "tools/melnar-dict/load/LoadEstimate.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace {

Figures figuresOf(const LoadEstimate& estimate) {
    const StatementCounts& counts = estimate.m_counts;
    Figures figures{
        {"bytes of input", "inputBytes", std::to_string(estimate.m_inputBytes)},
        {"bytes sampled", "sampledBytes", std::to_string(estimate.m_sampledBytes)},
        {"triples", "triples", std::to_string(counts.m_statements)},
        {"string literals", "stringLiterals", std::to_string(counts.m_strings + counts.m_plainLiterals)},
    };
    std::ranges::move(figuresOfTerms(counts, estimate.m_distinct), std::back_inserter(figures));
    figures.insert(figures.end(),
                   {{"bytes of text", "textBytes", std::to_string(estimate.m_textBytes)},
                    {"bytes of other text", "otherTextBytes", std::to_string(estimate.m_otherTextBytes)},
                    {"bytes of memory", "memoryBytes", std::to_string(estimate.m_size.m_memoryBytes)},
                    {"bytes of the saved file", "fileBytes", std::to_string(estimate.m_size.m_fileBytes)},
                    {"bytes of the rows", "rowBytes", std::to_string(estimate.m_rowBytes)}});
    if (estimate.m_temporaryBytes)
        figures.push_back({"temporary bytes", "temporaryBytes", std::to_string(*estimate.m_temporaryBytes)});
    figures.push_back({"seconds", "seconds", toFixed(estimate.m_seconds, 3)});
    return figures;
}

} // namespace

std::string LoadEstimate::toText() const {
    return toTable(figuresOf(*this)) +
           (m_isWholeInput ? "" : "only for the part of a pipe that was read; there may be more\n");
}

std::string LoadEstimate::toJson() const {
    Json json = makeJson(figuresOf(*this));
    json["isWholeInput"] = m_isWholeInput;
    return ::toText(json, JsonLayout::DOCUMENT);
}
