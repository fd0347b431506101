#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/load/LoadProcessTest.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using IDs = std::vector<uint64_t>;

IDs getIDs(const std::string& bytes, const size_t width) {
    IDs ids;
    takeIDs(bytes, width, ids);
    return ids;
}

/// A load with --ids as a process, run where its files are.
class LoadIdsTest : public LoadProcessTest {
protected:
    /// Returns the bytes after the header.
    std::string getRowsOf(const std::string& fileName) const { return getContentsOf(fileName).substr(NpyHeader::SIZE); }
};

TEST_F(LoadIdsTest, rowsAppearTogetherWithTheirDictionary) {
    const ToolResult result = run({"load", "in.nq", "-o", "d", "--ids", "T.npy"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    EXPECT_EQ(0u, result.m_output.find("triples                                 6\n")) << result.m_output;
    const std::string bytes = getContentsOf("T.npy");
    EXPECT_NE(std::string::npos, bytes.find("{'descr': '<u4', 'fortran_order': False, 'shape': (6, 4), }"));
    EXPECT_EQ((IDs{1, 2, 3, 0, 4, 2, 5, 6, 4, 2, 7, 8, 4, 2, 9, 0, 1, 2, 10, 6, 1, 2, 3, 0}),
              getIDs(getRowsOf("T.npy"), 4));
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
    expectSuccess({"encode", "in.nq", "-d", "d", "-o", "E.npy"});
    EXPECT_EQ(bytes, getContentsOf("E.npy")) << "encode writes the same";
}

TEST_F(LoadIdsTest, filesAreTheSameWithAnyNumberOfThreads) {
    std::string text;
    for (int number = 0; number < 30000; ++number)
        text += "<urn:s:" + std::to_string(number % 9000) + "> <urn:p> \"" + std::to_string(number % 20000) + "\" .\n";
    m_directory.addFile("in.nt.gz", gzip(text));
    expectSuccess({"load", "in.nt.gz", "-o", "d", "--ids", "T.npy", "--threads", "1"});
    EXPECT_EQ(text, decode("T.npy", "d"));
    for (const char* const threads : {"2", "7"}) {
        expectSuccess({"load", "in.nt.gz", "-o", "e", "--ids", "U.npy", "--threads", threads});
        EXPECT_TRUE(getContentsOf("d") == getContentsOf("e"));
        EXPECT_TRUE(getContentsOf("T.npy") == getContentsOf("U.npy"));
    }
    expectSuccess({"load", "in.nt.gz", "-o", "e", "--ids", "U.npy", "--threads", "7", "--order", "any"});
    EXPECT_TRUE(text == decode("U.npy", "e")) << "whatever the order of the IDs";
}

TEST_F(LoadIdsTest, standardOutputHasTheRowsAloneAndStandardErrorTheTable) {
    expectSuccess({"load", "in.nq", "-o", "d", "--ids", "T.npy"});
    const std::string dictionary = getContentsOf("d");
    for (const bool isSaved : {false, true}) {
        std::vector<std::string> arguments{"load", "in.nq", "--ids", "-"};
        if (isSaved)
            arguments.insert(arguments.end(), {"-o", "e"});
        const ToolResult result = run(arguments);
        EXPECT_EQ(0, result.m_exitCode);
        EXPECT_EQ(getRowsOf("T.npy"), result.m_output);
        EXPECT_EQ(0u, result.m_errorOutput.find("triples                                 6\n")) << result.m_errorOutput;
        arguments.emplace_back("--quiet");
        const ToolResult quiet = run(arguments);
        EXPECT_EQ(0, quiet.m_exitCode);
        EXPECT_EQ(getRowsOf("T.npy"), quiet.m_output);
        EXPECT_EQ("", quiet.m_errorOutput);
    }
    EXPECT_EQ(dictionary, getContentsOf("e"));
    EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("-")));
}

TEST_F(LoadIdsTest, wrongCommandLinesAreRefused) {
    const std::string forStandardOutput =
        "--ids - excludes --json, --query and --get, which also print to standard output";
    expectRefusal({"load", "in.nq", "--ids", "T.npy"}, "--ids needs -o or --into, to save the dictionary of the IDs");
    expectRefusal({"load", "in.nq", "-o", "d", "--ids", "T.npy", "--strings-only"},
                  "--strings-only excludes --ids and --order");
    for (const std::vector<std::string>& option :
         {std::vector<std::string>{"--id-width", "4"}, {"--id-width", "8"}, {"--quads"}}) {
        std::vector<std::string> arguments{"load", "in.nq", "-o", "d"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        expectRefusal(arguments, "--id-width and --quads need --ids");
    }
    for (const std::vector<std::string>& option :
         {std::vector<std::string>{"--json"}, {"--query", "\"one\""}, {"--get", "1"}}) {
        std::vector<std::string> arguments{"load", "in.nq", "--ids", "-"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        expectRefusal(arguments, forStandardOutput);
    }
}

TEST_F(LoadIdsTest, rowsReplaceNoInputAndNoOtherOutput) {
    expectSuccess({"load", "more.nq", "-o", "d"});
    const auto expectRefusalEvenByForce = [this](std::vector<std::string> arguments, const std::string& message) {
        expectRefusal(arguments, message);
        arguments.emplace_back("--force");
        expectRefusal(arguments, message);
    };
    expectRefusalEvenByForce({"load", "more.nq", "in.nq", "-o", "e", "--ids", "./in.nq"},
                             "the input 'in.nq' is also the output './in.nq'");
    for (const char* const name : {"./e", "e.saving", "e.replaced", "e.lock"})
        expectRefusalEvenByForce({"load", "in.nq", "-o", "e", "--ids", name},
                                 std::string("'") + name +
                                     "' is also the output 'e', or a file that is created while it is written");
    expectRefusalEvenByForce({"load", "in.nq", "-o", "e", "--into", "d", "--ids", "d"},
                             "the input 'd' is also the output 'd'");
    expectRefusalEvenByForce({"load", "in.nq", "--into", "d", "--ids", "d"}, "the input 'd' is also the output 'd'");
    for (const char* const name : {"T.npy", "T.npy.saving", "T.npy.replaced", "T.npy.lock"})
        expectRefusalEvenByForce({"load", "in.nq", "-o", "e", "--ids", "T.npy", "--lenient", "--rejected", name},
                                 std::string("'") + name +
                                     "' is also the output 'T.npy', or a file that is created while it is written");
    for (const auto& [suffix, whatItIs] :
         {std::pair(".saving", "temporary file"), {".replaced", "backup file"}, {".lock", "lock file"}}) {
        const std::string name = std::string("T.npy") + suffix;
        m_directory.addFile(name, QUADS);
        expectRefusalEvenByForce({"load", "--format", "nq", name, "-o", "e", "--ids", "T.npy"},
                                 "the input '" + name + "' is also the " + whatItIs + " of the output 'T.npy'");
        std::filesystem::remove(m_directory.getPathOf(name));
    }
    for (const auto& [extension, format] : {std::pair("gz", "gzip"), {"bz2", "bzip2"}, {"XZ", "xz"}, {"zst", "zstd"}}) {
        const std::string name = std::string("T.npy.") + extension;
        expectRefusalEvenByForce({"load", "in.nq", "-o", "e", "--ids", name},
                                 "output '" + name + "' would not be compressed as " + format +
                                     ", as its name says; give it another name and compress it afterwards");
    }
    expectRefusalEvenByForce({"load", "in.nq", "-o", "e", "--ids", "."},
                             "'.' exists and is not a regular file, so it cannot be replaced");
}

TEST_F(LoadIdsTest, aDictionaryIsReplacedByRowsOnlyByForceAndOtherFilesWithoutIt) {
    expectSuccess({"load", "more.nq", "-o", "other"});
    expectRefusal({"load", "in.nq", "-o", "d", "--ids", "other"}, "'other' is a dictionary; --force replaces it");
    expectSuccess({"load", "in.nq", "-o", "d", "--ids", "other", "--force"});
    EXPECT_EQ(QUADS, decode("other", "d"));
    m_directory.addFile("T.npy", "notes");
    expectSuccess({"load", "in.nq", "-o", "d", "--ids", "T.npy"});
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
}

/// A shell opens the file to which it appends before the tool starts.
TEST_F(LoadIdsTest, standardOutputIsNoInput) {
    const auto files = getFiles();
    ToolInput input = getInput();
    input.m_outputPath = m_directory.getPathOf("in.nq");
    const ToolResult result = runToolProcess({"load", "in.nq", "--ids", "-"}, input);
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("melnar-dict: the input 'in.nq' is also standard output\n", result.m_errorOutput);
    EXPECT_EQ(files, getFiles());
}

TEST_F(LoadIdsTest, aDictionaryThatGrowsKeepsItsIDsAndDecodesItsOldRows) {
    expectSuccess({"load", "in.nq", "-o", "d", "--ids", "T.npy"});
    const ToolResult before = run({"dump", "d"});
    expectSuccess({"load", "more.nq", "--into", "d", "--ids", "U.npy"});
    EXPECT_EQ(0u, run({"dump", "d"}).m_output.find(before.m_output));
    EXPECT_EQ(MORE_QUADS, decode("U.npy", "d"));
    EXPECT_EQ((IDs{1, 2, 12, 6}), getIDs(getRowsOf("U.npy"), 4)) << "11 is the string within the triple term";
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
    expectSuccess({"load", "in.nq", "--into", "d", "-o", "e", "--ids", "V.npy"});
    const std::string scoped = decode("V.npy", "e");
    EXPECT_NE(std::string::npos, scoped.find("_:doc2-b <urn:p> \"one\"@en-GB <urn:g> .\n")) << scoped;
    const ToolResult refusal = run({"decode", "V.npy", "-d", "d", "-o", "-"});
    EXPECT_EQ(1, refusal.m_exitCode) << "'e' has grown from 'd', and not the other way round";
    EXPECT_EQ(0u, refusal.m_errorOutput.find("V.npy: encoded with dictionary ")) << refusal.m_errorOutput;
}

TEST_F(LoadIdsTest, anIDHasAsManyBytesAsAreRequestedOrNeeded) {
    const std::string large = "4294967296";
    const IDs ids{1, 2, 3, 4};
    for (const auto& [options, width] : std::vector<std::pair<std::vector<std::string>, size_t>>{
             {{}, 4},
             {{"--id-width", "4"}, 4},
             {{"--id-width", "8"}, 8},
             {{"--id-width", "auto"}, 4},
             {{"--max-resources", large}, 4},
             {{"--max-resources", large, "--id-width", "auto"}, 4},
             {{"--max-resources", large, "--id-width", "4"}, 4},
             {{"--max-resources", large, "--id-width", "8"}, 8},
         }) {
        SCOPED_TRACE(testing::PrintToString(options));
        std::vector<std::string> arguments{"load", "more.nq", "-o", "d", "--ids", "T.npy"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectSuccess(arguments);
        EXPECT_EQ(NpyHeader::SIZE + 4 * width, getContentsOf("T.npy").size());
        EXPECT_EQ(ids, getIDs(getRowsOf("T.npy"), width));
        EXPECT_EQ(MORE_QUADS, decode("T.npy", "d"));
        arguments = {"load", "more.nq", "--ids", "-", "--quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const bool isAuto = options.empty() || options.back() != "4";
        const size_t streamedWidth = !options.empty() && options.front() == "--max-resources" && isAuto ? 8 : width;
        EXPECT_EQ(ids, getIDs(run(arguments).m_output, streamedWidth)) << "that are not narrowed, as they are gone";
    }
}

TEST_F(LoadIdsTest, rowsHaveAFourthColumnByTheFormatOrByWish) {
    const std::string triple = "<urn:s> <urn:p> <urn:o> .\n";
    for (const char* const name : {"in.nt", "in.ttl", "in.trig"})
        m_directory.addFile(name, triple);
    const auto getRows = [&](const std::vector<std::string>& more) {
        std::vector<std::string> arguments{"load", "--ids", "-", "--quiet"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return getIDs(run(arguments).m_output, 4);
    };
    EXPECT_EQ((IDs{1, 2, 3}), getRows({"in.nt"}));
    EXPECT_EQ((IDs{1, 2, 3}), getRows({"in.ttl"}));
    EXPECT_EQ((IDs{1, 2, 3, 0}), getRows({"in.trig"}));
    EXPECT_EQ((IDs{1, 2, 3, 0}), getRows({"in.nt", "--quads"}));
    EXPECT_EQ((IDs{1, 2, 3, 0, 1, 2, 4, 5}), getRows({"in.nt", "more.nq"}));
}

TEST_F(LoadIdsTest, anErrorLeavesTheOldFiles) {
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "more.nq", "-o", "d", "--ids", "T.npy"});
        const auto files = getFiles();
        for (const char* const threads : {"1", "3"}) {
            for (const std::string name : {"bad.nq", "missing.nq"}) {
                const ToolResult result =
                    run({"load", "in.nq", name, "-o", "d", "--ids", "T.npy", "--threads", threads});
                EXPECT_EQ(name == "bad.nq" ? 1 : 3, result.m_exitCode);
                EXPECT_EQ(0u, result.m_errorOutput.find(name)) << result.m_errorOutput;
                EXPECT_EQ("", result.m_output);
                EXPECT_EQ(files, getFiles());
            }
            const ToolResult result =
                run({"load", "in.nq", "-o", "d", "--ids", "T.npy", "--max-resources", "3", "--threads", threads});
            EXPECT_EQ(3, result.m_exitCode);
            EXPECT_EQ(files, getFiles());
        }
    }
    const ToolResult streamed = run({"load", "bad.nq", "--ids", "-"});
    EXPECT_EQ(1, streamed.m_exitCode);
    EXPECT_EQ(0u, streamed.m_errorOutput.find("bad.nq:7:1: expected a subject")) << streamed.m_errorOutput;
}

TEST_F(LoadIdsTest, skippedStatementsHaveNoRows) {
    m_directory.addFile("mixed.nq",
                        "<urn:s> <urn:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n" +
                            std::string(QUADS) + "no statement\n<urn:s> <urn:p> \"\\q\" .\n" + MORE_QUADS);
    const ToolResult result = run(
        {"load", "mixed.nq", "-o", "d", "--ids", "T.npy", "--lenient", "--quiet", "--json", "--rejected", "rejected"});
    EXPECT_EQ(0, result.m_exitCode);
    const nlohmann::json json = nlohmann::json::parse(result.m_output);
    EXPECT_EQ(7, json["triples"]);
    EXPECT_EQ(3, json["errors"]);
    EXPECT_EQ(7u * 4 * 4, getRowsOf("T.npy").size());
    EXPECT_EQ(std::string(QUADS) + MORE_QUADS, decode("T.npy", "d"));
    EXPECT_EQ("<urn:s> <urn:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n"
              "no statement\n<urn:s> <urn:p> \"\\q\" .\n",
              getContentsOf("rejected"));
}

/// Either the rows or the dictionary reach the limit first.
TEST_F(LoadIdsTest, aDiskThatIsFullLeavesTheOldFiles) {
    std::string manyRows;
    std::string manyTerms;
    for (int number = 0; number < 8000; ++number) {
        manyRows += "<urn:s> <urn:p> \"" + std::to_string(number % 10) + "\" <urn:g> .\n";
        manyTerms += "<urn:s> <urn:p> \"a rather long text with the number " + std::to_string(number) + "\" .\n";
    }
    m_directory.addFile("rows.nq", manyRows);
    m_directory.addFile("terms.nt", manyTerms);
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "more.nq", "-o", "d", "--ids", "T.npy"});
        const auto files = getFiles();
        for (const std::string name : {"rows.nq", "terms.nt"})
            for (const std::string limit : {"0", "1", "8", "200"}) { // half-kilobytes
                ToolInput input = getInput();
                input.m_shellCommands = "ulimit -f " + limit;
                const ToolResult result = runToolProcess({"load", name, "-o", "d", "--ids", "T.npy"}, input);
                EXPECT_EQ(3, result.m_exitCode) << limit;
                EXPECT_EQ(limit != "0", result.m_errorOutput.find("File too large") != std::string::npos)
                    << result.m_errorOutput << " (which is a file, too)";
                EXPECT_EQ(files, getFiles());
            }
    }
    ToolInput input = getInput();
    input.m_outputPath = "/dev/full";
    const ToolResult result = runToolProcess({"load", "rows.nq", "-o", "new", "--ids", "-"}, input);
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("No space left on device")) << result.m_errorOutput;
    EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("new")));
}

TEST_F(LoadIdsTest, rowsWithoutAReaderEndTheLoad) {
    const auto files = getFiles();
    ToolInput input = getInput();
    input.m_isOutputClosedPipe = true;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "in.nq", "--ids", "-"}, {"load", "in.nq", "-o", "d", "--ids", "-"}}) {
        const ToolResult result = runToolProcess(arguments, input);
        EXPECT_EQ(SIGPIPE, result.m_signalNumber);
        EXPECT_EQ("", result.m_errorOutput);
    }
    EXPECT_EQ(files, getFiles());
}

/// One process reads an input that never ends.
class HeldLoadIdsTest : public LoadIdsTest {
protected:
    HeldLoadIdsTest() { EXPECT_EQ(0, ::mkfifo(m_directory.getPathOf("pipe.nq").c_str(), 0600)); }
    ~HeldLoadIdsTest() override {
        for (const int pipeEnd : m_errorPipes)
            ::close(pipeEnd);
    }

    /// Returns when the tool that reads "pipe.nq" is working; it continues when the result is closed.
    int enter() const {
        const int pipeEnd = ::open(m_directory.getPathOf("pipe.nq").c_str(), O_WRONLY | O_CLOEXEC);
        const std::string text = QUADS;
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(pipeEnd, text.data(), text.size()));
        return pipeEnd;
    }

    /// Starts a tool that must wait for another's end, and returns it with its first message.
    std::pair<std::unique_ptr<RunningTool>, std::string> startWaiting(const std::vector<std::string>& arguments) {
        std::array<int, 2> ends{};
        EXPECT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
        m_errorPipes.push_back(ends[0]);
        ToolInput input = getInput();
        input.m_errorDescriptor = ends[1];
        auto tool = std::make_unique<RunningTool>(arguments, input);
        ::close(ends[1]);
        std::string line;
        for (char character = 0; character != '\n' && ::read(ends[0], &character, 1) == 1;)
            line.push_back(character);
        return {std::move(tool), line};
    }

    std::vector<int> m_errorPipes; // to which tools write standard error
};

TEST_F(HeldLoadIdsTest, anInterruptionLeavesTheOldFiles) {
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "more.nq", "-o", "d", "--ids", "T.npy"});
        const auto files = getFiles();
        for (const int signalNumber : {SIGHUP, SIGINT, SIGTERM}) {
            RunningTool tool({"load", "pipe.nq", "-o", "d", "--ids", "T.npy"}, getInput());
            const int pipeEnd = enter();
            for (const char* const name : {"d.lock", "T.npy.lock", "T.npy.saving"})
                EXPECT_TRUE(std::filesystem::exists(m_directory.getPathOf(name))) << name;
            tool.send(signalNumber);
            EXPECT_EQ(128 + signalNumber, tool.wait().m_exitCode);
            ::close(pipeEnd);
            EXPECT_EQ(files, getFiles());
        }
    }
}

TEST_F(HeldLoadIdsTest, anotherWriterOfEitherFileIsReportedOrWaitedFor) {
    for (const auto& [held, arguments] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"T.npy", {"load", "in.nq", "-o", "d", "--ids", "T.npy"}},
             {"d", {"load", "in.nq", "-o", "d", "--ids", "U.npy"}},
             {"T.npy", {"load", "in.nq", "--into", "d", "--ids", "T.npy"}}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        expectSuccess({"load", "more.nq", "-o", "d"});
        RunningTool holder({"load", "pipe.nq", "-o", held == "d" ? "d" : "other", "--ids", "T.npy"}, getInput());
        const int pipeEnd = enter();
        const auto files = getFiles();
        const ToolResult refused = run(arguments);
        EXPECT_EQ(3, refused.m_exitCode);
        EXPECT_EQ(0u, refused.m_errorOutput.find("melnar-dict: '" + held + "' is being written by process " +
                                                 std::to_string(holder.getProcessID()) + ' '))
            << refused.m_errorOutput;
        EXPECT_EQ(files, getFiles()) << "the other's locks stay";
        std::vector<std::string> patient = arguments;
        patient.emplace_back("--wait");
        const auto& [waiting, message] = startWaiting(patient);
        EXPECT_NE(std::string::npos, message.find("'" + held + "' is being written by process ")) << message;
        ::close(pipeEnd);
        EXPECT_EQ(0, holder.wait().m_exitCode);
        EXPECT_EQ(0, waiting->wait().m_exitCode);
        EXPECT_EQ(QUADS, decode(arguments.back(), "d"));
        for (const std::string file : {"d", "T.npy", "U.npy", "other"})
            for (const char* const suffix : {".lock", ".saving", ".replaced"})
                EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf(file + suffix))) << file << suffix;
    }
}

/// A file that has become an output during the wait for the lock is checked again.
TEST_F(HeldLoadIdsTest, outputsAreCheckedAgainAfterAWait) {
    RunningTool holder({"load", "pipe.nq", "-o", "T.npy"}, getInput());
    const int pipeEnd = enter();
    const auto& [waiting, message] = startWaiting({"load", "in.nq", "-o", "d", "--ids", "T.npy", "--wait"});
    EXPECT_NE(std::string::npos, message.find("'T.npy' is being written by process ")) << message;
    ::close(pipeEnd);
    EXPECT_EQ(0, holder.wait().m_exitCode);
    EXPECT_EQ(2, waiting->wait().m_exitCode) << "it is a dictionary now";
    EXPECT_EQ(0, run({"verify", "T.npy"}).m_exitCode);
    EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("d")));
}

} // namespace
