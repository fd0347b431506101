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

/// The earlier directives on which the IRIs of Turtle depend.
struct TurtleContext {
    explicit TurtleContext(const std::string_view base) : m_base(base) {}

    IriResolver m_base;
    std::map<std::string, std::string, std::less<>> m_prefixes; // with their IRIs
};

/// An open graph of TriG.
struct OpenGraph {
    TermKind m_kind; // NONE for the default graph
    std::string m_name;
    Place m_place; // of the opening brace

    bool operator==(const OpenGraph&) const = default;
};

/// The state before a statement, on which its meaning depends. With it, a reader can start between statements in the
/// middle of a text.
///
/// Threads  The context does not change any more and may be shared. Equal contexts are the same object.
struct TurtleState {
    std::shared_ptr<const TurtleContext> m_context;
    std::optional<OpenGraph> m_graph;

    bool operator==(const TurtleState&) const = default;
};

} // namespace Rdf
