#include "Engine/core/data-store/dictionary/DatatypeNames.h"

constinit const char* const XSD_STRING = "http://www.w3.org/2001/XMLSchema#string";
constinit const char* const RDF_PLAIN_LITERAL = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";
