#pragma once

#include "Reader/Name.h"
#include "Reader/PlaceCounter.h"
#include "Reader/Term.h"
#include "Reader/TextWindow.h"
#include "Reader/TurtleContext.h"

#include <memory>
#include <string_view>

namespace Rdf {

/// Reads the terms of Turtle and TriG that contain no other terms.
///
/// Labels     Nodes without a label are called anonN by the offset of a byte that belongs only to them, so that their
///            labels do not depend on where reading has started. Labels of the text that start with "anon" get an
///            underscore after that, so that no two nodes share a label.
class TurtleTerms {
public:
    TurtleTerms(TextWindow& window, const PlaceCounter& places, const std::shared_ptr<const TurtleContext>& context)
        : m_window(window), m_places(places), m_context(context) {}

    /// Skips white space and comments.
    const char* skipSpace(const char* at) noexcept {
        const char* const end = m_window.getEnd();
        for (;;) {
            while (at != end && CharacterClass::is(static_cast<uint8_t>(*at), CharacterClass::SPACE))
                ++at;
            if (at == end || *at != '#')
                return m_window.touch(at);
            at = ByteScan::findLineEnd(at, end);
        }
    }

    /// Reads an IRI or a prefixed name; if neither starts here, reports what was expected.
    const char* readIri(const char* at, Term& term, const char* expected);

    /// Reads a blank node from its '_' or '[': a label, or empty brackets.
    const char* readBlankNode(const char* at, Term& term);

    /// Reads a string from its opening quote, with its tag or datatype.
    const char* readString(const char* at, Term& term);

    /// Reads `true`, `false` or a prefixed name.
    const char* readWord(const char* at, Term& term, const char* expected);

    /// Makes a term from a name that was read.
    const char* expandName(const char* at, const char* end, const Name& name, Term& term);

    /// Makes a node that has no label in the text; no other node may have this byte.
    Term makeBlankNode(const char* at);

private:
    TextWindow& m_window;
    const PlaceCounter& m_places;
    const std::shared_ptr<const TurtleContext>& m_context;
};

} // namespace Rdf
