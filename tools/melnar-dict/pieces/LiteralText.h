#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Literals of a dictionary as the tool writes them. A dictionary may hold what no RDF file can: a program that embeds
/// the library may have put any bytes into it, and a forged file may hold any tags. None of that is written.

/// Why a literal of one of the string datatypes cannot be written in any syntax of RDF, or null.
const char* findLiteralFlaw(std::string_view lexicalForm, uint8_t datatypeID) noexcept;

/// The parts of a literal of one of the string datatypes: the tag is empty if there is none.
struct LiteralParts {
    std::string_view m_text;
    std::string_view m_tag;
};

/// Splits a lexical form at its last '@', which only a plain literal has.
LiteralParts splitLiteral(std::string_view lexicalForm, uint8_t datatypeID) noexcept;

/// Appends a literal without such a flaw in Turtle syntax, all control characters escaped.
void appendLiteralText(std::string_view lexicalForm, uint8_t datatypeID, std::string& output);
