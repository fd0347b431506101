#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "tests/support/CaughtException.h"
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
    EXPECT_EQ("File '" + path + ".saving' is being written by another process.", exception.getMessage());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(52, exception.getSourceLineNumber());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    first.commit();
    EXPECT_EQ("first", TemporaryDirectory::getContentsOf(path));
}

/// The window between opening the temporary file and locking it, in which another writer may rename it.
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
}

TEST(AtomicFileOutputStreamFailureTest, aFolderThatIsNotThereIsNamed) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("missing/file");
    const auto exception = catchException<SystemCallException>([&] { const AtomicFileOutputStream output(path); });
    EXPECT_EQ("Cannot create file '" + path +
                  ".saving'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_EQ(41, exception.getSourceLineNumber());
}

TEST(AtomicFileOutputStreamFailureTest, aLinkToNothingThatCannotBeReadIsNotReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    ASSERT_EQ(0, ::symlink("target", path.c_str()));
    {
        SystemCallFaults reads(Call::READLINK);
        reads.failAfter(0, EIO, Duration::FOR_GOOD);
        const auto exception = catchException<SystemCallException>([&] { replace(path); });
        EXPECT_EQ(0u, exception.getMessage().find("Cannot find the place of file '" + path)) << exception.what();
        EXPECT_STREQ("readlink", exception.getSystemCallName());
        EXPECT_EQ(EIO, exception.getErrorCode());
        EXPECT_EQ(27, exception.getSourceLineNumber());
    }
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
}

/// The system follows no more links than that either; only links that change meanwhile bring it here.
TEST(AtomicFileOutputStreamFailureTest, linksWithoutAnEndAreNotFollowedForEver) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    ASSERT_EQ(0, ::symlink("file", path.c_str()));
    SystemCallFaults places(Call::REALPATH);
    places.failAfter(0, ENOENT, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ(ELOOP, exception.getErrorCode());
    EXPECT_EQ(27, exception.getSourceLineNumber());
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

/// The superuser may write everywhere, so the system is made to refuse it.
TEST(AtomicFileOutputStreamFailureTest, aFolderThatMayNotBeWrittenIsAMatterOfPermission) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EACCES, Duration::ONCE); // the second attempt, for reading, finds no file
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ("Cannot create file '" + path +
                  ".saving'.\n[Extended information: open reported error code 13 (Permission denied)]",
              exception.getMessage());
    EXPECT_EQ(41, exception.getSourceLineNumber());
    EXPECT_EQ(2u, opens.getNumberOfCalls());
    EXPECT_FALSE(std::filesystem::exists(path));
}

/// What may stand in the place of a file.
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
                      "' exists and is not a regular file, so that it cannot be replaced.",
                  exception.getMessage());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(91, exception.getSourceLineNumber());
        EXPECT_EQ(type, getType(path));
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    }
    EXPECT_EQ(mode_t(S_IFCHR), getType("/dev/null"));
}

TEST(AtomicFileOutputStreamFailureTest, aTargetThatBecomesAPipeMeanwhileIsNotReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    {
        AtomicFileOutputStream output(path);
        output.write("new", 3);
        ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
        EXPECT_EQ(91, catchException<MelnarException>([&] { output.commit(); }).getSourceLineNumber());
    }
    EXPECT_EQ(mode_t(S_IFIFO), getType(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
}

TEST(AtomicFileOutputStreamFailureTest, aTemporaryFileThatIsNoRegularFileIsRefused) {
    for (const MakeIrregularFile& make : IRREGULAR_FILES) {
        const TemporaryDirectory directory;
        const std::string path = directory.addFile("file", "old");
        ASSERT_TRUE(make(path + ".saving"));
        const mode_t type = getType(path + ".saving");
        EXPECT_EQ(41, catchException<SystemCallException>([&] { replace(path); }).getSourceLineNumber());
        if (type == S_IFIFO) {
            const int reader = ::open((path + ".saving").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            EXPECT_EQ(91, catchException<MelnarException>([&] { replace(path); }).getSourceLineNumber());
            ::close(reader);
        }
        EXPECT_EQ(type, getType(path + ".saving"));
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    }
}

TEST(AtomicFileOutputStreamFailureTest, aLinkInThePlaceOfTheTemporaryFileIsNotFollowed) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    const std::string other = directory.addFile("other", "somebody else's");
    ASSERT_EQ(0, ::symlink("other", (path + ".saving").c_str()));
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ(41, exception.getSourceLineNumber());
    EXPECT_EQ(ELOOP, exception.getErrorCode());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    EXPECT_EQ("somebody else's", TemporaryDirectory::getContentsOf(other));
}

struct Failure {
    Call m_call;
    size_t m_occurrence;
    int m_errorCode;
    const char* m_systemCallName;
    const char* m_message; // in front of the path
    long m_sourceLineNumber;
};

TEST(AtomicFileOutputStreamFailureTest, eachFailureHasItsPlaceAndLeavesTheOldFile) {
    const Failure failures[] = {
        {Call::REALPATH, 0, ELOOP, "realpath", "Cannot find the place of file '", 27},
        {Call::OPEN, 0, ENOSPC, "open", "Cannot create file '", 41},
        {Call::FLOCK, 0, ENOLCK, "flock", "Cannot lock file '", 49},
        {Call::STAT, 0, EIO, "stat", "Cannot examine file '", 85},
        {Call::STAT, 1, EIO, "stat", "Cannot examine file '", 59},
        {Call::FSTAT, 0, EIO, "stat", "Cannot examine file '", 59},
        {Call::STAT, 2, EIO, "stat", "Cannot examine file '", 85},
        {Call::CHMOD, 0, EPERM, "chmod", "Cannot set the permissions of file '", 88},
        {Call::RENAME, 0, EIO, "rename", "Cannot rename file '", 97},
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
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(failure.m_sourceLineNumber, exception.getSourceLineNumber());
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
    }
}

TEST(AtomicFileOutputStreamFailureTest, aFolderThatCannotBeFlushedIsReportedWithTheNewFileInPlace) {
    for (const Call call : {Call::OPEN, Call::FSYNC}) {
        const TemporaryDirectory directory;
        const std::string path = directory.addFile("file", "old");
        SystemCallFaults faults(call);
        faults.failAfter(call == Call::OPEN ? 2 : 1, EIO, Duration::ONCE); // behind the file's own
        const auto exception = catchException<SystemCallException>([&] { replace(path); });
        EXPECT_EQ(call == Call::OPEN ? 108 : 115, exception.getSourceLineNumber());
        EXPECT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    }
}

TEST(AtomicFileOutputStreamFailureTest, aReadOnlyTemporaryFileThatStaysSoIsReported) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    directory.addFile("file.saving", "left");
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EACCES, Duration::ONCE); // the second attempt, for reading, succeeds
    SystemCallFaults chmods(Call::CHMOD);
    chmods.failAfter(0, EPERM, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { replace(path); });
    EXPECT_EQ("Cannot make file '" + path +
                  ".saving' writable.\n[Extended information: chmod reported error code 1 (Operation not permitted)]",
              exception.getMessage());
    EXPECT_EQ(66, exception.getSourceLineNumber());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
}

/// Fails every occurrence of every call that replacing a file makes, once and for good, until a run meets no failure.
TEST(AtomicFileOutputStreamFailureTest, everyCallFailsAtEveryOccurrenceAndTheFileStaysWhole) {
    const Call calls[] = {Call::OPEN,  Call::FLOCK, Call::STAT,   Call::FSTAT,  Call::CHMOD,   Call::WRITE,
                          Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH};
    size_t failedCalls = 0;
    for (const Call call : calls)
        for (const int errorCode : {EIO, ENOSPC, EINTR})
            for (const Duration duration : {Duration::ONCE, Duration::FOR_GOOD}) {
                if (errorCode == EINTR && duration == Duration::FOR_GOOD)
                    continue; // An interrupted call is repeated; nothing interrupts for ever.
                for (size_t occurrence = 0;; ++occurrence) {
                    const TemporaryDirectory directory;
                    const std::string path = directory.addFile("file", "old");
                    bool isReplaced = false;
                    bool isFailed;
                    {
                        SystemCallFaults faults(call);
                        faults.failAfter(occurrence, errorCode, duration);
                        try {
                            replace(path);
                            isReplaced = true;
                        } catch (const SystemCallException& exception) {
                            EXPECT_EQ(errorCode, exception.getErrorCode());
                        }
                        isFailed = faults.getNumberOfFailures() != 0;
                    }
                    const std::string contents = TemporaryDirectory::getContentsOf(path);
                    ASSERT_TRUE(contents == CONTENTS || (!isReplaced && contents == "old"));
                    const bool mayLeaveFile = call == Call::FLOCK || call == Call::STAT || call == Call::FSTAT;
                    ASSERT_TRUE(mayLeaveFile || !std::filesystem::exists(path + ".saving"));
                    ASSERT_NO_THROW(replace(path)) << "whatever is left does not hinder the next writer";
                    ASSERT_EQ(CONTENTS, TemporaryDirectory::getContentsOf(path));
                    ASSERT_FALSE(std::filesystem::exists(path + ".saving"));
                    if (!isFailed)
                        break;
                    ++failedCalls;
                }
            }
    RecordProperty("failed_calls", static_cast<int>(failedCalls));
    EXPECT_GT(failedCalls, 60u);
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
