#pragma once

#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/pieces/TermRows.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// Collects the terms of blocks, and has them and the rows of their statements resolved.
///
/// A literal that the dictionary refuses costs its statement: it is an error, and has no row. String literals within triple
/// terms are resolved as well as those triple terms.
class TermCollector final : public StatementConsumer {
public:
    /// `document` is that of the file's blank nodes; see BlankNodeScope.
    TermCollector(TermResolver& resolver, const uint64_t document)
        : m_resolver(resolver), m_document(document), m_thread(resolver.makeThread()),
          m_rows(resolver.getNumberOfColumns()) {}

    void startBlock(std::string_view) override { m_rows.clear(); } // of a block that has failed
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override { m_rows.clear(); }
    void endBlock(ParsedPiece& piece) override;

    /// Adds a statement, of whose objects this is the innermost one, which is not refused.
    static void add(const Rdf::Statement& statement, const Rdf::Term& innermost, uint64_t document, uint64_t line,
                    TermRows& rows, ParsedPiece& piece);

private:
    TermResolver& m_resolver;
    const uint64_t m_document;
    std::unique_ptr<TermResolver::Thread> m_thread;
    TermRows m_rows;     // of the block
    std::string m_cause; // of the last refusal
};
