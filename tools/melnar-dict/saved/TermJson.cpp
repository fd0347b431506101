#include "tools/melnar-dict/saved/TermJson.h"

#include "tools/melnar-dict/pieces/TermText.h"

#include "Engine/core/data-store/terms/Term.h"

#include <nlohmann/json.hpp>

namespace TermJson {

namespace {

/// Sets a value to a text, or to null if the text is empty because the part is missing.
void assign(Json& json, const std::string_view text, const bool isThere) {
    if (!isThere) {
        json = nullptr;
        return;
    }
    if (!json.is_string())
        json = "";
    json.get_ref<std::string&>().assign(text);
}

std::string_view getTypeName(const Term::Kind kind) noexcept {
    switch (kind) {
    case Term::Kind::IRI:
        return "iri";
    case Term::Kind::BLANK_NODE:
        return "blankNode";
    case Term::Kind::TRIPLE_TERM:
        return "tripleTerm";
    default:
        return "literal";
    }
}

} // namespace

void clear(Json& object) {
    for (const char* const key : {"literal", "text", "language", "type", "value", "datatype", "direction"})
        object[key] = nullptr;
}

void set(Json& object, const std::string_view lexicalForm, const uint8_t datatypeID) {
    const Term term = Term::parse(datatypeID, lexicalForm);
    const bool isLiteral = term.m_kind == Term::Kind::LITERAL;
    Json& literal = object["literal"];
    assign(literal, "", isLiteral);
    if (isLiteral)
        appendTermText(lexicalForm, datatypeID, literal.get_ref<std::string&>());
    assign(object["text"], term.m_text, isLiteral);
    assign(object["language"], term.m_language, !term.m_language.empty());
    assign(object["type"], getTypeName(term.m_kind), true);
    assign(object["value"], term.m_text, true);
    assign(object["datatype"], term.m_datatype, !term.m_datatype.empty());
    assign(object["direction"], term.m_direction == Term::Direction::LEFT_TO_RIGHT ? "ltr" : "rtl",
           term.m_direction != Term::Direction::NONE);
}

} // namespace TermJson
