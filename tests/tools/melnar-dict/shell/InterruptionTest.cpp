#include "tools/melnar-dict/shell/Interruption.h"

#include "tests/support/FileOperationObserver.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/OutputFile.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
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

/// Returns the description of an end by a signal, as seen from outside.
std::string endBy(const int signalNumber) {
    return signalNumber == SIGPIPE ? "signal " + std::to_string(signalNumber)
                                   : "exit " + std::to_string(128 + signalNumber);
}

/// Returns whether a process ends within a minute; it can still be waited for then.
bool endsSoon(const pid_t process) {
    for (int attempt = 0; attempt < 6000; ++attempt) {
        siginfo_t end{};
        EXPECT_EQ(0, ::waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT));
        if (end.si_pid == process)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// A pipe to which the tool writes and that is not read.
class UnreadPipe : private Unmovable {
public:
    UnreadPipe() {
        EXPECT_EQ(0, ::pipe2(m_ends.data(), O_CLOEXEC));
        m_capacity = ::fcntl(m_ends[1], F_SETPIPE_SZ, 1);
        EXPECT_LT(0, m_capacity);
    }
    ~UnreadPipe() {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }

    int getWritingEnd() const { return m_ends[1]; }

    /// Waits until nothing more can be written. Returns false if that does not happen.
    bool becomesFull() const { return holds(m_capacity); }

    /// Waits until there is anything in it.
    bool isWrittenTo() const { return holds(1); }

private:
    bool holds(const int numberOfBytes) const {
        for (int attempt = 0; attempt < 6000; ++attempt) {
            int unreadBytes = 0;
            EXPECT_EQ(0, ::ioctl(m_ends[0], FIONREAD, &unreadBytes));
            if (unreadBytes >= numberOfBytes)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    std::array<int, 2> m_ends{};
    int m_capacity = 0;
};

/// The running tool, with standard input that stays open and empty until it is interrupted.
class WaitingTool : private Unmovable {
public:
    explicit WaitingTool(const std::vector<std::string>& arguments, const std::vector<int>& ignoredSignals = {},
                         const int outputDescriptor = STDOUT_FILENO) {
        int pipeEnds[2];
        EXPECT_EQ(0, ::pipe2(pipeEnds, O_CLOEXEC));
        std::vector<char*> argumentPointers{const_cast<char*>("melnar-dict")};
        for (const std::string& argument : arguments)
            argumentPointers.push_back(const_cast<char*>(argument.c_str()));
        argumentPointers.push_back(nullptr);
        m_processID = ::fork();
        if (m_processID == 0) {
            ::dup2(pipeEnds[0], STDIN_FILENO);
            ::dup2(outputDescriptor, STDOUT_FILENO);
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

    /// Writes the same to the tool's standard input repeatedly until the tool ends, and counts the bytes.
    void writeForEver(const std::string& input, std::atomic<uint64_t>& written) const {
        const auto previous = std::signal(SIGPIPE, SIG_IGN);
        for (size_t begin = 0;;) {
            const ssize_t result = ::write(m_inputEnd, input.data() + begin, input.size() - begin);
            if (result < 0)
                break;
            written.fetch_add(static_cast<uint64_t>(result));
            begin = (begin + static_cast<size_t>(result)) % input.size();
        }
        std::signal(SIGPIPE, previous);
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

    std::string awaitEnd() const {
        if (endsSoon(m_processID))
            return waitForEnd(m_processID);
        send(SIGKILL);
        return "no end, but " + waitForEnd(m_processID);
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
    for (const int signalNumber : SIGNALS)
        for (const std::string form : {"npy", "iri"}) {
            const std::string output = directory.addFile("out", "old");
            const WaitingTool tool({"encode", "--as", form, "-", "--format", "nt", "-d", dictionary, "-o", output});
            ASSERT_TRUE(waitFor(output + ".saving"));
            EXPECT_EQ(endBy(signalNumber), tool.interrupt(signalNumber));
            EXPECT_FALSE(std::filesystem::exists(output + ".saving"));
            EXPECT_FALSE(std::filesystem::exists(output + ".lock"));
            EXPECT_EQ("old", TemporaryDirectory::getContentsOf(output));
        }
}

/// The moments at which an OutputFile is interrupted, and the expected results.
struct Moment {
    enum class Operation { OPEN, WRITE, SYNCHRONIZE, RENAME, SYNCHRONIZE_FOLDER, UNLINK, NONE };

    Operation m_operation;
    bool m_commits;         // otherwise it ends without a commit
    bool m_isNameFree;      // whether the temporary file is gone, so that another process may have taken the name
    const char* m_contents; // of the file at the end
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

/// Interrupts this process directly after one operation on a file, when another process has the name if it can.
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

/// All other threads of the tool are reading when one finds the error.
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

/// The files with which verbs are interrupted in the middle of their work.
class InterruptedWorkTest : public testing::Test {
protected:
    /// Makes triples, "in.nt", a dictionary of them, "d", and their rows, "rows.npy".
    InterruptedWorkTest() : m_triples(makeTriples()), m_turtle("@prefix : <urn:> .\n" + m_triples) {
        m_directory.addFile("in.nt", m_triples);
        EXPECT_EQ(0, runToolProcess({"load", getPathOf("in.nt"), "-o", getPathOf("d"), "--ids", getPathOf("rows.npy")})
                         .m_exitCode);
    }

    static std::string makeTriples() {
        std::string text;
        for (unsigned number = 0; number < 5000; ++number)
            text += "<urn:s> <urn:p> \"" + std::to_string(number * 2654435761u) + "\"@en .\n";
        return text;
    }

    std::string getPathOf(const std::string& name) const { return m_directory.getPathOf(name); }

    void expectNothingLeft() const {
        for (const std::string name : {"out", "ids"})
            for (const char* const suffix : {"", ".saving", ".lock"})
                EXPECT_FALSE(std::filesystem::exists(getPathOf(name + suffix))) << name << suffix;
    }

    /// Expects that Ctrl-C ends a verb with endless input after it has read much of it.
    void expectEndInTheMidstOf(const std::vector<std::string>& arguments, const std::string& input,
                               const std::string& beginning = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        constexpr uint64_t MUCH = 1 << 20; // more than a pipe holds
        const WaitingTool tool(arguments, {}, m_nowhere);
        std::string repeated;
        while (repeated.size() < MUCH / 16)
            repeated += input;
        std::atomic<uint64_t> written = 0;
        std::thread writer([&] {
            tool.write(beginning);
            tool.writeForEver(repeated, written);
        });
        for (int attempt = 0; attempt < 6000 && written.load() < MUCH; ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_LE(MUCH, written.load());
        EXPECT_EQ("exit 130", tool.interrupt(SIGINT));
        writer.join();
        expectNothingLeft();
    }

    ~InterruptedWorkTest() override { ::close(m_nowhere); }

    const TemporaryDirectory m_directory;
    const int m_nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const std::string m_triples;
    const std::string m_turtle;
};

TEST_F(InterruptedWorkTest, aLoadOfInputThatNeverEndsIsEnded) {
    for (const char* const threads : {"1", "2"}) {
        const std::vector<std::string> arguments{"load", "-", "--threads", threads, "-o", getPathOf("out"), "--format"};
        const auto load = [&](const char* const format, const std::string& input, const std::string& beginning = "") {
            std::vector<std::string> all = arguments;
            all.emplace_back(format);
            expectEndInTheMidstOf(all, input, beginning);
        };
        for (const std::string& input : {m_triples, gzip(m_triples), bzip2(m_triples), xz(m_triples),
                                         xz(m_triples, {.m_blockSize = 1 << 16}), zstd(m_triples)})
            load("nt", input);
        load("ttl", m_turtle);
        load("ttl", gzip(m_turtle));
        load("nt", "x", "<urn:s> <urn:p> \"");         // one line
        load("ttl", "<urn:o> , ", "<urn:s> <urn:p> "); // one statement
    }
}

TEST_F(InterruptedWorkTest, everyVerbThatReadsInputThatNeverEndsIsEnded) {
    const std::string faulty = m_triples + "faulty\n";
    expectEndInTheMidstOf({"load", "-", "--format", "nt", "--lenient", "--quiet", "--rejected", getPathOf("rejected")},
                          faulty);
    expectEndInTheMidstOf({"load", "-", "--format", "nt", "-o", getPathOf("out"), "--ids", getPathOf("ids")},
                          m_triples);
    expectEndInTheMidstOf({"check", "-", "--format", "nt", "--lenient", "--quiet"}, faulty);
    expectEndInTheMidstOf({"check", "-", "--format", "ttl"}, m_turtle);
    expectEndInTheMidstOf({"canonical", "-", "--format", "nt", "-o", getPathOf("out")}, m_triples);
    expectEndInTheMidstOf({"canonical", "-", "--format", "ttl", "-o", getPathOf("out")}, m_turtle);
    expectEndInTheMidstOf({"encode", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")}, m_triples);
    expectEndInTheMidstOf({"decode", "-", "-d", getPathOf("d"), "-o", getPathOf("out")},
                          TemporaryDirectory::getContentsOf(getPathOf("rows.npy")).substr(NpyHeader::SIZE),
                          NpyHeader{{3, RowLayout::NARROW}, false, uint64_t(1) << 40, ""}.toBytes());
    expectEndInTheMidstOf(
        {"encode", "--as", "iri", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")}, m_triples);
    expectEndInTheMidstOf(
        {"decode", "--as", "iri", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")},
        "<urn:s> <urn:p> <melnar:3> .\n");
    expectEndInTheMidstOf({"estimate", "-", "--format", "nt"}, m_triples);
    expectEndInTheMidstOf({"lookup", getPathOf("d"), "-"}, "\"x\"\n");
    expectEndInTheMidstOf({"get", getPathOf("d"), "-"}, "1\n");
}

TEST_F(InterruptedWorkTest, aVerbIsEndedWhenNoInputComes) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "-", "--format", "nt", "-o", getPathOf("out")},
          {"load", "-", "--format", "ttl", "--threads", "1", "-o", getPathOf("out")},
          {"load", "-", "--format", "ttl", "--threads", "2", "-o", getPathOf("out")},
          {"estimate", "-", "--format", "nt"},
          {"check", "-", "--format", "nt"},
          {"canonical", "-", "--format", "nt", "-o", getPathOf("out")},
          {"load", "-", "--format", "nt", "-o", getPathOf("out"), "--ids", getPathOf("ids")},
          {"encode", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")},
          {"decode", "-", "-d", getPathOf("d"), "-o", getPathOf("out")},
          {"encode", "--as", "iri", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")},
          {"decode", "--as", "iri", "-", "--format", "nt", "-d", getPathOf("d"), "-o", getPathOf("out")},
          {"lookup", getPathOf("d"), "-"},
          {"get", getPathOf("d"), "-"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const WaitingTool tool(arguments);
        ASSERT_TRUE(tool.takes("#"));
        EXPECT_EQ("exit 130", tool.interrupt(SIGINT));
        expectNothingLeft();
    }
}

TEST_F(InterruptedWorkTest, aVerbEndsWhenItsOutputHasNoReader) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"dump", getPathOf("d")},
          {"canonical", getPathOf("in.nt"), "-o", "-"},
          {"load", getPathOf("in.nt"), "--ids", "-"},
          {"encode", getPathOf("in.nt"), "-d", getPathOf("d"), "-o", "-"},
          {"decode", getPathOf("rows.npy"), "-d", getPathOf("d"), "-o", "-"},
          {"encode", "--as", "iri", getPathOf("in.nt"), "-d", getPathOf("d"), "-o", "-"},
          {"decode", "--as", "iri", getPathOf("in.nt"), "-d", getPathOf("d"), "-o", "-"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const UnreadPipe output;
        const WaitingTool tool(arguments, {}, output.getWritingEnd());
        ASSERT_TRUE(output.becomesFull());
        EXPECT_EQ("exit 130", tool.interrupt(SIGINT));
    }
}

TEST_F(InterruptedWorkTest, aWaitForAnotherWriterIsEndedAndLeavesTheOtherItsLock) {
    const WaitingTool holder({"load", "-", "--format", "nt", "-o", getPathOf("out")});
    ASSERT_TRUE(holder.takes("#"));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", getPathOf("in.nt"), "-o", getPathOf("out"), "--wait"},
          {"canonical", getPathOf("in.nt"), "-o", getPathOf("out"), "--wait"}}) {
        const UnreadPipe messages;
        ToolInput input;
        input.m_errorDescriptor = messages.getWritingEnd();
        RunningTool tool(arguments, input);
        ASSERT_TRUE(messages.isWrittenTo()) << "that it waits";
        tool.send(SIGINT);
        ASSERT_TRUE(endsSoon(tool.getProcessID()));
        EXPECT_EQ(130, tool.wait().m_exitCode);
        EXPECT_TRUE(std::filesystem::exists(getPathOf("out.lock")));
    }
    EXPECT_EQ("exit 130", holder.interrupt(SIGINT));
    expectNothingLeft();
}

} // namespace
