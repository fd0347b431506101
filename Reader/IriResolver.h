#pragma once

#include "Reader/TextArena.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Rdf {

/// Resolves relative IRIs against a base (RFC 3986, 5.2, strict). An IRI that has a scheme stays as it is.
///
/// Ownership  Owns the base. Resolved IRIs are in the arena.
/// Threads    Immutable while nobody sets the base.
class IriResolver {
public:
    /// An absolute IRI, or nothing.
    explicit IriResolver(const std::string_view base) { setBase(base); }

    void setBase(std::string_view base);
    bool hasBase() const noexcept { return !m_base.empty(); }

    /// Returns the absolute IRI for a reference without a scheme. There must be a base.
    std::string_view resolve(std::string_view reference, TextArena& arena) const;

private:
    std::string m_base;
    // Where the parts of the base end, each before the delimiter of the next.
    size_t m_schemeEnd = 0; // after the colon
    size_t m_authorityEnd = 0;
    size_t m_pathEnd = 0;
    size_t m_queryEnd = 0;
};

} // namespace Rdf
