#pragma once

#include "Reader/Term.h"

#include <string>
#include <string_view>

/// Writes statements in the canonical form of N-Triples and N-Quads that RDF 1.2 defines: single spaces, no comments,
/// language tags in lower case, no written xsd:string, escapes only for characters that need them.
namespace Rdf::CanonicalWriter {

/// Appends a line.
void appendStatement(const Statement& statement, std::string& output);

void appendTerm(const Term& term, std::string& output);

/// Appends a text as it stands between the quotes of a literal.
void appendEscaped(std::string_view text, std::string& output);

} // namespace Rdf::CanonicalWriter
