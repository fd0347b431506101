#pragma once

#include "Reader/ReaderOptions.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The syntaxes that the tool reads.
enum class RdfFormat { N_TRIPLES, N_QUADS, TURTLE, TRIG };

/// Returns whether every statement has its own line, so that a file can be cut at line ends and read by many threads.
constexpr bool isLineFormat(const RdfFormat format) noexcept {
    return format == RdfFormat::N_TRIPLES || format == RdfFormat::N_QUADS;
}

/// Returns whether a statement can name a graph.
constexpr bool hasGraphs(const RdfFormat format) noexcept {
    return format == RdfFormat::N_QUADS || format == RdfFormat::TRIG;
}

/// The default limit of bytes of a line, or of a statement in Turtle and TriG.
constexpr size_t DEFAULT_MAXIMUM_LINE = Rdf::ReaderOptions::DEFAULT_MAXIMUM_LENGTH;

/// Returns the options for reading a file of this format. The base is for relative IRIs in Turtle and TriG.
Rdf::ReaderOptions makeReaderOptions(RdfFormat format, bool lenient, size_t maximumLine, const std::string& base = "",
                                     Rdf::Version version = Rdf::Version::RDF_1_2);

/// Returns the version of RDF with the name "1.1" or "1.2".
std::optional<Rdf::Version> versionOfName(std::string_view name);

/// Returns the format with a name such as "ntriples" or "nt"; upper and lower case do not matter.
std::optional<RdfFormat> formatOfName(std::string_view name);

/// Returns the format that a file's extension indicates, before the extension of a compression format if there is one;
/// upper and lower case do not matter.
std::optional<RdfFormat> formatOfFile(std::string_view fileName);
