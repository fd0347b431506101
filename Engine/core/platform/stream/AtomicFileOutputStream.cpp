#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/AtomicFileOutputStream";
constexpr long LINE_CANNOT_FOLLOW_LINKS = 27;
constexpr long LINE_CANNOT_CREATE = 41;
constexpr long LINE_CANNOT_LOCK = 49;
constexpr long LINE_OTHER_WRITER = 52;
constexpr long LINE_CANNOT_EXAMINE = 59;
constexpr long LINE_CANNOT_TAKE_OVER = 66;
constexpr long LINE_CANNOT_EXAMINE_OLD_FILE = 85;
constexpr long LINE_CANNOT_KEEP_PERMISSIONS = 88;
constexpr long LINE_NOT_A_REGULAR_FILE = 91;
constexpr long LINE_CANNOT_RENAME = 97;
constexpr long LINE_CANNOT_OPEN_FOLDER = 108;
constexpr long LINE_CANNOT_SYNCHRONIZE_FOLDER = 115;

constexpr const char* const TEMPORARY_SUFFIX = ".saving";

// As many as Linux follows.
constexpr unsigned MAXIMUM_NUMBER_OF_LINKS = 40;

std::string getFolderName(const std::string& fileName) {
    const size_t slash = fileName.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : fileName.substr(0, slash);
}

[[noreturn]] void failToFollowLinks(const std::string& fileName, const char* const systemCallName,
                                    const int errorCode) {
    throw SystemCallException(SOURCE_FILE, LINE_CANNOT_FOLLOW_LINKS, MelnarException::NO_CAUSES, systemCallName,
                              errorCode, "Cannot find the place of file '", fileName, "'.");
}

/// The file that does not exist, behind the links, if any, that lead to it.
std::string followLinksToNothing(const std::string& fileName) {
    std::string name = fileName;
    for (unsigned numberOfLinks = 0; numberOfLinks <= MAXIMUM_NUMBER_OF_LINKS; ++numberOfLinks) {
        std::array<char, PATH_MAX> target;
        const ssize_t length = ::readlink(name.c_str(), target.data(), target.size());
        if (length == -1 && (errno == ENOENT || errno == EINVAL)) // nothing of this name, or no link
            return name;
        if (length == -1)
            failToFollowLinks(fileName, "readlink", errno);
        const std::string targetName(target.data(), static_cast<size_t>(length));
        name = targetName.starts_with('/') ? targetName : getFolderName(name).append("/").append(targetName);
    }
    failToFollowLinks(fileName, "readlink", ELOOP);
}

/// The file itself, which need not exist. Were a link taken for the file because of another failure, it would be
/// replaced.
std::string followLinks(const std::string& fileName) {
    const std::unique_ptr<char, void (*)(void*)> target(::realpath(fileName.c_str(), nullptr), std::free);
    if (target != nullptr)
        return target.get();
    if (errno != ENOENT)
        failToFollowLinks(fileName, "realpath", errno);
    return followLinksToNothing(fileName);
}

/// A rename would put a file in the place of a device, a pipe or a socket.
void requireRegularFile(const std::string& fileName, const struct stat& status) {
    if (!S_ISREG(status.st_mode))
        throw MelnarException(SOURCE_FILE, LINE_NOT_A_REGULAR_FILE, MelnarException::NO_CAUSES, "'", fileName,
                              "' exists and is not a regular file, so that it cannot be replaced.");
}

/// Tells whether the old file exists, and what it is; throws when it is not a regular file.
bool examineOldFile(const std::string& fileName, struct stat& status) {
    if (::stat(fileName.c_str(), &status) == 0) {
        requireRegularFile(fileName, status);
        return true;
    }
    if (errno != ENOENT)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE_OLD_FILE, MelnarException::NO_CAUSES, "stat", errno,
                                  "Cannot examine file '", fileName, "'.");
    return false;
}

/// Where to write, links followed.
std::string findTarget(const std::string& fileName) {
    std::string target = followLinks(fileName);
    struct stat status;
    static_cast<void>(examineOldFile(target, status));
    return target;
}

/// Is `fileName` still the name of the open file?
bool isNameOf(const std::string& fileName, const int fileDescriptor) {
    struct stat named;
    struct stat opened;
    if (::stat(fileName.c_str(), &named) == 0 && ::fstat(fileDescriptor, &opened) == 0) {
        requireRegularFile(fileName, opened);
        return named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
    }
    if (errno != ENOENT)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "stat", errno,
                                  "Cannot examine file '", fileName, "'.");
    return false;
}

/// Opens a file without truncating it: until it is locked, it may be another writer's. A link that somebody has put
/// there does not lead anywhere else, and a pipe does not wait for a reader.
int openForLock(const std::string& fileName) {
    constexpr int FLAGS = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    for (;;) {
        int fileDescriptor = ::open(fileName.c_str(), O_WRONLY | O_CREAT | FLAGS, 0666);
        // A writer that died in its commit leaves a file with the permissions of the old one, perhaps read-only.
        if (fileDescriptor == -1 && errno == EACCES) {
            fileDescriptor = ::open(fileName.c_str(), O_RDONLY | FLAGS);
            if (fileDescriptor == -1 && errno == ENOENT)
                errno = EACCES; // no file is there, and it was for want of permission that none was made
        }
        if (fileDescriptor != -1)
            return fileDescriptor;
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_CREATE, MelnarException::NO_CAUSES, "open", errno,
                                      "Cannot create file '", fileName, "'.");
    }
}

void lock(const std::string& fileName, const int fileDescriptor) {
    if (::flock(fileDescriptor, LOCK_EX | LOCK_NB) == 0)
        return;
    if (errno == EWOULDBLOCK)
        throw MelnarException(SOURCE_FILE, LINE_OTHER_WRITER, MelnarException::NO_CAUSES, "File '", fileName,
                              "' is being written by another process.");
    throw SystemCallException(SOURCE_FILE, LINE_CANNOT_LOCK, MelnarException::NO_CAUSES, "flock", errno,
                              "Cannot lock file '", fileName, "'.");
}

void ensureWritable(const std::string& fileName, const int fileDescriptor) {
    if ((::fcntl(fileDescriptor, F_GETFL) & O_ACCMODE) == O_RDONLY && ::chmod(fileName.c_str(), S_IRUSR | S_IWUSR) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TAKE_OVER, MelnarException::NO_CAUSES, "chmod", errno,
                                  "Cannot make file '", fileName, "' writable.");
}

/// Makes a rename in the folder survive a power cut.
void synchronizeFolder(const std::string& folderName) {
    int fileDescriptor;
    do {
        fileDescriptor = ::open(folderName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (fileDescriptor == -1 && errno == EINTR);
    if (fileDescriptor == -1)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN_FOLDER, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open folder '", folderName, "'.");
    int result;
    do {
        result = ::fsync(fileDescriptor);
    } while (result != 0 && errno == EINTR);
    const int errorCode = errno;
    ::close(fileDescriptor);
    if (result != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE_FOLDER, MelnarException::NO_CAUSES, "fsync",
                                  errorCode, "Cannot write folder '", folderName, "' to the disk.");
}

} // namespace

AtomicFileOutputStream::TemporaryFile::TemporaryFile(const std::string& fileName)
    : m_fileName(fileName), m_fileDescriptor(-1), m_isRenamed(false) {
    for (;;) {
        m_fileDescriptor = openForLock(m_fileName);
        try {
            lock(m_fileName, m_fileDescriptor);
            // The lock may be on a file that its writer has just renamed to the target: take the next one then.
            if (isNameOf(m_fileName, m_fileDescriptor)) {
                ensureWritable(m_fileName, m_fileDescriptor);
                return;
            }
        } catch (...) {
            ::close(m_fileDescriptor);
            throw;
        }
        ::close(m_fileDescriptor);
    }
}

AtomicFileOutputStream::TemporaryFile::~TemporaryFile() {
    if (!m_isRenamed)
        ::unlink(m_fileName.c_str());
    ::close(m_fileDescriptor);
}

void AtomicFileOutputStream::TemporaryFile::renameTo(const std::string& targetName) {
    if (::rename(m_fileName.c_str(), targetName.c_str()) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_RENAME, MelnarException::NO_CAUSES, "rename", errno,
                                  "Cannot rename file '", m_fileName, "' to '", targetName, "'.");
    m_isRenamed = true;
}

AtomicFileOutputStream::AtomicFileOutputStream(const std::string& fileName)
    : m_fileName(fileName), m_targetName(findTarget(fileName)), m_temporaryFile(m_targetName + TEMPORARY_SUFFIX),
      m_output(m_temporaryFile.m_fileName, O_NOFOLLOW), m_isPrepared(false) {}

void AtomicFileOutputStream::prepare() {
    if (m_isPrepared)
        return;
    struct stat oldFile;
    if (examineOldFile(m_targetName, oldFile) &&
        ::chmod(m_temporaryFile.m_fileName.c_str(), oldFile.st_mode & 07777) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_KEEP_PERMISSIONS, MelnarException::NO_CAUSES, "chmod", errno,
                                  "Cannot set the permissions of file '", m_temporaryFile.m_fileName, "'.");
    m_output.synchronize();
    m_output.close();
    m_isPrepared = true;
}

void AtomicFileOutputStream::commit() {
    prepare();
    m_temporaryFile.renameTo(m_targetName);
    synchronizeFolder(getFolderName(m_targetName));
}
