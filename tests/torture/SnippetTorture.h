#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>

/// Makes snippets of all four syntaxes in both versions of RDF, valid and slightly damaged, and compares the results of
/// the reader and the judge for each: whether it is accepted, and which statements it has. Prints each difference with
/// everything that reproduces it, and then a line. Returns whether there was none.
///
/// The snippets are derived from the grammars, and include those of the reader's fuzz tests and of the W3C's suites, if
/// MELNAR_DATA names their folder. `otherRules` replace rules of the judge, to check that wrong ones are found; then it
/// ends after the first difference.
bool tortureSnippets(size_t numberOfSnippets, uint32_t seed, std::ostream& output, std::string_view otherRules = "");
