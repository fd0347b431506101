#pragma once

#include "Engine/core/platform/Export.h"

///@{
/// The IRIs under which the string datatypes are registered. They are constant-initialised, since static initialisers
/// of other files copy them.
MELNAR_EXPORT extern const char* const XSD_STRING;
MELNAR_EXPORT extern const char* const RDF_PLAIN_LITERAL;
///@}
