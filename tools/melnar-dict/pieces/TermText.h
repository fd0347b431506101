#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Terms of a dictionary as the tool writes them. A dictionary may hold what no RDF file can: a program that embeds the
/// library may have put any bytes into it, and a forged file may hold any tags. None of that is written.

/// Why a term of one of the tool's datatypes cannot be written in any syntax of RDF, or null. std::bad_alloc.
const char* findTermFlaw(std::string_view lexicalForm, uint8_t datatypeID);

/// Appends a term without such a flaw as it stands in N-Triples, which is Turtle, too; all control characters escaped.
void appendTermText(std::string_view lexicalForm, uint8_t datatypeID, std::string& output);
