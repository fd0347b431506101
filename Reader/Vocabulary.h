#pragma once

#include <string_view>

/// The IRIs that the syntaxes themselves use.
namespace Rdf::Vocabulary {

inline constexpr std::string_view RDF_FIRST = "http://www.w3.org/1999/02/22-rdf-syntax-ns#first";
inline constexpr std::string_view RDF_REST = "http://www.w3.org/1999/02/22-rdf-syntax-ns#rest";
inline constexpr std::string_view RDF_NIL = "http://www.w3.org/1999/02/22-rdf-syntax-ns#nil";
inline constexpr std::string_view RDF_TYPE = "http://www.w3.org/1999/02/22-rdf-syntax-ns#type";
inline constexpr std::string_view RDF_REIFIES = "http://www.w3.org/1999/02/22-rdf-syntax-ns#reifies";
inline constexpr std::string_view RDF_LANG_STRING = "http://www.w3.org/1999/02/22-rdf-syntax-ns#langString";
inline constexpr std::string_view RDF_DIR_LANG_STRING = "http://www.w3.org/1999/02/22-rdf-syntax-ns#dirLangString";
inline constexpr std::string_view XSD_STRING = "http://www.w3.org/2001/XMLSchema#string";
inline constexpr std::string_view XSD_BOOLEAN = "http://www.w3.org/2001/XMLSchema#boolean";
inline constexpr std::string_view XSD_INTEGER = "http://www.w3.org/2001/XMLSchema#integer";
inline constexpr std::string_view XSD_DECIMAL = "http://www.w3.org/2001/XMLSchema#decimal";
inline constexpr std::string_view XSD_DOUBLE = "http://www.w3.org/2001/XMLSchema#double";

} // namespace Rdf::Vocabulary
