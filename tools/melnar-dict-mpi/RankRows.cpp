#include "tools/melnar-dict-mpi/RankRows.h"

#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "tools/melnar-dict/load/ShardSpill.h"

#include "Engine/core/platform/stream/FileInputStream.h"

#include <utility>

using namespace melnar;

RankRows::RankRows(std::string folderName, const Ranks& ranks, std::vector<uint64_t> bytesOfOldFiles)
    : m_folderName(std::move(folderName)), m_ranks(ranks), m_bytesOfOldFiles(std::move(bytesOfOldFiles)) {}

void RankRows::add(const uint64_t firstRow, const std::span<const uint64_t> cells) {
    if (m_file == nullptr)
        m_file = std::make_unique<SpillFile>(
            ShardSpill::getNameOfRowFile(m_folderName, m_bytesOfOldFiles.size() + m_ranks.getRank()));
    m_file->writeUInt64(firstRow);
    m_file->writeUInt64(cells.size());
    m_file->write(cells.data(), cells.size_bytes());
}

std::vector<uint64_t> RankRows::synchronize() {
    uint64_t bytesOfFile = 0;
    m_ranks.perform([&] {
        if (m_file == nullptr)
            return;
        m_file->synchronize();
        bytesOfFile = m_file->getNumberOfBytes();
    });
    std::vector<uint64_t> files = m_bytesOfOldFiles;
    for (const uint64_t ofRank : m_ranks.gatherAll(bytesOfFile))
        files.push_back(ofRank);
    return files;
}

void RankRows::write(const std::span<const uint64_t> files, SharedRowFile& output) const {
    std::vector<uint64_t> cells;
    for (size_t number = 0; number < files.size(); ++number) {
        if (!m_ranks.isMine(number) || files[number] == 0)
            continue;
        FileInputStream input(ShardSpill::getNameOfRowFile(m_folderName, number));
        for (uint64_t remaining = files[number]; remaining != 0;) {
            const uint64_t firstRow = input.readUInt64();
            cells.resize(input.readUInt64());
            input.readExactly(cells.data(), cells.size() * sizeof(uint64_t));
            remaining -= 2 * sizeof(uint64_t) + cells.size() * sizeof(uint64_t);
            output.write(firstRow, cells);
        }
    }
    output.synchronize();
}
