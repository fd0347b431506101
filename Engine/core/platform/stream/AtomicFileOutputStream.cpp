#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/AtomicFileOutputStream";
constexpr long LINE_CANNOT_CREATE = 41;
constexpr long LINE_CANNOT_LOCK = 49;
constexpr long LINE_OTHER_WRITER = 52;
constexpr long LINE_CANNOT_KEEP_PERMISSIONS = 88;
constexpr long LINE_CANNOT_RENAME = 97;
constexpr long LINE_CANNOT_OPEN_FOLDER = 108;
constexpr long LINE_CANNOT_SYNCHRONIZE_FOLDER = 115;

std::string followLinks(const std::string& fileName) {
    const std::unique_ptr<char, void (*)(void*)> target(::realpath(fileName.c_str(), nullptr), std::free);
    return target == nullptr ? fileName : std::string(target.get());
}

std::string getFolderName(const std::string& fileName) {
    const size_t slash = fileName.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : fileName.substr(0, slash);
}

/// Is `fileName` still the name of the open file?
bool isNameOf(const std::string& fileName, const int fileDescriptor) {
    struct stat named;
    struct stat opened;
    return ::stat(fileName.c_str(), &named) == 0 && ::fstat(fileDescriptor, &opened) == 0 &&
           named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

/// Makes a rename in the folder survive a power cut.
void synchronizeFolder(const std::string& folderName) {
    const int fileDescriptor = ::open(folderName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fileDescriptor == -1)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN_FOLDER, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open folder '", folderName, "'.");
    int result = ::fsync(fileDescriptor);
    while (result != 0 && errno == EINTR)
        result = ::fsync(fileDescriptor);
    const int errorCode = errno;
    ::close(fileDescriptor);
    if (result != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE_FOLDER, MelnarException::NO_CAUSES, "fsync",
                                  errorCode, "Cannot write folder '", folderName, "' to the disk.");
}

} // namespace

AtomicFileOutputStream::TemporaryFile::TemporaryFile(const std::string& fileName)
    : m_fileName(fileName), m_fileDescriptor(-1), m_isRenamed(false) {
    do {
        if (m_fileDescriptor != -1)
            ::close(m_fileDescriptor);
        // Not truncated: until it is locked, the file may be another writer's.
        do {
            m_fileDescriptor = ::open(m_fileName.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        } while (m_fileDescriptor == -1 && errno == EINTR);
        if (m_fileDescriptor == -1)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_CREATE, MelnarException::NO_CAUSES, "open", errno,
                                      "Cannot create file '", m_fileName, "'.");
        if (::flock(m_fileDescriptor, LOCK_EX | LOCK_NB) != 0) {
            const int errorCode = errno;
            ::close(m_fileDescriptor);
            if (errorCode == EWOULDBLOCK)
                throw MelnarException(SOURCE_FILE, LINE_OTHER_WRITER, MelnarException::NO_CAUSES, "File '", m_fileName,
                                      "' is being written by another process.");
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_LOCK, MelnarException::NO_CAUSES, "flock", errorCode,
                                      "Cannot lock file '", m_fileName, "'.");
        }
        // The lock may be on a file that its writer has just renamed to the target: take the next one then.
    } while (!isNameOf(m_fileName, m_fileDescriptor));
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
    : m_fileName(fileName), m_targetName(followLinks(fileName)), m_temporaryFile(getTemporaryFileName(fileName)),
      m_output(m_temporaryFile.m_fileName) {}

std::string AtomicFileOutputStream::getTemporaryFileName(const std::string& fileName) {
    return followLinks(fileName) + ".saving";
}

void AtomicFileOutputStream::commit() {
    struct stat oldFile;
    if (::stat(m_targetName.c_str(), &oldFile) == 0 &&
        ::chmod(m_temporaryFile.m_fileName.c_str(), oldFile.st_mode & 07777) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_KEEP_PERMISSIONS, MelnarException::NO_CAUSES, "chmod", errno,
                                  "Cannot set the permissions of file '", m_temporaryFile.m_fileName, "'.");
    m_output.synchronize();
    m_output.close();
    m_temporaryFile.renameTo(m_targetName);
    synchronizeFolder(getFolderName(m_targetName));
}
