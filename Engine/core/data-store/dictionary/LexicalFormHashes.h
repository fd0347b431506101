#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// How many lexical forms hashLexicalForms takes at most: enough to find forms of like length among them.
constexpr size_t MAXIMUM_NUMBER_OF_FORMS_TO_HASH = 256;

/// Stores in hashes[n] what hashLexicalForm gives for forms[n], several times faster when there are many forms; and in
/// `order` the numbers n in ascending order of the forms' lengths in words of LexicalFormLanes::BYTES_PER_WORD bytes.
///
/// Threads  Any threads at any time.
MELNAR_EXPORT void hashLexicalForms(const std::string_view* forms, size_t numberOfForms, uint64_t* hashes,
                                    uint16_t* order) noexcept;

} // namespace melnar
