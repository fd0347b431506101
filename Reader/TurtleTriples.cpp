#include "Reader/TurtleTriples.h"

#include "Reader/Literal.h"
#include "Reader/Vocabulary.h"

#include <array>
#include <string>

namespace Rdf {

namespace {

// By kind of what has begun.
constexpr std::array<const char*, 6> OPENINGS{"", "'['", "'{|'", "'('", "'<<'", "'<<('"};
constexpr std::array<const char*, 6> AFTER_OBJECT{
    "',', ';' or '.'", "',', ';' or ']'", "',', ';' or '|}'", "", "'>>'", "')>>'"};

constexpr Term makeIri(const std::string_view iri, const char* const at) {
    return {TermKind::IRI, Direction::NONE, iri, {}, {}, nullptr, at};
}

constexpr Term REIFIES = makeIri(Vocabulary::RDF_REIFIES, nullptr);
constexpr Term FIRST = makeIri(Vocabulary::RDF_FIRST, nullptr);
constexpr Term REST = makeIri(Vocabulary::RDF_REST, nullptr);

} // namespace

const char* TurtleTriples::read(const char* at, const Term* const graph) {
    m_frames.clear();
    m_numberOfStatements = 0;
    m_triples.clear();
    m_graph = graph;
    m_mayBeLabel = graph == nullptr && m_options.m_syntax == Syntax::TRIG;
    m_isLabel = false;
    m_frames.push_back({Kind::STATEMENT, State::SUBJECT, at});
    while (at != nullptr && !m_frames.empty())
        at = step(m_terms.skipSpace(at));
    if (at == nullptr && m_window.isFailureAtEnd())
        blameOpening();
    return at;
}

const char* TurtleTriples::step(const char* const at) {
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

const char* TurtleTriples::readVerb(const char* const at) {
    Frame& frame = top();
    if (frame.m_state == State::VERB_OR_END) {
        if (frame.m_hasSemicolon && m_window.is(at, ';'))
            return at + 1;
        if (isEnd(at))
            return close(at);
    }
    if (m_mayBeLabel && m_window.is(at, '{')) {
        m_isLabel = true;
        m_label = frame.m_subject;
        m_frames.clear();
        return at;
    }
    m_mayBeLabel = false;
    frame.m_state = State::OBJECT;
    if (m_window.is(at, '<') && !m_window.is(at + 1, '<'))
        return m_terms.readIri(at, frame.m_predicate, "a predicate");
    if (!m_window.is(at, ':') && !isNameStart(m_window, at))
        return fail(at, "a predicate");
    Name name;
    const char* const end = readName(m_window, at, name);
    if (end == nullptr)
        return nullptr;
    if (name.m_isPrefixed)
        return m_terms.expandName(at, end, name, frame.m_predicate);
    if (name.m_prefix != "a")
        return fail(at, "a predicate");
    frame.m_predicate = makeIri(Vocabulary::RDF_TYPE, at);
    return end;
}

/// Reads a subject, an object or an element of a collection, or what opens one.
const char* TurtleTriples::readValue(const char* const at) {
    const bool isSubject = top().m_state == State::SUBJECT;
    const bool isElement = top().m_kind == Kind::COLLECTION;
    const char* const expected = isSubject ? "a subject" : isElement ? "an object or ')'" : "an object";
    Term value;
    const char* end = nullptr;
    const int byte = m_window.peek(at);
    switch (byte) {
    case '<':
        return readAngle(at);
    case '[':
        return readSquare(at);
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
    return end == nullptr ? nullptr : complete(end, value);
}

const char* TurtleTriples::readAngle(const char* const at) {
    const bool isSubject = top().m_state == State::SUBJECT;
    const char* const expected = isSubject ? "a subject" : "an object";
    if (!m_window.isVersion12() || !m_window.is(at + 1, '<')) {
        Term value;
        const char* const end = m_terms.readIri(at, value, expected);
        return end == nullptr ? nullptr : complete(end, value);
    }
    if (m_window.is(at + 2, '('))
        return isSubject ? fail(at, expected) : open(Kind::TRIPLE, State::SUBJECT, at, at + 3);
    return top().m_kind == Kind::TRIPLE ? fail(at, expected) : open(Kind::REIFIED, State::SUBJECT, at, at + 2);
}

const char* TurtleTriples::readSquare(const char* const at) {
    const char* const next = m_terms.skipSpace(at + 1);
    if (isInTerm() || m_window.is(next, ']')) {
        Term value;
        const char* const end = m_terms.readBlankNode(at, value);
        return end == nullptr ? nullptr : complete(end, value);
    }
    return open(Kind::PROPERTIES, State::VERB, at, next, m_terms.makeBlankNode(at));
}

const char* TurtleTriples::readAfterObject(const char* const at) {
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
                add(frame.m_reifier, REIFIES, makeTriple(frame));
            return end;
        }
        break;
    case '{':
        if (m_window.isVersion12() && m_window.is(at + 1, '|')) {
            if (frame.m_reifier.m_kind == TermKind::NONE) {
                frame.m_reifier = m_terms.makeBlankNode(at);
                add(frame.m_reifier, REIFIES, makeTriple(frame));
            }
            const Term reifier = frame.m_reifier;
            frame.m_reifier = {};
            return open(Kind::ANNOTATION, State::VERB, at, at + 2, reifier);
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
    if (isReified && frame.m_reifier.m_kind == TermKind::NONE && m_window.is(at, '~'))
        return readReifier(at + 1, frame.m_reifier);
    const char* const brackets = isReified ? at : at + 1;
    if ((!isReified && !m_window.is(at, ')')) || !m_window.isPair(brackets, '>', '>'))
        return fail(at, AFTER_OBJECT[static_cast<size_t>(frame.m_kind)]);
    return close(at);
}

/// Reads the IRI or blank node after '~', if there is one.
const char* TurtleTriples::readReifier(const char* at, Term& reifier) {
    const char* const tilde = at - 1;
    at = m_terms.skipSpace(at);
    if (m_window.is(at, '_') || m_window.is(at, '['))
        return m_terms.readBlankNode(at, reifier);
    if ((m_window.is(at, '<') && !m_window.is(at + 1, '<')) || m_window.is(at, ':') || isNameStart(m_window, at))
        return m_terms.readIri(at, reifier, "a reifier");
    reifier = m_terms.makeBlankNode(tilde);
    return at;
}

const char* TurtleTriples::open(const Kind kind, const State state, const char* const opening, const char* const at,
                                const Term& subject) {
    if (m_frames.size() > m_options.m_maximumNesting)
        return m_window.failNesting(opening, m_options.m_maximumNesting);
    m_mayBeLabel = false;
    m_frames.push_back({kind, state, opening, false, subject});
    return at;
}

/// Ends what has begun last, by the bracket or full stop that stands here.
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
        if (frame.m_subject.m_kind == TermKind::NONE)
            return complete(end, makeIri(Vocabulary::RDF_NIL, frame.m_opening));
        add(frame.m_object, REST, makeIri(Vocabulary::RDF_NIL, at));
        return complete(end, frame.m_subject);
    case Kind::REIFIED: {
        const Term reifier =
            frame.m_reifier.m_kind == TermKind::NONE ? m_terms.makeBlankNode(frame.m_opening) : frame.m_reifier;
        add(reifier, REIFIES, makeTriple(frame));
        end = complete(at + 2, reifier);
        break;
    }
    case Kind::TRIPLE:
        return complete(at + 3, makeTriple(frame));
    }
    if (isSubject)
        top().m_state = State::VERB_OR_END;
    return end;
}

/// Puts a value where it belongs in what has begun last.
const char* TurtleTriples::complete(const char* const at, const Term& value) {
    Frame& frame = top();
    if (frame.m_state == State::SUBJECT) {
        frame.m_subject = value;
        frame.m_state = State::VERB;
    } else if (frame.m_kind == Kind::COLLECTION) {
        addElement(at, value);
    } else {
        frame.m_object = value;
        frame.m_reifier.m_kind = TermKind::NONE;
        frame.m_state = State::AFTER_OBJECT;
        if (!isInTerm())
            add(frame.m_subject, frame.m_predicate, value);
    }
    return at;
}

/// Says what was expected.
const char* TurtleTriples::fail(const char* const at, const char* const expected) {
    m_window.failExpected(at, expected);
    if (m_window.is(at, '.'))
        blameOpening();
    return nullptr;
}

/// Says that the bracket that was opened last is what is wrong, as the statement or the text ends in it.
void TurtleTriples::blameOpening() {
    if (m_frames.size() > 1)
        m_window.blameOpening(top().m_opening, OPENINGS[static_cast<size_t>(top().m_kind)]);
}

/// Whether what has begun last, a list of predicates and objects, ends here.
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
void TurtleTriples::addElement(const char* const end, const Term& value) {
    Frame& frame = top();
    const Term node = m_terms.makeBlankNode(end - 1);
    if (frame.m_subject.m_kind == TermKind::NONE)
        frame.m_subject = node;
    else
        add(frame.m_object, REST, node);
    frame.m_object = node;
    add(node, FIRST, value);
}

void TurtleTriples::add(const Term& subject, const Term& predicate, const Term& object) {
    if (m_numberOfStatements == m_statements.size())
        m_statements.resize(2 * m_numberOfStatements + 16);
    Statement& statement = m_statements[m_numberOfStatements++];
    statement.m_subject = subject;
    statement.m_predicate = predicate;
    statement.m_object = object;
    statement.m_graph.m_kind = TermKind::NONE;
    if (m_graph != nullptr)
        statement.m_graph = *m_graph;
}

Term TurtleTriples::makeTriple(const Frame& frame) {
    const Triple& triple = m_triples.emplace_back(Triple{frame.m_subject, frame.m_predicate, frame.m_object});
    return {TermKind::TRIPLE, Direction::NONE, {}, {}, {}, &triple, frame.m_opening};
}

} // namespace Rdf
