#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "tools/melnar-dict-mpi/WriteAt.h"

#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict-mpi/SharedRowFile";
constexpr long LINE_CANNOT_OPEN = 28;
constexpr long LINE_CANNOT_SYNCHRONIZE = 51;

} // namespace

SharedRowFile::SharedRowFile(std::string fileName, const size_t numberOfColumns, const size_t idWidth)
    : m_fileName(std::move(fileName)), m_numberOfColumns(numberOfColumns), m_idWidth(idWidth),
      m_file(::open(m_fileName.c_str(), O_WRONLY | O_CLOEXEC)) {
    if (m_file.get() < 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open file '", m_fileName, "'.");
}

void SharedRowFile::write(const uint64_t firstRow, const std::span<const uint64_t> cells) {
    m_bytes.clear();
    appendIDs(cells, m_idWidth, m_bytes);
    writeAt(m_file, m_fileName, m_bytes, NpyHeader::SIZE + firstRow * m_numberOfColumns * m_idWidth);
}

void SharedRowFile::synchronize() {
    while (::fdatasync(m_file.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fdatasync",
                                      errno, "Cannot write file '", m_fileName, "' to the disk.");
}
