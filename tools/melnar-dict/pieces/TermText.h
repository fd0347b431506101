#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Terms of a dictionary as the tool writes them. A dictionary may contain terms that no RDF file can hold: a program
/// that embeds the library may have added any bytes, and a forged file may contain any tags. Such terms are not
/// written.

/// Returns why a term of one of the tool's datatypes cannot be written in any RDF syntax, or null. std::bad_alloc.
const char* findTermFlaw(std::string_view lexicalForm, uint8_t datatypeID);

/// Appends a term without such a flaw in N-Triples syntax, which is also Turtle; all control characters are escaped.
void appendTermText(std::string_view lexicalForm, uint8_t datatypeID, std::string& output);
