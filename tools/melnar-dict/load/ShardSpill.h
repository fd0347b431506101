#pragma once

#include "tools/melnar-dict/load/LoadWork.h"
#include "tools/melnar-dict/load/SpillFile.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

class ShardedDictionary;

/// The spilled data of a load whose terms no longer fit into memory: for each shard a file of unknown terms, in the
/// order of the input; and the rows that have such terms. Later each shard is brought into memory and resolves its
/// terms in their order, so that they get the IDs that they would have got without spilling. Then the rows are
/// completed. All files are written and read sequentially. Rows are spilled from the first one, so that an interrupted
/// load can resume with them.
///
///   work-terms-XX  for each term 4 bytes of length, the datatype ID and the lexical form
///   work-ids-XX    for each of these terms its local ID, 8 bytes
///   work-rows      for each block of the input: the number of its unknown terms, 4 bytes; the shard of each, a byte;
///                  the number of cells, 8 bytes; the cells, 8 bytes each: an ID, or UNKNOWN and the number of such a
///                  term
///
/// A term that is unknown in several blocks is there for each of them. What an earlier process has written is compared
/// with its checksums when this one continues it (SpillFile). What is read later is checked as far as the dictionary
/// and the rows depend on it, since the disk may change it meanwhile: lengths, shards, and that there are resources
/// with the IDs.
///
/// Ownership  Owns the files, and removes them at the end unless they are to be kept.
/// Threads    addTerm: one at a time for each shard. addRows: one at a time. resolveShard: any number concurrently,
///            each with its own shard, when all terms have been added. writeRows: alone, after that.
/// Errors     SystemCallException; those of the dictionary for terms that it cannot take; MelnarException, which names
///            the file, if it is damaged.
class ShardSpill : private Unmovable {
public:
    /// The mark of a cell whose term is unknown; the rest of the cell is the term's number in its block.
    static constexpr uint64_t UNKNOWN = uint64_t(1) << 63;

    /// The beginning of the names of such files.
    static constexpr const char* WORK_PREFIX = "work-";

    /// The folder is that of the dictionary. Continues the files of this work.
    ShardSpill(std::string folderName, const LoadWork& work);
    ~ShardSpill();

    /// Ensures that everything so far is on the disk, and records it in the work.
    void synchronize(LoadWork& work);

    /// Does the same with the IDs of one shard, which has resolved its terms.
    void synchronizeIDs(uint32_t shard, LoadWork::Shard& work);

    /// Keeps the files.
    void keep() noexcept { m_isKept = true; }

    /// Removes all files of unfinished work from a folder, the manifest first, which names the others. A file that
    /// cannot be removed, as when there is no memory, does no harm, and the next load tries again.
    static void removeFrom(const std::string& folderName) noexcept;

    /// Returns the disk space of a term and its ID.
    static uint64_t getNumberOfBytesFor(const BatchEntry& term) noexcept {
        return sizeof(uint32_t) + sizeof(term.m_datatypeID) + term.m_lexicalForm.size() + sizeof(term.m_resourceID);
    }

    /// Returns whether a name within a folder is that of such a file.
    static bool isNameOfFile(const std::string& fileName);

    /// Returns the name of a file for rows of a load by several processes, each of which has its own: work-rows-N.
    static std::string getNameOfRowFile(const std::string& folderName, uint64_t number);

    /// Returns the mkostemp template for the file in which such a process stores pieces that are read ahead. The file
    /// soon has no name.
    static std::string getPatternOfFileAhead(const std::string& folderName);

    /// Refuses a term whose length does not fit into 4 bytes, with a ToolFailure.
    static void requireShortForm(const BatchEntry& term);

    void addTerm(uint32_t shard, const BatchEntry& term);

    /// Adds the rows of a block: the shards of its unknown terms, and all cells.
    void addRows(std::span<const uint8_t> shardsOfUnknown, std::span<const uint64_t> cells);

    bool hasTerms(uint32_t shard) const noexcept { return m_terms[shard] != nullptr; }
    bool hasAnyTerms() const noexcept;
    uint64_t getBytesOfTerms(const uint32_t shard) const noexcept {
        return hasTerms(shard) ? m_terms[shard]->getNumberOfBytes() : 0;
    }

    /// Lets a shard resolve its terms.
    void resolveShard(ShardedDictionary& dictionary, uint32_t shard);

    /// Writes all rows that were added, in this layout. Their IDs are of this dictionary.
    void writeRows(const RowLayout& layout, const ShardedDictionary& dictionary, OutputStream& output);

private:
    std::string getName(const std::string& kind) const;
    std::string getName(const std::string& kind, uint32_t shard) const;

    const std::string m_folderName;
    std::array<std::unique_ptr<SpillFile>, ShardLayout::NUMBER_OF_SHARDS> m_terms;
    std::array<std::unique_ptr<SpillFile>, ShardLayout::NUMBER_OF_SHARDS> m_ids;
    std::unique_ptr<SpillFile> m_rows;
    bool m_isKept = false;
};
