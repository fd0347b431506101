#include "tools/melnar-dict/rewrite/StatementEncoder.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/rewrite/LiteralIri.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"

const char* StatementEncoder::appendTerm(const Rdf::Term& term, std::string& output) {
    if (term.m_kind == Rdf::TermKind::IRI && LiteralIri::isReserved(term.m_text)) {
        m_cause = "the IRI '" + std::string(term.m_text) + "' would be decoded as a literal";
        return m_cause.c_str();
    }
    appendUnchanged(term, output);
    return nullptr;
}

const char* StatementEncoder::appendObject(const Rdf::Term& object, std::string& output) {
    if (object.m_kind != Rdf::TermKind::LITERAL)
        return appendTerm(object, output);
    const LiteralKind kind = literalKindOf(object);
    if (kind == LiteralKind::OTHER) {
        appendUnchanged(object, output);
        return nullptr;
    }
    appendLiteral(object, kind, 0, m_literals);
    leaveGap();
    return nullptr;
}

std::string StatementEncoder::getBeginning(const SavedDictionary& dictionary) {
    dictionary.requireWholeState();
    return DictionaryLine::make(dictionary.getHistory());
}

void StatementEncoder::answerGaps() {
    m_failures.clear();
    m_dictionary.tryResolveResources(m_literals.getEntries(), m_failures);
}

const char* StatementEncoder::appendAnswer(const size_t gapIndex, std::string& output) {
    // Gaps after the first failure are not requested.
    if (!m_failures.empty() && m_failures.front().m_entryIndex == gapIndex) {
        m_cause = causeOfRefusal(m_failures.front());
        return m_cause.c_str();
    }
    const BatchEntry& literal = m_literals.getEntries()[gapIndex];
    if (literal.m_resourceID == 0) {
        m_cause = "the dictionary does not have the literal ";
        appendTermText(literal.m_lexicalForm, literal.m_datatypeID, m_cause);
        return m_cause.c_str();
    }
    LiteralIri::append(literal.m_resourceID, output);
    return nullptr;
}
