#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <ostream>
#include <string>

class Dictionary;

/// A question that is put to a dictionary, and its answer: which ID a literal has, or which literal an ID.
struct Lookup {
    std::string m_question; // as it was asked
    bool m_asksForLiteral = false;
    std::string m_lexicalForm{}; // of the literal whose ID is asked for
    uint8_t m_datatypeID = 0;
    uint64_t m_resourceID = 0;     // 0 when it asks for the ID of a literal and there is none
    std::string m_turtleLiteral{}; // empty before the answer, and when it asks for an ID that has no literal to print
    const char* m_flaw = nullptr;  // why a literal that is there cannot be printed

    /// Asks for the literal of an ID.
    static Lookup ofResourceID(uint64_t resourceID);

    /// Asks for the ID of a literal, which is given in Turtle syntax. Throws ToolFailure with ExitCode::USAGE if it is
    /// none, or one that every dictionary refuses.
    static Lookup ofLiteral(const std::string& literal);

    bool isAnswered() const noexcept { return m_resourceID != 0 && !m_turtleLiteral.empty(); }

    /// Finds the answer among what is committed.
    void answer(const Dictionary& dictionary);

    /// One line: ID, tab and literal; or "not found", tab and what was asked for, a literal in Turtle syntax. Nothing for
    /// a literal that cannot be printed.
    std::string toText() const;

    /// Says what keeps the literal from being printed, if anything does.
    void reportFlaw(std::ostream& errorOutput) const;

    /// One JSON object with "question", "id" and "literal"; what is not known is null.
    Json toJson() const;
};
