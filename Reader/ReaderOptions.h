#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Rdf {

enum class Syntax : uint8_t { N_TRIPLES, N_QUADS, TURTLE, TRIG };

/// RDF 1.2 adds triple terms, reifiers, annotations, text directions and version directives. It limits the parts of
/// language tags to eight characters and refuses rdf:langString as a written datatype.
enum class Version : uint8_t { RDF_1_1, RDF_1_2 };

struct ReaderOptions {
    static constexpr size_t DEFAULT_MAXIMUM_LENGTH = size_t(1) << 30;

    Syntax m_syntax = Syntax::N_TRIPLES;
    Version m_version = Version::RDF_1_2;
    bool m_isLenient = false;       // continues after errors
    size_t m_maximumNesting = 1000; // of brackets, collections and triple terms within each other
    size_t m_maximumLength =
        DEFAULT_MAXIMUM_LENGTH; // in bytes: of a line, or a statement with the byte that shows its end
    std::string m_base{};       // an absolute IRI for relative ones in Turtle and TriG; empty if there is none
};

constexpr bool hasGraphs(const Syntax syntax) noexcept {
    return syntax == Syntax::N_QUADS || syntax == Syntax::TRIG;
}

} // namespace Rdf
