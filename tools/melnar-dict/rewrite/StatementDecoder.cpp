#include "tools/melnar-dict/rewrite/StatementDecoder.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/rewrite/LiteralIri.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"

const char* StatementDecoder::appendTerm(const Rdf::Term& term, std::string& output) {
    if (term.m_kind == Rdf::TermKind::IRI && LiteralIri::isReserved(term.m_text)) {
        m_cause = "the IRI '" + std::string(term.m_text) + "' is in a position where a literal is not allowed";
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
    if (resourceID == 0)
        return refuseID(object.m_text);
    m_literals.push_back({{}, resourceID, D_INVALID});
    leaveGap();
    return nullptr;
}

const char* StatementDecoder::refuseID(const std::string_view iri) {
    m_cause = "the IRI '" + std::string(iri) + "' does not contain a resource ID of the dictionary";
    return m_cause.c_str();
}

void StatementDecoder::startBlock(const std::string_view text) {
    m_refusal = DictionaryLine::findRefused(text, m_dictionary.getHistory());
}

const char* StatementDecoder::take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    return m_refusal && line >= m_refusal->m_line ? nullptr : StatementRewriter::take(statement, line, piece);
}

void StatementDecoder::endBlock(ParsedPiece& piece) {
    StatementRewriter::endBlock(piece);
    if (m_refusal && (piece.m_errors.empty() || piece.m_errors.front().m_line >= m_refusal->m_line))
        piece.m_errors.assign(1, {m_refusal->m_line, ExitCode::BAD_DATA, m_refusal->m_cause});
}

void StatementDecoder::answerGaps() {
    m_dictionary.getResources(m_literals);
}

const char* StatementDecoder::appendAnswer(const size_t gapIndex, std::string& output) {
    const BatchEntry& entry = m_literals[gapIndex];
    if (!isOfStrings(entry.m_datatypeID)) {
        const std::string iri = std::string(LiteralIri::SCHEME) + std::to_string(entry.m_resourceID);
        if (entry.m_datatypeID == D_INVALID)
            return refuseID(iri);
        m_cause = "the IRI '" + iri + "' contains the ID of a term that is not a string literal";
        return m_cause.c_str();
    }
    if (const char* const flaw = findTermFlaw(entry.m_lexicalForm, entry.m_datatypeID)) {
        m_cause = "resource " + std::to_string(entry.m_resourceID) + " cannot be written: " + flaw;
        return m_cause.c_str();
    }
    appendUnchanged(toRdfLiteral(Term::parse(entry.m_datatypeID, entry.m_lexicalForm)), output);
    return nullptr;
}
