#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Reader/Term.h"

#include <string>

/// Whether the dictionary refuses this literal whatever happens: an rdf:PlainLiteral without a tag or with a malformed
/// one. What else fails is not the literal's fault but that of a limit.
bool isRefused(const BatchEntry& literal) noexcept;

/// The same for a term, which need not be a literal.
bool isRefusedTerm(const Rdf::Term& term) noexcept;

/// Why the dictionary refused this literal; throws the failure again when it is not the literal's fault.
std::string causeOfRefusal(const BatchEntry& literal, const BatchFailure& failure);
