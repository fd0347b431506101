#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string getTriple(const std::string& text) {
    return "<urn:s> <urn:p> \"" + text + "\" .\n";
}

/// A pipe whose reading end belongs to this process; the other end is passed to a new one.
class Pipe : private Unmovable {
public:
    Pipe() { EXPECT_EQ(0, ::pipe2(m_ends.data(), O_CLOEXEC)); }

    ~Pipe() {
        closeWritingEnd();
        ::close(m_ends[0]);
    }

    int getWritingEnd() const { return m_ends[1]; }

    void closeWritingEnd() {
        if (m_ends[1] != -1)
            ::close(m_ends[1]);
        m_ends[1] = -1;
    }

    /// Reads up to the character, and waits for it; returns less at the end of the input.
    std::string readTo(const char last) const {
        std::string text;
        for (char character = 0; character != last && ::read(m_ends[0], &character, 1) == 1;)
            text.push_back(character);
        return text;
    }

private:
    std::array<int, 2> m_ends{-1, -1};
};

/// Two processes that write one dictionary, "d", which has "one" as resource 1.
class TwoWritersTest : public testing::Test {
protected:
    TwoWritersTest() {
        m_directory.addFile("one.nt", getTriple("one"));
        m_directory.addFile("two.nt", getTriple("two"));
        EXPECT_EQ(0, ::mkfifo(m_directory.getPathOf("pipe.nt").c_str(), 0600));
        EXPECT_EQ(0, run({"load", "--strings-only", "one.nt", "-o", "d"}).m_exitCode);
    }

    ToolInput getInput() const {
        ToolInput input;
        input.m_workingDirectory = m_directory.getPathOf("");
        return input;
    }

    ToolResult run(const std::vector<std::string>& arguments) const { return runToolProcess(arguments, getInput()); }

    std::unique_ptr<RunningTool> start(const std::vector<std::string>& arguments) const {
        return std::make_unique<RunningTool>(arguments, getInput());
    }

    /// Starts the tool, which must wait for another's end, and returns when it says so.
    std::unique_ptr<RunningTool> startWaiting(const std::vector<std::string>& arguments, std::string& message) {
        Pipe& errorOutput = *m_errorOutputs.emplace_back(std::make_unique<Pipe>());
        ToolInput input = getInput();
        input.m_errorDescriptor = errorOutput.getWritingEnd();
        auto tool = std::make_unique<RunningTool>(arguments, input);
        errorOutput.closeWritingEnd();
        message = errorOutput.readTo('\n');
        return tool;
    }

    /// Returns when the tool that reads "pipe.nt" is working. It continues when the result is passed to finish.
    int enter() const { return ::open(m_directory.getPathOf("pipe.nt").c_str(), O_WRONLY | O_CLOEXEC); }

    static void finish(const int pipeEnd, const std::string& text) {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(pipeEnd, text.data(), text.size()));
        ::close(pipeEnd);
    }

    static std::string describe(const RunningTool& tool) {
        std::array<char, HOST_NAME_MAX + 1> hostName{};
        EXPECT_EQ(0, ::gethostname(hostName.data(), hostName.size() - 1));
        return "process " + std::to_string(tool.getProcessID()) + " on host " + hostName.data();
    }

    static void expectRefusal(const std::string& fileName, const RunningTool& holder, const ToolResult& result) {
        EXPECT_EQ(3, result.m_exitCode);
        EXPECT_EQ("melnar-dict: '" + fileName + "' is being written by " + describe(holder) +
                      "; --wait waits until it has finished\n",
                  result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    /// Returns the content of a file after the comment with which it may start.
    std::string getStatementsOf(const std::string& fileName) const {
        const std::string contents = getContentsOf(fileName);
        return contents.starts_with('#') ? contents.substr(contents.find('\n') + 1) : contents;
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    const TemporaryDirectory m_directory;

private:
    std::vector<std::unique_ptr<Pipe>>
        m_errorOutputs; // stay open: a process that writes to a pipe without a reader is killed
};

TEST_F(TwoWritersTest, theSecondIsRefusedAndLearnsTheHolder) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "--strings-only", "two.nt", "--into", "d"},
          {"load", "--strings-only", "two.nt", "-o", "d"},
          {"compact", "d"}})
        expectRefusal("d", *first, run(arguments));
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"three\"\n", run({"dump", "d"}).m_output);
    EXPECT_EQ(0, run({"load", "--strings-only", "two.nt", "--into", "d"}).m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"three\"\n3\t\"two\"\n", run({"dump", "d"}).m_output);
}

TEST_F(TwoWritersTest, theSecondWaitsIfAskedToAndNothingIsLost) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    std::string message;
    const auto second =
        startWaiting({"load", "--strings-only", "two.nt", "--into", "d", "--wait", "--query", "\"two\""}, message);
    EXPECT_EQ("melnar-dict: 'd' is being written by " + describe(*first) + "; waiting until it has finished\n",
              message);
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    const ToolResult result = second->wait();
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_TRUE(result.m_output.ends_with("\n3\t\"two\"\n")) << result.m_output;
    EXPECT_EQ("1\t\"one\"\n2\t\"three\"\n3\t\"two\"\n", run({"dump", "d"}).m_output);
    EXPECT_EQ(0, run({"verify", "d"}).m_exitCode);
    EXPECT_FALSE(exists("d.lock"));
}

TEST_F(TwoWritersTest, anyNumberMayWaitAndAllLiteralsAreKept) {
    constexpr size_t WAITING = 5;
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    std::vector<std::unique_ptr<RunningTool>> waiting;
    for (size_t number = 0; number < WAITING; ++number) {
        const std::string fileName = std::to_string(number) + ".nt";
        m_directory.addFile(fileName, getTriple("literal " + std::to_string(number)));
        std::string message;
        waiting.push_back(startWaiting({"load", "--strings-only", fileName, "--into", "d", "--wait"}, message));
        EXPECT_NE(std::string::npos, message.find("waiting until it has finished"));
    }
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    for (const auto& tool : waiting)
        EXPECT_EQ(0, tool->wait().m_exitCode);
    const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(1) << 30});
    EXPECT_EQ(WAITING + 3, dictionary->getNextResourceID()) << "one, three, and one literal of each that waited";
    EXPECT_NO_THROW(dictionary->verify());
    for (size_t number = 0; number < WAITING; ++number)
        EXPECT_NE(0u, dictionary->tryResolveResource(dictionary->getCommitPoint(), "literal " + std::to_string(number),
                                                     D_XSD_STRING));
    EXPECT_FALSE(exists("d.lock"));
}

TEST_F(TwoWritersTest, readersNeverWait) {
    ASSERT_EQ(0, run({"load", "one.nt", "-o", "t", "--ids", "rows.npy"}).m_exitCode);
    ASSERT_EQ(0, run({"encode", "--as", "iri", "one.nt", "-d", "t", "-o", "encoded.nt"}).m_exitCode);
    const auto first = start({"load", "pipe.nt", "--into", "t"});
    const int pipeEnd = enter();
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"get", "t", "1"},
          {"lookup", "t", "\"one\""},
          {"dump", "t"},
          {"stats", "t"},
          {"verify", "t"},
          {"encode", "one.nt", "-d", "t", "-o", "-"},
          {"encode", "--as", "iri", "one.nt", "-d", "t", "-o", "-"},
          {"decode", "rows.npy", "-d", "t", "-o", "decoded.nt"},
          {"decode", "--as", "iri", "encoded.nt", "-d", "t", "-o", "decoded.nt"},
          {"load", "two.nt", "--into", "t", "-o", "e", "--ids", "other.npy"},
          {"compact", "t", "-o", "f"}}) {
        const ToolResult result = run(arguments);
        EXPECT_EQ(0, result.m_exitCode) << arguments[0];
        EXPECT_EQ("", result.m_errorOutput) << arguments[0];
    }
    finish(pipeEnd, "");
    EXPECT_EQ(0, first->wait().m_exitCode);
}

TEST_F(TwoWritersTest, twoNewDictionariesUnderOneNameMeet) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "-o", "new"});
    const int pipeEnd = enter();
    expectRefusal("new", *first, run({"load", "--strings-only", "two.nt", "-o", "new"}));
    expectRefusal("new", *first, run({"compact", "d", "-o", "new"}));
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    EXPECT_EQ("1\t\"three\"\n", run({"dump", "new"}).m_output);
}

TEST_F(TwoWritersTest, twoNamesOfOneDictionaryMeet) {
    std::filesystem::create_directory(m_directory.getPathOf("folder"));
    ASSERT_EQ(0, ::symlink("../d", m_directory.getPathOf("folder/link").c_str()));
    ASSERT_EQ(0, ::symlink("folder", m_directory.getPathOf("linked").c_str()));
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "linked/link"});
    const int pipeEnd = enter();
    EXPECT_TRUE(exists("d.lock"));
    for (const std::string name : {"d", "./folder/../d", "folder/link"})
        expectRefusal(name, *first, run({"load", "--strings-only", "two.nt", "--into", name}));
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"three\"\n", run({"dump", "d"}).m_output);
    EXPECT_TRUE(std::filesystem::is_symlink(m_directory.getPathOf("folder/link")));
}

TEST_F(TwoWritersTest, aKilledHolderLeavesNoLock) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    std::string message;
    const auto second = startWaiting({"load", "--strings-only", "two.nt", "--into", "d", "--wait"}, message);
    first->send(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, first->wait().m_exitCode);
    EXPECT_EQ(0, second->wait().m_exitCode) << "the wait has ended, too";
    ::close(pipeEnd);
    EXPECT_EQ("1\t\"one\"\n2\t\"two\"\n", run({"dump", "d"}).m_output);
    EXPECT_FALSE(exists("d.lock"));
}

TEST_F(TwoWritersTest, theLockFileOfAKilledHolderBlocksNoWriter) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    first->send(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, first->wait().m_exitCode);
    ::close(pipeEnd);
    ASSERT_TRUE(exists("d.lock"));
    EXPECT_EQ(0, run({"load", "--strings-only", "two.nt", "--into", "d"}).m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"two\"\n", run({"dump", "d"}).m_output);
    EXPECT_FALSE(exists("d.lock"));
}

TEST_F(TwoWritersTest, anInterruptedHolderLeavesNoLockFile) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    ASSERT_TRUE(exists("d.lock"));
    first->send(SIGTERM);
    EXPECT_EQ(143, first->wait().m_exitCode);
    ::close(pipeEnd);
    EXPECT_FALSE(exists("d.lock"));
}

TEST_F(TwoWritersTest, anInterruptedWaiterLeavesTheLockToItsHolder) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    std::string message;
    const auto second = startWaiting({"load", "--strings-only", "two.nt", "--into", "d", "--wait"}, message);
    second->send(SIGINT);
    EXPECT_EQ(130, second->wait().m_exitCode);
    EXPECT_TRUE(exists("d.lock"));
    expectRefusal("d", *first, run({"load", "--strings-only", "two.nt", "--into", "d"}));
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
}

/// Compaction prints more than a pipe holds before it replaces the file, so it waits for its reader.
TEST_F(TwoWritersTest, compactHoldsTheLockWhileItWorks) {
    constexpr uint64_t RESOURCES = 30000;
    {
        Dictionary dictionary({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000000});
        DictionaryThread thread(dictionary);
        dictionary.resolveResource(thread, "withdrawn", D_XSD_STRING);
        dictionary.rollback();
        for (uint64_t number = 0; number < RESOURCES; ++number)
            dictionary.resolveResource(thread, std::to_string(number), D_XSD_STRING);
        dictionary.commit();
        dictionary.save(m_directory.getPathOf("d"));
    }
    Pipe output;
    ToolInput input = getInput();
    input.m_outputDescriptor = output.getWritingEnd();
    RunningTool first({"compact", "d"}, input);
    output.closeWritingEnd();
    EXPECT_EQ("2\t1\n", output.readTo('\n'));
    expectRefusal("d", first, run({"load", "--strings-only", "two.nt", "--into", "d"}));
    EXPECT_EQ(0, run({"get", "d", "2"}).m_exitCode) << "the old file is there to be read";
    std::string message;
    const auto second =
        startWaiting({"load", "--strings-only", "two.nt", "--into", "d", "--wait", "--query", "\"two\""}, message);
    EXPECT_EQ("melnar-dict: 'd' is being written by " + describe(first) + "; waiting until it has finished\n", message);
    for (uint64_t number = 1; number < RESOURCES; ++number)
        ASSERT_EQ(std::to_string(number + 2) + "\t" + std::to_string(number + 1) + "\n", output.readTo('\n'));
    EXPECT_EQ(0, first.wait().m_exitCode);
    const ToolResult result = second->wait();
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_TRUE(result.m_output.ends_with("\n" + std::to_string(RESOURCES + 1) + "\t\"two\"\n")) << result.m_output;
}

TEST_F(TwoWritersTest, compactWaitsIfAskedToAndReadsWhatTheOtherSaved) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "--into", "d"});
    const int pipeEnd = enter();
    std::string message;
    const auto second = startWaiting({"compact", "d", "--wait"}, message);
    EXPECT_NE(std::string::npos, message.find(describe(*first)));
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    EXPECT_EQ(0, second->wait().m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"three\"\n", run({"dump", "d"}).m_output);
}

TEST_F(TwoWritersTest, encodeAndDecodeLockTheirOutput) {
    ASSERT_EQ(0, run({"load", "one.nt", "-o", "t"}).m_exitCode);
    for (const std::string form : {"npy", "iri"}) {
        const std::string encoded = "encoded." + form + ".nt";
        ASSERT_EQ(0, run({"encode", "--as", form, "one.nt", "-d", "t", "-o", encoded}).m_exitCode);
        for (const std::string verb : {"encode", "decode"}) {
            const auto first = start({"encode", "--as", form, "pipe.nt", "-d", "t", "-o", "out.nt"});
            const int pipeEnd = enter();
            const std::vector<std::string> arguments{verb, "--as", form, verb == "encode" ? "one.nt" : encoded,
                                                     "-d", "t",    "-o", "out.nt"};
            expectRefusal("out.nt", *first, run(arguments));
            std::vector<std::string> waitingArguments = arguments;
            waitingArguments.emplace_back("--wait");
            std::string message;
            const auto second = startWaiting(waitingArguments, message);
            EXPECT_EQ("melnar-dict: 'out.nt' is being written by " + describe(*first) +
                          "; waiting until it has finished\n",
                      message);
            finish(pipeEnd, getTriple("one") + getTriple("one"));
            EXPECT_EQ(0, first->wait().m_exitCode);
            EXPECT_EQ(0, second->wait().m_exitCode);
            EXPECT_EQ(getContentsOf(verb == "encode" ? encoded : "one.nt"), getContentsOf("out.nt"));
            EXPECT_FALSE(exists("out.nt.lock"));
        }
    }
}

/// The file did not exist when the second process looked for the first time.
TEST_F(TwoWritersTest, anOutputIsCheckedAgainAfterTheWait) {
    const auto first = start({"encode", "--as", "iri", "pipe.nt", "-d", "d", "-o", "out"});
    const int pipeEnd = enter();
    std::vector<std::unique_ptr<RunningTool>> waiting;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "--strings-only", "two.nt", "-o", "out", "--wait"},
          {"compact", "d", "-o", "out", "--wait"}}) {
        std::string message;
        waiting.push_back(startWaiting(arguments, message));
        EXPECT_NE(std::string::npos, message.find("waiting until it has finished"));
    }
    finish(pipeEnd, getTriple("one"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    for (const auto& tool : waiting)
        EXPECT_EQ(2, tool->wait().m_exitCode);
    EXPECT_EQ("<urn:s> <urn:p> <melnar:1> .\n", getStatementsOf("out"));
}

TEST_F(TwoWritersTest, aDictionaryThatComesDuringTheWaitIsAddedTo) {
    const auto first = start({"load", "--strings-only", "pipe.nt", "-o", "new"});
    const int pipeEnd = enter();
    std::string message;
    const auto second = startWaiting({"load", "--strings-only", "two.nt", "--into", "new", "--wait"}, message);
    finish(pipeEnd, getTriple("three"));
    EXPECT_EQ(0, first->wait().m_exitCode);
    EXPECT_EQ(0, second->wait().m_exitCode);
    EXPECT_EQ("1\t\"three\"\n2\t\"two\"\n", run({"dump", "new"}).m_output);
}

TEST_F(TwoWritersTest, aFileThatIsNoLockFileIsNotTakenForOne) {
    ASSERT_EQ(0, run({"load", "--strings-only", "two.nt", "-o", "d.lock"}).m_exitCode);
    const ToolResult result = run({"load", "--strings-only", "two.nt", "--into", "d"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("melnar-dict: '" + m_directory.getPathOf("d.lock") + "' exists and is not a lock file.\n",
              result.m_errorOutput);
    EXPECT_EQ(0, run({"verify", "d.lock"}).m_exitCode);
}

} // namespace
