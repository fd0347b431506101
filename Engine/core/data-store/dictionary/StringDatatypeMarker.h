#pragma once

#include <string_view>

namespace melnar {

/// What the stream of a string datatype begins with. The initial size follows, and then the two tables.
constexpr std::string_view STRING_DATATYPE_MARKER = "StringDatatype";

} // namespace melnar
