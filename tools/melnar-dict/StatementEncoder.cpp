#include "tools/melnar-dict/StatementEncoder.h"

#include "tools/melnar-dict/LiteralIri.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/MelnarException.h"

#include <exception>

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
    if (statement.m_language != nullptr)
        m_literals.appendTagged(getText(object), getText(*statement.m_language), 0);
    else if (statement.m_datatype == nullptr || kind == LiteralKind::STRING)
        m_literals.append(getText(object), D_XSD_STRING, 0);
    else if (kind == LiteralKind::PLAIN_LITERAL)
        m_literals.append(getText(object), D_RDF_PLAIN_LITERAL, 0);
    else {
        appendUnchangedObject(statement, kind, output);
        return nullptr;
    }
    leaveGap();
    return nullptr;
}

void StatementEncoder::startBlock() {
    m_literals.clear();
}

void StatementEncoder::answerGaps() {
    m_failures.clear();
    m_dictionary.tryResolveResources(m_dictionary.getCommitPoint(), m_literals.getEntries(), m_failures);
}

const char* StatementEncoder::appendAnswer(const size_t gapIndex, std::string& output) {
    // No gap behind the first failure is asked for.
    if (!m_failures.empty() && m_failures.front().m_entryIndex == gapIndex)
        try {
            std::rethrow_exception(m_failures.front().m_exception);
        } catch (const MelnarException& exception) {
            m_cause = exception.getMessage();
            return m_cause.c_str();
        }
    const BatchEntry& literal = m_literals.getEntries()[gapIndex];
    if (literal.m_resourceID == 0) {
        m_cause = "the dictionary does not have the literal ";
        m_dictionary.appendTurtleLiteral(literal.m_lexicalForm, literal.m_datatypeID, m_cause);
        return m_cause.c_str();
    }
    LiteralIri::append(literal.m_resourceID, output);
    return nullptr;
}
