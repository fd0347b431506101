#include "tools/melnar-dict/saved/Lookup.h"

#include "tools/melnar-dict/shell/JsonText.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"

namespace {

uint8_t datatypeIDOf(const std::string& literal) noexcept {
    return classifyPlainLiteral(literal.data(), literal.size()) == PlainLiteralKind::WITH_TAG ? D_RDF_PLAIN_LITERAL
                                                                                              : D_XSD_STRING;
}

std::string toTurtle(const std::string& literal) {
    const uint8_t datatypeID = datatypeIDOf(literal);
    std::string turtleLiteral;
    DictionaryDatatypeFactory::getFactory(datatypeID)
        ->appendTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(literal.c_str()), literal.size() + 1,
                              nullptr, 0, Prefixes(), turtleLiteral);
    return turtleLiteral;
}

} // namespace

Lookup Lookup::ofResourceID(const uint64_t resourceID) {
    return {std::to_string(resourceID), true, resourceID, {}};
}

Lookup Lookup::ofLiteral(const std::string& literal) {
    return {literal, false, 0, toTurtle(literal)};
}

void Lookup::answer(const Dictionary& dictionary) {
    if (!m_asksForLiteral)
        m_resourceID = dictionary.tryResolveResource(dictionary.getCommitPoint(), m_question, datatypeIDOf(m_question));
    else if (m_resourceID < dictionary.getCommitPoint().m_resourceID && dictionary.hasResource(m_resourceID))
        dictionary.appendTurtleLiteral(m_resourceID, m_turtleLiteral);
}

std::string Lookup::toText() const {
    if (isAnswered())
        return std::to_string(m_resourceID) + '\t' + m_turtleLiteral + '\n';
    return "not found\t" + (m_asksForLiteral ? m_question : m_turtleLiteral) + '\n';
}

std::string Lookup::toJson() const {
    std::string json = "{\"question\": ";
    appendJsonString(json, m_question);
    json += ", \"id\": " + (m_resourceID == 0 ? "null" : std::to_string(m_resourceID)) + ", \"literal\": ";
    if (m_turtleLiteral.empty())
        json += "null";
    else
        appendJsonString(json, m_turtleLiteral);
    return json + '}';
}
