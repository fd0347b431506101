#pragma once

#include "Reader/Iri.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace Rdf {

/// What the statements of Turtle depend on that come before them. With a copy of it, a reader can start at a statement
/// in the middle of a text.
struct TurtleContext {
    explicit TurtleContext(const std::string_view base) : m_base(base) {}

    IriResolver m_base;
    std::map<std::string, std::string, std::less<>> m_prefixes; // to the IRIs that they stand for
    // Nodes without a label get one from these two numbers. Readers of the same text must differ in the first.
    uint64_t m_blankNodeScope = 0;
    uint64_t m_numberOfBlankNodes = 0;
};

} // namespace Rdf
