#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/load/ShardedLoadSteps.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The inputs of a run, as all ranks agree on them: what the first rank's command line says, and what the ranks that read them
/// know of the files.
///
/// Threads  One at a time.
struct RankInputs {
    /// Takes the names; with `areOfRanks`, each has the number of the rank before it that alone has the file: 3:/scratch/a.nt.
    /// ToolFailure with ExitCode::USAGE for what is none, and for standard input.
    void assign(const InputFiles& named, bool areOfRanks);

    /// A joint operation: all ranks get what the first one has, with the stamps of those who have the files. A file that
    /// cannot be examined ends the run.
    void agree(const Ranks& ranks, const std::string& base);

    InputFiles m_files;                     // without the ranks
    std::vector<uint32_t> m_ranks;          // SlicePlan::ANY_RANK for those on a shared file system
    std::vector<SlicePlan::Input> m_inputs; // after agree, as what follows
    std::vector<InputStamp> m_stamps;
};

/// Returns the bytes of all inputs together.
uint64_t getTotalBytesOf(std::span<const SlicePlan::Input> inputs) noexcept;

/// Adds --inputs-of-rank.
void addInputsOfRank(VerbDescription& verb, bool& variable);
