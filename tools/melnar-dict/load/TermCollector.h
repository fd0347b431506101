#pragma once

#include "tools/melnar-dict/load/DistinctTerms.h"
#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Collects the terms of blocks, has them resolved, and writes a row of IDs for each statement.
///
/// A literal that the dictionary refuses costs its statement: it is an error, and has no row. String literals within triple
/// terms are resolved as well as those triple terms.
class TermCollector final : public StatementConsumer {
public:
    /// `document` is that of the file's blank nodes; see BlankNodeScope.
    TermCollector(TermResolver& resolver, uint64_t document) : m_resolver(resolver), m_document(document) {}

    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override;
    void endBlock(ParsedPiece& piece) override;

private:
    uint32_t add(const Rdf::Term& term, uint64_t line, ParsedPiece& piece);

    TermResolver& m_resolver;
    const uint64_t m_document;
    TermResolver::Thread m_thread{m_resolver};
    DistinctTerms m_distinctTerms; // of the block
    TermResolver::Rows m_rows;     // of the block
    std::string m_form;
    std::string m_text;  // of a label or a triple term
    std::string m_cause; // of the last refusal
};
