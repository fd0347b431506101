#include "tools/melnar-dict/saved/Lookup.h"

#include "tools/melnar-dict/pieces/LiteralBatch.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
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
        dictionary.appendTurtleLiteral(m_lexicalForm, m_datatypeID, m_turtleLiteral);
    } else if (m_resourceID < dictionary.getCommitPoint().m_resourceID && dictionary.hasResource(m_resourceID))
        dictionary.appendTurtleLiteral(m_resourceID, m_turtleLiteral);
}

std::string Lookup::toText() const {
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
