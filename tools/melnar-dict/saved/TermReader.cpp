#include "tools/melnar-dict/saved/TermReader.h"

#include "tools/melnar-dict/pieces/BlankNodeScope.h"
#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/pieces/TermText.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Reader/ByteScan.h"
#include "Reader/Literal.h"
#include "Reader/Name.h"
#include "Reader/QuotedString.h"
#include "Reader/Utf8.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace {

constexpr size_t LONGEST_HINT = 100; // in bytes

constexpr const char* EXPECTED = "a term";

constexpr std::array PREFIXES{
    std::pair<std::string_view, std::string_view>{"xsd", "http://www.w3.org/2001/XMLSchema#"},
    std::pair<std::string_view, std::string_view>{"rdf", "http://www.w3.org/1999/02/22-rdf-syntax-ns#"}};

bool isSpace(const int byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

const char* skipSpace(Rdf::TextWindow& window, const char* at) noexcept {
    while (isSpace(window.peek(at)))
        ++at;
    return at;
}

/// Returns the datatype of the term that a text without quotes and brackets probably means.
uint8_t guessDatatypeID(const std::string_view text) noexcept {
    if ((text.find("://") != std::string_view::npos || text.starts_with("urn:")) &&
        findTermFlaw(text, D_IRI) == nullptr)
        return D_IRI;
    return classifyPlainLiteral(text.data(), text.size()) == PlainLiteralKind::WITH_TAG ? D_RDF_PLAIN_LITERAL
                                                                                        : D_XSD_STRING;
}

/// Returns the term that such a text, which is well-formed UTF-8, probably means.
std::string hintAt(std::string_view text) {
    text = text.substr(0, text.find_last_not_of(" \t\n\r") + 1);
    if (text.empty() || text.size() > LONGEST_HINT)
        return "";
    std::string hint = "; did you mean '";
    appendTermText(text, guessDatatypeID(text), hint);
    return hint += "'?";
}

} // namespace

std::optional<InputError> TermReader::read(const std::string_view text, Term& term) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* const validEnd = Rdf::Utf8::findInvalid(begin, end);
    m_window.open(validEnd, validEnd == end ? Rdf::TextWindow::Beyond::NOTHING : Rdf::TextWindow::Beyond::INVALID_BYTE);
    const auto makeError = [&](std::string cause) -> InputError {
        const auto column = Rdf::ByteScan::count<Rdf::ByteScan::CharacterStart>(begin, m_window.getFailurePlace()) + 1;
        return {0, ExitCode::BAD_DATA, std::move(cause), column};
    };
    const char* const start = skipSpace(m_window, begin);
    const char* termEnd = nullptr;
    std::string hint;
    Rdf::Term parsed;
    if (m_window.is(start, '"') || m_window.is(start, '\''))
        termEnd = readLiteralOfEitherVersion(start, parsed);
    else if (m_window.is(start, '<') || m_window.isPair(start, '_', ':'))
        termEnd = Rdf::LineTerms::readObject(m_window, start, parsed, m_triples, EXPECTED);
    else {
        m_window.failExpected(start, EXPECTED);
        if (validEnd == end)
            hint = hintAt(std::string_view(start, static_cast<size_t>(end - start)));
    }
    if (termEnd == nullptr)
        return makeError(m_window.takeFailure() + hint);
    if (const char* const rest = skipSpace(m_window, termEnd); rest != end) {
        m_window.failExpected(rest, "the end of the term");
        return makeError(m_window.takeFailure());
    }
    term = convert(parsed);
    return std::nullopt;
}

/// If a literal is invalid in both versions of RDF, the failure is that of the newer one.
const char* TermReader::readLiteralOfEitherVersion(const char* const at, Rdf::Term& literal) {
    if (const char* const end = readLiteral(m_window, at, literal))
        return end;
    m_olderWindow.open(m_window.getEnd(), m_window.getBeyond());
    return readLiteral(m_olderWindow, at, literal);
}

const char* TermReader::readLiteral(Rdf::TextWindow& window, const char* const at, Rdf::Term& literal) {
    return Rdf::readLiteral(
        window, at, literal, [&window](const char* const place) { return skipSpace(window, place); },
        Rdf::readTurtleString,
        [this, &window](const char* const place, Rdf::Term& datatype, const char*) {
            return readDatatype(window, place, datatype);
        });
}

const char* TermReader::readDatatype(Rdf::TextWindow& window, const char* const at, Rdf::Term& datatype) {
    constexpr const char* EXPECTED_DATATYPE = "an IRI in angle brackets or a name that begins with xsd: or rdf:";
    if (window.is(at, '<'))
        return Rdf::LineTerms::readIri(window, at, datatype, EXPECTED_DATATYPE);
    Rdf::Name name;
    const char* const end = Rdf::readName(window, at, name);
    if (end == nullptr)
        return nullptr;
    for (const auto& [prefix, iri] : PREFIXES)
        if (name.m_isPrefixed && name.m_prefix == prefix && !name.m_hasEscapes) {
            datatype.m_text = keep(iri, name.m_local);
            return end;
        }
    return window.failExpected(at, EXPECTED_DATATYPE);
}

Term TermReader::convert(const Rdf::Term& parsed) {
    std::string text;
    Term term = toTerm(parsed, BlankNodeScope::NO_DOCUMENT, text);
    if (term.m_kind == Term::Kind::BLANK_NODE || term.m_kind == Term::Kind::TRIPLE_TERM)
        term.m_text = keep(text, {});
    if (term.getDatatypeID() == D_RDF_PLAIN_LITERAL && term.m_language.empty() &&
        term.m_text.ends_with('@')) { // with an empty tag it is the string before the '@'
        term.m_text.remove_suffix(1);
        term.m_datatype = {};
    }
    return term;
}

/// Joins two texts in memory that is valid until the terms are cleared.
std::string_view TermReader::keep(const std::string_view first, const std::string_view second) {
    char* const text = m_window.getArena().allocate(first.size() + second.size());
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), text));
    return {text, first.size() + second.size()};
}
