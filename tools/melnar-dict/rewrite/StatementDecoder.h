#pragma once

#include "tools/melnar-dict/rewrite/StatementRewriter.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <optional>
#include <string>
#include <vector>

class SavedDictionary;

/// Replaces IRIs that contain resource IDs by the literals of a dictionary. Refuses statements with such an IRI that
/// contains no ID of the dictionary, or where a literal is not allowed, and everything after a line that contains
/// another dictionary.
class StatementDecoder final : public StatementRewriter {
public:
    StatementDecoder(const SavedDictionary& dictionary, OrderedOutput& output)
        : StatementRewriter(output), m_dictionary(dictionary) {}

    /// The start of the output: empty, as there are only statements.
    static std::string getBeginning(const SavedDictionary&) { return {}; }

    void startBlock(std::string_view text) override;
    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void endBlock(ParsedPiece& piece) override;

private:
    void answerGaps() override;
    void clearGaps() override { m_literals.clear(); }
    const char* appendAnswer(size_t gapIndex, std::string& output) override;
    const char* appendObject(const Rdf::Term& object, std::string& output) override;
    const char* appendTerm(const Rdf::Term& term, std::string& output) override;
    const char* refuseID(std::string_view iri);

    const SavedDictionary& m_dictionary;
    std::optional<DictionaryLine::Refusal> m_refusal; // of a line of the block
    std::vector<BatchEntry> m_literals;               // of the gaps
    std::string m_cause;                              // of the last refusal
};
