#include "tools/melnar-dict/saved/LiteralReader.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Reader/Iri.h"
#include "Reader/Literal.h"
#include "Reader/QuotedString.h"
#include "Reader/Utf8.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace {

constexpr size_t LONGEST_HINT = 100; // in bytes

/// The datatypes of string literals can be written with these prefixes, whose declarations a single literal has no
/// place for.
constexpr std::array PREFIXED_DATATYPES{
    std::pair<std::string_view, std::string_view>{"xsd:string", Rdf::Vocabulary::XSD_STRING},
    std::pair<std::string_view, std::string_view>{"rdf:PlainLiteral", RDF_PLAIN_LITERAL}};

bool isSpace(const int byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

const char* skipSpace(Rdf::TextWindow& window, const char* at) noexcept {
    while (isSpace(window.peek(at)))
        ++at;
    return at;
}

const char* readDatatype(Rdf::TextWindow& window, const char* const at, Rdf::Term& datatype) {
    if (window.is(at, '<'))
        return Rdf::readIriReference(window, at, datatype.m_text);
    const char* end = at;
    while (window.peek(end) != Rdf::TextWindow::END && !isSpace(*end))
        ++end;
    for (const auto& [name, iri] : PREFIXED_DATATYPES)
        if (std::string_view(at, static_cast<size_t>(end - at)) == name) {
            datatype.m_text = iri;
            return end;
        }
    return window.failExpected(at, "an IRI in angle brackets, xsd:string or rdf:PlainLiteral");
}

/// Returns the literal that was probably meant by a text that is well-formed UTF-8 and lacks quotes.
std::string hintAt(const std::string_view text) {
    if (text.empty() || text.front() == '<' || text.size() > LONGEST_HINT)
        return "";
    const std::string form(text);
    const uint8_t datatypeID = classifyPlainLiteral(form.data(), form.size()) == PlainLiteralKind::WITH_TAG
                                   ? D_RDF_PLAIN_LITERAL
                                   : D_XSD_STRING;
    std::string literal;
    DictionaryDatatypeFactory::getFactory(datatypeID)
        ->appendTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(form.c_str()), form.size() + 1, nullptr, 0,
                              Prefixes(), literal);
    return "; did you mean '" + literal + "'?";
}

} // namespace

std::optional<InputError> LiteralReader::read(const std::string_view text, Rdf::Term& literal) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* const validEnd = Rdf::Utf8::findInvalid(begin, end);
    m_window.getArena().clear();
    m_window.open(validEnd, validEnd == end ? Rdf::TextWindow::Beyond::NOTHING : Rdf::TextWindow::Beyond::INVALID_BYTE);
    const char* const start = skipSpace(m_window, begin);
    if (validEnd == end && !m_window.is(start, '"') && !m_window.is(start, '\'')) {
        m_window.failExpected(start, "a literal in quotes");
        const size_t length = std::string_view(start, static_cast<size_t>(end - start)).find_last_not_of(" \t\n\r") + 1;
        return makeError(text, start, m_window.takeFailure() + hintAt({start, length}));
    }
    const char* const literalEnd = readLiteral(start, literal);
    if (literalEnd == nullptr)
        return makeError(text, m_window.getFailurePlace(), m_window.takeFailure());
    if (const char* const rest = skipSpace(m_window, literalEnd); rest != end) {
        m_window.failExpected(rest, "the end of the literal");
        return makeError(text, rest, m_window.takeFailure());
    }
    if (literal.m_direction != Rdf::Direction::NONE)
        return makeError(text, start, "a literal with a text direction has no ID");
    if (literalKindOf(literal) == LiteralKind::PLAIN_LITERAL && literal.m_tag.empty() &&
        literal.m_text.ends_with('@')) { // with an empty tag it is the string before the '@'
        literal.m_text.remove_suffix(1);
        literal.m_datatype = Rdf::Vocabulary::XSD_STRING;
    }
    if (literalKindOf(literal) == LiteralKind::OTHER)
        return makeError(text, start,
                         "a literal of datatype <" + std::string(literal.m_datatype) +
                             "> has no ID; those of xsd:string and rdf:PlainLiteral have");
    return std::nullopt;
}

const char* LiteralReader::readLiteral(const char* const at, Rdf::Term& literal) {
    if (!m_window.is(at, '"') && !m_window.is(at, '\''))
        return m_window.failExpected(at, "a literal in quotes");
    return Rdf::readLiteral(
        m_window, at, literal, [this](const char* const place) { return skipSpace(m_window, place); },
        [](Rdf::TextWindow& window, const char* const place, std::string_view& string) {
            return Rdf::readTurtleString(window, place, string);
        },
        [this](const char* const place, Rdf::Term& datatype, const char*) {
            return readDatatype(m_window, place, datatype);
        });
}

InputError LiteralReader::makeError(const std::string_view text, const char* const place, std::string cause) const {
    const auto column = std::count_if(text.data(), place, [](const char byte) { return (byte & 0xC0) != 0x80; }) + 1;
    return {0, ExitCode::BAD_DATA, std::move(cause), static_cast<uint64_t>(column)};
}
