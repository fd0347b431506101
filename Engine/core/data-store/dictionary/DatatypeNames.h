#pragma once

/// The IRIs under which the string datatypes are registered. Constant-initialised: the static initialisation of other
/// files copies them.
extern const char* const XSD_STRING;
extern const char* const RDF_PLAIN_LITERAL;
