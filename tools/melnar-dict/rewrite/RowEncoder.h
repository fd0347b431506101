#pragma once

#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/pieces/TermRows.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class SavedDictionary;

/// Writes the rows of IDs of a file's statements in their order. Refuses statements with a term that the dictionary
/// does not have. Reading is strict: of a block, the rows before its first error are written.
class RowEncoder final : public StatementConsumer {
public:
    /// Labels of blank nodes belong to a document. The layout has a column for graphs if the file has any.
    RowEncoder(const SavedDictionary& dictionary, OrderedOutput& output, const RowLayout& layout,
               const uint64_t document)
        : m_dictionary(dictionary), m_output(output), m_layout(layout), m_document(document), m_rows(layout.m_columns) {
    }

    void startBlock(std::string_view) override { m_rows.clear(); }
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void withdraw() override { m_rows.clear(); }
    void endBlock(ParsedPiece& piece) override;

private:
    void makeRows(ParsedPiece& piece);
    std::string describeGap(const BatchEntry& entry, size_t entryIndex) const;

    const SavedDictionary& m_dictionary;
    OrderedOutput& m_output;
    const RowLayout m_layout;
    const uint64_t m_document;
    TermRows m_rows; // of the block
    std::vector<BatchFailure> m_failures;
    std::vector<uint64_t> m_ids;
    std::string m_bytes;
};
