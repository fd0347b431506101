#include "Reader/CanonicalWriter.h"

#include "Reader/ByteScan.h"
#include "Reader/Vocabulary.h"

#include <algorithm>

namespace Rdf::CanonicalWriter {

namespace {

void appendTag(const Term& literal, std::string& output, const Tags tags) {
    output += '@';
    for (const char character : literal.m_tag)
        output += tags == Tags::LOWER_CASE && character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20)
                                                                                   : character;
    if (literal.m_direction != Direction::NONE)
        output += literal.m_direction == Direction::LEFT_TO_RIGHT ? "--ltr" : "--rtl";
}

void appendHexadecimal(const uint32_t character, std::string& output) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    output += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        output += DIGITS[character >> shift & 0xF];
}

} // namespace

void appendStatement(const Statement& statement, std::string& output) {
    appendStatementOf(statement, output, [&](const Term& term, bool) { appendTerm(term, output); });
}

void appendTerm(const Term& term, std::string& output, const Tags tags) {
    if (term.m_kind == TermKind::IRI)
        output.append("<").append(term.m_text).append(">");
    else if (term.m_kind == TermKind::BLANK_NODE)
        output.append("_:").append(term.m_text);
    else if (term.m_kind == TermKind::TRIPLE) {
        output += "<<( ";
        appendTripleOf(*term.m_triple, output, [&](const Term& part, bool) { appendTerm(part, output, tags); });
        output += " )>>";
    } else {
        output += '"';
        appendEscaped(term.m_text, output);
        output += '"';
        if (!term.m_tag.empty())
            appendTag(term, output, tags);
        else if (!term.m_datatype.empty() && term.m_datatype != Vocabulary::XSD_STRING)
            output.append("^^<").append(term.m_datatype).append(">");
    }
}

void appendEscaped(const std::string_view text, std::string& output) {
    constexpr std::string_view CHARACTERS = "\b\t\n\f\r\"\\";
    constexpr std::string_view LETTERS = "btnfr\"\\";
    const char* const end = text.data() + text.size();
    for (const char* begin = text.data();;) {
        const char* const stop = ByteScan::find<ByteScan::CanonicalEscape>(begin, end);
        output.append(begin, stop);
        if (stop == end)
            return;
        begin = stop + 1;
        if (const size_t escape = CHARACTERS.find(*stop); escape != std::string_view::npos) {
            output += '\\';
            output += LETTERS[escape];
        } else if (static_cast<uint8_t>(*stop) != 0xEF) {
            appendHexadecimal(static_cast<uint8_t>(*stop), output);
        } else {
            const std::string_view character(stop, std::min<size_t>(3, static_cast<size_t>(end - stop)));
            begin = stop + character.size();
            if (character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") // not allowed in XML
                appendHexadecimal(character[2] == '\xBE' ? 0xFFFE : 0xFFFF, output);
            else
                output += character;
        }
    }
}

} // namespace Rdf::CanonicalWriter
