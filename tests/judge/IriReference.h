#pragma once

#include <string>
#include <string_view>

/// Returns whether a text starts with a scheme, as RFC 3986 defines it.
bool hasScheme(std::string_view iri);

/// Resolves a reference as section 5.2 of RFC 3986 defines, strictly. One that has a scheme stays unchanged.
std::string resolveIri(std::string_view base, std::string_view reference);
