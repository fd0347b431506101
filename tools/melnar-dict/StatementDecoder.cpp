#include "tools/melnar-dict/StatementDecoder.h"

#include "tools/melnar-dict/LiteralIri.h"

#include "Engine/core/data-store/Dictionary.h"

#include <algorithm>

const char* StatementDecoder::appendTerm(const SerdNode& term, std::string& output) {
    if (term.type == SERD_URI && LiteralIri::isReserved(getText(term))) {
        m_cause = "the IRI '" + std::string(getText(term)) + "' stands where no literal can be";
        return m_cause.c_str();
    }
    return StatementRewriter::appendTerm(term, output);
}

const char* StatementDecoder::appendObject(const SerdStatement& statement, const LiteralKind kind,
                                           std::string& output) {
    const SerdNode& object = *statement.m_object;
    if (object.type != SERD_URI || !LiteralIri::isReserved(getText(object))) {
        appendUnchangedObject(statement, kind, output);
        return nullptr;
    }
    const uint64_t resourceID = LiteralIri::getResourceID(getText(object));
    if (!m_dictionary.hasResource(resourceID)) {
        m_cause = "the IRI '" + std::string(getText(object)) + "' carries no resource ID of the dictionary";
        return m_cause.c_str();
    }
    m_literals.push_back({{}, resourceID, D_INVALID});
    leaveGap();
    return nullptr;
}

void StatementDecoder::startBlock() {
    m_literals.clear();
}

void StatementDecoder::answerGaps() {
    m_dictionary.getResources(m_literals);
}

const char* StatementDecoder::appendAnswer(const size_t gapIndex, std::string& output) {
    const std::string_view lexicalForm = m_literals[gapIndex].m_lexicalForm;
    const size_t textLength = m_literals[gapIndex].m_datatypeID == D_XSD_STRING
                                  ? lexicalForm.size()
                                  : std::min(lexicalForm.rfind('@'), lexicalForm.size());
    output += '"';
    appendEscaped(lexicalForm.substr(0, textLength), output);
    output += '"';
    output += lexicalForm.substr(textLength);
    return nullptr;
}
