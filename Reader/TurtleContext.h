#pragma once

#include "Reader/IriResolver.h"
#include "Reader/PrefixMap.h"

#include <cstdint>
#include <string_view>

namespace Rdf {

/// What the statements of Turtle depend on that come before them. With a copy of it, a reader can start at a statement
/// in the middle of a text.
struct TurtleContext {
    explicit TurtleContext(const std::string_view base) : m_base(base) {}

    IriResolver m_base;
    PrefixMap m_prefixes;
    // Nodes without a label get one from these two numbers. Readers of the same text must differ in the first.
    uint64_t m_blankNodeScope = 0;
    uint64_t m_numberOfBlankNodes = 0;
};

} // namespace Rdf
