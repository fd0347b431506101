#include "tools/melnar-dict-mpi/WriteAt.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>

#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict-mpi/WriteAt";
constexpr long LINE_CANNOT_WRITE = 26;

} // namespace

void writeAt(const FileDescriptor& file, const std::string& fileName, std::string_view bytes, uint64_t place) {
    while (!bytes.empty()) {
        const ssize_t result = ::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (result >= 0) {
            bytes.remove_prefix(static_cast<size_t>(result));
            place += static_cast<uint64_t>(result);
        } else if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "pwrite", errno,
                                      "Cannot write file '", fileName, "'.");
    }
}
