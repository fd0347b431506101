#include "tools/melnar-dict/StatementDecoder.h"

#include "tools/melnar-dict/LiteralIri.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/MelnarException.h"

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
    uint8_t datatypeID = D_INVALID;
    try {
        datatypeID = m_dictionary.getResource(LiteralIri::getResourceID(getText(object)), m_lexicalForm);
    } catch (const MelnarException&) {
        m_cause = "the IRI '" + std::string(getText(object)) + "' carries no resource ID of the dictionary";
        return m_cause.c_str();
    }
    const size_t textLength =
        datatypeID == D_XSD_STRING ? m_lexicalForm.size() : std::min(m_lexicalForm.rfind('@'), m_lexicalForm.size());
    output += '"';
    appendEscaped(std::string_view(m_lexicalForm).substr(0, textLength), output);
    output += '"';
    output.append(m_lexicalForm, textLength);
    return nullptr;
}
