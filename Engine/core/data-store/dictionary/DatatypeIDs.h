#pragma once

#include <cstddef>
#include <cstdint>

/// The IDs of the datatypes that this library implements. 0 stands for "no resource" wherever a datatype ID is stored.
constexpr uint8_t D_INVALID = 0;
constexpr uint8_t D_XSD_STRING = 5;
constexpr uint8_t D_RDF_PLAIN_LITERAL = 6;

/// Tells whether a datatype is one of strings, whose lexical forms lie in one piece; those of all others may share
/// parts.
constexpr bool isOfStrings(const uint8_t datatypeID) noexcept {
    return datatypeID == D_XSD_STRING || datatypeID == D_RDF_PLAIN_LITERAL;
}

/// How many datatype IDs there can be.
constexpr size_t NUMBER_OF_DATATYPE_IDS = 256;
