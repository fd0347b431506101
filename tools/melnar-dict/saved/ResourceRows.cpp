#include "tools/melnar-dict/saved/ResourceRows.h"

#include "tools/melnar-dict/pieces/LiteralText.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace {

constexpr const char* NOT_FOUND = "not found\t";

void assign(Json& json, const std::string_view text) {
    if (!json.is_string())
        json = "";
    json.get_ref<std::string&>().assign(text);
}

} // namespace

ResourceRows::ResourceRows(const bool asJson, StandardOutput& output, std::ostream& errorOutput)
    : m_output(output), m_errorOutput(errorOutput),
      m_json(asJson ? new Json{{"id", nullptr}, {"literal", nullptr}, {"text", nullptr}, {"language", nullptr}}
                    : nullptr) {}

ResourceRows::~ResourceRows() = default;

bool ResourceRows::print(const BatchEntry& resource) {
    if (const char* const flaw = findLiteralFlaw(resource.m_lexicalForm, resource.m_datatypeID)) {
        m_errorOutput << "melnar-dict: resource " << resource.m_resourceID << " cannot be written: " << flaw << '\n';
        return false;
    }
    if (m_json) {
        (*m_json)["id"] = resource.m_resourceID;
        setLiteral(resource);
        printJson();
        return true;
    }
    m_text = std::to_string(resource.m_resourceID);
    m_text += '\t';
    appendLiteralText(resource.m_lexicalForm, resource.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
    return true;
}

void ResourceRows::printMissingResource(const uint64_t resourceID) {
    if (m_json) {
        *m_json = {{"id", resourceID}, {"literal", nullptr}, {"text", nullptr}, {"language", nullptr}};
        printJson();
    } else
        m_output.write(NOT_FOUND + std::to_string(resourceID) + '\n');
}

void ResourceRows::printMissingLiteral(const BatchEntry& literal) {
    if (m_json) {
        (*m_json)["id"] = nullptr;
        setLiteral(literal);
        printJson();
        return;
    }
    m_text = NOT_FOUND;
    appendLiteralText(literal.m_lexicalForm, literal.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
}

void ResourceRows::setLiteral(const BatchEntry& literal) {
    m_text.clear();
    appendLiteralText(literal.m_lexicalForm, literal.m_datatypeID, m_text);
    assign((*m_json)["literal"], m_text);
    const auto [text, tag] = splitLiteral(literal.m_lexicalForm, literal.m_datatypeID);
    assign((*m_json)["text"], text);
    if (tag.empty())
        (*m_json)["language"] = nullptr;
    else
        assign((*m_json)["language"], tag);
}

void ResourceRows::printJson() {
    m_output.write(toText(*m_json, JsonLayout::ROW));
}
