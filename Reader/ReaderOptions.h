#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Rdf {

/// The syntaxes that can be read.
enum class Syntax : uint8_t {
    N_TRIPLES, ///< one triple per line
    N_QUADS,   ///< one triple per line, with a graph or without
    TURTLE,    ///< triples
    TRIG       ///< triples, with graphs or without
};

/// RDF 1.2 adds triple terms, reifiers, annotations, text directions and version directives. It limits the parts of
/// language tags to eight characters and refuses rdf:langString as a written datatype.
enum class Version : uint8_t {
    RDF_1_1, ///< without what RDF 1.2 adds
    RDF_1_2  ///< with it
};

/// What is read, and how.
struct ReaderOptions {
    /// 1 GiB.
    static constexpr size_t DEFAULT_MAXIMUM_LENGTH = size_t(1) << 30;

    Syntax m_syntax = Syntax::N_TRIPLES;  ///< of the text
    Version m_version = Version::RDF_1_2; ///< of RDF
    bool m_isLenient = false;             ///< continues after errors
    size_t m_maximumNesting = 1000;       ///< of brackets, collections and triple terms within each other

    /// In bytes: of a line, or a statement with the byte that shows its end.
    size_t m_maximumLength = DEFAULT_MAXIMUM_LENGTH;

    /// An absolute IRI for relative ones in Turtle and TriG; empty if there is none.
    std::string m_base{};
};

/// Returns whether statements of a syntax can have a graph.
constexpr bool hasGraphs(const Syntax syntax) noexcept {
    return syntax == Syntax::N_QUADS || syntax == Syntax::TRIG;
}

} // namespace Rdf
