#pragma once

#include "Engine/core/platform/Export.h"

/// The IRIs under which the string datatypes are registered. Constant-initialised: the static initialisation of other
/// files copies them.
MELNAR_EXPORT extern const char* const XSD_STRING;
MELNAR_EXPORT extern const char* const RDF_PLAIN_LITERAL;
