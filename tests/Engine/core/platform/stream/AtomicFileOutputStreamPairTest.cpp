#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/FileOperationObserver.h"
#include "tests/support/FolderContents.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;
using Contents = std::map<std::string, std::string>; // by path within the test's folder

constexpr const char* SOURCE_FILE = "Engine/core/platform/stream/AtomicFileOutputStream";

/// By what two files are replaced.
enum class Way { OTHER_PROCESS, THIS_PROCESS, WITHOUT_EXCHANGE };

constexpr Way WAYS[] = {Way::OTHER_PROCESS, Way::THIS_PROCESS, Way::WITHOUT_EXCHANGE};

/// Lets replaceBoth go a way while it exists.
class Detour : private Unmovable {
public:
    explicit Detour(const Way way) {
        if (way == Way::THIS_PROCESS)
            m_faults.emplace(Call::FORK).failAfter(0, EAGAIN, Duration::FOR_GOOD);
        if (way == Way::WITHOUT_EXCHANGE)
            m_faults.emplace(Call::RENAMEAT2).failAfter(0, EINVAL, Duration::FOR_GOOD);
    }

private:
    std::optional<SystemCallFaults> m_faults;
};

class AtomicFileOutputStreamPairTest : public testing::Test {
protected:
    AtomicFileOutputStreamPairTest() {
        std::filesystem::create_directory(m_directory.getPathOf("one"));
        std::filesystem::create_directory(m_directory.getPathOf("two"));
    }

    Contents getContents() const { return getContentsOfFolder(m_directory.getPathOf("")); }

    static Contents makeContents(const Contents& files) {
        Contents contents{{"one", ""}, {"two", ""}};
        contents.insert(files.begin(), files.end());
        return contents;
    }

    /// Calls `test` with none, one or both of the old files there.
    void forEachStart(const std::function<void(const Contents& old)>& test) const {
        for (const Contents& files : {Contents{},
                                      {{"one/first", "old"}},
                                      {{"two/second", "older"}},
                                      {{"one/first", "old"}, {"two/second", "older"}}}) {
            for (const std::string& path : {m_firstPath, m_secondPath})
                std::filesystem::remove(path);
            for (const auto& [name, contents] : files)
                m_directory.addFile(name, contents);
            const Contents old = makeContents(files);
            SCOPED_TRACE(testing::PrintToString(old));
            ASSERT_EQ(old, getContents()) << "the test before has left a file";
            test(old);
        }
    }

    /// What is written to both files.
    struct Streams {
        Streams(const std::string& firstPath, const std::string& secondPath)
            : m_first(firstPath), m_second(secondPath) {
            m_first.write("new", 3);
            m_second.write("newer", 5);
        }

        void replaceBoth() { AtomicFileOutputStream::replaceBoth(m_first, m_second); }

        void keepBoth() noexcept {
            m_first.keep();
            m_second.keep();
        }

        AtomicFileOutputStream m_first;
        AtomicFileOutputStream m_second;
    };

    void replaceBoth() const {
        Streams streams(m_firstPath, m_secondPath);
        streams.replaceBoth();
        streams.keepBoth();
    }

    /// Returns when no process has a lock on the files.
    void waitForLocks() const {
        for (const std::string& path : {m_firstPath, m_secondPath})
            const FileLock lock(path, [](const std::string&, const std::function<void()>& wait) { wait(); });
    }

    const TemporaryDirectory m_directory;
    const std::string m_firstPath = m_directory.getPathOf("one/first");
    const std::string m_secondPath = m_directory.getPathOf("two/second");
    const Contents m_new = makeContents({{"one/first", "new"}, {"two/second", "newer"}});
};

bool canExchangeFiles() {
    const TemporaryDirectory directory;
    const std::string first = directory.addFile("first", "");
    const std::string second = directory.addFile("second", "");
    return ::renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0;
}

/// Its tests need a file system that can exchange two files.
class AtomicFileOutputStreamExchangeTest : public AtomicFileOutputStreamPairTest {
protected:
    void SetUp() override {
        static const bool s_canExchangeFiles = canExchangeFiles();
        if (!s_canExchangeFiles)
            GTEST_SKIP() << "the file system of the temporary folder cannot exchange files";
    }
};

TEST_F(AtomicFileOutputStreamPairTest, bothFilesAppearOrAreReplacedOnEachWay) {
    for (const Way way : WAYS)
        forEachStart([&](const Contents&) {
            const Detour detour(way);
            replaceBoth();
            EXPECT_EQ(m_new, getContents());
        });
}

TEST_F(AtomicFileOutputStreamExchangeTest, theOldFilesStayUntilTheyAreNotKeptAnyLonger) {
    for (const Way way : WAYS)
        forEachStart([&](const Contents& old) {
            const Detour detour(way);
            Streams streams(m_firstPath, m_secondPath);
            streams.replaceBoth();
            Contents expected = m_new;
            expected["one/first.lock"] = TemporaryDirectory::getContentsOf(m_firstPath + ".lock");
            expected["two/second.lock"] = TemporaryDirectory::getContentsOf(m_secondPath + ".lock");
            for (const auto& [name, contents] : old)
                if (!contents.empty())
                    expected[name + (way == Way::WITHOUT_EXCHANGE ? ".replaced" : ".saving")] = contents;
            EXPECT_EQ(expected, getContents());
            streams.keepBoth();
        });
}

/// An exchange fails in the other process, and then in this one.
TEST_F(AtomicFileOutputStreamPairTest, anExchangeThatFailsIsUndoneAndReplacedByRenaming) {
    for (size_t allowed = 0; allowed < 5; ++allowed)
        forEachStart([&](const Contents&) {
            SystemCallFaults exchanges(Call::RENAMEAT2);
            exchanges.failAfter(allowed, EIO, Duration::ONCE);
            replaceBoth();
            EXPECT_EQ(m_new, getContents());
        });
}

/// The first file has to be put back, and the second one to be removed.
TEST_F(AtomicFileOutputStreamPairTest, afterAFailureBothAreOld) {
    const Contents old = makeContents({{"one/first", "old"}});
    std::vector<Fault> faults = ofAllocations();
    for (const Call call : {Call::STAT, Call::LSTAT, Call::FCHMOD, Call::OPEN, Call::WRITE, Call::FSYNC, Call::CLOSE,
                            Call::RENAME, Call::LINK})
        faults.push_back({call, EIO, Duration::ONCE});
    faults.push_back({Call::FSYNC, EIO, Duration::FOR_GOOD});
    for (const Way way : WAYS) {
        const Detour detour(way);
        const FailureCounts counts = failEach(faults, [&](FailureRound& round) {
            m_directory.addFile("one/first", "old");
            std::filesystem::remove(m_secondPath);
            bool areReplaced;
            {
                Streams streams(m_firstPath, m_secondPath);
                areReplaced = round.attempt([&streams] {
                    streams.replaceBoth();
                    streams.keepBoth();
                });
            }
            EXPECT_EQ(areReplaced ? m_new : old, getContents());
        });
        EXPECT_LT(20u, counts.m_throws);
    }
}

struct Failure {
    Call m_call;
    size_t m_occurrence;
    const char* m_systemCallName;
    std::string m_message; // its start
    long m_sourceLineNumber;
};

TEST_F(AtomicFileOutputStreamPairTest, eachFailureHasItsPlace) {
    const std::string first = m_directory.addFile("one/first", "old");
    const std::string second = m_directory.addFile("two/second", "older");
    const Contents old = getContents();
    const Failure failures[] = {
        {Call::LSTAT, 0, "lstat", "Cannot examine file '" + first + ".saving'.", 243},
        {Call::LSTAT, 1, "lstat", "Cannot examine file '" + second + ".saving'.", 243},
        {Call::LINK, 0, "link", "Cannot keep file '" + first + "' as '" + first + ".replaced' until it is replaced.",
         131},
        {Call::LINK, 1, "link", "Cannot keep file '" + second + "' as '" + second + ".replaced' until it is replaced.",
         131},
        {Call::RENAME, 1, "rename", "Cannot rename file '" + second + ".saving' to '" + second + "'.", 97},
        {Call::OPEN, 0, "open", "Cannot open folder '" + m_directory.getPathOf("one") + "'.", 108},
        {Call::FSYNC, 3, "fsync", "Cannot write folder '" + m_directory.getPathOf("two") + "' to the disk.", 115},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.m_message);
        {
            const Detour detour(Way::WITHOUT_EXCHANGE);
            Streams streams(m_firstPath, m_secondPath);
            SystemCallFaults faults(failure.m_call);
            faults.failAfter(failure.m_occurrence, EPERM, Duration::ONCE);
            const auto exception = catchException<SystemCallException>([&] { streams.replaceBoth(); });
            EXPECT_EQ(0u, exception.getMessage().find(failure.m_message)) << exception.what();
            EXPECT_STREQ(failure.m_systemCallName, exception.getSystemCallName());
            EXPECT_EQ(EPERM, exception.getErrorCode());
            EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
            EXPECT_EQ(failure.m_sourceLineNumber, exception.getSourceLineNumber());
        }
        EXPECT_EQ(old, getContents());
    }
}

/// After a folder could not be flushed, the second file is put back first; the other one even if that fails.
TEST_F(AtomicFileOutputStreamExchangeTest, aFileThatCannotBePutBackIsNamedAndNotLost) {
    for (const bool isFirst : {false, true})
        forEachStart([&](const Contents& old) {
            const std::string& path = isFirst ? m_firstPath : m_secondPath;
            const std::string name = isFirst ? "one/first" : "two/second";
            const bool isThere = old.contains(name);
            const bool isOtherThere = old.contains(isFirst ? "two/second" : "one/first");
            {
                Streams streams(m_firstPath, m_secondPath);
                SystemCallFaults flushes(Call::FSYNC);
                flushes.failAfter(2, EIO, Duration::ONCE); // after both files
                SystemCallFaults undoings(isThere ? Call::RENAME : Call::UNLINK);
                undoings.failAfter(isFirst && isThere == isOtherThere ? 1 : 0, EACCES, Duration::ONCE);
                const auto exception = catchException<SystemCallException>([&] { streams.replaceBoth(); });
                EXPECT_EQ(EACCES, exception.getErrorCode());
                EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
                EXPECT_EQ(isThere ? 146 : 150, exception.getSourceLineNumber());
                EXPECT_EQ(0u, exception.getMessage().find(
                                  isThere ? "File '" + path + "' has been replaced; cannot restore the old one, '" +
                                                path + ".saving'."
                                          : "Cannot remove file '" + path + "', which should not be there."))
                    << exception.getMessage();
            }
            Contents expected = old;
            expected[name] = m_new.at(name);
            if (isThere)
                expected[name + ".saving"] = old.at(name);
            EXPECT_EQ(expected, getContents());
            std::filesystem::remove(path + ".saving");
        });
}

/// Records what a process does to names and folders.
class Recorder : public FileOperationObserver {
public:
    void opened(const char*, int, int) override {}
    void written(int, const void*, size_t) override {}
    void synchronized(const int fileDescriptor) override {
        struct stat status;
        if (::fstat(fileDescriptor, &status) == 0 && S_ISDIR(status.st_mode))
            m_operations.push_back(
                "flush " +
                std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fileDescriptor)).filename().string());
    }
    void renamed(const char*, const char* const newName) override {
        m_operations.push_back("rename to " + std::filesystem::path(newName).filename().string());
    }
    void unlinked(const char* const fileName) override {
        m_operations.push_back("unlink " + std::filesystem::path(fileName).filename().string());
    }

    std::vector<std::string> m_operations;
};

TEST_F(AtomicFileOutputStreamExchangeTest, eachFolderIsFlushedAfterItsFileWasReplacedOrPutBack) {
    m_directory.addFile("one/first", "old");
    Streams streams(m_firstPath, m_secondPath);
    streams.m_first.prepare();
    streams.m_second.prepare();
    Recorder recorder;
    {
        SystemCallFaults flushes(Call::FSYNC);
        flushes.failAfter(1, EIO, Duration::ONCE);
        EXPECT_THROW(streams.replaceBoth(), SystemCallException);
    }
    EXPECT_EQ((std::vector<std::string>{"flush one", "unlink second", "flush two", "rename to first", "flush one"}),
              recorder.m_operations);
}

/// Does something in the other process after its first, second ... renaming.
class InOtherProcess : public FileOperationObserver {
public:
    InOtherProcess(const size_t renamings, std::function<void()> action)
        : m_renamings(renamings), m_action(std::move(action)) {}

    void opened(const char*, int, int) override {}
    void written(int, const void*, size_t) override {}
    void synchronized(int) override {}
    void renamed(const char*, const char*) override {
        if (::getpid() != m_process && --m_renamings == 0)
            m_action();
    }
    void unlinked(const char*) override {}

private:
    const pid_t m_process = ::getpid();
    size_t m_renamings;
    const std::function<void()> m_action;
};

TEST_F(AtomicFileOutputStreamExchangeTest, anOtherProcessThatIsKilledHasReplacedBothOrNone) {
    for (const size_t renamings : {1u, 2u})
        forEachStart([&](const Contents& old) {
            const InOtherProcess killing(renamings, [] { ::raise(SIGKILL); });
            if (renamings == 1) {
                const auto exception = catchException<MelnarException>([this] { replaceBoth(); });
                EXPECT_EQ("Cannot replace file '" + m_secondPath + "' together with '" + m_firstPath + "'.",
                          exception.getMessage());
                EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
                EXPECT_EQ(163, exception.getSourceLineNumber());
            } else
                replaceBoth();
            EXPECT_EQ(renamings == 1 ? old : m_new, getContents());
        });
}

/// The last call of lstat before the exchange is the second one.
TEST_F(AtomicFileOutputStreamExchangeTest, ifTheFilesOfAKilledProcessCannotBeExaminedNoneIsRemoved) {
    for (const auto& [renamings, allowedExaminations] : {std::pair<size_t, size_t>(1, 2), {1, 3}, {2, 2}})
        forEachStart([&, number = renamings, allowed = allowedExaminations](const Contents& old) {
            {
                const InOtherProcess killing(number, [] { ::raise(SIGKILL); });
                Streams streams(m_firstPath, m_secondPath);
                SystemCallFaults examinations(Call::LSTAT);
                examinations.failAfter(allowed, EIO, Duration::ONCE);
                const auto exception = catchException<SystemCallException>([&] { streams.replaceBoth(); });
                EXPECT_EQ(0u, exception.getMessage().find("Cannot examine file '" +
                                                          (allowed == 2 ? m_firstPath : m_secondPath) +
                                                          "', which may have been replaced."))
                    << exception.getMessage();
                EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
                EXPECT_EQ(243, exception.getSourceLineNumber());
            }
            Contents expected = old;
            for (const std::string name : {"one/first", "two/second"}) {
                std::string temporary = m_new.at(name);
                if (number == 2 || name == "one/first")
                    std::swap(expected[name], temporary);
                if (!temporary.empty())
                    expected[name + ".saving"] = temporary;
            }
            EXPECT_EQ(expected, getContents());
            for (const std::string& path : {m_firstPath, m_secondPath})
                std::filesystem::remove(path + ".saving");
        });
}

TEST_F(AtomicFileOutputStreamExchangeTest, exchangesThatTheOtherProcessCannotUndoAreUndone) {
    forEachStart([&](const Contents& old) {
        SystemCallFaults exchanges(Call::RENAMEAT2);
        exchanges.failAfter(old.contains("one/first") ? 1 : 2, EIO, Duration::FOR_GOOD); // after the first file
        EXPECT_EQ(163, catchException<MelnarException>([this] { replaceBoth(); }).getSourceLineNumber());
        EXPECT_EQ(old, getContents());
    });
}

/// The system discards the outcome of the other process then.
TEST_F(AtomicFileOutputStreamPairTest, aProcessThatIgnoresTheEndsOfOthersReplacesBoth) {
    forEachStart([&](const Contents&) {
        const auto before = ::signal(SIGCHLD, SIG_IGN);
        replaceBoth();
        ::signal(SIGCHLD, before);
        EXPECT_EQ(m_new, getContents());
    });
}

TEST_F(AtomicFileOutputStreamPairTest, anInterruptedWaitForTheOtherProcessIsRepeated) {
    SystemCallFaults waits(Call::WAITPID);
    waits.failAfter(0, EINTR, Duration::ONCE);
    replaceBoth();
    EXPECT_EQ(1u, waits.getNumberOfFailures());
    EXPECT_EQ(m_new, getContents());
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno) << "no process is left";
}

std::set<int> getBlockedSignals() {
    sigset_t blocked;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    std::set<int> signals;
    for (int signal = 1; signal < SIGRTMAX; ++signal)
        if (::sigismember(&blocked, signal) == 1)
            signals.insert(signal);
    return signals;
}

TEST_F(AtomicFileOutputStreamExchangeTest, theOtherProcessRunsNoSignalHandlerAndThisOneKeepsItsSignals) {
    sigset_t one;
    ::sigemptyset(&one);
    ::sigaddset(&one, SIGUSR2);
    sigset_t ownSignals;
    ::pthread_sigmask(SIG_SETMASK, &one, &ownSignals);
    const auto before = ::signal(SIGTERM, [](int) { ::_exit(99); });
    {
        const InOtherProcess interruption(1, [] { ::raise(SIGTERM); });
        replaceBoth();
    }
    ::signal(SIGTERM, before);
    EXPECT_EQ(m_new, getContents());
    EXPECT_EQ(std::set<int>{SIGUSR2}, getBlockedSignals());
    ::pthread_sigmask(SIG_SETMASK, &ownSignals, nullptr);
}

/// As a terminal does when the user interrupts a program.
TEST_F(AtomicFileOutputStreamExchangeTest, aKillOfTheProcessGroupBetweenTheTwoLeavesBothNew) {
    forEachStart([&](const Contents&) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::setpgid(0, 0);
            const InOtherProcess killing(1, [group = ::getpid()] { ::kill(-group, SIGKILL); });
            replaceBoth();
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        ASSERT_TRUE(WIFSIGNALED(status)) << "it did not come to the end";
        EXPECT_EQ(SIGKILL, WTERMSIG(status));
        waitForLocks(); // the other process has them, too
        EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_firstPath));
        EXPECT_EQ("newer", TemporaryDirectory::getContentsOf(m_secondPath));
        replaceBoth();
        EXPECT_EQ(m_new, getContents()) << "the next writer removes what was left";
    });
}

} // namespace
