#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileDescriptor.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/AtomicFileOutputStream";
constexpr long LINE_CANNOT_IDENTIFY = 243;
constexpr long LINE_CANNOT_EXAMINE = 59;
constexpr long LINE_CANNOT_REMOVE = 66;
constexpr long LINE_CANNOT_KEEP_PERMISSIONS = 88;
constexpr long LINE_NOT_A_REGULAR_FILE = 91;
constexpr long LINE_CANNOT_RENAME = 97;
constexpr long LINE_CANNOT_OPEN_FOLDER = 108;
constexpr long LINE_CANNOT_SYNCHRONIZE_FOLDER = 115;
constexpr long LINE_CANNOT_KEEP_REPLACED = 131;
constexpr long LINE_CANNOT_PUT_BACK = 146;
constexpr long LINE_CANNOT_TAKE_BACK = 150;
constexpr long LINE_NOT_REPLACED_TOGETHER = 163;

constexpr const char* const TEMPORARY_SUFFIX = ".saving";
constexpr const char* const REPLACED_SUFFIX = ".replaced";

constexpr mode_t PERMISSIONS_OF_NEW_FILES = 0666;

/// The contents of a private file must not be public while they are written.
mode_t getPermissionsToStartWith(const TargetFile& target) {
    struct stat oldFile;
    return target.examine(oldFile) ? oldFile.st_mode & 0777 : PERMISSIONS_OF_NEW_FILES;
}

/// Removes what a killed writer has left; it may be read-only or belong to another user. Anything but a regular file
/// was not left by a writer.
void removeLeftover(const std::string& fileName) {
    struct stat status;
    if (::lstat(fileName.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return;
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "lstat", errno,
                                  "Cannot examine file '", fileName, "'.");
    }
    if (!S_ISREG(status.st_mode))
        throw MelnarException(FailureKind::SYSTEM, SOURCE_FILE, LINE_NOT_A_REGULAR_FILE, MelnarException::NO_CAUSES,
                              "'", fileName, "' exists and is not a regular file, so it cannot be replaced.");
    if (::unlink(fileName.c_str()) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_REMOVE, MelnarException::NO_CAUSES, "unlink", errno,
                                  "Cannot remove file '", fileName, "', which was left by a writer that has ended.");
}

/// Removes what killed writers have left: the temporary file and an old one. Returns the name of the temporary file.
std::string removeLeftovers(const TargetFile& target) {
    std::string temporaryFileName = AtomicFileOutputStream::getTemporaryFileNameOf(target);
    removeLeftover(temporaryFileName);
    removeLeftover(AtomicFileOutputStream::getReplacedFileNameOf(target));
    return temporaryFileName;
}

/// Gives a file a second name. Returns false if there is no file.
bool addName(const std::string& fileName, const std::string& secondName) {
    const int result = ::link(fileName.c_str(), secondName.c_str());
    if (result != 0 && errno != ENOENT)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_KEEP_REPLACED, MelnarException::NO_CAUSES, "link", errno,
                                  "Cannot keep file '", fileName, "' as '", secondName, "' until it is replaced.");
    return result == 0;
}

/// Exchanges a temporary file and the target; if there is no target, renames the temporary file.
bool exchange(const char* const temporaryName, const char* const targetName) noexcept {
    return ::renameat2(AT_FDCWD, temporaryName, AT_FDCWD, targetName, RENAME_EXCHANGE) == 0 ||
           (errno == ENOENT && ::renameat2(AT_FDCWD, temporaryName, AT_FDCWD, targetName, RENAME_NOREPLACE) == 0);
}

/// Reverses exchange.
bool exchangeBack(const char* const temporaryName, const char* const targetName) noexcept {
    return ::renameat2(AT_FDCWD, temporaryName, AT_FDCWD, targetName, RENAME_EXCHANGE) == 0 ||
           (errno == ENOENT && ::renameat2(AT_FDCWD, targetName, AT_FDCWD, temporaryName, RENAME_NOREPLACE) == 0);
}

/// The outcome of exchanging two files. The numbers are exit statuses.
enum class Exchange : int { BOTH = 0, NONE = 1, UNKNOWN = 2 };

/// Exchanges both or none, in a separate process: a signal that kills only this process, or its process group, does not
/// kill that one. It makes only system calls, since it is a single-threaded copy of a process that may have several
/// threads.
Exchange exchangeInOtherProcess(const char* const firstTemporaryName, const char* const firstTargetName,
                                const char* const secondTemporaryName, const char* const secondTargetName) noexcept {
    sigset_t allSignals;
    sigset_t ownSignals;
    ::sigfillset(&allSignals);
    ::pthread_sigmask(SIG_SETMASK, &allSignals, &ownSignals); // the new process must not run signal handlers
    const pid_t process = ::fork();
    if (process == 0) {
        Exchange outcome = Exchange::NONE;
        ::setsid();
        if (exchange(firstTemporaryName, firstTargetName)) {
            outcome = Exchange::BOTH;
            if (!exchange(secondTemporaryName, secondTargetName))
                outcome = exchangeBack(firstTemporaryName, firstTargetName) ? Exchange::NONE : Exchange::UNKNOWN;
        }
        ::_exit(static_cast<int>(outcome));
    }
    ::pthread_sigmask(SIG_SETMASK, &ownSignals, nullptr);
    if (process < 0)
        return Exchange::NONE;
    int status = 0;
    pid_t ended = 0;
    do {
        ended = ::waitpid(process, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == process && WIFEXITED(status) ? static_cast<Exchange>(WEXITSTATUS(status)) : Exchange::UNKNOWN;
}

/// Returns whether there is such a file, and sets its status. The doubt about the file is a part of the message.
bool identify(const std::string& fileName, struct stat& status, const char* const doubt) {
    if (::lstat(fileName.c_str(), &status) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    throw SystemCallException(SOURCE_FILE, LINE_CANNOT_IDENTIFY, MelnarException::NO_CAUSES, "lstat", errno,
                              "Cannot examine file '", fileName, "'", doubt, ".");
}

} // namespace

/// Ensures that a rename in the folder survives a power cut.
void AtomicFileOutputStream::synchronizeFolder(const std::string& folderName) {
    FileDescriptor folder;
    do {
        folder = FileDescriptor(::open(folderName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    } while (!folder.isOpen() && errno == EINTR);
    if (!folder.isOpen())
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN_FOLDER, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open folder '", folderName, "'.");
    while (::fsync(folder.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE_FOLDER, MelnarException::NO_CAUSES, "fsync",
                                      errno, "Cannot write folder '", folderName, "' to the disk.");
}

/// O_EXCL: a file that has appeared since the leftovers were removed is not a writer's, because a writer would hold the
/// lock.
AtomicFileOutputStream::TemporaryFile::TemporaryFile(const TargetFile& target, const mode_t permissions)
    : m_fileName(removeLeftovers(target)), m_linkName(getReplacedFileNameOf(target)),
      m_output(m_fileName, O_RDWR | O_EXCL | O_NOFOLLOW, permissions), m_isRenamed(false), m_replacedName(nullptr) {}

AtomicFileOutputStream::TemporaryFile::~TemporaryFile() {
    if (!m_isRenamed)
        ::unlink(m_fileName.c_str());
}

void AtomicFileOutputStream::TemporaryFile::renameTo(const std::string& targetName) {
    if (::rename(m_fileName.c_str(), targetName.c_str()) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_RENAME, MelnarException::NO_CAUSES, "rename", errno,
                                  "Cannot rename file '", m_fileName, "' to '", targetName, "'.");
    m_isRenamed = true;
}

void AtomicFileOutputStream::TemporaryFile::replace(const TargetFile& target) {
    const std::string& targetName = target.getName();
    if (::renameat2(AT_FDCWD, m_fileName.c_str(), AT_FDCWD, targetName.c_str(), RENAME_EXCHANGE) == 0) {
        noteExchanged(true, true);
        return;
    }
    // There is no old file, or the file system cannot exchange files.
    if (addName(targetName, m_linkName))
        m_replacedName = &m_linkName;
    try {
        renameTo(targetName);
    } catch (...) {
        removeReplaced();
        throw;
    }
}

/// Notes whether the file was exchanged with the target, if that existed.
void AtomicFileOutputStream::TemporaryFile::noteExchanged(const bool isExchanged, const bool wasTargetThere) noexcept {
    m_isRenamed = isExchanged;
    m_replacedName = isExchanged && wasTargetThere ? &m_fileName : nullptr;
}

void AtomicFileOutputStream::TemporaryFile::takeBack(const TargetFile& target) {
    const std::string& targetName = target.getName();
    if (m_replacedName == nullptr) {
        if (::unlink(targetName.c_str()) != 0)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TAKE_BACK, MelnarException::NO_CAUSES, "unlink", errno,
                                      "Cannot remove file '", targetName, "', which should not be there.");
    } else if (::rename(m_replacedName->c_str(), targetName.c_str()) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_PUT_BACK, MelnarException::NO_CAUSES, "rename", errno,
                                  "File '", targetName, "' has been replaced; cannot restore the old one, '",
                                  *m_replacedName, "'.");
}

void AtomicFileOutputStream::TemporaryFile::removeReplaced() noexcept {
    if (m_replacedName != nullptr)
        ::unlink(m_replacedName->c_str());
}

std::string AtomicFileOutputStream::getReplacedFileNameOf(const TargetFile& target) {
    return target.getName() + REPLACED_SUFFIX;
}

std::string AtomicFileOutputStream::getTemporaryFileNameOf(const TargetFile& target) {
    return target.getName() + TEMPORARY_SUFFIX;
}

AtomicFileOutputStream::AtomicFileOutputStream(const std::string& fileName)
    : m_fileName(fileName), m_ownLock(std::in_place, fileName), m_use(std::in_place, *m_ownLock),
      m_target(m_ownLock->getTarget()), m_temporaryFile(m_target, getPermissionsToStartWith(m_target)),
      m_isPrepared(false) {}

AtomicFileOutputStream::AtomicFileOutputStream(FileLock& lock)
    : m_fileName(lock.getFileName()), m_use(std::in_place, lock), m_target(lock.getTarget()),
      m_temporaryFile(m_target, getPermissionsToStartWith(m_target)), m_isPrepared(false) {}

/// Uses the open file: if another user replaces its name by a link, the superuser must not follow that.
void AtomicFileOutputStream::keepMetadata(const FileOutputStream& output, const struct stat& oldFile) {
    const int fileDescriptor = output.getFileDescriptor();
    // Only the superuser may change owners; other users may change groups to their own. Permissions are set afterwards,
    // since a change of the owner can clear some of them.
    if (::fchown(fileDescriptor, oldFile.st_uid, oldFile.st_gid) != 0)
        static_cast<void>(::fchown(fileDescriptor, static_cast<uid_t>(-1), oldFile.st_gid) == 0);
    if (::fchmod(fileDescriptor, oldFile.st_mode & 07777) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_KEEP_PERMISSIONS, MelnarException::NO_CAUSES, "fchmod",
                                  errno, "Cannot set the permissions of file '", output.getName(), "'.");
}

void AtomicFileOutputStream::prepare() {
    if (m_isPrepared)
        return;
    flush();
    struct stat oldFile;
    if (m_target.examine(oldFile))
        keepMetadata(m_temporaryFile.m_output, oldFile);
    m_temporaryFile.m_output.synchronize();
    m_temporaryFile.m_output.close();
    m_isPrepared = true;
}

void AtomicFileOutputStream::commit() {
    prepare();
    m_temporaryFile.renameTo(m_target.getName());
    synchronizeFolder(m_target.getFolderName());
    m_use.reset();
    m_ownLock.reset();
}

/// Replaces both files. The caller must make that survive a power cut.
void AtomicFileOutputStream::exchangeBoth(AtomicFileOutputStream& first, AtomicFileOutputStream& second) {
    struct stat old;
    struct stat firstWritten {};
    struct stat secondWritten {};
    const bool wasFirstThere = first.m_target.examine(old);
    const bool wasSecondThere = second.m_target.examine(old);
    identify(first.getTemporaryFileName(), firstWritten, "");
    identify(second.getTemporaryFileName(), secondWritten, "");
    const Exchange outcome =
        exchangeInOtherProcess(first.getTemporaryFileName().c_str(), first.m_target.getName().c_str(),
                               second.getTemporaryFileName().c_str(), second.m_target.getName().c_str());
    const auto isNew = [outcome](const TargetFile& target, const struct stat& written) {
        if (outcome != Exchange::UNKNOWN)
            return outcome == Exchange::BOTH;
        struct stat file;
        return identify(target.getName(), file, ", which may have been replaced") && file.st_ino == written.st_ino &&
               file.st_dev == written.st_dev;
    };
    // If the outcome is unknown and the files cannot be examined, both count as exchanged, so that neither old file is
    // removed.
    first.m_temporaryFile.noteExchanged(true, wasFirstThere);
    second.m_temporaryFile.noteExchanged(true, wasSecondThere);
    const bool isFirstNew = isNew(first.m_target, firstWritten);
    const bool isSecondNew = isNew(second.m_target, secondWritten);
    first.m_temporaryFile.noteExchanged(isFirstNew, wasFirstThere);
    second.m_temporaryFile.noteExchanged(isSecondNew, wasSecondThere);
    if (isFirstNew && isSecondNew)
        return;
    if (isFirstNew) { // The other process was killed, or could not undo its first exchange.
        first.takeBack();
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_NOT_REPLACED_TOGETHER, MelnarException::NO_CAUSES,
                              "Cannot replace file '", second.m_fileName, "' together with '", first.m_fileName, "'.");
    }
    first.m_temporaryFile.replace(first.m_target);
    try {
        second.m_temporaryFile.replace(second.m_target);
    } catch (...) {
        first.takeBack();
        throw;
    }
}

void AtomicFileOutputStream::replaceBoth(AtomicFileOutputStream& first, AtomicFileOutputStream& second) {
    first.prepare();
    second.prepare();
    exchangeBoth(first, second);
    try {
        try {
            synchronizeFolder(first.m_target.getFolderName());
            synchronizeFolder(second.m_target.getFolderName());
        } catch (...) {
            second.takeBack();
            throw;
        }
    } catch (...) {
        first.takeBack(); // even if that failed for the second
        throw;
    }
}

void AtomicFileOutputStream::takeBack() {
    m_temporaryFile.takeBack(m_target);
    synchronizeFolder(m_target.getFolderName());
}

} // namespace melnar
