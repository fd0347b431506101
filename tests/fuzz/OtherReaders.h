#pragma once

#include "Reader/ReaderOptions.h"
#include "Reader/Term.h"

#include <string>
#include <string_view>
#include <vector>

/// The statements of a text, sorted, in a form that does not name blank nodes: enough to see that two readers differ.
using FoundStatements = std::vector<std::string>;

/// Appends a term: IRIs and literals completely, blank nodes without their labels.
void appendIri(std::string_view iri, std::string& output);
void appendLiteral(std::string_view text, std::string_view tag, std::string_view datatype, std::string& output);
void appendBlankNode(std::string& output);

struct OtherResult {
    FoundStatements m_statements;
    std::string m_error; // if it refuses the text
};

/// Returns the results of another reader for a text without zero bytes.
OtherResult readWithSerd(const std::string& text, Rdf::Syntax syntax, const std::string& base);
OtherResult readWithRaptor(const std::string& text, Rdf::Syntax syntax, const std::string& base);
