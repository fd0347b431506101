#pragma once

#include "Reader/ReaderOptions.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The syntaxes that the tool reads.
enum class RdfFormat { N_TRIPLES, N_QUADS, TURTLE, TRIG };

/// Whether every statement has a line of its own, so that a file can be cut at line ends and read by many threads.
constexpr bool isLineFormat(const RdfFormat format) noexcept {
    return format == RdfFormat::N_TRIPLES || format == RdfFormat::N_QUADS;
}

/// Whether a statement can name a graph.
constexpr bool hasGraphs(const RdfFormat format) noexcept {
    return format == RdfFormat::N_QUADS || format == RdfFormat::TRIG;
}

/// In bytes, of a line, or of a statement in Turtle and TriG, unless the command line says otherwise.
constexpr size_t DEFAULT_MAXIMUM_LINE = Rdf::ReaderOptions::DEFAULT_MAXIMUM_LENGTH;

/// How a file of this format is read. The base is for relative IRIs in Turtle and TriG.
Rdf::ReaderOptions makeReaderOptions(RdfFormat format, bool lenient, size_t maximumLine, const std::string& base = "",
                                     Rdf::Version version = Rdf::Version::RDF_1_2);

/// The version of RDF that is called "1.1" or "1.2".
std::optional<Rdf::Version> versionOfName(std::string_view name);

/// The format of a name as one gives it by hand, such as "ntriples" or "nt", in any case of letters.
std::optional<RdfFormat> formatOfName(std::string_view name);

/// The format that a file's extension tells, in any case of letters, below that of a packed format if there is one.
std::optional<RdfFormat> formatOfFile(std::string_view fileName);
