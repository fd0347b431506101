#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr const char* SOURCE_FILE = "Engine/core/platform/stream/FileLock";
constexpr const char* LEFT_TEXT = "melnar lock: process 1 on host left\n";

class FileLockFailureTest : public testing::Test {
protected:
    void take() const { const FileLock lock(m_path); }

    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
    const std::string m_lockPath = m_path + ".lock";
};

struct Failure {
    Call m_call;
    int m_errorCode;
    bool m_isLeft;         // whether the lock file of a killed holder is there
    const char* m_message; // before the path
    long m_sourceLineNumber;
};

TEST_F(FileLockFailureTest, eachSystemFailureHasItsPlaceAndLeavesNoLock) {
    const Failure failures[] = {
        {Call::OPEN, ENOSPC, false, "Cannot open lock file '", 50},
        {Call::FLOCK, ENOLCK, false, "Cannot lock file '", 64},
        {Call::FSTAT, EIO, false, "Cannot examine lock file '", 75},
        {Call::PREAD, EIO, false, "Cannot read lock file '", 95},
        {Call::UNLINK, EPERM, true, "Cannot remove lock file '", 127},
        {Call::WRITE, ENOSPC, false, "Cannot write to lock file '", 148},
    };
    for (const Failure& failure : failures) {
        if (failure.m_isLeft)
            m_directory.addFile("file.lock", LEFT_TEXT);
        {
            SystemCallFaults faults(failure.m_call);
            faults.failAfter(0, failure.m_errorCode, Duration::FOR_GOOD);
            const auto exception = catchException<SystemCallException>([&] { take(); });
            EXPECT_EQ(0u, exception.getMessage().find(failure.m_message + m_lockPath)) << exception.what();
            EXPECT_STREQ(SystemCallFaults::getName(failure.m_call), exception.getSystemCallName());
            EXPECT_EQ(failure.m_errorCode, exception.getErrorCode());
            EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
            EXPECT_EQ(failure.m_sourceLineNumber, exception.getSourceLineNumber());
        }
        EXPECT_NO_THROW(take());
        EXPECT_FALSE(std::filesystem::exists(m_lockPath));
    }
}

TEST_F(FileLockFailureTest, everyCallAndAllocationFailsAndLeavesNoLock) {
    std::vector<Fault> faults = ofCalls({Call::OPEN, Call::FLOCK, Call::STAT, Call::FSTAT, Call::PREAD, Call::WRITE,
                                         Call::UNLINK, Call::CLOSE, Call::REALPATH},
                                        {EIO, EINTR});
    for (const Fault& fault : ofAllocations())
        faults.push_back(fault);
    for (const bool isLeft : {false, true}) {
        const FailureCounts counts = failEach(faults, [&](FailureRound& round) {
            if (isLeft)
                m_directory.addFile("file.lock", LEFT_TEXT);
            round.attempt([this] { take(); });
            EXPECT_NO_THROW(take());
            EXPECT_FALSE(std::filesystem::exists(m_lockPath));
        });
        EXPECT_LT(10u, counts.m_throws);
        std::cout << "Locking, calls and allocations: " << counts << '\n';
    }
}

/// An incomplete text would not be recognised as that of a lock file later.
TEST_F(FileLockFailureTest, aLockFileThatCannotBeWrittenWholeIsRemoved) {
    SystemCallFaults writes(Call::WRITE);
    writes.shortenTo(5);
    writes.failAfter(1, ENOSPC, Duration::FOR_GOOD);
    EXPECT_EQ(148, catchException<SystemCallException>([&] { take(); }).getSourceLineNumber());
    EXPECT_FALSE(std::filesystem::exists(m_lockPath));
}

TEST_F(FileLockFailureTest, shortWritesAndReadsAreNoFailures) {
    SystemCallFaults writes(Call::WRITE);
    writes.shortenTo(5);
    const FileLock lock(m_path);
    EXPECT_GT(writes.getNumberOfCalls(), 3u);
    EXPECT_EQ('\n', TemporaryDirectory::getContentsOf(m_lockPath).back());
}

TEST_F(FileLockFailureTest, interruptedCallsAreRepeated) {
    for (const Call call : {Call::OPEN, Call::FLOCK, Call::PREAD, Call::WRITE}) {
        SystemCallFaults faults(call);
        faults.failAfter(0, EINTR, Duration::ONCE);
        EXPECT_NO_THROW(take());
        EXPECT_EQ(1u, faults.getNumberOfFailures());
    }
}

TEST_F(FileLockFailureTest, aFolderThatIsNotThereIsNamed) {
    const std::string path = m_directory.getPathOf("missing/file");
    const auto exception = catchException<SystemCallException>([&] { const FileLock lock(path); });
    EXPECT_EQ("Cannot open lock file '" + path +
                  ".lock'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_EQ(50, exception.getSourceLineNumber());
}

/// The superuser may write everywhere, so the test makes the system refuse it.
TEST_F(FileLockFailureTest, aFolderThatMayNotBeWrittenIsAMatterOfPermission) {
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(1, EACCES, Duration::ONCE); // the first finds no file
    const auto exception = catchException<SystemCallException>([&] { take(); });
    EXPECT_EQ("Cannot open lock file '" + m_lockPath +
                  "'.\n[Extended information: open reported error code 13 (Permission denied)]",
              exception.getMessage());
    EXPECT_EQ(2u, opens.getNumberOfCalls());
}

/// The file may appear or disappear between any two calls; then they are repeated, and nothing is reported.
TEST_F(FileLockFailureTest, aLockFileThatAppearsOrDisappearsIsNoFailure) {
    m_directory.addFile("file.lock", LEFT_TEXT);
    {
        SystemCallFaults opens(Call::OPEN);
        opens.failAfter(0, ENOENT, Duration::ONCE); // it has appeared before it is created
        EXPECT_NO_THROW(take());
        EXPECT_GE(opens.getNumberOfCalls(), 3u);
    }
    ASSERT_FALSE(std::filesystem::exists(m_lockPath));
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EACCES, Duration::ONCE); // another user's file has disappeared before it is read
    EXPECT_NO_THROW(take());
    EXPECT_EQ(4u, opens.getNumberOfCalls());
}

TEST_F(FileLockFailureTest, aFileOfAnotherKindIsNotMistakenForALockFile) {
    for (const std::string& contents :
         {std::string("MELNARDC and more"), std::string(600, '\0'), std::string("melnar lock: process 1 on h"),
          "melnar lock: " + std::string(600, 'x') + "\n", "melnar lock: " + std::string(499, 'x') + "\nand more"}) {
        m_directory.addFile("file.lock", contents);
        const auto exception = catchException<MelnarException>([&] { take(); });
        EXPECT_EQ("'" + m_lockPath + "' exists and is not a lock file.", exception.getMessage());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(120, exception.getSourceLineNumber());
        EXPECT_EQ(contents, TemporaryDirectory::getContentsOf(m_lockPath));
    }
    std::filesystem::remove(m_lockPath);
    ASSERT_EQ(0, ::mkfifo(m_lockPath.c_str(), 0600));
    EXPECT_EQ(120, catchException<MelnarException>([&] { take(); }).getSourceLineNumber());
    EXPECT_TRUE(std::filesystem::is_fifo(m_lockPath));
    std::filesystem::remove(m_lockPath);
    std::filesystem::create_directory(m_lockPath);
    EXPECT_EQ(EISDIR, catchException<SystemCallException>([&] { take(); }).getErrorCode());
}

TEST_F(FileLockFailureTest, aLinkInThePlaceOfTheLockFileIsNotFollowed) {
    const std::string other = m_directory.addFile("other", "another user's");
    ASSERT_EQ(0, ::symlink("other", m_lockPath.c_str()));
    const auto exception = catchException<SystemCallException>([&] { take(); });
    EXPECT_EQ(ELOOP, exception.getErrorCode());
    EXPECT_EQ(50, exception.getSourceLineNumber());
    EXPECT_EQ("another user's", TemporaryDirectory::getContentsOf(other));
}

TEST_F(FileLockFailureTest, aWaitThatFailsLeavesNoLock) {
    const FileLock first(m_path);
    const auto exception = catchException<SystemCallException>([&] {
        const FileLock second(m_path, [](const std::string&, const std::function<void()>& wait) {
            SystemCallFaults locks(Call::FLOCK);
            locks.failAfter(0, ENOLCK, Duration::ONCE);
            wait();
        });
    });
    EXPECT_EQ(ENOLCK, exception.getErrorCode());
    EXPECT_EQ(64, exception.getSourceLineNumber());
}

} // namespace
