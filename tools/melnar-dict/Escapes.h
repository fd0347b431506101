#pragma once

#include <string_view>

/// What the text between a string's quotes may not have escaped: a half of a surrogate pair or a number beyond Unicode.
/// The cause, or null when there is nothing to object to. Escapes that are none at all are left to the parser.
const char* findFaultInString(std::string_view text) noexcept;

/// The same for the text between the angle brackets of an IRI, where an escape may not stand for a character that an
/// IRI cannot hold either.
const char* findFaultInIri(std::string_view text) noexcept;
