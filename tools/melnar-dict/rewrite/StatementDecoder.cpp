#include "tools/melnar-dict/rewrite/StatementDecoder.h"

#include "tools/melnar-dict/pieces/LiteralText.h"
#include "tools/melnar-dict/rewrite/DictionaryLine.h"
#include "tools/melnar-dict/rewrite/LiteralIri.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Reader/CanonicalWriter.h"

const char* StatementDecoder::appendTerm(const Rdf::Term& term, std::string& output) {
    if (term.m_kind == Rdf::TermKind::IRI && LiteralIri::isReserved(term.m_text)) {
        m_cause = "the IRI '" + std::string(term.m_text) + "' stands where no literal can be";
        return m_cause.c_str();
    }
    appendUnchanged(term, output);
    return nullptr;
}

const char* StatementDecoder::appendObject(const Rdf::Term& object, std::string& output) {
    if (object.m_kind != Rdf::TermKind::IRI || !LiteralIri::isReserved(object.m_text)) {
        appendUnchanged(object, output);
        return nullptr;
    }
    const uint64_t resourceID = LiteralIri::getResourceID(object.m_text);
    if (!m_dictionary.hasResource(resourceID)) {
        m_cause = "the IRI '" + std::string(object.m_text) + "' carries no resource ID of the dictionary";
        return m_cause.c_str();
    }
    m_literals.push_back({{}, resourceID, D_INVALID});
    leaveGap();
    return nullptr;
}

std::string_view StatementDecoder::startBlock(const std::string_view text, std::string& refusal) {
    m_literals.clear();
    const auto refused = DictionaryLine::findRefused(text, m_dictionary.getHistory());
    if (!refused)
        return text;
    refusal = refused->m_cause;
    return text.substr(0, refused->m_begin);
}

void StatementDecoder::answerGaps() {
    m_dictionary.getResources(m_literals);
}

const char* StatementDecoder::appendAnswer(const size_t gapIndex, std::string& output) {
    const std::string_view lexicalForm = m_literals[gapIndex].m_lexicalForm;
    if (const char* const flaw = findLiteralFlaw(lexicalForm, m_literals[gapIndex].m_datatypeID)) {
        m_cause = "resource " + std::to_string(m_literals[gapIndex].m_resourceID) + " cannot be written: " + flaw;
        return m_cause.c_str();
    }
    const size_t textLength =
        m_literals[gapIndex].m_datatypeID == D_XSD_STRING ? lexicalForm.size() : lexicalForm.rfind('@');
    output += '"';
    Rdf::CanonicalWriter::appendEscaped(lexicalForm.substr(0, textLength), output);
    output += '"';
    output += lexicalForm.substr(textLength);
    return nullptr;
}
