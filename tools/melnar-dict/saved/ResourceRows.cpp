#include "tools/melnar-dict/saved/ResourceRows.h"

#include "Engine/core/data-store/Dictionary.h"

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

ResourceRows::ResourceRows(const Dictionary& dictionary, const bool asJson, StandardOutput& output)
    : m_dictionary(dictionary), m_output(output),
      m_json(asJson ? new Json{{"id", nullptr}, {"literal", nullptr}, {"text", nullptr}, {"language", nullptr}}
                    : nullptr) {}

ResourceRows::~ResourceRows() = default;

void ResourceRows::print(const BatchEntry& resource) {
    if (m_json) {
        (*m_json)["id"] = resource.m_resourceID;
        setLiteral(resource);
        printJson();
        return;
    }
    m_text = std::to_string(resource.m_resourceID);
    m_text += '\t';
    m_dictionary.appendTurtleLiteral(resource.m_lexicalForm, resource.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
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
    m_dictionary.appendTurtleLiteral(literal.m_lexicalForm, literal.m_datatypeID, m_text);
    m_text += '\n';
    m_output.write(m_text);
}

void ResourceRows::setLiteral(const BatchEntry& literal) {
    m_text.clear();
    m_dictionary.appendTurtleLiteral(literal.m_lexicalForm, literal.m_datatypeID, m_text);
    assign((*m_json)["literal"], m_text);
    const bool hasTag = literal.m_datatypeID == D_RDF_PLAIN_LITERAL;
    const size_t textLength = hasTag ? literal.m_lexicalForm.find_last_of('@') : literal.m_lexicalForm.size();
    assign((*m_json)["text"], literal.m_lexicalForm.substr(0, textLength));
    if (hasTag)
        assign((*m_json)["language"], literal.m_lexicalForm.substr(textLength + 1));
    else
        (*m_json)["language"] = nullptr;
}

void ResourceRows::printJson() {
    m_output.write(toText(*m_json, JsonLayout::ROW));
}
