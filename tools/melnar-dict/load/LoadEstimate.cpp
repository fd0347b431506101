#include "tools/melnar-dict/load/LoadEstimate.h"

#include "tools/melnar-dict/load/Figures.h"

#include <nlohmann/json.hpp>

namespace {

Figures figuresOf(const LoadEstimate& estimate) {
    return {
        {"bytes of input", "inputBytes", std::to_string(estimate.m_inputBytes)},
        {"bytes sampled", "sampledBytes", std::to_string(estimate.m_sampledBytes)},
        {"triples", "triples", std::to_string(estimate.m_statements)},
        {"string literals", "stringLiterals", std::to_string(estimate.m_literals)},
        {"distinct xsd:string", "distinctXsdString", std::to_string(estimate.m_distinctStrings)},
        {"distinct rdf:PlainLiteral", "distinctRdfPlainLiteral", std::to_string(estimate.m_distinctPlainLiterals)},
        {"bytes of text", "textBytes", std::to_string(estimate.m_textBytes)},
        {"bytes of memory", "memoryBytes", std::to_string(estimate.m_size.m_memoryBytes)},
        {"bytes of the saved file", "fileBytes", std::to_string(estimate.m_size.m_fileBytes)},
        {"seconds", "seconds", toFixed(estimate.m_seconds, 3)},
    };
}

} // namespace

std::string LoadEstimate::toText() const {
    return toTable(figuresOf(*this)) + (m_isWholeInput ? "" : "of what was read of a pipe; there may be more\n");
}

std::string LoadEstimate::toJson() const {
    Json json = makeJson(figuresOf(*this));
    json["isWholeInput"] = m_isWholeInput;
    return ::toText(json, JsonLayout::DOCUMENT);
}
