#pragma once

#include "tools/melnar-dict-mpi/ReadPiece.h"

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/InputJournal.h"

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Keeps the journal of the input of all ranks, on the first rank.
///
/// Ownership  Refers to the journal and the files.
/// Threads    One at a time.
/// Errors     Those of InputJournal.
class RankJournal : private Unmovable {
public:
    RankJournal(InputJournal& journal, const InputFiles& files)
        : m_journal(journal), m_files(files), m_statementsOfInputs(files.size()) {}

    /// Takes the summaries of pieces in the order of the input; each contains the index of its input. Returns whether
    /// to continue.
    bool take(size_t inputIndex, ReadPiece& summary);

    /// Returns the number of statements of each input.
    std::span<const uint64_t> getStatementsOfInputs() const noexcept { return m_statementsOfInputs; }

private:
    InputJournal& m_journal;
    const InputFiles& m_files;
    std::vector<uint64_t> m_statementsOfInputs;
    size_t m_numberOfBegun = 0; // inputs that have been started
    uint64_t m_sequence = 0;    // of the next piece of the last one
};
