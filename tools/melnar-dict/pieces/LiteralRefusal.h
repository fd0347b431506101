#pragma once

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Reader/Term.h"

#include <string>

/// Whether a term is a literal that the dictionary refuses whatever happens: an rdf:PlainLiteral without a tag or with a
/// malformed one.
bool isRefusedTerm(const Rdf::Term& term) noexcept;

/// Why the dictionary has refused a literal. Throws a failure that is not the literal's fault.
std::string causeOfRefusal(const BatchFailure& failure);
