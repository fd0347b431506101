#include "Reader/TurtleTriples.h"

#include "Reader/Literal.h"
#include "Reader/Vocabulary.h"

#include <array>
#include <string>
#include <utility>

namespace Rdf {

namespace {

// By kind of the open construct.
constexpr std::array<const char*, 6> OPENINGS{"", "'['", "'{|'", "'('", "'<<'", "'<<('"};
constexpr std::array<const char*, 6> AFTER_OBJECT{
    "',', ';' or '.'", "',', ';' or ']'", "',', ';' or '|}'", "", "'>>'", "')>>'"};

constexpr Term makeIri(const std::string_view iri, const char* const at) {
    return {TermKind::IRI, Direction::NONE, iri, {}, {}, nullptr, at};
}

} // namespace

TurtleTriples::TurtleTriples(const ReaderOptions& options, TextWindow& window, TurtleTerms& terms)
    : m_options(options), m_window(window), m_terms(terms), m_values{{},
                                                                     makeIri(Vocabulary::RDF_REIFIES, nullptr),
                                                                     makeIri(Vocabulary::RDF_FIRST, nullptr),
                                                                     makeIri(Vocabulary::RDF_REST, nullptr)} {}

const char* TurtleTriples::read(const char* at, const Term* const graph) {
    m_frames.clear();
    m_numberOfValues = REST + 1;
    m_triples.clear();
    m_tripleTerms.clear();
    m_graph = graph;
    m_mayBeLabel = graph == nullptr && m_options.m_syntax == Syntax::TRIG;
    m_label = NO_TERM;
    m_frames.emplace_back(Kind::STATEMENT, State::SUBJECT, at, NO_TERM);
    while (at != nullptr && !m_frames.empty())
        at = step(m_terms.skipSpace(at));
    if (at == nullptr && m_window.isFailureAtEnd())
        blameOpening();
    return at;
}

void TurtleTriples::giveTo(StatementSink& sink) {
    size_t subject = NO_TERM;
    size_t predicate = NO_TERM;
    m_statement.m_graph = m_graph == nullptr ? Term{} : *m_graph;
    for (const IndexedTriple& triple : m_triples) {
        if (triple.m_subject != subject)
            m_statement.m_subject = m_values[subject = triple.m_subject];
        if (triple.m_predicate != predicate)
            m_statement.m_predicate = m_values[predicate = triple.m_predicate];
        m_statement.m_object = m_values[triple.m_object];
        sink.takeStatement(m_statement);
    }
}

inline const char* TurtleTriples::step(const char* const at) {
    switch (top().m_state) {
    case State::SUBJECT:
    case State::OBJECT:
        return readValue(at);
    case State::AFTER_OBJECT:
        return isInTerm() ? readAfterTerm(at) : readAfterObject(at);
    default:
        return readVerb(at);
    }
}

inline const char* TurtleTriples::readVerb(const char* const at) {
    Frame& frame = top();
    if (frame.m_state == State::VERB_OR_END) {
        if (frame.m_hasSemicolon && m_window.is(at, ';'))
            return at + 1;
        if (isEnd(at))
            return close(at);
    }
    if (m_mayBeLabel && m_window.is(at, '{')) {
        m_label = frame.m_subject;
        m_frames.clear();
        return at;
    }
    m_mayBeLabel = false;
    frame.m_state = State::OBJECT;
    frame.m_predicate = addValue();
    Term& predicate = m_values[frame.m_predicate];
    if (m_window.is(at, '<') && !m_window.is(at + 1, '<'))
        return m_terms.readIri(at, predicate, "a predicate");
    if (!m_window.is(at, ':') && !isNameStart(m_window, at))
        return fail(at, "a predicate");
    Name name;
    const char* const end = readName(m_window, at, name);
    if (end == nullptr)
        return nullptr;
    if (name.m_isPrefixed)
        return m_terms.expandName(at, end, name, predicate);
    if (name.m_prefix != "a")
        return fail(at, "a predicate");
    predicate = makeIri(Vocabulary::RDF_TYPE, at);
    return end;
}

/// Reads a subject, an object or an element of a collection, or an opening bracket.
inline const char* TurtleTriples::readValue(const char* const at) {
    const bool isSubject = top().m_state == State::SUBJECT;
    const bool isElement = top().m_kind == Kind::COLLECTION;
    const char* const expected = isSubject ? "a subject" : isElement ? "an object or ')'" : "an object";
    const int byte = m_window.peek(at);
    const size_t index = addValue(); // remains unused if a bracket opens or closes here
    Term& value = m_values[index];
    const char* end = nullptr;
    switch (byte) {
    case '<':
        if (m_window.isVersion12() && m_window.is(at + 1, '<'))
            return openAngles(at, expected);
        end = m_terms.readIri(at, value, expected);
        break;
    case '[': {
        const char* const next = m_terms.skipSpace(at + 1);
        if (!isInTerm() && !m_window.is(next, ']')) {
            value = m_terms.makeBlankNode(at);
            return open(Kind::PROPERTIES, State::VERB, at, next, index);
        }
        end = m_terms.readBlankNode(at, value);
        break;
    }
    case '(':
        return isInTerm() ? fail(at, expected) : open(Kind::COLLECTION, State::OBJECT, at, at + 1);
    case ')':
        return isElement ? close(at) : fail(at, expected);
    case '_':
        end = m_terms.readBlankNode(at, value);
        break;
    case '"':
    case '\'':
        end = isSubject ? fail(at, expected) : m_terms.readString(at, value);
        break;
    default:
        if (isNameStart(m_window, at) || byte == ':')
            end = isSubject ? m_terms.readIri(at, value, expected) : m_terms.readWord(at, value, expected);
        else if (!isSubject && (CharacterClass::is(byte, CharacterClass::DIGIT) || byte == '+' || byte == '-' ||
                                (byte == '.' && CharacterClass::is(m_window.peek(at + 1), CharacterClass::DIGIT))))
            end = readNumber(m_window, at, value);
        else
            return fail(at, expected);
    }
    return end == nullptr ? nullptr : complete(end, index);
}

/// Opens a reified triple or a triple term.
const char* TurtleTriples::openAngles(const char* const at, const char* const expected) {
    if (m_window.is(at + 2, '('))
        return top().m_state == State::SUBJECT ? fail(at, expected) : open(Kind::TRIPLE, State::SUBJECT, at, at + 3);
    return top().m_kind == Kind::TRIPLE ? fail(at, expected) : open(Kind::REIFIED, State::SUBJECT, at, at + 2);
}

inline const char* TurtleTriples::readAfterObject(const char* const at) {
    Frame& frame = top();
    switch (m_window.peek(at)) {
    case ',':
        frame.m_state = State::OBJECT;
        return at + 1;
    case ';':
        frame.m_state = State::VERB_OR_END;
        frame.m_hasSemicolon = true;
        return at + 1;
    case '~':
        if (m_window.isVersion12()) {
            const char* const end = readReifier(at + 1, frame.m_reifier);
            if (end != nullptr)
                add(frame.m_reifier, REIFIES, addTripleTerm(frame));
            return end;
        }
        break;
    case '{':
        if (m_window.isVersion12() && m_window.is(at + 1, '|')) {
            if (frame.m_reifier == NO_TERM) {
                frame.m_reifier = addValue(m_terms.makeBlankNode(at));
                add(frame.m_reifier, REIFIES, addTripleTerm(frame));
            }
            return open(Kind::ANNOTATION, State::VERB, at, at + 2, std::exchange(frame.m_reifier, NO_TERM));
        }
        break;
    default:
        break;
    }
    return isEnd(at) ? close(at) : fail(at, AFTER_OBJECT[static_cast<size_t>(frame.m_kind)]);
}

/// Reads what follows the object of a reified triple or a triple term.
const char* TurtleTriples::readAfterTerm(const char* const at) {
    Frame& frame = top();
    const bool isReified = frame.m_kind == Kind::REIFIED;
    if (isReified && frame.m_reifier == NO_TERM && m_window.is(at, '~'))
        return readReifier(at + 1, frame.m_reifier);
    const char* const brackets = isReified ? at : at + 1;
    if ((!isReified && !m_window.is(at, ')')) || !m_window.isPair(brackets, '>', '>'))
        return fail(at, AFTER_OBJECT[static_cast<size_t>(frame.m_kind)]);
    return close(at);
}

/// Reads the IRI or blank node after '~', if there is one.
const char* TurtleTriples::readReifier(const char* at, size_t& reifier) {
    const char* const tilde = at - 1;
    at = m_terms.skipSpace(at);
    reifier = addValue();
    Term& value = m_values[reifier];
    if (m_window.is(at, '_') || m_window.is(at, '['))
        return m_terms.readBlankNode(at, value);
    if ((m_window.is(at, '<') && !m_window.is(at + 1, '<')) || m_window.is(at, ':') || isNameStart(m_window, at))
        return m_terms.readIri(at, value, "a reifier");
    value = m_terms.makeBlankNode(tilde);
    return at;
}

const char* TurtleTriples::open(const Kind kind, const State state, const char* const opening, const char* const at,
                                const size_t subject) {
    if (m_frames.size() > m_options.m_maximumNesting)
        return m_window.failNesting(opening, m_options.m_maximumNesting);
    m_mayBeLabel = false;
    m_frames.emplace_back(kind, state, opening, subject);
    return at;
}

/// Ends the innermost open construct, with the bracket or full stop here.
const char* TurtleTriples::close(const char* const at) {
    const Frame frame = top();
    m_frames.pop_back();
    const bool saysSomething = frame.m_kind == Kind::PROPERTIES || frame.m_kind == Kind::REIFIED;
    const bool isSubject = saysSomething && top().m_kind == Kind::STATEMENT && top().m_state == State::SUBJECT;
    const char* end = at + 1;
    switch (frame.m_kind) {
    case Kind::STATEMENT:
        return at;
    case Kind::ANNOTATION:
        return at + 2;
    case Kind::PROPERTIES:
        end = complete(end, frame.m_subject);
        break;
    case Kind::COLLECTION:
        if (frame.m_subject == NO_TERM)
            return complete(end, addValue(makeIri(Vocabulary::RDF_NIL, frame.m_opening)));
        add(frame.m_object, REST, addValue(makeIri(Vocabulary::RDF_NIL, at)));
        return complete(end, frame.m_subject);
    case Kind::REIFIED: {
        const size_t reifier =
            frame.m_reifier == NO_TERM ? addValue(m_terms.makeBlankNode(frame.m_opening)) : frame.m_reifier;
        add(reifier, REIFIES, addTripleTerm(frame));
        end = complete(at + 2, reifier);
        break;
    }
    case Kind::TRIPLE:
        return complete(at + 3, addTripleTerm(frame));
    }
    if (isSubject)
        top().m_state = State::VERB_OR_END;
    return end;
}

/// Stores a value in the innermost open construct.
inline const char* TurtleTriples::complete(const char* const at, const size_t value) {
    Frame& frame = top();
    if (frame.m_state == State::SUBJECT) {
        frame.m_subject = value;
        frame.m_state = State::VERB;
    } else if (frame.m_kind == Kind::COLLECTION) {
        addElement(at, value);
    } else {
        frame.m_object = value;
        frame.m_reifier = NO_TERM;
        frame.m_state = State::AFTER_OBJECT;
        if (!isInTerm())
            add(frame.m_subject, frame.m_predicate, value);
    }
    return at;
}

/// Reports what was expected.
const char* TurtleTriples::fail(const char* const at, const char* const expected) {
    m_window.failExpected(at, expected);
    if (m_window.is(at, '.'))
        blameOpening();
    return nullptr;
}

/// Reports the innermost open bracket as the error, as the statement or the text ends in it.
void TurtleTriples::blameOpening() {
    if (m_frames.size() > 1)
        m_window.blameOpening(top().m_opening, OPENINGS[static_cast<size_t>(top().m_kind)]);
}

/// Returns whether the innermost open construct, a list of predicates and objects, ends here.
bool TurtleTriples::isEnd(const char* const at) {
    switch (top().m_kind) {
    case Kind::PROPERTIES:
        return m_window.is(at, ']');
    case Kind::ANNOTATION:
        return m_window.isPair(at, '|', '}');
    default:
        return m_window.is(at, '.') || (m_graph != nullptr && m_window.is(at, '}'));
    }
}

/// Adds an element, which ends here. Its node is named after its last byte, as the first may name the element.
void TurtleTriples::addElement(const char* const end, const size_t value) {
    Frame& frame = top();
    const size_t node = addValue(m_terms.makeBlankNode(end - 1));
    if (frame.m_subject == NO_TERM)
        frame.m_subject = node;
    else
        add(frame.m_object, REST, node);
    frame.m_object = node;
    add(node, FIRST, value);
}

/// Adds an unused term and returns its index. Terms may move.
inline size_t TurtleTriples::addValue() {
    if (m_numberOfValues == m_values.size())
        m_values.resize(2 * m_numberOfValues);
    return m_numberOfValues++;
}

size_t TurtleTriples::addValue(const Term& term) {
    const size_t index = addValue();
    m_values[index] = term;
    return index;
}

size_t TurtleTriples::addTripleTerm(const Frame& frame) {
    const Triple& triple = m_tripleTerms.emplace_back(
        Triple{m_values[frame.m_subject], m_values[frame.m_predicate], m_values[frame.m_object]});
    return addValue({TermKind::TRIPLE, Direction::NONE, {}, {}, {}, &triple, frame.m_opening});
}

} // namespace Rdf
