#pragma once

#include "Reader/ByteScan.h"
#include "Reader/TextWindow.h"

#include <string>
#include <string_view>

namespace Rdf {

/// Reads an IRI with escapes or with an error; `stop` is the first such position.
const char* readEscapedIriReference(TextWindow& window, const char* opening, const char* stop, std::string_view& iri);

/// Reads `<...>` from its '<': an IRI, absolute or relative, with its escapes replaced.
inline const char* readIriReference(TextWindow& window, const char* const opening, std::string_view& iri) {
    const char* const begin = opening + 1;
    const char* const stop = ByteScan::find<ByteScan::IriStop>(begin, window.getEnd());
    if (!window.is(stop, '>')) [[unlikely]]
        return readEscapedIriReference(window, opening, stop, iri);
    iri = std::string_view(begin, static_cast<size_t>(stop - begin));
    return stop + 1;
}

/// Returns whether an IRI starts with a scheme and a colon.
inline bool isAbsoluteIri(const std::string_view iri) noexcept {
    if (iri.starts_with("http:") || iri.starts_with("https:")) // the most frequent case
        return true;
    const auto classOf = [&](const size_t index) { return CharacterClass::TABLE[static_cast<uint8_t>(iri[index])]; };
    if (iri.empty() || (classOf(0) & CharacterClass::LETTER) == 0)
        return false;
    for (size_t index = 1; index < iri.size(); ++index)
        if ((classOf(index) & CharacterClass::NAME) == 0 || iri[index] == '_')
            if (iri[index] != '+')
                return iri[index] == ':';
    return false;
}

/// Resolves relative IRIs against a base (RFC 3986, 5.2, strict). An IRI with a scheme stays as it is.
///
/// Ownership  Owns the base. Resolved IRIs are in the arena.
/// Threads    Immutable while no thread sets the base.
class IriResolver {
public:
    /// The base: an absolute IRI, or empty.
    explicit IriResolver(const std::string_view base) { setBase(base); }

    void setBase(std::string_view base);
    const std::string& getBase() const noexcept { return m_base; }
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
