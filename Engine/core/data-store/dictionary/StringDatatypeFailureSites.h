#pragma once

/// The assigned places of the string datatype's failures. They include the plain-literal failures of its factory, since
/// these come from the same check.
constexpr const char* const STRING_DATATYPE_SOURCE_FILE = "Engine/core/data-store/dictionary/StringDatatype";
constexpr long LINE_TRY_RESOLVE_MISSING_AT_SIGN = 158;
constexpr long LINE_TRY_RESOLVE_MALFORMED_TAG = 166;
constexpr long LINE_RESOLVE_MISSING_AT_SIGN = 220;
constexpr long LINE_RESOLVE_MALFORMED_TAG = 229;
constexpr long LINE_NOT_A_STRING_DATATYPE = 251;
constexpr long LINE_TOO_MANY_COLLISIONS = 236;
constexpr long LINE_IN_PLACE_PARSE_MISSING_AT_SIGN = 302;
constexpr long LINE_IN_PLACE_PARSE_MALFORMED_TAG = 311;
constexpr long LINE_PARSE_MISSING_AT_SIGN = 323;
constexpr long LINE_PARSE_MALFORMED_TAG = 329;
