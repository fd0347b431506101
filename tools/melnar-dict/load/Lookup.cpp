#include "tools/melnar-dict/load/Lookup.h"

#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/saved/TermJson.h"
#include "tools/melnar-dict/saved/TermReader.h"
#include "tools/melnar-dict/shell/QuotedText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <nlohmann/json.hpp>

#include <optional>

Lookup Lookup::ofResourceID(const uint64_t resourceID) {
    return {.m_question = std::to_string(resourceID), .m_asksForTerm = true, .m_resourceID = resourceID};
}

Lookup Lookup::ofTerm(const std::string& text) {
    TermReader reader;
    Term term;
    if (const std::optional<InputError> error = reader.read(text, term))
        throw ToolFailure(ExitCode::USAGE, "term " + quoteText(text) + ": " + error->m_cause);
    Lookup lookup{.m_question = text, .m_datatypeID = term.getDatatypeID()};
    term.appendLexicalForm(lookup.m_lexicalForm);
    if (const char* const flaw = findTermFlaw(lookup.m_lexicalForm, lookup.m_datatypeID))
        throw ToolFailure(ExitCode::USAGE, "term " + quoteText(text) + ": " + flaw);
    return lookup;
}

void Lookup::answer(const Dictionary& dictionary) {
    if (!m_asksForTerm) {
        m_resourceID = dictionary.tryResolveResource(dictionary.getCommitPoint(), m_lexicalForm, m_datatypeID);
        appendTermText(m_lexicalForm, m_datatypeID, m_turtleTerm);
    } else if (m_resourceID < dictionary.getCommitPoint().m_resourceID && dictionary.hasResource(m_resourceID)) {
        m_datatypeID = dictionary.getResource(m_resourceID, m_lexicalForm);
        describeFoundTerm();
    }
}

void Lookup::answer(const ShardedDictionary& dictionary) {
    if (!m_asksForTerm) {
        BatchEntry entry{m_lexicalForm, 0, m_datatypeID};
        std::vector<BatchFailure> failures; // A refused form has no ID.
        dictionary.tryResolveResources({&entry, 1}, failures);
        m_resourceID = entry.m_resourceID;
        appendTermText(m_lexicalForm, m_datatypeID, m_turtleTerm);
    } else if (dictionary.hasResource(m_resourceID)) {
        BatchEntry entry;
        entry.m_resourceID = m_resourceID;
        dictionary.getResources({&entry, 1});
        m_datatypeID = entry.m_datatypeID;
        dictionary.appendLexicalForm(entry, m_lexicalForm);
        describeFoundTerm();
    }
}

void Lookup::describeFoundTerm() {
    m_flaw = findTermFlaw(m_lexicalForm, m_datatypeID);
    if (m_flaw == nullptr)
        appendTermText(m_lexicalForm, m_datatypeID, m_turtleTerm);
}

void Lookup::reportFlaw(std::ostream& errorOutput) const {
    if (m_flaw != nullptr)
        errorOutput << "melnar-dict: resource " << m_resourceID << " cannot be written: " << m_flaw << '\n';
}

std::string Lookup::toText() const {
    if (m_flaw != nullptr)
        return {};
    if (isAnswered())
        return std::to_string(m_resourceID) + '\t' + m_turtleTerm + '\n';
    return "not found\t" + (m_asksForTerm ? m_question : m_turtleTerm) + '\n';
}

Json Lookup::toJson() const {
    Json json{{"question", m_question}, {"id", nullptr}};
    if (m_resourceID != 0)
        json["id"] = m_resourceID;
    if (m_turtleTerm.empty())
        TermJson::clear(json);
    else
        TermJson::set(json, m_lexicalForm, m_datatypeID);
    return json;
}
