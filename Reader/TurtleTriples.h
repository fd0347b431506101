#pragma once

#include "Reader/ReaderOptions.h"
#include "Reader/TurtleTerms.h"

#include <deque>
#include <span>
#include <vector>

namespace Rdf {

/// Reads the triples of one statement of Turtle or TriG: a subject and what is said of it, with all that stands in
/// brackets. Nesting is kept in memory of its own, not on the stack.
///
/// Ownership  Triples and terms are valid until the next statement is read.
class TurtleTriples {
public:
    TurtleTriples(const ReaderOptions& options, TextWindow& window, TurtleTerms& terms)
        : m_options(options), m_window(window), m_terms(terms) {}

    /// Reads a statement up to the full stop that ends it. Within a graph, its closing brace may do so; outside of all
    /// graphs of TriG, it may also be the label of one, which is read up to the opening brace.
    const char* read(const char* at, const Term* graph);

    /// The statement's triples, in the order in which they are complete.
    std::span<const Statement> getStatements() const noexcept { return {m_statements.data(), m_numberOfStatements}; }

    /// The label of a graph, if that is what was read; else null.
    const Term* getLabel() const noexcept { return m_isLabel ? &m_label : nullptr; }

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
        VERB_OR_END, // after a semicolon, or after a subject that says something by itself
        OBJECT,      // an element, in a collection
        AFTER_OBJECT
    };

    /// Something that has begun and not ended.
    struct Frame {
        Kind m_kind;
        State m_state;
        const char* m_opening;
        bool m_hasSemicolon = false; // further ones may follow
        Term m_subject{};            // of a collection: its first node
        Term m_predicate{};
        Term m_object{};  // of a collection: its last node
        Term m_reifier{}; // of the last triple, until something else follows
    };

    const char* step(const char* at);
    const char* readVerb(const char* at);
    const char* readValue(const char* at);
    const char* readAngle(const char* at);
    const char* readSquare(const char* at);
    const char* readAfterObject(const char* at);
    const char* readAfterTerm(const char* at);
    const char* readReifier(const char* at, Term& reifier);
    const char* open(Kind kind, State state, const char* opening, const char* at, const Term& subject = {});
    const char* close(const char* at);
    const char* complete(const char* at, const Term& value);
    const char* fail(const char* at, const char* expected);
    void blameOpening();
    bool isEnd(const char* at);
    void addElement(const char* end, const Term& value);
    void add(const Term& subject, const Term& predicate, const Term& object);
    Term makeTriple(const Frame& frame);

    Frame& top() noexcept { return m_frames.back(); }
    bool isInTerm() const noexcept {
        return m_frames.back().m_kind == Kind::REIFIED || m_frames.back().m_kind == Kind::TRIPLE;
    }

    const ReaderOptions& m_options;
    TextWindow& m_window;
    TurtleTerms& m_terms;
    std::vector<Frame> m_frames;
    std::vector<Statement> m_statements; // of which the first are in use
    size_t m_numberOfStatements = 0;
    std::deque<Triple> m_triples; // that are terms
    const Term* m_graph = nullptr;
    bool m_mayBeLabel = false;
    bool m_isLabel = false;
    Term m_label;
};

} // namespace Rdf
