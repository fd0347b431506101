#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The tool, running, with standard input that stays open and empty until it is interrupted.
class WaitingTool {
public:
    explicit WaitingTool(const std::vector<std::string>& arguments) {
        int pipeEnds[2];
        EXPECT_EQ(0, ::pipe2(pipeEnds, O_CLOEXEC));
        std::vector<char*> argumentPointers{const_cast<char*>("melnar-dict")};
        for (const std::string& argument : arguments)
            argumentPointers.push_back(const_cast<char*>(argument.c_str()));
        argumentPointers.push_back(nullptr);
        m_processID = ::fork();
        if (m_processID == 0) {
            ::dup2(pipeEnds[0], STDIN_FILENO);
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

    /// Returns the exit code, or 1000 when it was no exit.
    int interrupt(const int signalNumber) const {
        ::kill(m_processID, signalNumber);
        int status = 0;
        EXPECT_EQ(m_processID, ::waitpid(m_processID, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
    }

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
    for (const auto& [signalNumber, exitCode] : std::vector<std::pair<int, int>>{{SIGINT, 130}, {SIGTERM, 143}}) {
        const std::string output = directory.addFile("out.nt", "old");
        const WaitingTool tool({"encode", "-", "--format", "nt", "-d", dictionary, "-o", output});
        ASSERT_TRUE(waitFor(output + ".saving"));
        EXPECT_EQ(exitCode, tool.interrupt(signalNumber));
        EXPECT_FALSE(std::filesystem::exists(output + ".saving"));
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(output));
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
    EXPECT_EQ(130, tool.interrupt(SIGINT));
    EXPECT_EQ(before, TemporaryDirectory::getContentsOf(dictionary));
    EXPECT_FALSE(std::filesystem::exists(dictionary + ".saving"));
}

} // namespace
