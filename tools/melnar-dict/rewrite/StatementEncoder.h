#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"
#include "tools/melnar-dict/rewrite/StatementRewriter.h"

#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <string>
#include <vector>

class SavedDictionary;

/// Replaces string literals by IRIs that contain resource IDs. Refuses statements with a literal that the dictionary
/// does not have, and with an IRI that would be decoded as a literal.
class StatementEncoder final : public StatementRewriter {
public:
    StatementEncoder(const SavedDictionary& dictionary, OrderedOutput& output)
        : StatementRewriter(output), m_dictionary(dictionary) {}

    /// The start of the output, before all statements.
    static std::string getBeginning(const SavedDictionary& dictionary);

private:
    void answerGaps() override;
    void clearGaps() override { m_literals.clear(); }
    const char* appendAnswer(size_t gapIndex, std::string& output) override;
    const char* appendObject(const Rdf::Term& object, std::string& output) override;
    const char* appendTerm(const Rdf::Term& term, std::string& output) override;

    const SavedDictionary& m_dictionary;
    FormBatch m_literals; // of the gaps
    std::vector<BatchFailure> m_failures;
    std::string m_cause; // of the last refusal
};
