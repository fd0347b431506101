#pragma once

#include <string>
#include <string_view>

/// Whether a text begins with a scheme, as RFC 3986 defines it.
bool hasScheme(std::string_view iri);

/// Resolves a reference as RFC 3986 says in section 5.2, strictly. One that has a scheme stays as it is written.
std::string resolveIri(std::string_view base, std::string_view reference);
