#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <ostream>
#include <string>

class Dictionary;
class ShardedDictionary;

/// A question to a dictionary, and its answer: the ID of a term, or the term of an ID.
struct Lookup {
    std::string m_question; // as it was asked
    bool m_asksForTerm = false;
    std::string m_lexicalForm{}; // of the term
    uint8_t m_datatypeID = 0;
    uint64_t m_resourceID = 0;    // 0 if it asks for the ID of a term and there is none
    std::string m_turtleTerm{};   // empty before the answer, and if it asks for an ID that has no term to print
    const char* m_flaw = nullptr; // why a term that is there cannot be printed

    /// Makes a question for the term of an ID.
    static Lookup ofResourceID(uint64_t resourceID);

    /// Makes a question for the ID of a term, in the syntax of TermReader. Throws ToolFailure with ExitCode::USAGE if
    /// it is malformed, or if every dictionary refuses the term.
    static Lookup ofTerm(const std::string& text);

    bool isAnswered() const noexcept { return m_resourceID != 0 && !m_turtleTerm.empty(); }

    /// Finds the answer among committed resources.
    void answer(const Dictionary& dictionary);

    /// Finds the answer in a dictionary without commits.
    void answer(const ShardedDictionary& dictionary);

    /// Returns one line: ID, tab and term; or "not found", tab and the question, a term in Turtle syntax. Empty for a
    /// term that cannot be printed.
    std::string toText() const;

    /// Reports why the term cannot be printed, if that is the case.
    void reportFlaw(std::ostream& errorOutput) const;

    /// Returns one JSON object with "question", "id" and the keys of TermJson; unknown ones are null.
    Json toJson() const;

private:
    void describeFoundTerm();
};
