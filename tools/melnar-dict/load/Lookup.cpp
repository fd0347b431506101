#include "tools/melnar-dict/load/Lookup.h"

#include "tools/melnar-dict/pieces/LiteralBatch.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/pieces/LiteralText.h"
#include "tools/melnar-dict/saved/LiteralReader.h"
#include "tools/melnar-dict/shell/QuotedText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"

#include <nlohmann/json.hpp>

#include <optional>

Lookup Lookup::ofResourceID(const uint64_t resourceID) {
    return {.m_question = std::to_string(resourceID), .m_asksForLiteral = true, .m_resourceID = resourceID};
}

Lookup Lookup::ofLiteral(const std::string& literal) {
    LiteralReader reader;
    Rdf::Term term;
    if (const std::optional<InputError> error = reader.read(literal, term))
        throw ToolFailure(ExitCode::USAGE, "literal " + quoteText(literal) + ": " + error->m_cause);
    if (isRefusedTerm(term))
        throw ToolFailure(ExitCode::USAGE,
                          "literal " + quoteText(literal) + ": an rdf:PlainLiteral needs an '@' and a language tag");
    LiteralBatch batch;
    appendLiteral(term, literalKindOf(term), 0, batch);
    const BatchEntry& entry = batch.getEntries().front();
    return {
        .m_question = literal, .m_lexicalForm = std::string(entry.m_lexicalForm), .m_datatypeID = entry.m_datatypeID};
}

void Lookup::answer(const Dictionary& dictionary) {
    if (!m_asksForLiteral) {
        m_resourceID = dictionary.tryResolveResource(dictionary.getCommitPoint(), m_lexicalForm, m_datatypeID);
        appendLiteralText(m_lexicalForm, m_datatypeID, m_turtleLiteral);
    } else if (m_resourceID < dictionary.getCommitPoint().m_resourceID && dictionary.hasResource(m_resourceID)) {
        std::string lexicalForm;
        const uint8_t datatypeID = dictionary.getResource(m_resourceID, lexicalForm);
        m_flaw = findLiteralFlaw(lexicalForm, datatypeID);
        if (m_flaw == nullptr)
            appendLiteralText(lexicalForm, datatypeID, m_turtleLiteral);
    }
}

void Lookup::reportFlaw(std::ostream& errorOutput) const {
    if (m_flaw != nullptr)
        errorOutput << "melnar-dict: resource " << m_resourceID << " cannot be written: " << m_flaw << '\n';
}

std::string Lookup::toText() const {
    if (m_flaw != nullptr)
        return {};
    if (isAnswered())
        return std::to_string(m_resourceID) + '\t' + m_turtleLiteral + '\n';
    return "not found\t" + (m_asksForLiteral ? m_question : m_turtleLiteral) + '\n';
}

Json Lookup::toJson() const {
    Json json{{"question", m_question}, {"id", nullptr}, {"literal", nullptr}};
    if (m_resourceID != 0)
        json["id"] = m_resourceID;
    if (!m_turtleLiteral.empty())
        json["literal"] = m_turtleLiteral;
    return json;
}
