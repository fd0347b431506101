#include "tools/melnar-dict/StatementEncoder.h"

#include "tools/melnar-dict/LiteralIri.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/MelnarException.h"

const char* StatementEncoder::appendTerm(const SerdNode& term, std::string& output) {
    if (term.type == SERD_URI && LiteralIri::isReserved(getText(term))) {
        m_cause = "the IRI '" + std::string(getText(term)) + "' would be taken for a literal's";
        return m_cause.c_str();
    }
    return StatementRewriter::appendTerm(term, output);
}

const char* StatementEncoder::appendObject(const SerdStatement& statement, const LiteralKind kind,
                                           std::string& output) {
    const SerdNode& object = *statement.m_object;
    if (object.type != SERD_LITERAL)
        return appendTerm(object, output);
    uint8_t datatypeID = D_XSD_STRING;
    m_lexicalForm = getText(object);
    if (statement.m_language != nullptr) {
        m_lexicalForm.append("@").append(getText(*statement.m_language));
        datatypeID = D_RDF_PLAIN_LITERAL;
    } else if (kind == LiteralKind::PLAIN_LITERAL)
        datatypeID = D_RDF_PLAIN_LITERAL;
    else if (statement.m_datatype != nullptr && kind == LiteralKind::OTHER) {
        appendUnchangedObject(statement, kind, output);
        return nullptr;
    }
    uint64_t resourceID = 0;
    try {
        resourceID = m_dictionary.tryResolveResource(m_dictionary.getCommitPoint(), m_lexicalForm, datatypeID);
    } catch (const MelnarException& exception) {
        m_cause = exception.getMessage();
        return m_cause.c_str();
    }
    if (resourceID == 0) {
        m_cause = "the dictionary does not have the literal ";
        m_dictionary.appendTurtleLiteral(m_lexicalForm, datatypeID, m_cause);
        return m_cause.c_str();
    }
    LiteralIri::append(resourceID, output);
    return nullptr;
}
