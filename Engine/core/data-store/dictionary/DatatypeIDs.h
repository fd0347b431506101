#pragma once

#include <cstddef>
#include <cstdint>

///@{
/// The IDs of the string datatypes. 0 means "no resource" wherever a datatype ID is stored.
constexpr uint8_t D_INVALID = 0;
constexpr uint8_t D_XSD_STRING = 5;
constexpr uint8_t D_RDF_PLAIN_LITERAL = 6;
///@}

/// Returns whether a datatype is one of strings. Their lexical forms are contiguous; those of all other datatypes may
/// share parts.
constexpr bool isOfStrings(const uint8_t datatypeID) noexcept {
    return datatypeID == D_XSD_STRING || datatypeID == D_RDF_PLAIN_LITERAL;
}

/// How many values a datatype ID can have.
constexpr size_t NUMBER_OF_DATATYPE_IDS = 256;
