#pragma once

#include "tools/melnar-dict/StatementRewriter.h"

#include <string>

class Dictionary;

/// Puts the literals of a dictionary in the place of the IRIs that carry their resource IDs. Refuses statements with
/// such an IRI that carries no ID of the dictionary's, or where no literal can be.
class StatementDecoder final : public StatementRewriter {
public:
    StatementDecoder(const RdfFormat format, const Dictionary& dictionary)
        : StatementRewriter(format), m_dictionary(dictionary) {}

private:
    const char* appendObject(const SerdStatement& statement, LiteralKind kind, std::string& output) override;
    const char* appendTerm(const SerdNode& term, std::string& output) override;

    const Dictionary& m_dictionary;
    std::string m_lexicalForm;
    std::string m_cause; // of the last refusal
};
