#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/load/ShardedLoadSteps.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The inputs of a run, as agreed by all ranks: the command line of the first rank, and the properties of the files
/// from the ranks that read them.
///
/// Threads  One at a time.
struct RankInputs {
    /// Takes the names; with `areOfRanks`, each is preceded by the number of the only rank that has the file:
    /// 3:/scratch/a.nt. ToolFailure with ExitCode::USAGE if the number is missing, and for standard input.
    void assign(const InputFiles& named, bool areOfRanks);

    /// A joint operation: all ranks get the inputs of the first one, with the stamps from the ranks that have the
    /// files. If a file cannot be examined, the run ends.
    void agree(const Ranks& ranks, const std::string& base);

    InputFiles m_files;                     // without the ranks
    std::vector<uint32_t> m_ranks;          // SlicePlan::ANY_RANK for files on a shared file system
    std::vector<SlicePlan::Input> m_inputs; // after agree, as what follows
    std::vector<InputStamp> m_stamps;
};

/// Returns the bytes of all inputs together.
uint64_t getTotalBytesOf(std::span<const SlicePlan::Input> inputs) noexcept;

/// Adds --inputs-of-rank.
void addInputsOfRank(VerbDescription& verb, bool& variable);
