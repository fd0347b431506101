#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string>

/// The term of a dictionary that a term of a document is. Labels of blank nodes, those within triple terms too, become
/// unique for the document (BlankNodeScope.h). A triple term becomes canonical N-Triples with its language tags as they
/// are.
///
/// Literals of rdf:PlainLiteral within triple terms are written as text and tag, like the literals that the dictionary
/// has for them elsewhere; one that is malformed, or has a tag that RDF 1.2 does not read, stays as it is.
///
/// Ownership  The result refers to the term's own bytes, and for blank nodes and triple terms to `text`, whose contents
///            it replaces.
Term toTerm(const Rdf::Term& term, uint64_t document, std::string& text);

/// The literal of a document that a literal of a dictionary is. Refers to the literal's own bytes.
Rdf::Term toRdfLiteral(const Term& literal) noexcept;
