#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr const char* SOURCE_FILE = "Engine/core/platform/stream/AtomicFileOutputStream";
const std::string CONTENTS(600000, 'n'); // more than one write

void replace(const std::string& path) {
    AtomicFileOutputStream output(path);
    output.write(CONTENTS.data(), CONTENTS.size() / 2);
    output.write(CONTENTS.data() + CONTENTS.size() / 2, CONTENTS.size() - CONTENTS.size() / 2);
    output.commit();
}

TEST(AtomicFileOutputStreamFailureTest, aSecondWriterIsRefusedAndDisturbsNothing) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    AtomicFileOutputStream first(path);
    first.write("first", 5);
    first.flush();
    const auto exception = catchException<MelnarException>([&] { const AtomicFileOutputStream second(path); });
    EXPECT_EQ(0u, exception.getMessage().find("File '" + path + "' is being written by process " +
                                              std::to_string(::getpid()) + " on host "))
        << exception.getMessage();
    EXPECT_EQ("Engine/core/platform/stream/FileLock", exception.getSourceFileName());
    EXPECT_EQ(160, exception.getSourceLineNumber());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    first.commit();
    EXPECT_EQ("first", TemporaryDirectory::getContentsOf(path));
}

/// Temporary and lock files appear and disappear: a writer that loses a race gets no system failure.
TEST(AtomicFileOutputStreamFailureTest, writersInARaceReplaceTheFileOneByOne) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", std::string(5000, 'o'));
    std::atomic<size_t> replaced(0);
    std::atomic<size_t> refused(0);
    std::vector<std::thread> threads;
    for (size_t threadIndex = 0; threadIndex < 4; ++threadIndex)
        threads.emplace_back([&, threadIndex] {
            const std::string contents(5000, static_cast<char>('a' + threadIndex));
            for (size_t round = 0; round < 200; ++round)
                try {
                    AtomicFileOutputStream output(path);
                    output.write(contents.data(), contents.size());
                    output.commit();
                    replaced.fetch_add(1);
                } catch (const SystemCallException& exception) {
                    ADD_FAILURE() << exception.what();
                } catch (const MelnarException&) {
                    refused.fetch_add(1);
                }
        });
    while (replaced.load() + refused.load() < 800) {
        const std::string contents = TemporaryDirectory::getContentsOf(path);
        ASSERT_EQ(std::string(5000, contents.front()), contents) << "a file of two writers";
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(replaced.load(), 0u);
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
}

TEST(AtomicFileOutputStreamFailureTest, aFolderThatIsNotThereIsNamed) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("missing/file");
    const auto exception = catchException<SystemCallException>([&] { const AtomicFileOutputStream output(path); });
    EXPECT_EQ("Cannot open lock file '" + path +
                  ".lock'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_EQ(50, exception.getSourceLineNumber());
}

TEST(AtomicFileOutputStreamFailureTest, aLinkToNothingThatCannotBeReadIsNotReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    ASSERT_EQ(0, ::symlink("target", path.c_str()));
    {
        SystemCallFaults reads(Call::READLINK);
        reads.failAfter(0, EIO, Duration::FOR_GOOD);
        const auto exception = catchException<SystemCallException>([&] { replace(path); });
        EXPECT_EQ(0u, exception.getMessage().find("Cannot resolve the path of file '" + path)) << exception.what();
        EXPECT_STREQ("readlink", exception.getSystemCallName());
        EXPECT_EQ(EIO, exception.getErrorCode());
        EXPECT_EQ("Engine/core/platform/stream/TargetFile", exception.getSourceFileName());
        EXPECT_EQ(30, exception.getSourceLineNumber());
    }
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
}

/// The system does not follow more links either, so only links that change concurrently lead here.
TEST(AtomicFileOutputStreamFailureTest, linksWithoutAnEndAreNotFollowedForever) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    ASSERT_EQ(0, ::symlink("file", path.c_str()));
    SystemCallFaults places(Call::REALPATH);
    places.failAfter(0, ENOENT, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ(ELOOP, exception.getErrorCode());
    EXPECT_EQ(30, exception.getSourceLineNumber());
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

/// Makes something other than a regular file with a name.
using MakeIrregularFile = std::function<bool(const std::string&)>;

bool makeSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
        return false;
    path.copy(address.sun_path, path.size());
    const int fileDescriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool isBound = ::bind(fileDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fileDescriptor);
    return isBound;
}

const std::vector<MakeIrregularFile> IRREGULAR_FILES = {
    [](const std::string& path) { return ::mkdir(path.c_str(), 0700) == 0; },
    [](const std::string& path) { return ::mkfifo(path.c_str(), 0600) == 0; },
    &makeSocket,
    [](const std::string& path) { return ::symlink("/dev/null", path.c_str()) == 0; },
};

mode_t getType(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

TEST(AtomicFileOutputStreamFailureTest, aTargetThatIsNoRegularFileIsRefusedBeforeAnythingIsWritten) {
    for (const MakeIrregularFile& make : IRREGULAR_FILES) {
        const TemporaryDirectory directory;
        const std::string path = directory.getPathOf("file");
        ASSERT_TRUE(make(path));
        const mode_t type = getType(path);
        const auto exception = catchException<MelnarException>([&] { const AtomicFileOutputStream output(path); });
        EXPECT_EQ("'" + (type == S_IFLNK ? "/dev/null" : path) +
                      "' exists and is not a regular file, so it cannot be replaced.",
                  exception.getMessage());
        EXPECT_EQ("Engine/core/platform/stream/TargetFile", exception.getSourceFileName());
        EXPECT_EQ(92, exception.getSourceLineNumber());
        EXPECT_EQ(type, getType(path));
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
        EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
    }
    EXPECT_EQ(mode_t(S_IFCHR), getType("/dev/null"));
}

TEST(AtomicFileOutputStreamFailureTest, aTargetThatBecomesAPipeIsNotReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    {
        AtomicFileOutputStream output(path);
        output.write("new", 3);
        ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
        EXPECT_EQ(92, catchException<MelnarException>([&] { output.commit(); }).getSourceLineNumber());
    }
    EXPECT_EQ(mode_t(S_IFIFO), getType(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
}

TEST(AtomicFileOutputStreamFailureTest, irregularFilesAreNotMistakenForLeftovers) {
    for (const MakeIrregularFile& make : IRREGULAR_FILES)
        for (const char* const suffix : {".saving", ".replaced"}) {
            const TemporaryDirectory directory;
            const std::string path = directory.addFile("file", "old");
            ASSERT_TRUE(make(path + suffix));
            const mode_t type = getType(path + suffix);
            const auto exception = catchException<MelnarException>([&] { replace(path); });
            EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
            EXPECT_EQ(91, exception.getSourceLineNumber());
            EXPECT_EQ(type, getType(path + suffix));
            EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
            EXPECT_EQ(std::string(suffix) == ".saving", std::filesystem::exists(path + ".saving"));
        }
}

TEST(AtomicFileOutputStreamFailureTest, aLinkInThePlaceOfTheTemporaryFileIsNotFollowed) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    const std::string other = directory.addFile("other", "another user's");
    ASSERT_EQ(0, ::symlink("other", (path + ".saving").c_str()));
    EXPECT_EQ(91, catchException<MelnarException>([&] { replace(path); }).getSourceLineNumber());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    EXPECT_EQ("another user's", TemporaryDirectory::getContentsOf(other));
}

struct Failure {
    Call m_call;
    size_t m_occurrence;
    int m_errorCode;
    const char* m_systemCallName;
    const char* m_message; // before the path
    const char* m_sourceFileName;
    long m_sourceLineNumber;
};

constexpr const char* TARGET_SOURCE_FILE = "Engine/core/platform/stream/TargetFile";

TEST(AtomicFileOutputStreamFailureTest, eachFailureHasItsPlaceAndLeavesTheOldFile) {
    const Failure failures[] = {
        {Call::REALPATH, 0, ELOOP, "realpath", "Cannot resolve the path of file '", TARGET_SOURCE_FILE, 30},
        {Call::STAT, 0, EIO, "stat", "Cannot examine file '", TARGET_SOURCE_FILE, 88},
        {Call::STAT, 2, EIO, "stat", "Cannot examine file '", TARGET_SOURCE_FILE, 88}, // after the lock file's
        {Call::LSTAT, 0, EIO, "lstat", "Cannot examine file '", SOURCE_FILE, 59},
        {Call::STAT, 3, EIO, "stat", "Cannot examine file '", TARGET_SOURCE_FILE, 88},
        {Call::FCHMOD, 0, EPERM, "fchmod", "Cannot set the permissions of file '", SOURCE_FILE, 88},
        {Call::RENAME, 0, EIO, "rename", "Cannot rename file '", SOURCE_FILE, 97},
    };
    for (const Failure& failure : failures) {
        const TemporaryDirectory directory;
        const std::string path = directory.addFile("file", "old");
        SystemCallFaults faults(failure.m_call);
        faults.failAfter(failure.m_occurrence, failure.m_errorCode, Duration::FOR_GOOD);
        const auto exception = catchException<SystemCallException>([&] { replace(path); });
        EXPECT_EQ(0u, exception.getMessage().find(failure.m_message + path)) << exception.what();
        EXPECT_STREQ(failure.m_systemCallName, exception.getSystemCallName());
        EXPECT_EQ(failure.m_errorCode, exception.getErrorCode());
        EXPECT_EQ(failure.m_sourceFileName, exception.getSourceFileName());
        EXPECT_EQ(failure.m_sourceLineNumber, exception.getSourceLineNumber());
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    }
}

TEST(AtomicFileOutputStreamFailureTest, aFolderThatCannotBeFlushedIsReportedWithTheNewFileInPlace) {
    for (const Call call : {Call::OPEN, Call::FSYNC}) {
        const TemporaryDirectory directory;
        const std::string path = directory.addFile("file", "old");
        SystemCallFaults faults(call);
        faults.failAfter(call == Call::OPEN ? 3 : 1, EIO, Duration::ONCE); // after the lock file's and the file's own
        const auto exception = catchException<SystemCallException>([&] { replace(path); });
        EXPECT_EQ(call == Call::OPEN ? 108 : 115, exception.getSourceLineNumber());
        EXPECT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    }
}

/// Simulates a folder in which nobody may remove files of other users.
TEST(AtomicFileOutputStreamFailureTest, aLeftoverThatCannotBeRemovedIsReported) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    directory.addFile("file.saving", "left");
    SystemCallFaults unlinks(Call::UNLINK);
    unlinks.failAfter(0, EPERM, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ(
        "Cannot remove file '" + path +
            ".saving', which was left by a writer that has ended.\n[Extended information: unlink reported error code 1 "
            "(Operation not permitted)]",
        exception.getMessage());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(66, exception.getSourceLineNumber());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
}

/// A file with the name of the temporary file that appears after the leftover was removed is not a writer's.
TEST(AtomicFileOutputStreamFailureTest, aFileThatTakesTheTemporaryNameIsLeftAlone) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    directory.addFile("file.saving", "another user's");
    SystemCallFaults examinations(Call::LSTAT);
    examinations.failAfter(0, ENOENT, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ("Engine/core/platform/stream/FileOutputStream", exception.getSourceFileName());
    EXPECT_EQ(EEXIST, exception.getErrorCode());
    EXPECT_EQ("another user's", TemporaryDirectory::getContentsOf(path + ".saving"));
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
}

/// Only the superuser may change the owner of files.
TEST(AtomicFileOutputStreamFailureTest, anOwnerThatCannotBeKeptIsNoFailure) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    SystemCallFaults changes(Call::FCHOWN);
    changes.failAfter(0, EPERM, Duration::FOR_GOOD);
    replace(path);
    EXPECT_EQ(2u, changes.getNumberOfFailures()) << "the group alone is tried as well";
    EXPECT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
}

/// Users other than the superuser may give a file to one of their groups, not to another user.
TEST(AtomicFileOutputStreamFailureTest, theGroupIsKeptIfTheOwnerCannotBe) {
    constexpr uid_t OWNER = 65533;
    constexpr gid_t GROUP = 65532;
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the superuser";
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    ASSERT_EQ(0, ::chown(path.c_str(), OWNER, GROUP));
    SystemCallFaults changes(Call::FCHOWN);
    changes.failAfter(0, EPERM, Duration::ONCE);
    replace(path);
    struct stat status;
    ASSERT_EQ(0, ::stat(path.c_str(), &status));
    EXPECT_EQ(::geteuid(), status.st_uid);
    EXPECT_EQ(GROUP, status.st_gid);
}

TEST(AtomicFileOutputStreamFailureTest, interruptedCallsAreRepeated) {
    for (const Call call : {Call::OPEN, Call::WRITE, Call::FSYNC}) {
        const FailureCounts counts = failEach({{call, EINTR, Duration::ONCE}}, [](FailureRound& round) {
            const TemporaryDirectory directory;
            const std::string path = directory.addFile("file", "old");
            EXPECT_TRUE(round.attempt([&] { replace(path); }));
            EXPECT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
        });
        EXPECT_LT(1u, counts.m_tolerated) << SystemCallFaults::getName(call);
    }
}

TEST(AtomicFileOutputStreamFailureTest, aSecondStreamUnderOneLockIsRefusedAndDisturbsNothing) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    FileLock lock(path);
    {
        AtomicFileOutputStream first(lock);
        first.write("first", 5);
        first.flush();
        const auto exception = catchException<MelnarException>([&] { AtomicFileOutputStream second(lock); });
        EXPECT_EQ("File '" + path + "' is already being written under this lock.", exception.getMessage());
        EXPECT_EQ("Engine/core/platform/stream/FileLock", exception.getSourceFileName());
        EXPECT_EQ(190, exception.getSourceLineNumber());
        first.commit();
        AtomicFileOutputStream third(lock);
        third.write("third", 5);
        EXPECT_EQ("first", TemporaryDirectory::getContentsOf(path));
    }
    EXPECT_EQ("first", TemporaryDirectory::getContentsOf(path)) << "the third has not been committed";
    AtomicFileOutputStream fourth(lock);
    fourth.write("fourth", 6);
    fourth.commit();
    EXPECT_EQ("fourth", TemporaryDirectory::getContentsOf(path));
}

/// Replaces a file beside the remains of a killed writer. Whatever is left does not hinder the next writer.
void replaceWithAFailure(FailureRound& round) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    directory.addFile("file.saving", "left");
    directory.addFile("file.lock", "melnar lock: process 1 on host left\n");
    const bool isReplaced = round.attempt([&path] { replace(path); });
    const std::string contents = TemporaryDirectory::getContentsOf(path);
    EXPECT_TRUE(contents == CONTENTS || (!isReplaced && contents == "old"));
    replace(path);
    EXPECT_TRUE(CONTENTS == TemporaryDirectory::getContentsOf(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
}

TEST(AtomicFileOutputStreamFailureTest, everyCallAndAllocationFailsAndTheFileStaysWhole) {
    FailureCounts counts = failEach(
        ofCalls({Call::OPEN, Call::FLOCK, Call::STAT, Call::LSTAT, Call::FSTAT, Call::FCHMOD, Call::FCHOWN, Call::WRITE,
                 Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::PREAD},
                {EIO, ENOSPC, EINTR}),
        &replaceWithAFailure);
    RecordProperty("failed_calls", static_cast<int>(counts.m_failures));
    EXPECT_GT(counts.m_failures, 60u);
    counts = failEach(ofAllocations(), &replaceWithAFailure);
    RecordProperty("failed_allocations", static_cast<int>(counts.m_failures));
    EXPECT_GT(counts.m_throws, 10u);
}

TEST(AtomicFileOutputStreamFailureTest, shortWritesAreContinued) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    SystemCallFaults writes(Call::WRITE);
    writes.shortenTo(999);
    replace(path);
    EXPECT_GT(writes.getNumberOfCalls(), 600u);
    EXPECT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
}

} // namespace
