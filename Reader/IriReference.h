#pragma once

#include "Reader/ByteScan.h"
#include "Reader/TextWindow.h"

#include <string_view>

namespace Rdf {

/// Reads an IRI with escapes in it or with something wrong; `stop` is the first such place.
const char* readEscapedIriReference(TextWindow& window, const char* opening, const char* stop, std::string_view& iri);

/// Reads `<...>`, whose '<' stands here: an IRI, absolute or relative, with its escapes replaced.
inline const char* readIriReference(TextWindow& window, const char* const opening, std::string_view& iri) {
    const char* const begin = opening + 1;
    const char* const stop = ByteScan::find<ByteScan::IriStop>(begin, window.getEnd());
    if (!window.is(stop, '>')) [[unlikely]]
        return readEscapedIriReference(window, opening, stop, iri);
    iri = std::string_view(begin, static_cast<size_t>(stop - begin));
    return stop + 1;
}

/// Whether an IRI starts with a scheme and a colon.
inline bool isAbsoluteIri(const std::string_view iri) noexcept {
    const auto classOf = [&](const size_t index) { return CharacterClass::TABLE[static_cast<uint8_t>(iri[index])]; };
    if (iri.empty() || (classOf(0) & CharacterClass::LETTER) == 0)
        return false;
    for (size_t index = 1; index < iri.size(); ++index)
        if ((classOf(index) & CharacterClass::NAME) == 0 || iri[index] == '_')
            if (iri[index] != '+')
                return iri[index] == ':';
    return false;
}

} // namespace Rdf
