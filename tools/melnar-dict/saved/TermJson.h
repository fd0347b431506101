#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <string_view>

/// The keys of a term in a JSON object: "literal", in Turtle syntax, "text" and "language" of a literal; and of any
/// term its "type", "value", "datatype" and "direction". Missing parts are null.
namespace TermJson {

/// Sets all keys to null; they follow the existing keys of the object.
void clear(Json& object);

/// Sets all keys to those of a term without a flaw (TermText.h). The object keeps the memory of its strings.
void set(Json& object, std::string_view lexicalForm, uint8_t datatypeID);

} // namespace TermJson
