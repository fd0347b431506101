#pragma once

#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include <string>

/// Writes the statements of a file in their canonical form, one a line, in the order of the file.
///
/// Labels   The label of a blank node belongs to its document. Where several documents are written into one, labels of
///          document N get "docN-" before them. Labels that are kept must not look like that, so those that start with
///          "doc" get an underscore after it.
class CanonicalLines final : public StatementConsumer {
public:
    struct Settings {
        bool m_hasGraphs = true;     // whether the output may name graphs
        bool m_hasDocuments = false; // whether several documents are written into one
        size_t m_document = 0;       // the number of a document whose labels are its own; 0 for labels that are kept
    };

    CanonicalLines(OrderedOutput& output, const Settings& settings);

    /// Writes nothing of a block that is not ended by `endBlock`.
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override { m_text.clear(); }
    void endBlock(ParsedPiece& piece) override;

private:
    void appendTerm(const Rdf::Term& term);

    OrderedOutput& m_output;
    const Settings m_settings;
    const std::string m_labelPrefix;
    std::string m_text;
};
