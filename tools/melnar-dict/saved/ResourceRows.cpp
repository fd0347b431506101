#include "tools/melnar-dict/saved/ResourceRows.h"

#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/saved/TermJson.h"

#include <nlohmann/json.hpp>

namespace {

constexpr const char* NOT_FOUND = "not found\t";

} // namespace

ResourceRows::ResourceRows(const bool asJson, StandardOutput& output, std::ostream& errorOutput)
    : m_output(output), m_errorOutput(errorOutput), m_json(asJson ? new Json{{"id", nullptr}} : nullptr) {
    if (m_json)
        TermJson::clear(*m_json);
}

ResourceRows::~ResourceRows() = default;

bool ResourceRows::print(const BatchEntry& resource) {
    if (const char* const flaw = findTermFlaw(resource.m_lexicalForm, resource.m_datatypeID)) {
        m_errorOutput << "melnar-dict: resource " << resource.m_resourceID << " cannot be written: " << flaw << '\n';
        return false;
    }
    if (m_json) {
        (*m_json)["id"] = resource.m_resourceID;
        setTerm(resource);
        printJson();
        return true;
    }
    m_text = std::to_string(resource.m_resourceID);
    m_text += '\t';
    appendTermText(resource.m_lexicalForm, resource.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
    return true;
}

void ResourceRows::printMissingResource(const uint64_t resourceID) {
    if (m_json) {
        (*m_json)["id"] = resourceID;
        TermJson::clear(*m_json);
        printJson();
    } else
        m_output.write(NOT_FOUND + std::to_string(resourceID) + '\n');
}

void ResourceRows::printMissingTerm(const BatchEntry& term) {
    if (m_json) {
        (*m_json)["id"] = nullptr;
        setTerm(term);
        printJson();
        return;
    }
    m_text = NOT_FOUND;
    appendTermText(term.m_lexicalForm, term.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
}

void ResourceRows::setTerm(const BatchEntry& term) {
    TermJson::set(*m_json, term.m_lexicalForm, term.m_datatypeID);
}

void ResourceRows::printJson() {
    m_output.write(toText(*m_json, JsonLayout::ROW));
}
