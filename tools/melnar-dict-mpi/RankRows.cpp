#include "tools/melnar-dict-mpi/RankRows.h"

#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "tools/melnar-dict/load/ShardSpill.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <filesystem>
#include <system_error>
#include <utility>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict-mpi/RankRows";
constexpr long LINE_DAMAGED = 62;

// Of a piece: its first row, and the number of its cells.
constexpr uint64_t BYTES_BEFORE_CELLS = 2 * sizeof(uint64_t);

} // namespace

RankRows::RankRows(std::string folderName, const Ranks& ranks, std::vector<SpillPrefix> oldFiles)
    : m_folderName(std::move(folderName)), m_ranks(ranks), m_oldFiles(std::move(oldFiles)) {
    for (size_t number = 0; number < m_oldFiles.size(); ++number)
        if (m_ranks.isMine(number))
            SpillFile::verify(ShardSpill::getNameOfRowFile(m_folderName, number), m_oldFiles[number]);
}

void RankRows::add(const uint64_t firstRow, const std::span<const uint64_t> cells) {
    if (m_file == nullptr)
        m_file = std::make_unique<SpillFile>(
            ShardSpill::getNameOfRowFile(m_folderName, m_oldFiles.size() + m_ranks.getRank()));
    m_file->writeUInt64(firstRow);
    m_file->writeUInt64(cells.size());
    m_file->write(cells.data(), cells.size_bytes());
}

std::vector<SpillPrefix> RankRows::synchronize() {
    SpillPrefix ownFile;
    m_ranks.perform([&] {
        if (m_file != nullptr)
            ownFile = m_file->synchronize();
    });
    std::vector<SpillPrefix> files = m_oldFiles;
    for (const SpillPrefix& ofRank : m_ranks.gatherAll(ownFile))
        files.push_back(ofRank);
    return files;
}

/// The disk may have changed the files since they were verified or written. Numbers are checked before memory is
/// allocated for them or a place follows from them.
void RankRows::write(const std::span<const SpillPrefix> files, const size_t numberOfColumns,
                     const uint64_t numberOfRows, SharedRowFile& output) const {
    std::vector<uint64_t> cells;
    for (size_t number = 0; number < files.size(); ++number) {
        if (!m_ranks.isMine(number) || files[number].m_numberOfBytes == 0)
            continue;
        FileInputStream input(ShardSpill::getNameOfRowFile(m_folderName, number));
        const auto requireSound = [&input](const bool isSound) {
            if (!isSound)
                throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED, MelnarException::NO_CAUSES,
                                      "File '", input.getName(),
                                      "' is damaged: it does not contain rows of this load.");
        };
        std::error_code error;
        const uint64_t bytesOfFile = std::filesystem::file_size(input.getName(), error);
        requireSound(!error && files[number].m_numberOfBytes <= bytesOfFile);
        for (uint64_t remaining = files[number].m_numberOfBytes; remaining != 0;) {
            requireSound(BYTES_BEFORE_CELLS <= remaining);
            remaining -= BYTES_BEFORE_CELLS;
            const uint64_t firstRow = input.readUInt64();
            const uint64_t numberOfCells = input.readUInt64();
            requireSound(numberOfCells <= remaining / sizeof(uint64_t) && numberOfCells % numberOfColumns == 0 &&
                         firstRow <= numberOfRows && numberOfCells / numberOfColumns <= numberOfRows - firstRow);
            cells.resize(numberOfCells);
            input.readExactly(cells.data(), cells.size() * sizeof(uint64_t));
            remaining -= cells.size() * sizeof(uint64_t);
            output.write(firstRow, cells);
        }
    }
    output.synchronize();
}
