#include "Engine/core/platform/stream/FileLock.h"

#include "Engine/core/platform/SystemCallException.h"

#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/FileLock";
constexpr long LINE_CANNOT_OPEN = 50;
constexpr long LINE_CANNOT_LOCK = 64;
constexpr long LINE_CANNOT_EXAMINE = 75;
constexpr long LINE_CANNOT_READ = 95;
constexpr long LINE_NOT_A_LOCK_FILE = 120;
constexpr long LINE_CANNOT_REMOVE = 127;
constexpr long LINE_CANNOT_WRITE = 148;
constexpr long LINE_HELD = 160;
constexpr long LINE_IN_USE = 190;

constexpr const char* const LOCK_FILE_SUFFIX = ".lock";

// The text of a lock file is this, the holder, and a line feed. It is always much shorter than the maximum.
constexpr std::string_view TEXT_BEGIN = "melnar lock: ";
constexpr size_t MAXIMUM_TEXT_SIZE = 512;

bool isPrintable(const char character) {
    return character >= ' ' && character <= '~';
}

std::string makeText() {
    std::array<char, HOST_NAME_MAX + 1> hostName{};
    static_cast<void>(::gethostname(hostName.data(), hostName.size() - 1));
    for (char* character = hostName.data(); *character != 0; ++character)
        if (!isPrintable(*character))
            *character = '?';
    return std::string(TEXT_BEGIN) + "process " + std::to_string(::getpid()) + " on host " + hostName.data() + '\n';
}

/// Returns nothing if the text is not that of a lock file, or not complete yet.
std::optional<std::string> findHolder(std::string_view text) {
    if (text.size() > MAXIMUM_TEXT_SIZE || !text.starts_with(TEXT_BEGIN) || !text.ends_with('\n'))
        return std::nullopt;
    text.remove_prefix(TEXT_BEGIN.size());
    text.remove_suffix(1);
    for (const char character : text)
        if (!isPrintable(character))
            return std::nullopt;
    return std::string(text);
}

/// Also accepts zeros, since a power cut can leave them in place of the text.
bool isTextOfLockFile(const std::string& text) {
    return findHolder(text).has_value() ||
           (text.size() <= MAXIMUM_TEXT_SIZE && text.find_first_not_of('\0') == std::string::npos);
}

/// Does not follow a link with this name, and does not wait for the other end of a pipe.
FileDescriptor openFile(const std::string& fileName, const int flags) {
    for (;;) {
        FileDescriptor file(::open(fileName.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
        if (file.isOpen() || errno != EINTR)
            return file;
    }
}

/// Other processes create and remove lock files at any moment. So each call either opens or creates a file, never both;
/// then the cause of its failure is certain. If the file has appeared or disappeared since the previous call, it tries
/// again. It reports all other failures.
FileDescriptor openLockFile(const std::string& fileName) {
    for (;;) {
        FileDescriptor file = openFile(fileName, O_RDWR);
        bool hasChanged = false;
        if (!file.isOpen() && errno == ENOENT) {
            file = openFile(fileName, O_RDWR | O_CREAT | O_EXCL);
            hasChanged = !file.isOpen() && errno == EEXIST;
        } else if (!file.isOpen() && errno == EACCES) { // another user's, which can still be locked and read
            file = openFile(fileName, O_RDONLY);
            hasChanged = !file.isOpen() && errno == ENOENT;
        }
        if (file.isOpen())
            return file;
        if (!hasChanged)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                      "Cannot open lock file '", fileName, "'.");
    }
}

/// Returns false if another holds the lock and the operation does not wait.
bool lock(const std::string& fileName, const FileDescriptor& file, const int operation) {
    while (::flock(file.get(), operation) != 0) {
        if (errno == EWOULDBLOCK)
            return false;
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_LOCK, MelnarException::NO_CAUSES, "flock", errno,
                                      "Cannot lock file '", fileName, "'.");
    }
    return true;
}

/// A call that has failed, or none.
struct FailedCall {
    const char* m_name = nullptr;
    int m_errorCode = 0;
};

/// Returns whether the name and the open file are the same file, if both could be examined.
bool isNameOf(const std::string& fileName, const FileDescriptor& file, struct stat& opened,
              FailedCall& failed) noexcept {
    struct stat named;
    failed = {};
    if (::stat(fileName.c_str(), &named) != 0)
        failed = {"stat", errno};
    else if (::fstat(file.get(), &opened) != 0)
        failed = {"fstat", errno};
    return failed.m_name == nullptr && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

/// Returns whether the locked file still has its name: a lock on a file that its holder has removed excludes no other
/// writer.
bool isStillNameOf(const std::string& fileName, const FileDescriptor& file, struct stat& opened) {
    FailedCall failed;
    if (isNameOf(fileName, file, opened, failed))
        return true;
    if (failed.m_name != nullptr && failed.m_errorCode != ENOENT)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, failed.m_name,
                                  failed.m_errorCode, "Cannot examine lock file '", fileName, "'.");
    return false;
}

/// Returns the error code, or 0. Reads at most one byte more than the text of a lock file can have.
int readText(const FileDescriptor& file, std::string& text) {
    std::array<char, MAXIMUM_TEXT_SIZE + 1> buffer;
    ssize_t numberOfBytes;
    do {
        numberOfBytes = ::pread(file.get(), buffer.data(), buffer.size(), 0);
    } while (numberOfBytes == -1 && errno == EINTR);
    text.assign(buffer.data(), numberOfBytes > 0 ? static_cast<size_t>(numberOfBytes) : 0);
    return numberOfBytes == -1 ? errno : 0;
}

std::string readHolder(const FileDescriptor& file) {
    std::string text;
    static_cast<void>(readText(file, text));
    return findHolder(text).value_or("another process"); // has not written its text yet
}

/// Returns whether the locked file is unchanged since it was created, and can be written. If it has a text, that is the
/// text of a holder that was killed. Then the file is replaced, not its text, so that a text never names anyone but the
/// holder of the lock.
bool isFresh(const std::string& fileName, const FileDescriptor& file, const struct stat& opened) {
    std::string text;
    const int errorCode = S_ISREG(opened.st_mode) ? readText(file, text) : 0;
    if (errorCode != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_READ, MelnarException::NO_CAUSES, "pread", errorCode,
                                  "Cannot read lock file '", fileName, "'.");
    if (!S_ISREG(opened.st_mode) || !isTextOfLockFile(text))
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_A_LOCK_FILE, MelnarException::NO_CAUSES,
                              "'", fileName, "' exists and is not a lock file.");
    return text.empty() && (::fcntl(file.get(), F_GETFL) & O_ACCMODE) == O_RDWR;
}

void removeLeftover(const std::string& fileName) {
    if (::unlink(fileName.c_str()) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_REMOVE, MelnarException::NO_CAUSES, "unlink", errno,
                                  "Cannot remove lock file '", fileName,
                                  "', which was left by a process that has ended.");
}

void writeText(const std::string& fileName, const FileDescriptor& file) {
    const std::string text = makeText();
    for (std::string_view remaining = text; !remaining.empty();) {
        const ssize_t written = ::write(file.get(), remaining.data(), remaining.size());
        if (written >= 0)
            remaining.remove_prefix(static_cast<size_t>(written));
        else if (errno != EINTR) {
            const int errorCode = errno;
            ::unlink(fileName.c_str()); // an incomplete text would not be recognised as that of a lock file
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "write", errorCode,
                                      "Cannot write to lock file '", fileName, "'.");
        }
    }
}

} // namespace

FileLock::FileLock(const std::string& fileName)
    : FileLock(fileName, [&fileName](const std::string& holder, const std::function<void()>&) {
          throw MelnarException(FailureKind::IN_USE, SOURCE_FILE, LINE_HELD, MelnarException::NO_CAUSES, "File '",
                                fileName, "' is being written by ", holder, ".");
      }) {}

FileLock::FileLock(const std::string& fileName, const WhenHeld& whenHeld)
    : m_fileName(fileName), m_target(fileName), m_lockFileName(getLockFileNameOf(m_target)), m_isInUse(false) {
    while (!tryToTake(whenHeld)) {
    }
}

std::string FileLock::getLockFileNameOf(const TargetFile& target) {
    return target.getName() + LOCK_FILE_SUFFIX;
}

bool FileLock::tryToTake(const WhenHeld& whenHeld) {
    FileDescriptor file = openLockFile(m_lockFileName);
    bool isLocked = lock(m_lockFileName, file, LOCK_EX | LOCK_NB);
    if (!isLocked)
        whenHeld(readHolder(file), [&] { isLocked = lock(m_lockFileName, file, LOCK_EX); });
    struct stat opened;
    if (!isLocked || !isStillNameOf(m_lockFileName, file, opened))
        return false;
    if (!isFresh(m_lockFileName, file, opened)) {
        removeLeftover(m_lockFileName);
        return false;
    }
    writeText(m_lockFileName, file);
    m_file = std::move(file);
    return true;
}

/// Removes the lock file before the lock is released, because after that the file may be another holder's. A file that
/// cannot be removed does not block other writers.
FileLock::~FileLock() {
    struct stat opened;
    FailedCall failed;
    if (isNameOf(m_lockFileName, m_file, opened, failed)) // unless it was removed by hand
        ::unlink(m_lockFileName.c_str());
}

FileLock::Use::Use(FileLock& lock) : m_lock(lock) {
    if (m_lock.m_isInUse.exchange(true, std::memory_order_relaxed))
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_IN_USE, MelnarException::NO_CAUSES, "File '",
                              m_lock.m_fileName, "' is already being written under this lock.");
}
