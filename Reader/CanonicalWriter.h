#pragma once

#include "Reader/Export.h"
#include "Reader/Term.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Writes statements in the canonical form of N-Triples and N-Quads that RDF 1.2 defines: single spaces, no comments,
/// language tags in lower case, no written xsd:string, escapes only for characters that need them.
namespace Rdf::CanonicalWriter {

/// The treatment of language tags. RDF treats tags that differ only in case as equal; some applications do not.
enum class Tags : uint8_t {
    LOWER_CASE, ///< in lower case, as the canonical form wants them
    AS_WRITTEN  ///< as they are
};

/// Appends a line.
MELNAR_READER_EXPORT void appendStatement(const Statement& statement, std::string& output);

/// Appends a term.
MELNAR_READER_EXPORT void appendTerm(const Term& term, std::string& output, Tags tags = Tags::LOWER_CASE);

/// Appends a text in the form that it has between the quotes of a literal.
MELNAR_READER_EXPORT void appendEscaped(std::string_view text, std::string& output);

/// Appends the text between the brackets of a triple term. `appendPart(term, isObject)` appends the terms that are not
/// triple terms. Nested triple terms are objects, so all their closing brackets are together.
template<class AppendPart>
void appendTripleOf(const Triple& outermost, std::string& output, const AppendPart& appendPart) {
    const Triple* triple = &outermost;
    size_t depth = 0;
    for (;; triple = triple->m_object.m_triple, ++depth) {
        appendPart(triple->m_subject, false);
        output += ' ';
        appendPart(triple->m_predicate, false);
        output += ' ';
        if (triple->m_object.m_kind != TermKind::TRIPLE)
            break;
        output += "<<( ";
    }
    appendPart(triple->m_object, true);
    while (depth-- != 0)
        output += " )>>";
}

/// Appends a line, with its terms as above.
template<class AppendPart>
void appendStatementOf(const Statement& statement, std::string& output, const AppendPart& appendPart) {
    appendTripleOf(statement, output, appendPart);
    if (statement.m_graph.m_kind != TermKind::NONE) {
        output += ' ';
        appendPart(statement.m_graph, false);
    }
    output += " .\n";
}

} // namespace Rdf::CanonicalWriter
