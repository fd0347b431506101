#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// The largest number of lexical forms for hashLexicalForms: enough to find forms of similar length among them.
constexpr size_t MAXIMUM_NUMBER_OF_FORMS_TO_HASH = 256;

/// Sets hashes[n] to the hashLexicalForm of forms[n], several times faster than one call for each if there are many.
/// Sets `order` to the numbers n in ascending order of the forms' lengths in words of LexicalFormLanes::BYTES_PER_WORD
/// bytes.
///
/// Threads  Any threads at any time.
MELNAR_EXPORT void hashLexicalForms(const std::string_view* forms, size_t numberOfForms, uint64_t* hashes,
                                    uint16_t* order) noexcept;

} // namespace melnar
