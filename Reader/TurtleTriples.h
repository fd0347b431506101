#pragma once

#include "Reader/ReaderOptions.h"
#include "Reader/StatementSink.h"
#include "Reader/TurtleTerms.h"

#include <deque>
#include <vector>

namespace Rdf {

/// Reads the triples of one statement of Turtle or TriG: a subject and its predicates and objects, including everything
/// in brackets. Nesting uses its own memory, not the stack.
///
/// A term is read directly to its storage, where it stays until the next statement is read; triples consist of indices
/// of terms.
class TurtleTriples {
public:
    TurtleTriples(const ReaderOptions& options, TextWindow& window, TurtleTerms& terms);

    /// Reads a statement up to the full stop that ends it. Within a graph, its closing brace may also end it; outside
    /// of all graphs of TriG, the text may also be the label of one, which is read up to the opening brace.
    const char* read(const char* at, const Term* graph);

    /// Passes the statement's triples to a sink, in the order in which they were completed.
    void giveTo(StatementSink& sink);

    /// Returns the label of a graph, if that is what was read; otherwise null. Valid until the next statement is read.
    const Term* getLabel() const noexcept { return m_label == NO_TERM ? nullptr : &m_values[m_label]; }

private:
    enum class Kind : uint8_t {
        STATEMENT,
        PROPERTIES, // [ ]
        ANNOTATION, // {| |}
        COLLECTION, // ( )
        REIFIED,    // << >>
        TRIPLE      // <<( )>>
    };
    enum class State : uint8_t {
        SUBJECT,
        VERB,
        VERB_OR_END, // after a semicolon, or after a subject that contains triples itself
        OBJECT,      // an element, in a collection
        AFTER_OBJECT
    };

    // Indices of terms that always exist.
    static constexpr size_t NO_TERM = 0;
    static constexpr size_t REIFIES = 1;
    static constexpr size_t FIRST = 2;
    static constexpr size_t REST = 3;

    struct IndexedTriple {
        size_t m_subject = NO_TERM;
        size_t m_predicate = NO_TERM;
        size_t m_object = NO_TERM;
    };

    /// An open construct. Of a collection, the subject is its first node and the object its last.
    struct Frame : IndexedTriple {
        Frame(const Kind kind, const State state, const char* const opening, const size_t subject)
            : IndexedTriple{subject, NO_TERM, NO_TERM}, m_kind(kind), m_state(state), m_opening(opening) {}

        Kind m_kind;
        State m_state;
        bool m_hasSemicolon = false; // more may follow
        const char* m_opening;
        size_t m_reifier = NO_TERM; // of the last triple, until other text follows
    };

    const char* step(const char* at);
    const char* readVerb(const char* at);
    const char* readValue(const char* at);
    const char* openAngles(const char* at, const char* expected);
    const char* readAfterObject(const char* at);
    const char* readAfterTerm(const char* at);
    const char* readReifier(const char* at, size_t& reifier);
    const char* open(Kind kind, State state, const char* opening, const char* at, size_t subject = NO_TERM);
    const char* close(const char* at);
    const char* complete(const char* at, size_t value);
    const char* fail(const char* at, const char* expected);
    void blameOpening();
    bool isEnd(const char* at);
    void addElement(const char* end, size_t value);
    void add(const size_t subject, const size_t predicate, const size_t object) {
        m_triples.push_back({subject, predicate, object});
    }
    size_t addValue();
    size_t addValue(const Term& term);
    size_t addTripleTerm(const Frame& frame);

    Frame& top() noexcept { return m_frames.back(); }
    bool isInTerm() const noexcept {
        return m_frames.back().m_kind == Kind::REIFIED || m_frames.back().m_kind == Kind::TRIPLE;
    }

    const ReaderOptions& m_options;
    TextWindow& m_window;
    TurtleTerms& m_terms;
    std::vector<Frame> m_frames;
    std::vector<Term> m_values; // the first ones are in use
    size_t m_numberOfValues = 0;
    std::vector<IndexedTriple> m_triples;
    std::deque<Triple> m_tripleTerms;
    const Term* m_graph = nullptr;
    bool m_mayBeLabel = false;
    size_t m_label = NO_TERM;
    Statement m_statement; // passed to the sink
};

} // namespace Rdf
