#include "Reader/CanonicalWriter.h"

#include "Reader/Vocabulary.h"

#include <cstdint>

namespace Rdf::CanonicalWriter {

namespace {

void appendLiteral(const Term& literal, std::string& output) {
    output += '"';
    appendEscaped(literal.m_text, output);
    output += '"';
    if (!literal.m_tag.empty()) {
        output += '@';
        for (const char character : literal.m_tag)
            output += character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
        if (literal.m_direction != Direction::NONE)
            output += literal.m_direction == Direction::LEFT_TO_RIGHT ? "--ltr" : "--rtl";
    } else if (!literal.m_datatype.empty() && literal.m_datatype != Vocabulary::XSD_STRING) {
        output.append("^^<").append(literal.m_datatype).append(">");
    }
}

void appendSimpleTerm(const Term& term, std::string& output) {
    if (term.m_kind == TermKind::IRI)
        output.append("<").append(term.m_text).append(">");
    else if (term.m_kind == TermKind::BLANK_NODE)
        output.append("_:").append(term.m_text);
    else
        appendLiteral(term, output);
}

void appendHexadecimal(const uint32_t character, std::string& output) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    output += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        output += DIGITS[character >> shift & 0xF];
}

} // namespace

void appendStatement(const Statement& statement, std::string& output) {
    for (const Term* const term : {&statement.m_subject, &statement.m_predicate, &statement.m_object}) {
        appendTerm(*term, output);
        output += ' ';
    }
    if (statement.m_graph.m_kind != TermKind::NONE) {
        appendTerm(statement.m_graph, output);
        output += ' ';
    }
    output += ".\n";
}

/// Terms within terms are objects, so that all closing brackets come at the end.
void appendTerm(const Term& term, std::string& output) {
    size_t depth = 0;
    const Term* current = &term;
    for (; current->m_kind == TermKind::TRIPLE; current = &current->m_triple->m_object, ++depth) {
        output += "<<( ";
        appendSimpleTerm(current->m_triple->m_subject, output);
        output += ' ';
        appendSimpleTerm(current->m_triple->m_predicate, output);
        output += ' ';
    }
    appendSimpleTerm(*current, output);
    while (depth-- != 0)
        output += " )>>";
}

void appendEscaped(const std::string_view text, std::string& output) {
    constexpr std::string_view CHARACTERS = "\b\t\n\f\r\"\\";
    constexpr std::string_view LETTERS = "btnfr\"\\";
    for (size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<uint8_t>(text[index]);
        if (const size_t escape = CHARACTERS.find(text[index]); escape != std::string_view::npos) {
            output += '\\';
            output += LETTERS[escape];
        } else if (byte < 0x20 || byte == 0x7F) {
            appendHexadecimal(byte, output);
        } else if (byte == 0xEF &&
                   (text.substr(index, 3) == "\xEF\xBF\xBE" || text.substr(index, 3) == "\xEF\xBF\xBF")) {
            appendHexadecimal(text[index + 2] == '\xBE' ? 0xFFFE : 0xFFFF, output); // no characters of XML
            index += 2;
        } else {
            output += text[index];
        }
    }
}

} // namespace Rdf::CanonicalWriter
