#include "Reader/Number.h"

#include "Reader/Vocabulary.h"

namespace Rdf {

namespace {

const char* skipDigits(TextWindow& window, const char* at) noexcept {
    while (CharacterClass::is(window.peek(at), CharacterClass::DIGIT))
        ++at;
    return at;
}

/// Returns where an exponent ends that starts here, or null.
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

const char* readNumber(TextWindow& window, const char* const at, Term& literal) {
    const char* const digits = window.is(at, '+') || window.is(at, '-') ? at + 1 : at;
    const char* end = skipDigits(window, digits);
    const bool hasDigits = end != digits;
    std::string_view datatype = Vocabulary::XSD_INTEGER;
    // A full stop belongs to the number if digits or an exponent follow; else it may end the statement.
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
