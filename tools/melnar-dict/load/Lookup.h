#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <ostream>
#include <string>

class Dictionary;
class ShardedDictionary;

/// A question that is put to a dictionary, and its answer: which ID a term has, or which term an ID.
struct Lookup {
    std::string m_question; // as it was asked
    bool m_asksForTerm = false;
    std::string m_lexicalForm{}; // of the term
    uint8_t m_datatypeID = 0;
    uint64_t m_resourceID = 0;    // 0 when it asks for the ID of a term and there is none
    std::string m_turtleTerm{};   // empty before the answer, and when it asks for an ID that has no term to print
    const char* m_flaw = nullptr; // why a term that is there cannot be printed

    /// Asks for the term of an ID.
    static Lookup ofResourceID(uint64_t resourceID);

    /// Asks for the ID of a term, which is given as TermReader reads it. Throws ToolFailure with ExitCode::USAGE if it is
    /// none, or one that every dictionary refuses.
    static Lookup ofTerm(const std::string& text);

    bool isAnswered() const noexcept { return m_resourceID != 0 && !m_turtleTerm.empty(); }

    /// Finds the answer among what is committed.
    void answer(const Dictionary& dictionary);

    /// Finds it in a dictionary that has no commits.
    void answer(const ShardedDictionary& dictionary);

    /// One line: ID, tab and term; or "not found", tab and what was asked for, a term in Turtle syntax. Nothing for a term
    /// that cannot be printed.
    std::string toText() const;

    /// Says what keeps the term from being printed, if anything does.
    void reportFlaw(std::ostream& errorOutput) const;

    /// One JSON object with "question", "id" and the keys of TermJson; what is not known is null.
    Json toJson() const;

private:
    void describeFoundTerm();
};
