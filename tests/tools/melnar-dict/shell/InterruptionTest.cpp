#include "tools/melnar-dict/shell/Interruption.h"

#include "tests/support/FileOperationObserver.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tools/melnar-dict/shell/OutputFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGPIPE, SIGTERM};

/// Returns how a process has ended, such as: exit 0, signal 9.
std::string waitForEnd(const pid_t process) {
    int status = 0;
    EXPECT_EQ(process, ::waitpid(process, &status, 0));
    return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status));
}

/// The end by a signal that is to be seen from outside.
std::string endBy(const int signalNumber) {
    return signalNumber == SIGPIPE ? "signal " + std::to_string(signalNumber)
                                   : "exit " + std::to_string(128 + signalNumber);
}

/// The tool, running, with standard input that stays open and empty until it is interrupted.
class WaitingTool {
public:
    explicit WaitingTool(const std::vector<std::string>& arguments, const std::vector<int>& ignoredSignals = {}) {
        int pipeEnds[2];
        EXPECT_EQ(0, ::pipe2(pipeEnds, O_CLOEXEC));
        std::vector<char*> argumentPointers{const_cast<char*>("melnar-dict")};
        for (const std::string& argument : arguments)
            argumentPointers.push_back(const_cast<char*>(argument.c_str()));
        argumentPointers.push_back(nullptr);
        m_processID = ::fork();
        if (m_processID == 0) {
            ::dup2(pipeEnds[0], STDIN_FILENO);
            for (const int signalNumber : SIGNALS)
                ::signal(signalNumber, SIG_DFL);
            for (const int signalNumber : ignoredSignals)
                ::signal(signalNumber, SIG_IGN);
            ::execv(MELNAR_DICT_EXECUTABLE, argumentPointers.data());
            ::_exit(99);
        }
        ::close(pipeEnds[0]);
        m_inputEnd = pipeEnds[1];
    }

    ~WaitingTool() { ::close(m_inputEnd); }

    /// Writes to the tool's standard input and waits until the tool has read it.
    bool takes(const std::string& input) const {
        EXPECT_EQ(static_cast<ssize_t>(input.size()), ::write(m_inputEnd, input.data(), input.size()));
        for (int attempt = 0; attempt < 3000; ++attempt) {
            int unreadBytes = 0;
            EXPECT_EQ(0, ::ioctl(m_inputEnd, FIONREAD, &unreadBytes));
            if (unreadBytes == 0)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    /// Writes to the tool's standard input until the tool ends.
    void write(const std::string& input) const {
        const auto previous = std::signal(SIGPIPE, SIG_IGN);
        size_t written = 0;
        for (ssize_t result = 0; written < input.size() && result >= 0; written += static_cast<size_t>(result))
            result = ::write(m_inputEnd, input.data() + written, input.size() - written);
        std::signal(SIGPIPE, previous);
    }

    void send(const int signalNumber) const { ::kill(m_processID, signalNumber); }

    std::string interrupt(const int signalNumber) const {
        send(signalNumber);
        return awaitEnd();
    }

    std::string awaitEnd() const { return waitForEnd(m_processID); }

private:
    pid_t m_processID;
    int m_inputEnd;
};

bool waitFor(const std::string& path) {
    for (int attempt = 0; attempt < 3000; ++attempt) {
        if (std::filesystem::exists(path))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST(InterruptionTest, removesTheTemporaryFileAndLeavesTheOldOne) {
    const TemporaryDirectory directory;
    const std::string triples = directory.addFile("in.nt", "<urn:s> <urn:p> \"text\" .\n");
    const std::string dictionary = directory.getPathOf("d");
    ASSERT_EQ(0, runToolProcess({"load", triples, "-o", dictionary}).m_exitCode);
    for (const int signalNumber : SIGNALS) {
        const std::string output = directory.addFile("out.nt", "old");
        const WaitingTool tool({"encode", "-", "--format", "nt", "-d", dictionary, "-o", output});
        ASSERT_TRUE(waitFor(output + ".saving"));
        EXPECT_EQ(endBy(signalNumber), tool.interrupt(signalNumber));
        EXPECT_FALSE(std::filesystem::exists(output + ".saving"));
        EXPECT_FALSE(std::filesystem::exists(output + ".lock"));
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(output));
    }
}

/// The moments in which an OutputFile is interrupted, and what comes of it.
struct Moment {
    enum class Operation { OPEN, WRITE, SYNCHRONIZE, RENAME, SYNCHRONIZE_FOLDER, UNLINK, NONE };

    Operation m_operation;
    bool m_commits;         // or ends without a commit
    bool m_isNameFree;      // whether the temporary file is gone, so that another process may have taken the name
    const char* m_contents; // of the file in the end
};

using Operation = Moment::Operation;

constexpr Moment MOMENTS[] = {
    {Operation::OPEN, true, false, "old"},
    {Operation::WRITE, true, false, "old"},
    {Operation::SYNCHRONIZE, true, false, "old"},
    {Operation::RENAME, true, true, "new"},
    {Operation::SYNCHRONIZE_FOLDER, true, true, "new"},
    {Operation::UNLINK, false, true, "old"},
    {Operation::NONE, true, true, "new"},
    {Operation::NONE, false, true, "old"},
};

/// Interrupts this process right behind one operation on a file, when another process has the name if it can.
class Interrupter : public FileOperationObserver {
public:
    Interrupter(const Moment& moment, const std::string& temporaryFileName, const int signalNumber,
                const bool isInOtherThread)
        : m_moment(moment), m_temporaryFileName(temporaryFileName), m_signalNumber(signalNumber),
          m_isInOtherThread(isInOtherThread) {}

    void opened(const char*, const int flags, int) override {
        if ((flags & O_CREAT) != 0)
            happened(Operation::OPEN);
    }
    void written(int, const void*, size_t) override { happened(Operation::WRITE); }
    void synchronized(int) override { happened(m_isRenamed ? Operation::SYNCHRONIZE_FOLDER : Operation::SYNCHRONIZE); }
    void renamed(const char*, const char*) override {
        m_isRenamed = true;
        happened(Operation::RENAME);
    }
    void unlinked(const char*) override { happened(Operation::UNLINK); }

    void happened(const Operation operation) {
        if (operation != m_moment.m_operation)
            return;
        if (m_moment.m_isNameFree)
            std::ofstream(m_temporaryFileName) << "another process's";
        if (m_isInOtherThread)
            std::thread([this] { ::raise(m_signalNumber); }).join();
        else
            ::raise(m_signalNumber);
    }

private:
    const Moment m_moment;
    const std::string m_temporaryFileName;
    const int m_signalNumber;
    const bool m_isInOtherThread;
    bool m_isRenamed = false;
};

/// Returns the end of a child process that writes a file and is interrupted.
std::string interruptAt(const Moment& moment, const std::string& path, const int signalNumber,
                        const bool isInOtherThread) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(signalNumber, SIG_DFL);
        exitCleanlyWhenInterrupted();
        Interrupter interrupter(moment, path + ".saving", signalNumber, isInOtherThread);
        {
            std::ostringstream errorOutput;
            OutputLock lock(path, false, errorOutput);
            OutputFile file(lock);
            file.getStream().write("new", 3);
            if (moment.m_commits)
                file.commit();
        }
        interrupter.happened(Operation::NONE);
        ::_exit(0);
    }
    return waitForEnd(child);
}

TEST(InterruptionTest, removesTheTemporaryFileOfThisProcessAndNoOther) {
    for (const Moment& moment : MOMENTS)
        for (const int signalNumber : SIGNALS)
            for (const bool isInOtherThread : {false, true}) {
                SCOPED_TRACE(static_cast<int>(moment.m_operation));
                const TemporaryDirectory directory;
                const std::string path = directory.addFile("file", "old");
                EXPECT_EQ(endBy(signalNumber), interruptAt(moment, path, signalNumber, isInOtherThread));
                EXPECT_EQ(moment.m_contents, TemporaryDirectory::getContentsOf(path));
                ASSERT_EQ(moment.m_isNameFree, std::filesystem::exists(path + ".saving"));
                ASSERT_FALSE(std::filesystem::exists(path + ".lock"));
                if (moment.m_isNameFree) {
                    EXPECT_EQ("another process's", TemporaryDirectory::getContentsOf(path + ".saving"));
                }
            }
}

TEST(InterruptionTest, endsALoadBeforeAnythingIsSaved) {
    const TemporaryDirectory directory;
    const std::string triples = directory.addFile("in.nt", "<urn:s> <urn:p> \"text\" .\n");
    const std::string dictionary = directory.getPathOf("d");
    ASSERT_EQ(0, runToolProcess({"load", triples, "-o", dictionary}).m_exitCode);
    const std::string before = TemporaryDirectory::getContentsOf(dictionary);
    const WaitingTool tool({"load", "-", "--format", "nt", "--into", dictionary});
    ASSERT_TRUE(tool.takes("<urn:s> <urn:p> \"new\" .\n"));
    EXPECT_EQ("exit 130", tool.interrupt(SIGINT));
    EXPECT_EQ(before, TemporaryDirectory::getContentsOf(dictionary));
    EXPECT_FALSE(std::filesystem::exists(dictionary + ".saving"));
    EXPECT_FALSE(std::filesystem::exists(dictionary + ".lock"));
}

TEST(InterruptionTest, signalsThatWereIgnoredAtTheStartStayIgnored) {
    for (const int signalNumber : {SIGHUP, SIGINT, SIGPIPE}) {
        const WaitingTool tool({"load", "-", "--format", "nt"}, {signalNumber});
        ASSERT_TRUE(tool.takes("\n"));
        tool.send(signalNumber);
        EXPECT_EQ("exit 143", tool.interrupt(SIGTERM)) << signalNumber;
    }
}

/// Every other thread of the tool is reading when one finds the error.
TEST(InterruptionTest, anErrorEndsALoadThoughNoMoreBytesCome) {
    const TemporaryDirectory directory;
    std::string text = "<urn:s> <urn:p> bad .\n";
    for (unsigned number = 0; number < 10000; ++number) // more than a block, and less than two
        text += "<urn:s> <urn:p> \"" + std::to_string(number * 2654435761u) + "\" .\n";
    for (const char* const format : {"nt", "ttl"})
        for (const std::string& input : {text, gzip(text), zstd(text)}) {
            const WaitingTool tool({"load", "-", "--format", format, "--threads", "3"});
            tool.write(input);
            EXPECT_EQ("exit 1", tool.awaitEnd());
        }
}

} // namespace
