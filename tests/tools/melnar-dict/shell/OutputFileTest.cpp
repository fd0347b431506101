#include "tools/melnar-dict/shell/OutputFile.h"

#include "Engine/core/platform/SystemCallException.h"
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

TEST_F(OutputFileTest, afterAFailureBothFilesAreOld) {
    for (const bool areThere : {false, true}) {
        makeOldFiles(areThere);
        SystemCallFaults flushes(Call::FSYNC);
        flushes.failAfter(2, EIO, Duration::ONCE); // of the folder, after both files
        EXPECT_THROW(writeBoth(), SystemCallException);
        EXPECT_EQ("old", getState(areThere));
    }
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
