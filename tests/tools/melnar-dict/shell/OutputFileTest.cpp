#include "tools/melnar-dict/shell/OutputFile.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/FileOperationObserver.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

/// Two files that are written together.
class OutputFileTest : public testing::Test {
protected:
    std::string getPath(const size_t index) const { return m_directory.getPathOf(index == 0 ? "first" : "second"); }

    void makeOldFiles(const bool areThere) const {
        for (const size_t index : {0u, 1u}) {
            std::filesystem::remove(getPath(index));
            if (areThere)
                m_directory.addFile(index == 0 ? "first" : "second", "old");
        }
    }

    void writeBoth() const {
        std::ostringstream errorOutput;
        OutputLock firstLock(getPath(0), false, errorOutput, Output::FIRST);
        OutputLock secondLock(getPath(1), false, errorOutput, Output::SECOND);
        OutputFile first(firstLock);
        OutputFile second(secondLock);
        first.getStream().write("new", 3);
        second.getStream().write("new", 3);
        OutputFile::commitBoth(first, second);
    }

    /// Returns the content of both files, or that they differ; there must be no other files.
    std::string getState(const bool wereThere) const {
        std::string state;
        for (const size_t index : {0u, 1u}) {
            const std::string contents = std::filesystem::exists(getPath(index))
                                             ? TemporaryDirectory::getContentsOf(getPath(index))
                                             : std::string(wereThere ? "missing" : "old");
            state = index == 0 || state == contents ? contents : state + " and " + contents;
            for (const char* const suffix : {".saving", ".lock", ".replaced"})
                if (std::filesystem::exists(getPath(index) + suffix))
                    state += suffix;
        }
        return state;
    }

    const TemporaryDirectory m_directory;
};

TEST_F(OutputFileTest, bothFilesAppearOrAreReplaced) {
    for (const bool areThere : {false, true})
        for (const bool isExchanged : {false, true}) {
            makeOldFiles(areThere);
            std::optional<SystemCallFaults> exchanges;
            if (!isExchanged)
                exchanges.emplace(Call::RENAMEAT2).failAfter(0, EINVAL, Duration::FOR_GOOD);
            writeBoth();
            EXPECT_EQ("new", getState(areThere));
        }
}

TEST_F(OutputFileTest, whatALeftWriterKeptIsReplaced) {
    makeOldFiles(true);
    m_directory.addFile("first.replaced", "left");
    SystemCallFaults exchanges(Call::RENAMEAT2);
    exchanges.failAfter(0, EINVAL, Duration::FOR_GOOD);
    writeBoth();
    EXPECT_EQ("new", getState(true));
}

/// Every call fails once, in turn, with and without old files, on file systems that can exchange files and on others.
TEST_F(OutputFileTest, afterAFailureBothAreOldOrBothAreNew) {
    for (const Call call : {Call::WRITE, Call::FSYNC, Call::CLOSE, Call::RENAMEAT2, Call::RENAME, Call::LINK,
                            Call::OPEN, Call::FCHMOD, Call::LSTAT})
        for (const bool areThere : {false, true})
            for (const bool isExchanged : {false, true}) {
                if (call == Call::RENAMEAT2 && !isExchanged)
                    continue;
                std::optional<SystemCallFaults> exchanges;
                if (!isExchanged)
                    exchanges.emplace(Call::RENAMEAT2).failAfter(0, EINVAL, Duration::FOR_GOOD);
                const std::vector<Fault> oneFails{{call, EIO, Duration::ONCE}};
                const FailureCounts counts = failEach(oneFails, [&](FailureRound& round) {
                    makeOldFiles(areThere);
                    const bool isWritten = round.attempt([this] { writeBoth(); });
                    EXPECT_EQ(isWritten ? "new" : "old", getState(areThere));
                });
                const bool mayFail = call == Call::RENAMEAT2 ? false
                                     : call == Call::RENAME  ? !isExchanged
                                     : call == Call::LINK    ? !isExchanged
                                     : call == Call::FCHMOD  ? areThere
                                                             : true;
                EXPECT_EQ(mayFail, counts.m_throws != 0) << "call " << static_cast<int>(call);
            }
}

TEST_F(OutputFileTest, anOldFileThatCannotBePutBackIsNamed) {
    for (const bool areThere : {false, true}) {
        makeOldFiles(areThere);
        SystemCallFaults flushes(Call::FSYNC);
        flushes.failAfter(2, EIO, Duration::FOR_GOOD); // of the folder, after both files
        SystemCallFaults renames(Call::RENAME);
        SystemCallFaults removals(Call::UNLINK);
        if (areThere)
            renames.failAfter(0, EACCES, Duration::FOR_GOOD);
        else
            removals.failAfter(0, EACCES, Duration::FOR_GOOD);
        const auto exception = catchException<SystemCallException>([&] { writeBoth(); });
        EXPECT_EQ("Engine/core/platform/stream/AtomicFileOutputStream", exception.getSourceFileName());
        EXPECT_EQ(areThere ? 146 : 150, exception.getSourceLineNumber());
        EXPECT_EQ(0u, exception.getMessage().find(
                          areThere ? "File '" + getPath(0) + "' has been replaced; cannot restore the old one, '" +
                                         getPath(0) + ".saving'."
                                   : "Cannot remove file '" + getPath(0) + "', which should not be there."))
            << exception.getMessage();
        if (areThere) {
            EXPECT_EQ("old", TemporaryDirectory::getContentsOf(getPath(0) + ".saving")) << "it is not lost";
        }
        std::filesystem::remove(getPath(0) + ".saving");
        std::filesystem::remove(getPath(0) + ".lock");
        std::filesystem::remove(getPath(1) + ".lock");
        std::filesystem::remove(getPath(1) + ".saving");
    }
}

TEST_F(OutputFileTest, exchangesThatTheOtherProcessCannotUndoAreUndone) {
    for (const bool areThere : {false, true}) {
        makeOldFiles(areThere);
        SystemCallFaults exchanges(Call::RENAMEAT2);
        exchanges.failAfter(areThere ? 1 : 2, EIO, Duration::FOR_GOOD); // after the first file was replaced
        const auto exception = catchException<MelnarException>([&] { writeBoth(); });
        EXPECT_EQ(163, exception.getSourceLineNumber());
        EXPECT_EQ("Cannot replace file '" + getPath(1) + "' together with '" + getPath(0) + "'.",
                  exception.getMessage());
        EXPECT_EQ("old", getState(areThere));
    }
}

TEST_F(OutputFileTest, whereNeitherExchangeNorLinkWorksTheOldFilesStay) {
    makeOldFiles(true);
    SystemCallFaults exchanges(Call::RENAMEAT2);
    exchanges.failAfter(0, EINVAL, Duration::FOR_GOOD);
    SystemCallFaults links(Call::LINK);
    links.failAfter(0, EPERM, Duration::FOR_GOOD);
    const auto exception = catchException<SystemCallException>([&] { writeBoth(); });
    EXPECT_EQ(131, exception.getSourceLineNumber());
    EXPECT_EQ(0u, exception.getMessage().find("Cannot keep file '" + getPath(0) + "' as '" + getPath(0) +
                                              ".replaced' until it is replaced."))
        << exception.getMessage();
    EXPECT_EQ("old", getState(true));
}

/// Interrupts this process after a number of operations on files.
class Interrupter : public FileOperationObserver {
public:
    explicit Interrupter(const size_t operations) : m_operations(operations) {}

    void opened(const char*, int, int) override { happened(); }
    void written(int, const void*, size_t) override { happened(); }
    void synchronized(int) override { happened(); }
    void renamed(const char*, const char*) override { happened(); }
    void unlinked(const char*) override { happened(); }

private:
    void happened() {
        if (m_operations-- == 0)
            ::kill(m_process, SIGTERM);
    }

    const pid_t m_process = ::getpid();
    size_t m_operations;
};

/// Kills a process as soon as one of two files has been replaced, by any process.
class Killer : public Interrupter {
public:
    explicit Killer(const pid_t victim) : Interrupter(NEVER), m_victim(victim) {}

    void renamed(const char*, const char*) override {
        ::kill(m_victim, SIGKILL);
        ::usleep(20'000); // so that it has ended before the other file is replaced
    }

private:
    static constexpr size_t NEVER = ~size_t(0);

    const pid_t m_victim;
};

TEST_F(OutputFileTest, aKillBetweenTheTwoLeavesBothNew) {
    for (const bool areThere : {false, true}) {
        makeOldFiles(areThere);
        const pid_t child = ::fork();
        if (child == 0) {
            const Killer killer(::getpid());
            writeBoth();
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        ASSERT_TRUE(WIFSIGNALED(status)) << "it did not come to the end";
        EXPECT_EQ(SIGKILL, WTERMSIG(status));
        for (const size_t index : {0u, 1u}) {
            std::ostringstream errorOutput;
            const OutputLock lock(getPath(index), true, errorOutput); // waits for processes that still have it
            EXPECT_EQ("new", TemporaryDirectory::getContentsOf(getPath(index))) << index;
        }
    }
}

TEST_F(OutputFileTest, anInterruptionLeavesBothNewOrBothOldAndNothingElse) {
    for (const bool areThere : {false, true})
        for (const bool isExchanged : {false, true}) {
            size_t interruptions = 0;
            size_t interruptionsWithNewFiles = 0;
            for (bool isInterrupted = true; isInterrupted; ++interruptions) {
                makeOldFiles(areThere);
                const pid_t child = ::fork();
                if (child == 0) {
                    exitCleanlyWhenInterrupted();
                    std::optional<SystemCallFaults> exchanges;
                    if (!isExchanged)
                        exchanges.emplace(Call::RENAMEAT2).failAfter(0, EINVAL, Duration::FOR_GOOD);
                    const Interrupter interrupter(interruptions);
                    writeBoth();
                    ::_exit(0);
                }
                int status = 0;
                ASSERT_EQ(child, ::waitpid(child, &status, 0));
                ASSERT_TRUE(WIFEXITED(status));
                isInterrupted = WEXITSTATUS(status) == 128 + SIGTERM;
                const std::string state = getState(areThere);
                EXPECT_TRUE(state == "new" || (isInterrupted && state == "old")) << state << " after " << interruptions;
                interruptionsWithNewFiles += isInterrupted && state == "new";
            }
            EXPECT_GT(interruptions, 10u);
            EXPECT_GT(interruptionsWithNewFiles, 2u);
        }
}

} // namespace
