#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/load/SpillFile.h"
#include "tools/melnar-dict/load/SpillPrefix.h"

#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

class SharedRowFile;

/// The rows of IDs of each rank until all of them are written to one file. Each rank has a file in a folder that all
/// can read; a run that resumes an interrupted one keeps that one's files unchanged, and creates others.
///
///   for each piece  the number of its first row, 8 bytes; the number of its cells, 8 bytes; the cells, 8 bytes each
///
/// Ownership  Owns its file, which stays.
/// Threads    One at a time.
/// Errors     SystemCallException that names the file and the call; MelnarException of kind DAMAGED_FILE that names a
///            file of the interrupted load that has changed, or one whose numbers of rows and cells are impossible.
class RankRows : private Unmovable {
public:
    /// This rank's file comes after the existing ones, of which it verifies its share.
    RankRows(std::string folderName, const Ranks& ranks, std::vector<SpillPrefix> oldFiles);

    void add(uint64_t firstRow, std::span<const uint64_t> cells);

    /// A joint operation: returns when all rows are on the disk; returns the contents of all files.
    std::vector<SpillPrefix> synchronize();

    /// Writes this rank's share of all rows to a file, and returns when they are on the disk. `files` is the result of
    /// synchronize; `numberOfRows` is that of all ranks.
    void write(std::span<const SpillPrefix> files, size_t numberOfColumns, uint64_t numberOfRows,
               SharedRowFile& output) const;

private:
    const std::string m_folderName;
    const Ranks& m_ranks;
    const std::vector<SpillPrefix> m_oldFiles;
    std::unique_ptr<SpillFile> m_file; // null before the first row
};
