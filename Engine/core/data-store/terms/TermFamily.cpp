#include "Engine/core/data-store/terms/TermFamily.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/CharacterMaps.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/StringEscaping.h"

#include <algorithm>
#include <array>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/terms/TermFamily";
constexpr long LINE_MALFORMED_TERM = 131;

constexpr std::string_view DATATYPE_MARK = "^^";
constexpr std::string_view DIRECTION_MARK = "--";
constexpr std::string_view TRIPLE_TERM_BEGIN = "<<( ";
constexpr std::string_view TRIPLE_TERM_END = " )>>";
constexpr std::string_view STRING_DATATYPE = "<http://www.w3.org/2001/XMLSchema#string>"; // never written
constexpr std::string_view DOCUMENT_MARK = "doc"; // of a label that was made unique

constexpr char DELETE = 0x7F; // the only ASCII control character that IRIs can have

/// Splits at the last mark; the second part starts after it. Without the mark, as in a damaged file, everything is in
/// the first part.
std::pair<std::string_view, std::string_view> splitAtLast(const std::string_view form,
                                                          const std::string_view mark) noexcept {
    const size_t place = form.rfind(mark);
    if (place == std::string_view::npos)
        return {form, {}};
    return {form.substr(0, place), form.substr(place + mark.size())};
}

/// Returns the length of the namespace: up to the last slash, hash sign or colon.
size_t getNamespaceLength(const std::string_view iri) noexcept {
    const auto isEnd = [](const char character) { return character == '/' || character == '#' || character == ':'; };
    return static_cast<size_t>(iri.rend() - std::find_if(iri.rbegin(), iri.rend(), isEnd));
}

bool isIri(const std::string_view iri) noexcept {
    return !iri.empty();
}

constexpr std::array<bool, 256> ESCAPED_IN_IRIS = [] {
    std::array<bool, 256> isEscaped{};
    std::fill_n(isEscaped.begin(), 0x21, true);
    for (const char character : std::string_view("<>\"{}|^`\\\x7F"))
        isEscaped[static_cast<uint8_t>(character)] = true;
    return isEscaped;
}();

/// Characters that are not allowed between angle brackets are escaped, so an IRI, which is stored unchecked, cannot end
/// them.
void appendIri(const std::string_view iri, std::string& output) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    output += '<';
    for (const char* begin = iri.data();;) {
        const char* const end = iri.data() + iri.size();
        const char* const escaped = std::find_if(
            begin, end, [](const char character) { return ESCAPED_IN_IRIS[static_cast<uint8_t>(character)]; });
        output.append(begin, escaped);
        if (escaped == end)
            break;
        (output.append("\\u00") += DIGITS[static_cast<uint8_t>(*escaped) >> 4]) +=
            DIGITS[static_cast<uint8_t>(*escaped) & 0xF];
        begin = escaped + 1;
    }
    output += '>';
}

/// Returns the length of the part before the first hyphen of a label that starts like "doc2-".
size_t getDocumentLength(const std::string_view label) noexcept {
    if (!label.starts_with(DOCUMENT_MARK))
        return 0;
    const size_t end = label.find_first_not_of("0123456789", DOCUMENT_MARK.size());
    return end != std::string_view::npos && end != DOCUMENT_MARK.size() && label[end] == '-' ? end + 1 : 0;
}

/// Implements the rules of N-Triples, but accepts all characters beyond ASCII as letters.
bool isLabel(const std::string_view label) noexcept {
    return !label.empty() && label.front() != '-' && label.front() != '.' && label.back() != '.' &&
           std::all_of(label.begin(), label.end(), [](const char character) {
               const auto byte = static_cast<uint8_t>(character);
               return byte >= 0x80 || CHARMAP_ALPHANUMERIC[byte] != 0 ||
                      std::string_view("_-.:").find(character) != std::string_view::npos;
           });
}

void appendBlankNode(const std::string_view label, std::string& output) {
    output.append("_:").append(label);
}

size_t getDatatypeLength(const std::string_view form) noexcept {
    return splitAtLast(form, DATATYPE_MARK).second.size();
}

bool isTypedLiteral(const std::string_view form) noexcept {
    const std::string_view datatype = splitAtLast(form, DATATYPE_MARK).second;
    return !datatype.empty() && datatype != XSD_STRING && datatype != RDF_PLAIN_LITERAL;
}

void appendQuoted(const std::string_view text, std::string& output) {
    output += '"';
    appendStringEscaped(output, text.data(), text.data() + text.size());
    output += '"';
}

void appendTypedLiteral(const std::string_view form, std::string& output) {
    const auto [text, datatype] = splitAtLast(form, DATATYPE_MARK);
    appendQuoted(text, output);
    output += DATATYPE_MARK;
    appendIri(datatype, output);
}

/// Returns the length from the '@' on.
size_t getTagLength(const std::string_view form) noexcept {
    return form.size() - splitAtLast(form, "@").first.size();
}

bool isDirectionalString(const std::string_view form) noexcept {
    const auto [tagged, direction] = splitAtLast(form, DIRECTION_MARK);
    return (direction == "ltr" || direction == "rtl") &&
           classifyPlainLiteral(tagged.data(), tagged.size()) == PlainLiteralKind::WITH_TAG;
}

void appendDirectionalString(const std::string_view form, std::string& output) {
    const auto [text, tag] = splitAtLast(form, "@");
    appendQuoted(text, output);
    output.append("@").append(tag);
}

size_t getNoLength(std::string_view) noexcept {
    return 0;
}

enum class Position : uint8_t { SUBJECT, PREDICATE, OBJECT };

/// Removes a term other than a triple term from the front of a text in canonical N-Triples. Returns false if there is
/// none that is allowed in this position.
bool takeTerm(std::string_view& text, const Position position) noexcept {
    const auto takeUntil = [&text](const std::string_view characters, const size_t from) {
        const size_t end = std::min(text.find_first_of(characters, from), text.size());
        const std::string_view taken = text.substr(0, end);
        text.remove_prefix(end);
        return taken;
    };
    const auto takeIri = [&] {
        const bool isTaken = text.starts_with('<') && takeUntil("> <\"", 1).size() > 1 && text.starts_with('>');
        text.remove_prefix(isTaken);
        return isTaken;
    };
    if (text.starts_with("_:"))
        return position != Position::PREDICATE && isLabel(takeUntil(" ", 2).substr(2));
    if (position != Position::OBJECT || !text.starts_with('"'))
        return takeIri();
    for (size_t end = 1; end < text.size(); end += text[end] == '\\' ? size_t(2) : size_t(1))
        if (text[end] == '"') {
            if (text.substr(0, end).find(DELETE) != std::string_view::npos)
                return false;
            text.remove_prefix(end + 1);
            if (text.starts_with('@')) {
                const std::string_view tag = takeUntil(" ", 1);
                return tag.find('@', 1) == std::string_view::npos &&
                       (isDirectionalString(tag) ||
                        classifyPlainLiteral(tag.data(), tag.size()) == PlainLiteralKind::WITH_TAG);
            }
            if (!text.starts_with(DATATYPE_MARK))
                return true;
            text.remove_prefix(DATATYPE_MARK.size());
            return !text.starts_with(STRING_DATATYPE) && takeIri();
        }
    return false;
}

/// Only the object can be a triple term, so all closing brackets are adjacent.
bool isTripleTerm(std::string_view form) noexcept {
    if (std::any_of(form.begin(), form.end(),
                    [](const char character) { return static_cast<uint8_t>(character) < 0x20; }))
        return false;
    size_t depth = 0;
    for (; form.starts_with(TRIPLE_TERM_BEGIN); ++depth) {
        form.remove_prefix(TRIPLE_TERM_BEGIN.size());
        for (const Position position : {Position::SUBJECT, Position::PREDICATE}) {
            if (!takeTerm(form, position) || !form.starts_with(' '))
                return false;
            form.remove_prefix(1);
        }
    }
    if (depth == 0 || !takeTerm(form, Position::OBJECT))
        return false;
    for (; depth != 0 && form.starts_with(TRIPLE_TERM_END); --depth)
        form.remove_prefix(TRIPLE_TERM_END.size());
    return depth == 0 && form.empty();
}

/// Only IRIs can contain the character that is escaped here. In canonical form it is not escaped.
void appendTripleTerm(const std::string_view form, std::string& output) {
    for (const char character : form)
        if (character == DELETE)
            output += "\\u007F";
        else
            output += character;
}

using Place = TermFamily::AffixPlace;

// Storing three terms whole costs less than a namespace with a single IRI, such as that of a page. There are few
// datatypes and tags.
constexpr std::array FAMILIES{
    TermFamily{D_IRI, "IRI", "IRIs", Place::FRONT, 4, &getNamespaceLength, &isIri, &appendIri},
    TermFamily{D_BLANK_NODE, "blank node", "blank nodes", Place::FRONT, 4, &getDocumentLength, &isLabel,
               &appendBlankNode},
    TermFamily{D_TYPED_LITERAL, "typed literal", "typed literals", Place::BACK, 1, &getDatatypeLength, &isTypedLiteral,
               &appendTypedLiteral},
    TermFamily{D_DIRECTIONAL_STRING, "http://www.w3.org/1999/02/22-rdf-syntax-ns#dirLangString", "directional strings",
               Place::BACK, 1, &getTagLength, &isDirectionalString, &appendDirectionalString},
    TermFamily{D_TRIPLE_TERM, "triple term", "triple terms", Place::FRONT, 1, &getNoLength, &isTripleTerm,
               &appendTripleTerm},
};

} // namespace

void TermFamily::check(const std::string_view lexicalForm) const {
    AdaptiveResourceSizeEncoding::checkLength(lexicalForm.size()); // before the form is read, which cannot be so long
    if (!m_isWellFormed(lexicalForm))
        throw MelnarException(FailureKind::REFUSED_LITERAL, SOURCE_FILE, LINE_MALFORMED_TERM,
                              MelnarException::NO_CAUSES, "'", std::string(lexicalForm), "' is no ", m_name, ".");
}

const TermFamily& TermFamily::get(const uint8_t datatypeID) noexcept {
    return FAMILIES[datatypeID - D_IRI];
}
