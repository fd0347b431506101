#pragma once

#include "Reader/TextWindow.h"

#include <string_view>

namespace Rdf {

/// Reads a blank node's label from its '_'; the result is without "_:".
const char* readBlankNodeLabel(TextWindow& window, const char* at, std::string_view& label);

/// A word such as `true`, or a name such as `ex:local`.
struct Name {
    std::string_view m_prefix; // or the word
    std::string_view m_local;  // as written
    bool m_isPrefixed = false; // a colon separates the two
    bool m_hasEscapes = false; // the local part has backslashes
};

/// Reads a word or prefixed name; only names start with a letter or a colon.
const char* readName(TextWindow& window, const char* at, Name& name);

/// Returns whether a name or word may start here.
bool isNameStart(TextWindow& window, const char* at) noexcept;

} // namespace Rdf
