#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/fuzz/Require.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <regex>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

// Any bytes as a lock file. While it is locked, another writer names the holder. When the holder has ended, the next
// writer replaces the file, or refuses it as one of another kind and leaves it alone. The rules are stated here a
// second time. What a holder writes is read by other writers.

namespace {

constexpr size_t LONGEST_TEXT = 512;

/// What the format says about the bytes of a lock file.
struct Statement {
    bool m_isLockFile; // which may be replaced when its holder has ended
    std::optional<std::string> m_holder;
};

Statement state(const std::string& bytes) {
    static const std::regex text("melnar lock: ([ -~]*)\n");
    std::smatch found;
    if (bytes.size() > LONGEST_TEXT)
        return {false, std::nullopt};
    if (std::regex_match(bytes, found, text))
        return {true, found[1].str()};
    return {bytes == std::string(bytes.size(), '\0'), std::nullopt};
}

/// Returns how the lock is refused to another writer.
template<class Operation>
InputError getFailure(const Operation& takeLock) {
    try {
        takeLock();
    } catch (...) {
        return inputErrorOfCurrentException();
    }
    require(false, "a held lock is not taken");
    std::abort();
}

/// A missing file whose lock file has these bytes.
class File : private Unmovable {
public:
    explicit File(const std::string& bytes) : m_bytes(bytes), m_stated(state(bytes)) {
        m_directory.addFile("file.lock", bytes);
    }

    /// Takes the lock of a holder that has ended before, or that ends while this process waits.
    void take(const bool isHeld) const {
        melnar::FileDescriptor holder(isHeld ? ::open(m_lockPath.c_str(), O_RDONLY | O_CLOEXEC) : -1);
        if (isHeld) {
            require(::flock(holder.get(), LOCK_EX | LOCK_NB) == 0, "a lock file without a holder is not locked");
            requireHeldBy(m_stated.m_holder.value_or("another process"));
            requireUnchanged(m_bytes);
        }
        try {
            const FileLock lock(m_path, [&](const std::string&, const std::function<void()>& wait) {
                require(holder.isOpen(), "a lock without a holder is free");
                holder = melnar::FileDescriptor();
                wait();
            });
            require(!holder.isOpen(), "a held lock is not taken");
            require(m_stated.m_isLockFile, "a file of another kind is not replaced");
            const std::string written = TemporaryDirectory::getContentsOf(m_lockPath);
            const Statement stated = state(written);
            require(stated.m_holder &&
                        stated.m_holder->starts_with("process " + std::to_string(::getpid()) + " on host "),
                    "a holder writes its name");
            requireHeldBy(*stated.m_holder);
            requireUnchanged(written);
        } catch (...) {
            const InputError error = inputErrorOfCurrentException();
            require(!m_stated.m_isLockFile, "a lock file whose holder has ended is replaced");
            require(error.m_exitCode == ExitCode::FAILURE && error.m_kind == FailureKind::DAMAGED_FILE &&
                        error.m_cause == "'" + m_lockPath + "' exists and is not a lock file.",
                    "a file of another kind is refused as that");
            requireUnchanged(m_bytes);
            return;
        }
        require(std::filesystem::is_empty(m_directory.getPathOf("")), "the lock file is removed with the lock");
    }

private:
    void requireUnchanged(const std::string& bytes) const {
        require(TemporaryDirectory::getContentsOf(m_lockPath) == bytes,
                "a writer that does not get the lock leaves its file alone");
    }

    void requireHeldBy(const std::string& holder) const {
        const std::string finding = "'" + m_path + "' is being written by " + holder;
        const InputError error = getFailure([this] { const FileLock lock(m_path); });
        require(error.m_exitCode == ExitCode::FAILURE && error.m_kind == FailureKind::IN_USE &&
                    error.m_cause == "File " + finding + ".",
                "a program that embeds the library learns the holder");
        const InputError toolError = getFailure([this] {
            std::ostringstream messages;
            const OutputLock lock(m_path, false, messages);
        });
        require(toolError.m_exitCode == ExitCode::FAILURE &&
                    toolError.m_cause == finding + "; --wait waits until it has finished",
                "the tool names the holder");
    }

    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
    const std::string m_lockPath = m_path + ".lock";
    const std::string m_bytes;
    const Statement m_stated;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (const bool isHeld : {false, true})
        File(bytes).take(isHeld);
    return 0;
}
