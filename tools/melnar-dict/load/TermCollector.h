#pragma once

#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/pieces/TermRows.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// Collects the terms of blocks, and resolves them and the rows of their statements.
///
/// If the dictionary refuses a literal, its statement is an error and has no row. String literals within triple terms
/// are resolved in addition to those triple terms.
class TermCollector final : public StatementConsumer {
public:
    /// `document` is the scope of the file's blank nodes; see BlankNodeScope.
    TermCollector(TermResolver& resolver, const uint64_t document)
        : m_resolver(resolver), m_document(document), m_thread(resolver.makeThread()),
          m_rows(resolver.getNumberOfColumns()) {}

    void startBlock(std::string_view) override { m_rows.clear(); } // of a block that has failed
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override { m_rows.clear(); }
    void endBlock(ParsedPiece& piece) override;

    /// Adds a statement with this innermost object, which is not refused.
    static void add(const Rdf::Statement& statement, const Rdf::Term& innermost, uint64_t document, uint64_t line,
                    TermRows& rows, ParsedPiece& piece);

private:
    TermResolver& m_resolver;
    const uint64_t m_document;
    std::unique_ptr<TermResolver::Thread> m_thread;
    TermRows m_rows;     // of the block
    std::string m_cause; // of the last refusal
};
