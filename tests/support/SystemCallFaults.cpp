#include "tests/support/SystemCallFaults.h"

#include "tests/support/ExitRegistrations.h"
#include "tests/support/FileOperationObserver.h"
#include "tests/support/LockObserver.h"
#include "tests/support/ReplacedHostName.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <pthread.h>
#include <span>
#include <stdexcept>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace {

using Call = SystemCallFaults::Call;

/// Constant-initialised, since calls are made before any test, and after the last.
constinit std::array<std::atomic<SystemCallFaults*>, SystemCallFaults::NUMBER_OF_CALLS> s_watchers{};

constinit std::atomic<FileOperationObserver*> s_observer{};

constinit std::atomic<LockObserver*> s_lockObserver{};

constinit std::atomic<const std::string*> s_hostName{};

constinit std::atomic<ptrdiff_t> s_mappedBytes{0};

/// In the order of Call.
constexpr std::array<const char*, SystemCallFaults::NUMBER_OF_CALLS> NAMES{"mmap",
                                                                           "munmap",
                                                                           "mprotect",
                                                                           "madvise",
                                                                           "open",
                                                                           "read",
                                                                           "write",
                                                                           "close",
                                                                           "fsync",
                                                                           "rename",
                                                                           "flock",
                                                                           "fchmod",
                                                                           "fchown",
                                                                           "stat",
                                                                           "lstat",
                                                                           "fstat",
                                                                           "pread",
                                                                           "pwrite",
                                                                           "ftruncate",
                                                                           "link",
                                                                           "renameat2",
                                                                           "unlink",
                                                                           "realpath",
                                                                           "readlink",
                                                                           "pthread_mutex_destroy",
                                                                           "pthread_cond_destroy",
                                                                           "fdatasync",
                                                                           "fork",
                                                                           "waitpid"};

/// Set while the calling thread is inside LockObserver::notice.
constinit thread_local bool s_isNoticing = false;

/// Static objects beyond this number are not recorded.
constinit std::array<ExitRegistration, 8192> s_exitRegistrations{};
constinit std::atomic<size_t> s_numberOfExitRegistrations{0};

std::atomic<SystemCallFaults*>& getWatcher(const Call call) {
    return s_watchers[static_cast<size_t>(call)];
}

/// Reports a call with the result `result` to the observer, if there is one, and returns the result.
template<class Result, class... Parameters, class... Arguments>
Result observed(const Result result, void (FileOperationObserver::*const operation)(Parameters...),
                const Arguments... arguments) {
    FileOperationObserver* const observer = s_observer.load(std::memory_order_acquire);
    if (observer != nullptr && result >= 0)
        (observer->*operation)(arguments...);
    return result;
}

void notice(const LockObserver::Event event, const void* const object) {
    LockObserver* const observer = s_lockObserver.load(std::memory_order_acquire);
    if (observer == nullptr || s_isNoticing)
        return;
    s_isNoticing = true;
    observer->notice(event, object);
    s_isNoticing = false;
}

} // namespace

LockObserver::LockObserver() {
    if (s_lockObserver.exchange(this, std::memory_order_acq_rel) != nullptr)
        throw std::logic_error("Locks are observed twice.");
}

LockObserver::~LockObserver() {
    s_lockObserver.store(nullptr, std::memory_order_release);
}

ReplacedHostName::ReplacedHostName(std::string name) : m_name(std::move(name)) {
    if (s_hostName.exchange(&m_name, std::memory_order_acq_rel) != nullptr)
        throw std::logic_error("The host has another name twice.");
}

ReplacedHostName::~ReplacedHostName() {
    s_hostName.store(nullptr, std::memory_order_release);
}

std::span<const ExitRegistration> getExitRegistrations() {
    return {s_exitRegistrations.data(), std::min(s_numberOfExitRegistrations.load(), s_exitRegistrations.size())};
}

FileOperationObserver::FileOperationObserver() {
    if (s_observer.exchange(this, std::memory_order_acq_rel) != nullptr)
        throw std::logic_error("Files are observed twice.");
}

FileOperationObserver::~FileOperationObserver() {
    s_observer.store(nullptr, std::memory_order_release);
}

/// One call in progress: the decision of the watcher about it, if there is one.
class SystemCallGate {
public:
    explicit SystemCallGate(const Call call, const size_t request = 0)
        : m_watcher(getWatcher(call).load(std::memory_order_acquire)), m_errorCode(0), m_bytes(request) {
        SystemCallFaults* const watcher = m_watcher;
        if (watcher == nullptr)
            return;
        const size_t index = watcher->m_numberOfCalls.fetch_add(1, std::memory_order_relaxed);
        watcher->m_latestRequest.store(request, std::memory_order_relaxed);
        size_t largest = watcher->m_largestRequest.load(std::memory_order_relaxed);
        while (largest < request &&
               !watcher->m_largestRequest.compare_exchange_weak(largest, request, std::memory_order_relaxed)) {
        }
        m_bytes = std::min(request, watcher->m_maximumBytes.load(std::memory_order_relaxed));
        if (index >= watcher->m_firstFailure.load(std::memory_order_relaxed) &&
            index < watcher->m_endOfFailures.load(std::memory_order_relaxed)) {
            watcher->m_numberOfFailures.fetch_add(1, std::memory_order_relaxed);
            m_errorCode = watcher->m_errorCode.load(std::memory_order_relaxed);
        }
    }

    /// Returns whether the call must fail; sets `errno` in that case.
    bool isClosed() const {
        if (m_errorCode != 0)
            errno = m_errorCode;
        return m_errorCode != 0;
    }

    /// Performs the action for the old mapping when a mapping over it fails.
    void failRemapping(void* const begin, const size_t size) const {
        if (m_errorCode != 0 && m_watcher->m_action)
            m_watcher->m_action(begin, size);
    }

    int getErrorCode() const { return m_errorCode; }
    size_t getBytes() const { return m_bytes; }

private:
    SystemCallFaults* const m_watcher;
    int m_errorCode;
    size_t m_bytes;
};

SystemCallFaults::SystemCallFaults(const Call call)
    : m_call(call), m_numberOfCalls(0), m_numberOfFailures(0), m_largestRequest(0), m_latestRequest(0),
      m_maximumBytes(NEVER), m_firstFailure(NEVER), m_endOfFailures(NEVER), m_errorCode(0) {
    if (getWatcher(m_call).exchange(this, std::memory_order_acq_rel) != nullptr)
        throw std::logic_error("A system call is watched twice.");
}

SystemCallFaults::~SystemCallFaults() {
    getWatcher(m_call).store(nullptr, std::memory_order_release);
}

const char* SystemCallFaults::getName(const Call call) {
    return NAMES[static_cast<size_t>(call)];
}

ptrdiff_t SystemCallFaults::getMappedBytes() {
    return s_mappedBytes.load(std::memory_order_relaxed);
}

void SystemCallFaults::failAfter(const size_t allowedCalls, const int errorCode, const Duration duration) {
    const size_t firstFailure = getNumberOfCalls() + allowedCalls;
    m_errorCode.store(errorCode, std::memory_order_relaxed);
    m_firstFailure.store(firstFailure, std::memory_order_relaxed);
    m_endOfFailures.store(duration == Duration::ONCE ? firstFailure + 1 : NEVER, std::memory_order_relaxed);
}

// The linker's option --wrap=X renames X to __real_X and redirects every call of X to __wrap_X.
extern "C" {

void* __real_mmap(void* begin, size_t size, int protection, int flags, int fileDescriptor, off_t offset);
int __real_munmap(void* begin, size_t size);
int __real_mprotect(void* begin, size_t size, int protection);
int __real_madvise(void* begin, size_t size, int advice);
int __real_open(const char* fileName, int flags, ...);
ssize_t __real_read(int fileDescriptor, void* data, size_t size);
ssize_t __real_write(int fileDescriptor, const void* data, size_t size);
int __real_close(int fileDescriptor);
int __real_flock(int fileDescriptor, int operation);
int __real_stat(const char* fileName, struct stat* status);
int __real_fstat(int fileDescriptor, struct stat* status);
int __real_lstat(const char* fileName, struct stat* status);
ssize_t __real_pread(int fileDescriptor, void* data, size_t size, off_t offset);
ssize_t __real_pwrite(int fileDescriptor, const void* data, size_t size, off_t offset);
int __real_ftruncate(int fileDescriptor, off_t size);
int __real_link(const char* fileName, const char* newName);
int __real_renameat2(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned flags);
int __real_fchmod(int fileDescriptor, mode_t mode);
int __real_fchown(int fileDescriptor, uid_t owner, gid_t group);
int __real_fsync(int fileDescriptor);
int __real_fdatasync(int fileDescriptor);
int __real_rename(const char* oldName, const char* newName);
int __real_unlink(const char* fileName);
char* __real_realpath(const char* fileName, char* resolvedName);
ssize_t __real_readlink(const char* fileName, char* target, size_t size);
pid_t __real_fork();
pid_t __real_waitpid(pid_t process, int* status, int options);
int __real_gethostname(char* name, size_t size);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_cond_signal(pthread_cond_t* condition);
int __real_pthread_cond_broadcast(pthread_cond_t* condition);
int __real_pthread_cond_destroy(pthread_cond_t* condition);
int __real___cxa_atexit(void (*function)(void*), void* object, void* library);

void* __wrap_mmap(void* begin, size_t size, int protection, int flags, int fileDescriptor, off_t offset) {
    const SystemCallGate gate(Call::MMAP, size);
    if ((flags & MAP_FIXED) != 0)
        gate.failRemapping(begin, size);
    if (gate.isClosed())
        return MAP_FAILED;
    void* const mapping = __real_mmap(begin, size, protection, flags, fileDescriptor, offset);
    if (mapping != MAP_FAILED && (flags & MAP_FIXED) == 0) // which replaces a mapping that was counted
        s_mappedBytes.fetch_add(static_cast<ptrdiff_t>(size), std::memory_order_relaxed);
    return mapping;
}

int __wrap_munmap(void* begin, size_t size) {
    const SystemCallGate gate(Call::MUNMAP, size);
    notice(LockObserver::Event::UNMAPPED, begin);
    s_mappedBytes.fetch_sub(static_cast<ptrdiff_t>(size), std::memory_order_relaxed);
    return gate.isClosed() ? -1 : __real_munmap(begin, size);
}

int __wrap_mprotect(void* begin, size_t size, int protection) {
    const SystemCallGate gate(Call::MPROTECT, size);
    return gate.isClosed() ? -1 : __real_mprotect(begin, size, protection);
}

int __wrap_madvise(void* begin, size_t size, int advice) {
    const SystemCallGate gate(Call::MADVISE, size);
    return gate.isClosed() ? -1 : __real_madvise(begin, size, advice);
}

int __wrap_open(const char* fileName, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | __O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    const SystemCallGate gate(Call::OPEN);
    if (gate.isClosed())
        return -1;
    const int fileDescriptor = __real_open(fileName, flags, mode);
    return observed(fileDescriptor, &FileOperationObserver::opened, fileName, flags, fileDescriptor);
}

ssize_t __wrap_read(int fileDescriptor, void* data, size_t size) {
    const SystemCallGate gate(Call::READ, size);
    return gate.isClosed() ? -1 : __real_read(fileDescriptor, data, gate.getBytes());
}

ssize_t __wrap_write(int fileDescriptor, const void* data, size_t size) {
    const SystemCallGate gate(Call::WRITE, size);
    if (gate.isClosed())
        return -1;
    const ssize_t written = __real_write(fileDescriptor, data, gate.getBytes());
    return observed(written, &FileOperationObserver::written, fileDescriptor, data, static_cast<size_t>(written));
}

int __wrap_close(int fileDescriptor) {
    const SystemCallGate gate(Call::CLOSE);
    const int result = __real_close(fileDescriptor);
    return gate.isClosed() ? -1 : result;
}

int __wrap_flock(int fileDescriptor, int operation) {
    const SystemCallGate gate(Call::FLOCK);
    return gate.isClosed() ? -1 : __real_flock(fileDescriptor, operation);
}

int __wrap_stat(const char* fileName, struct stat* status) {
    const SystemCallGate gate(Call::STAT);
    return gate.isClosed() ? -1 : __real_stat(fileName, status);
}

int __wrap_fstat(int fileDescriptor, struct stat* status) {
    const SystemCallGate gate(Call::FSTAT);
    return gate.isClosed() ? -1 : __real_fstat(fileDescriptor, status);
}

int __wrap_lstat(const char* fileName, struct stat* status) {
    const SystemCallGate gate(Call::LSTAT);
    return gate.isClosed() ? -1 : __real_lstat(fileName, status);
}

ssize_t __wrap_pread(int fileDescriptor, void* data, size_t size, off_t offset) {
    const SystemCallGate gate(Call::PREAD, size);
    return gate.isClosed() ? -1 : __real_pread(fileDescriptor, data, gate.getBytes(), offset);
}

ssize_t __wrap_pwrite(int fileDescriptor, const void* data, size_t size, off_t offset) {
    const SystemCallGate gate(Call::PWRITE, size);
    return gate.isClosed() ? -1 : __real_pwrite(fileDescriptor, data, gate.getBytes(), offset);
}

int __wrap_ftruncate(int fileDescriptor, off_t size) {
    const SystemCallGate gate(Call::FTRUNCATE);
    return gate.isClosed() ? -1 : __real_ftruncate(fileDescriptor, size);
}

int __wrap_link(const char* fileName, const char* newName) {
    const SystemCallGate gate(Call::LINK);
    return gate.isClosed() ? -1 : __real_link(fileName, newName);
}

int __wrap_renameat2(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned flags) {
    const SystemCallGate gate(Call::RENAMEAT2);
    return gate.isClosed() ? -1
                           : observed(__real_renameat2(oldFolder, oldName, newFolder, newName, flags),
                                      &FileOperationObserver::renamed, oldName, newName);
}

int __wrap_fchmod(int fileDescriptor, mode_t mode) {
    const SystemCallGate gate(Call::FCHMOD);
    return gate.isClosed() ? -1 : __real_fchmod(fileDescriptor, mode);
}

int __wrap_fchown(int fileDescriptor, uid_t owner, gid_t group) {
    const SystemCallGate gate(Call::FCHOWN);
    return gate.isClosed() ? -1 : __real_fchown(fileDescriptor, owner, group);
}

int __wrap_fsync(int fileDescriptor) {
    const SystemCallGate gate(Call::FSYNC);
    return gate.isClosed()
               ? -1
               : observed(__real_fsync(fileDescriptor), &FileOperationObserver::synchronized, fileDescriptor);
}

int __wrap_fdatasync(int fileDescriptor) {
    const SystemCallGate gate(Call::FDATASYNC);
    return gate.isClosed() ? -1 : __real_fdatasync(fileDescriptor);
}

int __wrap_rename(const char* oldName, const char* newName) {
    const SystemCallGate gate(Call::RENAME);
    return gate.isClosed()
               ? -1
               : observed(__real_rename(oldName, newName), &FileOperationObserver::renamed, oldName, newName);
}

int __wrap_unlink(const char* fileName) {
    const SystemCallGate gate(Call::UNLINK);
    return gate.isClosed() ? -1 : observed(__real_unlink(fileName), &FileOperationObserver::unlinked, fileName);
}

char* __wrap_realpath(const char* fileName, char* resolvedName) {
    const SystemCallGate gate(Call::REALPATH);
    return gate.isClosed() ? nullptr : __real_realpath(fileName, resolvedName);
}

ssize_t __wrap_readlink(const char* fileName, char* target, size_t size) {
    const SystemCallGate gate(Call::READLINK);
    return gate.isClosed() ? -1 : __real_readlink(fileName, target, size);
}

pid_t __wrap_fork() {
    const SystemCallGate gate(Call::FORK);
    return gate.isClosed() ? -1 : __real_fork();
}

pid_t __wrap_waitpid(pid_t process, int* status, int options) {
    const SystemCallGate gate(Call::WAITPID);
    return gate.isClosed() ? -1 : __real_waitpid(process, status, options);
}

/// A name that does not fit is not terminated.
int __wrap_gethostname(char* name, size_t size) {
    const std::string* const hostName = s_hostName.load(std::memory_order_acquire);
    if (hostName == nullptr)
        return __real_gethostname(name, size);
    const size_t length = std::min(hostName->size() + 1, size);
    std::copy_n(hostName->c_str(), length, name);
    if (length > hostName->size())
        return 0;
    errno = ENAMETOOLONG;
    return -1;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_lock(mutex);
    notice(LockObserver::Event::MUTEX_LOCKED, mutex);
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    notice(LockObserver::Event::MUTEX_UNLOCKING, mutex);
    const int result = __real_pthread_mutex_unlock(mutex);
    notice(LockObserver::Event::MUTEX_UNLOCKED, mutex);
    return result;
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    const SystemCallGate gate(Call::MUTEX_DESTROY);
    notice(LockObserver::Event::MUTEX_DESTROYED, mutex);
    return gate.getErrorCode() != 0 ? gate.getErrorCode() : __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    notice(LockObserver::Event::CONDITION_WAITING, condition);
    return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
    notice(LockObserver::Event::CONDITION_SIGNALLED, condition);
    return __real_pthread_cond_signal(condition);
}

int __wrap_pthread_cond_broadcast(pthread_cond_t* condition) {
    notice(LockObserver::Event::CONDITION_BROADCAST, condition);
    return __real_pthread_cond_broadcast(condition);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
    const SystemCallGate gate(Call::CONDITION_DESTROY);
    notice(LockObserver::Event::CONDITION_DESTROYED, condition);
    return gate.getErrorCode() != 0 ? gate.getErrorCode() : __real_pthread_cond_destroy(condition);
}

int __wrap___cxa_atexit(void (*function)(void*), void* object, void* library) {
    const size_t index = s_numberOfExitRegistrations.fetch_add(1, std::memory_order_relaxed);
    if (index < s_exitRegistrations.size())
        s_exitRegistrations[index] = {function, object};
    return __real___cxa_atexit(function, object, library);
}
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming, readability-non-const-parameter)
