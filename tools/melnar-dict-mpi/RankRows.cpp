#include "tools/melnar-dict-mpi/RankRows.h"

#include "tools/melnar-dict/load/ShardSpill.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict-mpi/RankRows";
constexpr long LINE_CANNOT_OPEN = 87;
constexpr long LINE_CANNOT_WRITE = 35;
constexpr long LINE_CANNOT_SYNCHRONIZE = 107;

void writeAll(const FileDescriptor& file, const std::string& fileName, const std::string& bytes, const uint64_t place) {
    for (size_t written = 0; written < bytes.size();) {
        const ssize_t result =
            ::pwrite(file.get(), bytes.data() + written, bytes.size() - written, static_cast<off_t>(place + written));
        if (result >= 0)
            written += static_cast<size_t>(result);
        else if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "pwrite", errno,
                                      "Cannot write file '", fileName, "'.");
    }
}

} // namespace

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

void RankRows::write(const std::span<const uint64_t> files, const std::string& fileName, const uint64_t headerSize,
                     const size_t numberOfColumns, const size_t idWidth) const {
    const FileDescriptor output(::open(fileName.c_str(), O_WRONLY | O_CLOEXEC));
    if (output.get() < 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open file '", fileName, "'.");
    std::vector<uint64_t> cells;
    std::string bytes;
    for (size_t number = 0; number < files.size(); ++number) {
        if (!m_ranks.isMine(number) || files[number] == 0)
            continue;
        FileInputStream input(ShardSpill::getNameOfRowFile(m_folderName, number));
        for (uint64_t remaining = files[number]; remaining != 0;) {
            const uint64_t firstRow = input.readUInt64();
            cells.resize(input.readUInt64());
            input.readExactly(cells.data(), cells.size() * sizeof(uint64_t));
            remaining -= 2 * sizeof(uint64_t) + cells.size() * sizeof(uint64_t);
            bytes.clear();
            appendIDs(cells, idWidth, bytes);
            writeAll(output, fileName, bytes, headerSize + firstRow * numberOfColumns * idWidth);
        }
    }
    while (::fdatasync(output.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fdatasync",
                                      errno, "Cannot write file '", fileName, "' to the disk.");
}
