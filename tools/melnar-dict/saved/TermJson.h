#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <string_view>

/// A term as a JSON object tells it: "literal", in Turtle syntax, "text" and "language" of a literal; and of any term its
/// "type", "value", "datatype" and "direction". What a term does not have is null.
namespace TermJson {

/// Sets all keys to null, which thus follow those that the object has.
void clear(Json& object);

/// Sets all keys to those of a term without a flaw (TermText.h). The object keeps the memory of its strings.
void set(Json& object, std::string_view lexicalForm, uint8_t datatypeID);

} // namespace TermJson
