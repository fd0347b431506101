#pragma once

#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/saved/TermReader.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/terms/TermBatch.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

/// Reads terms, each a separate text or a line, and passes them to a receiver in groups.
///
/// Units      Terms are counted from 1. Lines end with a line feed.
/// Ownership  Refers to the texts until the group is answered.
/// Threads    One at a time.
class TermLines {
public:
    /// Called first with all terms of a group, to be answered together, and then for each in order: with the answered
    /// term, or with the reason why it is malformed or refused by the dictionary; its number is in the place of the
    /// line. Any other failure of the first call is thrown in the turn of its term. All texts are valid only until it
    /// returns.
    struct Receiver {
        std::function<void(std::span<BatchEntry> terms, std::vector<BatchFailure>& failures)> m_answerTerms;
        std::function<void(const BatchEntry& term)> m_takeTerm;
        std::function<void(const InputError& error)> m_takeError;
    };

    explicit TermLines(Receiver receiver);

    /// Adds a term to the group.
    void add(std::string_view text);

    /// Adds the terms of whole lines to the group; the text ends with a line end or is the last.
    void addLines(std::string_view text);

    /// Answers the group and starts the next.
    void answer();

private:
    const Receiver m_receiver;
    TermReader m_reader;
    TermBatch m_terms;               // of the group
    std::vector<uint64_t> m_numbers; // of these terms
    std::vector<InputError> m_errors;
    std::vector<BatchFailure> m_failures;
    uint64_t m_numberOfTerms = 0; // of all groups
    bool m_isAnswered = true;     // the group, so that the next term starts another
};
