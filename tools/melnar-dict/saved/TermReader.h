#pragma once

#include "tools/melnar-dict/pieces/InputError.h"

#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Unmovable.h"
#include "Reader/LineTerms.h"
#include "Reader/ReaderOptions.h"
#include "Reader/Term.h"
#include "Reader/TextWindow.h"

#include <optional>
#include <string_view>

/// Reads single terms, each in a separate text: a literal as in Turtle, in quotes of either kind, one or three, with a
/// language tag or a datatype; an IRI, a blank node or a triple term as in N-Triples. The IRI of a datatype may be a
/// name with the prefix xsd: or rdf:, which needs no declaration here.
///
/// Ownership  Terms refer to the texts that they were read from, and to memory of the reader.
/// Threads    One at a time.
class TermReader : private Unmovable {
public:
    /// Reads a text that is a term, with white space around it at most. Otherwise returns an error with its column but
    /// no line; a text that lacks quotes or brackets gets a hint.
    std::optional<InputError> read(std::string_view text, Term& term);

    /// Clears all terms that were read.
    void clear() noexcept {
        m_window.getArena().clear();
        m_olderWindow.getArena().clear();
    }

private:
    const char* readLiteralOfEitherVersion(const char* at, Rdf::Term& literal);
    const char* readLiteral(Rdf::TextWindow& window, const char* at, Rdf::Term& literal);
    const char* readDatatype(Rdf::TextWindow& window, const char* at, Rdf::Term& datatype);
    Term convert(const Rdf::Term& parsed);
    std::string_view keep(std::string_view first, std::string_view second);

    Rdf::TextWindow m_window{Rdf::Version::RDF_1_2};
    Rdf::TextWindow m_olderWindow{Rdf::Version::RDF_1_1}; // which allows a few literals that RDF 1.2 does not
    Rdf::LineTerms::Triples m_triples{Rdf::ReaderOptions().m_maximumNesting};
};
