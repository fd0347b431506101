#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string>

/// Returns the dictionary's term for a term of a document. Labels of blank nodes, also those within triple terms,
/// become unique for the document (BlankNodeScope.h). A triple term becomes canonical N-Triples with unchanged language
/// tags.
///
/// Literals of rdf:PlainLiteral within triple terms are written as text and tag, like such literals elsewhere in the
/// dictionary; one that is malformed, or has a tag that RDF 1.2 does not allow, stays as it is.
///
/// Ownership  The result refers to the term's own bytes, and for blank nodes and triple terms to `text`, whose contents
///            it replaces.
Term toTerm(const Rdf::Term& term, uint64_t document, std::string& text);

/// Returns the document's literal for a literal of a dictionary. Refers to the literal's own bytes.
Rdf::Term toRdfLiteral(const Term& literal) noexcept;
