#pragma once

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Reader/Term.h"

#include <string>

/// Returns whether the dictionary always refuses this literal: an rdf:PlainLiteral without a tag or with a malformed
/// one.
bool isRefusedTerm(const Rdf::Term& term) noexcept;

/// Returns why the dictionary has refused a literal. Rethrows a failure that is not the literal's fault.
std::string causeOfRefusal(const BatchFailure& failure);
