#pragma once

#include <string_view>

namespace melnar {

/// The marker at the start of a string datatype's stream. The initial size and the two tables follow.
constexpr std::string_view STRING_DATATYPE_MARKER = "StringDatatype";

} // namespace melnar
