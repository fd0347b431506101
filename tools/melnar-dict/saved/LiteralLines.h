#pragma once

#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/pieces/LiteralBatch.h"
#include "tools/melnar-dict/saved/LiteralReader.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

/// Reads literals in Turtle syntax, each a text of its own or a line, and has them answered in groups.
///
/// Units    Literals are counted from 1. Lines end with a line feed.
/// Threads  One at a time.
class LiteralLines {
public:
    /// Called first with all literals of a group, to be answered together, and then for each in order: with the answered
    /// literal, or with the cause why it is none or one that the dictionary refuses, and its number in the place of the
    /// line. Any other failure of the first call is thrown when it is the turn of its literal. All texts are the
    /// receiver's only until it returns.
    struct Receiver {
        std::function<void(std::span<BatchEntry> literals, std::vector<BatchFailure>& failures)> m_answerLiterals;
        std::function<void(const BatchEntry& literal)> m_takeLiteral;
        std::function<void(const InputError& error)> m_takeError;
    };

    explicit LiteralLines(Receiver receiver);

    /// Adds a literal to the group.
    void add(std::string_view text);

    /// Adds the literals of whole lines to the group; the text ends with a line end or is the last.
    void addLines(std::string_view text);

    /// Has the group answered and starts the next.
    void answer();

private:
    const Receiver m_receiver;
    LiteralReader m_reader;
    LiteralBatch m_literals; // of the group; their lines are their numbers
    std::vector<InputError> m_errors;
    std::vector<BatchFailure> m_failures;
    uint64_t m_numberOfLiterals = 0; // of all groups
    bool m_isAnswered = true;        // the group, so that the next literal starts another
};
