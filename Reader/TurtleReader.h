#pragma once

#include "Reader/StatementSkipper.h"
#include "Reader/SyntaxReader.h"
#include "Reader/TurtleTriples.h"

#include <string_view>

namespace Rdf {

/// Reads Turtle and TriG, statement by statement. The sink gets the triples of a statement when it is complete, so that
/// a faulty one yields none.
class TurtleReader : public SyntaxReader {
public:
    TurtleReader(const ReaderOptions& options, StatementSink& sink);

    /// Restarts between statements, at the start of the next text, and continues like the reader of this state.
    void startAt(const Place& place, TurtleState state);

    /// Returns the line of a term of the statement whose triples the sink is taking.
    uint64_t locateLine(const Term& term) { return m_places.findLine(term.m_begin); }

    /// Returns the text of the statement whose triples the sink is taking, with its full stop.
    std::string_view getStatementText() const noexcept { return m_statementText; }

    /// Returns the state on which the next statements depend.
    TurtleState getState() {
        m_ownContext = nullptr;
        return m_state;
    }

    /// Returns whether the finished text ends between statements, and not in a comment.
    bool isBetweenStatements() const noexcept { return !m_skipper.isSkipping() && !m_isInComment; }

private:
    const char* readText(const char* begin, const char* end, bool isLast) final;
    const char* skipSpace(const char* at);
    bool narrowWindow(const char* unit);
    const char* readUnit(const char* at);
    const char* readDirective(const char* at, bool& isDirective);
    const char* readPrefix(const char* at, bool hasFullStop);
    const char* readBase(const char* at, bool hasFullStop);
    const char* readVersion(const char* at, bool hasFullStop);
    const char* readIriAndFullStop(const char* at, Term& iri, bool hasFullStop);
    const char* readFullStop(const char* at, bool isWanted);
    const char* readGraphLabel(const char* at);
    const char* readTriples(const char* at);
    const char* enterGraph(const char* brace, const Term& label);
    TurtleContext& changeContext();
    const char* finishSkipping(const char* begin, const char* end, bool isLast);
    void reportOpenGraph(const char* end);
    void blameOpenGraph();

    TurtleState m_state;
    TurtleContext* m_ownContext = nullptr; // the context if no other state refers to it
    TurtleTerms m_terms;
    TurtleTriples m_triples;
    StatementSkipper m_skipper;
    SyntaxError m_error; // of the statement that is being skipped
    std::string_view m_statementText;
    bool m_isInComment = false; // at the start of the text
};

} // namespace Rdf
