#pragma once

#include "Reader/Iri.h"
#include "Reader/Place.h"
#include "Reader/Term.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Rdf {

/// What the IRIs of Turtle depend on that comes before them.
struct TurtleContext {
    explicit TurtleContext(const std::string_view base) : m_base(base) {}

    IriResolver m_base;
    std::map<std::string, std::string, std::less<>> m_prefixes; // to the IRIs that they stand for
};

/// A graph of TriG that has begun and not ended.
struct OpenGraph {
    TermKind m_kind; // NONE for the default graph
    std::string m_name;
    Place m_place; // of the opening brace

    bool operator==(const OpenGraph&) const = default;
};

/// All that statements depend on that comes before them. With it, a reader can start between statements in the middle of
/// a text.
///
/// Threads  The context does not change any more and may be shared. Equal contexts are the same object.
struct TurtleState {
    std::shared_ptr<const TurtleContext> m_context;
    std::optional<OpenGraph> m_graph;

    bool operator==(const TurtleState&) const = default;
};

} // namespace Rdf
