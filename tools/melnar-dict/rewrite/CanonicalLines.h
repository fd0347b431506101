#pragma once

#include "tools/melnar-dict/pieces/BlankNodeScope.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include <cstdint>
#include <string>

/// Writes the statements of a file in their canonical form, one per line, in the order of the file.
class CanonicalLines final : public StatementConsumer {
public:
    struct Settings {
        bool m_hasGraphs = true;                           // whether the output may name graphs
        uint64_t m_document = BlankNodeScope::NO_DOCUMENT; // of the labels, which become unique
    };

    CanonicalLines(OrderedOutput& output, const Settings& settings) : m_output(output), m_settings(settings) {}

    /// Writes nothing of a block that `endBlock` does not end.
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override { m_text.clear(); }
    void endBlock(ParsedPiece& piece) override;

private:
    void appendTerm(const Rdf::Term& term);

    OrderedOutput& m_output;
    const Settings m_settings;
    std::string m_text;
};
