#include "tools/melnar-dict-mpi/FileSlices.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

using namespace melnar;

/// The bytes between two positions.
class FileSlices::Source final : public ByteSource {
public:
    Source(const FileSlices& slices, const uint64_t begin, const uint64_t end)
        : m_slices(slices), m_place(begin), m_end(end) {}

    size_t read(char* const buffer, const size_t size) override {
        if (m_place == m_end)
            return 0;
        const size_t numberOfBytes = m_slices.read(m_place, buffer, std::min<uint64_t>(size, m_end - m_place));
        m_place += numberOfBytes;
        m_slices.m_bytesRead.fetch_add(numberOfBytes, std::memory_order_relaxed);
        return numberOfBytes;
    }

private:
    const FileSlices& m_slices;
    uint64_t m_place;
    const uint64_t m_end;
};

FileSlices::FileSlices(const SlicePlan::Input& input, std::atomic<uint64_t>& bytesRead)
    : m_name(input.m_name), m_size(input.m_bytes), m_bytesRead(bytesRead) {}

/// Reads at least one byte.
size_t FileSlices::read(const uint64_t place, char* const buffer, const size_t size) const {
    for (;;) {
        const ssize_t result = ::pread(m_file.get(), buffer, size, static_cast<off_t>(place));
        if (result > 0)
            return static_cast<size_t>(result);
        if (result == 0)
            throw ToolFailure(ExitCode::FAILURE, "the file became shorter while it was being read");
        if (errno != EINTR)
            throw ToolFailure(ExitCode::FAILURE, std::generic_category().message(errno));
    }
}

uint64_t FileSlices::findBegin(const uint64_t index) {
    const uint64_t begin = index * SlicePlan::SLICE_SIZE;
    if (begin == 0 || begin >= m_size)
        return std::min(begin, m_size);
    if (m_beginOfSearch <= begin && begin <= m_beginOfLine)
        return m_beginOfLine;
    char buffer[4096];
    // Whether a line starts at the position itself depends on the byte before it.
    for (uint64_t place = begin - 1; place < m_size;) {
        const size_t numberOfBytes = read(place, buffer, std::min<uint64_t>(sizeof(buffer), m_size - place));
        if (const void* const end = std::memchr(buffer, '\n', numberOfBytes)) {
            m_beginOfSearch = begin;
            return m_beginOfLine = place + static_cast<uint64_t>(static_cast<const char*>(end) - buffer) + 1;
        }
        place += numberOfBytes;
    }
    m_beginOfSearch = begin;
    return m_beginOfLine = m_size;
}

std::unique_ptr<ByteSource> FileSlices::open(const uint64_t index) {
    if (!m_file.isOpen()) {
        m_file = FileDescriptor(::open(m_name.c_str(), O_RDONLY | O_CLOEXEC));
        if (!m_file.isOpen())
            throw ToolFailure(ExitCode::FAILURE, std::generic_category().message(errno));
    }
    const uint64_t begin = findBegin(index);
    return std::make_unique<Source>(*this, begin, findBegin(index + 1));
}
