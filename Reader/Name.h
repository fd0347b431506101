#pragma once

#include "Reader/TextWindow.h"

#include <string_view>

namespace Rdf {

/// Reads a blank node's label, whose '_' stands here; it is given without "_:".
const char* readBlankNodeLabel(TextWindow& window, const char* at, std::string_view& label);

/// A word such as `true`, or a name such as `ex:local`.
struct Name {
    std::string_view m_prefix; // or the word
    std::string_view m_local;  // as written
    bool m_isPrefixed = false; // a colon separates the two
    bool m_hasEscapes = false; // the local part has backslashes
};

/// Reads a word or prefixed name; nothing but names start with a letter or a colon.
const char* readName(TextWindow& window, const char* at, Name& name);

/// Whether a name or word may start with what stands here.
bool isNameStart(TextWindow& window, const char* at) noexcept;

} // namespace Rdf
