#pragma once

#include "Reader/Export.h"

#include <cstddef>
#include <cstdint>

/// UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing beyond U+10FFFF.
namespace Rdf::Utf8 {

/// An implementation of findInvalid.
using FindInvalid = const char* (*)(const char* begin, const char* end) noexcept;

/// Returns where the first sequence starts that is not well-formed, or the end.
MELNAR_READER_EXPORT const char* findInvalid(const char* begin, const char* end) noexcept;

///@{
/// The two implementations: with the instructions of every processor, and 32 bytes at a time with AVX2. The second is
/// null if it was not compiled or the processor lacks the instructions.
const char* findInvalidPortably(const char* begin, const char* end) noexcept;
FindInvalid getFindInvalidWithAVX2() noexcept;
///@}

/// Returns the length of the well-formed sequence that starts here, or 0.
MELNAR_READER_EXPORT size_t getLength(const char* current, const char* end) noexcept;

/// Returns whether more bytes could complete the sequence that starts here and lasts until the end.
MELNAR_READER_EXPORT bool isCutSequence(const char* current, const char* end) noexcept;

/// Returns the character whose well-formed sequence starts here.
MELNAR_READER_EXPORT uint32_t decode(const char* current) noexcept;

/// Appends a character; returns the end of its one to four bytes.
MELNAR_READER_EXPORT char* encode(uint32_t character, char* output) noexcept;

} // namespace Rdf::Utf8
