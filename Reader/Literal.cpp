#include "Reader/Literal.h"

namespace Rdf {

namespace {

constexpr ptrdiff_t LONGEST_PART = 8; // in RDF 1.2

const char* readDirection(TextWindow& window, const char* const begin, Direction& direction) {
    const char* end = begin;
    while (CharacterClass::is(window.peek(end), CharacterClass::LETTER))
        ++end;
    const std::string_view name(begin, static_cast<size_t>(end - begin));
    if (name != "ltr" && name != "rtl")
        return window.failExpected(begin, "the direction ltr or rtl");
    direction = name == "ltr" ? Direction::LEFT_TO_RIGHT : Direction::RIGHT_TO_LEFT;
    return end;
}

const char* skipDigits(TextWindow& window, const char* at) noexcept {
    while (CharacterClass::is(window.peek(at), CharacterClass::DIGIT))
        ++at;
    return at;
}

/// Returns the end of an exponent that starts here, or null.
const char* skipExponent(TextWindow& window, const char* at) noexcept {
    if (!window.is(at, 'e') && !window.is(at, 'E'))
        return nullptr;
    ++at;
    if (window.is(at, '+') || window.is(at, '-'))
        ++at;
    const char* const end = skipDigits(window, at);
    return end == at ? nullptr : end;
}

} // namespace

const char* readLanguageTag(TextWindow& window, const char* const at, Term& literal) {
    const char* const begin = at + 1;
    const char* part = begin;
    uint8_t classes = CharacterClass::LETTER;
    for (;;) {
        const char* end = part;
        while (CharacterClass::is(window.peek(end), classes))
            ++end;
        if (end == part)
            return window.failExpected(end, part == begin ? "a language tag" : "a further part of the language tag");
        if (end - part > LONGEST_PART && window.isVersion12())
            return window.fail(part, "expected at most 8 characters in a part of a language tag, found '" +
                                         std::string(part, end) + "'");
        literal.m_tag = std::string_view(begin, static_cast<size_t>(end - begin));
        if (!window.is(end, '-'))
            return end;
        if (window.isVersion12() && window.is(end + 1, '-'))
            return readDirection(window, end + 2, literal.m_direction);
        part = end + 1;
        classes = CharacterClass::LETTER | CharacterClass::DIGIT;
    }
}

const char* readNumber(TextWindow& window, const char* const at, Term& literal) {
    const char* const digits = window.is(at, '+') || window.is(at, '-') ? at + 1 : at;
    const char* end = skipDigits(window, digits);
    const bool hasDigits = end != digits;
    std::string_view datatype = Vocabulary::XSD_INTEGER;
    // A full stop belongs to the number if digits or an exponent follow; otherwise it may end the statement.
    if (window.is(end, '.')) {
        const char* const fraction = skipDigits(window, end + 1);
        if (fraction != end + 1 || (hasDigits && skipExponent(window, fraction) != nullptr)) {
            end = fraction;
            datatype = Vocabulary::XSD_DECIMAL;
        }
    }
    if (end == digits)
        return window.failExpected(digits, "the digits of a number");
    if (const char* const exponent = skipExponent(window, end)) {
        end = exponent;
        datatype = Vocabulary::XSD_DOUBLE;
    }
    const std::string_view text(at, static_cast<size_t>(end - at));
    literal = {TermKind::LITERAL, Direction::NONE, text, {}, datatype, nullptr, at};
    return end;
}

} // namespace Rdf
