#include "tests/tools/melnar-dict-mpi/ProcessTree.h"
#include "tests/tools/melnar-dict-mpi/RankProcessTest.h"
#include "tests/tools/melnar-dict/input/GzipText.h"

#include "Engine/core/platform/Version.h"
#include "Engine/core/platform/stream/FileDescriptor.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const WAY_OUT = " This program cannot resume the interrupted load. If 'd/work-manifest' is "
                                      "removed, the same command starts anew.\n";

class RankLoadProcessTest : public RankProcessTest {};

TEST_F(RankLoadProcessTest, folderAndRowsAreThoseOfOneProcess) {
    const std::string text = makeTriples(5, 20000);
    m_directory.addFile("in.nt", text);
    m_directory.addFile("packed.nt.gz", gzip(makeTriples(3, 700)));
    m_directory.addFile("in.ttl", "@prefix : <urn:> .\n:s :p [ :q \"a\", \"b\" ], ( 1 2.5 \"c\"@en ), <relative> .\n");
    m_directory.addFile("empty.nt", "");
    m_directory.addFile("empty.ttl", "");
    m_directory.addFile("empty.nq.gz", gzip(""));
    std::string turtle = "@prefix : <urn:> .\n";
    for (size_t number = 0; turtle.size() < 2 * SlicePlan::SLICE_SIZE; ++number)
        turtle += ":s" + std::to_string(number % 900) + " :p \"" + std::to_string(number) + "\", [ :q _:b" +
                  std::to_string(number % 70) + " ] .\n";
    m_directory.addFile("long.ttl", turtle);
    std::filesystem::create_directory(m_directory.getPathOf("many"));
    for (int number = 100; number < 160; ++number)
        m_directory.addFile("many/" + std::to_string(number) + (number % 3 == 0 ? ".nt" : ".ttl"),
                            "_:b <urn:p> \"" + std::to_string(number / 5) + "\" .\n");
    const std::vector<std::string> inputs{"long.ttl", "in.nt",       "empty.nt", "packed.nt.gz", "in.ttl",
                                          "many",     "empty.nq.gz", "in.nq",    "empty.ttl"};
    loadByOneProcess(inputs);
    for (const size_t numberOfRanks : {1u, 2u, 3u, 4u})
        expectSame(numberOfRanks, inputs);
    expectSame(3, inputs + std::vector<std::string>{"--checkpoint", "5b"});
    loadByOneProcess(std::vector<std::string>{"in.nt", "--quads"});
    expectSame(2, {"in.nt", "--quads"});
    m_directory.addFile("more.nt", "_:b <urn:p> _:c .\n");
    const std::vector<std::string> shared{"in.nq", "more.nt", "--blank-nodes", "shared", "--id-width", "8"};
    loadByOneProcess(shared);
    expectSame(3, shared);
}

TEST_F(RankLoadProcessTest, linesThatSlicesAreCutInAreReadOnce) {
    // Lines that end with a slice, start with one, continue in the next, and are longer than one.
    std::string text;
    const auto addLine = [&text](const size_t length) {
        const std::string begin = "<urn:s> <urn:p> \"" + std::to_string(text.size()) + ' ';
        const std::string end = "\" .\n";
        text += begin + std::string(length - begin.size() - end.size(), 'y') + end;
    };
    for (const size_t length : {SlicePlan::SLICE_SIZE, SlicePlan::SLICE_SIZE - 1, uint64_t(100),
                                2 * SlicePlan::SLICE_SIZE + SlicePlan::SLICE_SIZE / 2, uint64_t(100)})
        addLine(length);
    text.pop_back(); // the last line end
    m_directory.addFile("in.nt", text);
    loadByOneProcess({"in.nt"});
    for (const size_t numberOfRanks : {1u, 2u, 3u})
        expectSame(numberOfRanks, {"in.nt"});
}

TEST_F(RankLoadProcessTest, emptyInputMakesAnEmptyDictionary) {
    m_directory.addFile("empty.nt", "");
    loadByOneProcess({"empty.nt"});
    for (const size_t numberOfRanks : {1u, 3u})
        expectSame(numberOfRanks, {"empty.nt"});
}

TEST_F(RankLoadProcessTest, aFolderThatGrowsKeepsItsIDs) {
    m_directory.addFile("in.nt", makeTriples(3, 3000));
    expectSuccess({"load", "--shards", "in.nq", "-o", "old"});
    const auto old = getFiles("old");
    expectSuccess({"load", "in.nt", "more.nq", "--into", "old", "-o", "d", "--ids", "d.npy"});
    for (const size_t numberOfRanks : {2u, 3u})
        expectSame(numberOfRanks, {"in.nt", "more.nq", "--into", "old"});
    EXPECT_TRUE(old == getFiles("old"));
    expectRanksSucceed(2, {"load", "in.nt", "more.nq", "--into", "old", "--ids", "e.npy"});
    EXPECT_TRUE(getFiles("d") == getFiles("old"));
    EXPECT_TRUE(getContentsOf("d.npy") == getContentsOf("e.npy"));
    expectRanksSucceed(2, {"load", "in.nq", "-o", "old"});
    EXPECT_TRUE(old == getFiles("old")) << "another one in its place";
}

/// The errors are in each slice of each rank, and in a file that one rank reads.
TEST_F(RankLoadProcessTest, aLenientLoadReportsAndRejectsTheSameAsOneProcess) {
    std::string text;
    for (int slice = 0; slice < 4; ++slice)
        text += makeTriples(1) + "no statement " + std::to_string(slice) + "\n<urn:s> <urn:p> \"a@b\"^^" +
                "<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
    m_directory.addFile("in.nt", text + "<urn:unfinished");
    m_directory.addFile("in.ttl", "@prefix : <urn:> .\n:s :p .\n:s :p :o .\n");
    m_directory.addFile("in.nt.gz", gzip("<urn:s> <urn:p> .\n"));
    const std::vector<std::string> arguments{"load",      "in.ttl",     "in.nt",    "bad.nq", "in.nt.gz",
                                             "--lenient", "--rejected", "rejected", "--json"};
    const auto getFigures = [](const ToolResult& result) {
        EXPECT_EQ(0, result.m_exitCode);
        nlohmann::json json = nlohmann::json::parse(result.m_output);
        for (const char* const key : {"memoryBytes", "seconds", "literalsPerSecond", "termsPerSecond"}) {
            EXPECT_TRUE(json.contains(key)) << key;
            json.erase(key);
        }
        return json;
    };
    for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--errors", "3"}}) {
        const ToolResult expected = run(arguments + std::vector<std::string>{"--shards", "-o", "d"} + more);
        const std::string rejected = getContentsOf("rejected");
        EXPECT_NE(std::string::npos, rejected.find("no statement 3\n"));
        for (const size_t numberOfRanks : {1u, 2u, 3u}) {
            SCOPED_TRACE(std::to_string(numberOfRanks) + " ranks, " + testing::PrintToString(more));
            std::filesystem::remove(m_directory.getPathOf("rejected"));
            const ToolResult result = runRanks(numberOfRanks, arguments + std::vector<std::string>{"-o", "e"} + more);
            EXPECT_EQ(expected.m_errorOutput, result.m_errorOutput);
            EXPECT_EQ(getFigures(expected), getFigures(result));
            EXPECT_EQ(rejected, getContentsOf("rejected"));
            EXPECT_TRUE(getFiles("d") == getFiles("e"));
        }
    }
}

TEST_F(RankLoadProcessTest, badDataIsReportedAsByOneProcessAndLeavesTheOldFiles) {
    const std::string text = makeTriples(3);
    const auto insert = [&text](const size_t place) {
        const size_t begin = text.find('\n', place) + 1;
        return text.substr(0, begin) + "no statement\n" + text.substr(begin);
    };
    m_directory.addFile("first.nt", insert(100));
    m_directory.addFile("second.nt", insert(SlicePlan::SLICE_SIZE + 100));
    m_directory.addFile("last.nt", text + "no statement");
    m_directory.addFile("bad.ttl", "<urn:s> <urn:p> .\n");
    m_directory.addFile("bad.nt.gz", gzip(text).substr(0, 1000));
    m_directory.addFile("refused.nt", "<urn:s> <urn:p> \"a\"^^"
                                      "<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n");
    const auto expectFailure = [this](const std::string& name, const size_t numberOfRanks) {
        SCOPED_TRACE(name);
        const std::vector<std::string> arguments{"load", "in.nq", name, "bad.nq", "-o", "d", "--ids", "d.npy"};
        const auto files = getFiles();
        const ToolResult expected = run(arguments + std::vector<std::string>{"--shards"});
        EXPECT_EQ(name == "bad.nt.gz" ? 3 : 1, expected.m_exitCode);
        const ToolResult result = runRanks(numberOfRanks, arguments);
        EXPECT_EQ(expected.m_exitCode, result.m_exitCode);
        EXPECT_EQ(nameReader(expected.m_errorOutput, expected.m_exitCode, numberOfRanks), result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
        EXPECT_TRUE(files == getFiles());
    };
    expectFailure("second.nt", 2);
    expectSuccess({"load", "--shards", "more.nq", "-o", "d", "--ids", "d.npy"});
    for (const std::string name : {"first.nt", "second.nt", "last.nt", "bad.ttl", "bad.nt.gz", "refused.nt"})
        expectFailure(name, 3);
}

TEST_F(RankLoadProcessTest, wrongCommandLinesAreReportedOnce) {
    expectRanksFail(3, {"load", "in.nq"}, 2, "load needs -o, the folder of the dictionary");
    expectRanksFail(2, {"lode", "in.nq"}, 2, "unknown verb 'lode'; melnar-dict-mpi --help lists the verbs");
    expectRanksFail(2, {"load", "in.nq", "-o", "d", "--rejected", "r"}, 2,
                    "--rejected needs --lenient; nothing is skipped without it");
    expectRanksFail(2, {"load", "in.nq", "-o", "d", "--quads"}, 2, "--id-width and --quads need --ids");
    expectRanksFail(2, {"load", "in.nq", "-o", "d", "--ids", "-"}, 2,
                    "several processes cannot write rows to standard output");
    expectRanksFail(2, {"load", "-", "--format", "nt", "-o", "d"}, 2, "several processes cannot read standard input");
    expectRanksFail(1, {"load", "in.nq", "-o", "in.nq"}, 2,
                    "'in.nq' exists and is not a folder; a dictionary of shards is a folder");
}

TEST_F(RankLoadProcessTest, withoutAVerbTheHelpIsPrintedAsAnError) {
    const ToolResult help = expectRanksSucceed(2, {"--help"});
    EXPECT_EQ(0u, help.m_output.find("usage: mpirun -n RANKS melnar-dict-mpi VERB"));
    const ToolResult result = runRanks(2, {});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_EQ(help.m_output, result.m_errorOutput);
}

TEST_F(RankLoadProcessTest, theTrafficOfRanksIsReported) {
    m_directory.addFile("in.nt", makeTriples(3));
    for (const size_t numberOfRanks : {1u, 2u}) {
        const ToolResult result = runRanks(numberOfRanks, {"load", "in.nt", "-o", "d", "--traffic"});
        EXPECT_EQ(0, result.m_exitCode);
        std::map<std::string, double> figures;
        std::istringstream lines(result.m_errorOutput);
        for (std::string line; std::getline(lines, line);)
            figures[line.substr(0, line.find("  ", 2))] = std::stod(line.substr(line.rfind(' ')));
        EXPECT_EQ(7u, figures.size()) << result.m_errorOutput;
        EXPECT_LE(3, figures["rounds"]);
        EXPECT_LT(0, figures["terms asked for"]);
        EXPECT_LE(figures["terms asked for"], figures["terms of pieces"]);
        EXPECT_EQ(numberOfRanks == 1, figures["bytes from rank to rank"] == 0);
        EXPECT_LT(0, figures["seconds of processors"]);
        EXPECT_LT(0, figures["  of its shards"]);
        EXPECT_LT(figures["  of its shards"], figures["bytes of largest rank"]);
    }
}

/// The term is larger than the space that the ranks reserve.
TEST_F(RankLoadProcessTest, aTermMayBeLargerThanAllOthers) {
    m_directory.addFile("in.nt", makeTriples(2) + "<urn:s> <urn:p> \"" + std::string(size_t(40) << 20, 'z') + "\" .\n" +
                                     makeTriples(3, 100'000));
    loadByOneProcess({"in.nt"});
    expectSame(3, {"in.nt"});
}

/// The ranks' common work depends on it.
TEST_F(RankLoadProcessTest, ranksWithOtherCommandLinesAreRefused) {
    for (const char* const change : {"set -- \"$@\" --traffic", "set -- --version", "set -- load bad.nq -o d"}) {
        SCOPED_TRACE(change);
        const ToolResult result = runRanks({{1}, {1, change}}, {"load", "in.nq", "-o", "d"});
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ(nameRank(1) +
                      "all ranks need the same command line; --inputs-of-rank names files that one rank has\n",
                  result.m_errorOutput);
        EXPECT_FALSE(exists("d"));
    }
}

TEST_F(RankLoadProcessTest, inputThatCannotBeReadIsReportedOnce) {
    expectRanksFail(3, {"load", "in.nq", "missing.nt", "-o", "d"}, 3, "missing.nt: No such file or directory");
    EXPECT_EQ(0, ::mkfifo(m_directory.getPathOf("pipe.nt").c_str(), 0600));
    const ToolResult result = runRanks(2, {"load", "pipe.nt", "-o", "d"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(nameRank(0) + "pipe.nt: several processes can read only regular files\n", result.m_errorOutput);
    EXPECT_FALSE(exists("d"));
}

/// The file system of a machine may be missing.
TEST_F(RankLoadProcessTest, aRankThatCannotReadAFileIsNamed) {
    m_directory.addFile("in.nt", makeTriples(3));
    std::filesystem::create_directory(m_directory.getPathOf("other"));
    const ToolResult result = runRanks({{1}, {1, "cd other"}}, {"load", "in.nt", "-o", m_directory.getPathOf("d")});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(nameReader("in.nt: No such file or directory\n", 3, 2, 1), result.m_errorOutput);
    EXPECT_FALSE(exists("d"));
}

/// Like files on the machines of the ranks.
TEST_F(RankLoadProcessTest, ranksReadTheFilesThatTheyAreGiven) {
    m_directory.addFile("in.nt", makeTriples(3));
    m_directory.addFile("in.ttl", "<urn:s> <urn:p> <relative>, \"a\" .\n");
    loadByOneProcess({"in.nt", "in.ttl", "in.nq"});
    expectSame(3, {"--inputs-of-rank", "2:in.nt", "0:in.ttl", "1:in.nq"});
    expectSame(2, {"--inputs-of-rank", "1:in.nt", "1:in.ttl", "1:in.nq"});
    expectRanksFail(2, {"load", "--inputs-of-rank", "0:in.nt", "2:in.nq", "-o", "e"}, 2,
                    "'in.nq' is of rank 2, and the ranks are 0 to 1");
    expectRanksFail(
        2, {"load", "--inputs-of-rank", "in.nt", "-o", "e"}, 2,
        "with --inputs-of-rank a file has the number of a rank before its name, such as 3:/scratch/part-3.nt; "
        "'in.nt' has none");
    const ToolResult result = runRanks(2, {"load", "--inputs-of-rank", "0:in.nt", "1:missing.nt", "-o", "e"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(nameRank(1) + "missing.nt: No such file or directory\n", result.m_errorOutput);
    EXPECT_FALSE(exists("e"));
}

TEST_F(RankLoadProcessTest, jsonReportsTheErrorThatEndsTheRun) {
    const auto getError = [this](const size_t numberOfRanks, const std::string& name) {
        return nlohmann::json::parse(runRanks(numberOfRanks, {"load", name, "-o", "d", "--json"}).m_output);
    };
    const nlohmann::json ofData = getError(2, "bad.nq");
    EXPECT_EQ(1, ofData["exitCode"]);
    EXPECT_EQ(0u, ofData["error"].get<std::string>().find("bad.nq:7:1: ")) << ofData;
    const nlohmann::json ofInput = getError(2, "missing.nt");
    EXPECT_EQ(3, ofInput["exitCode"]);
    EXPECT_NE(std::string::npos, ofInput["error"].get<std::string>().find(": missing.nt: No such file")) << ofInput;
    EXPECT_EQ((nlohmann::json{{"exitCode", 3}, {"error", "missing.nt: No such file or directory"}}),
              getError(1, "missing.nt"));
    EXPECT_EQ(6,
              nlohmann::json::parse(expectRanksSucceed(2, {"load", "in.nq", "-o", "d", "--json"}).m_output)["triples"]);
}

TEST_F(RankLoadProcessTest, helpAndVersionArePrintedOnce) {
    EXPECT_EQ("melnar-dict-mpi " MELNAR_VERSION_STRING "\n", expectRanksSucceed(3, {"--version"}).m_output);
    const std::string help = expectRanksSucceed(2, {"load", "--help"}).m_output;
    EXPECT_EQ(0u, help.find("usage: melnar-dict-mpi load [OPTION...] FILE...\n")) << help;
    EXPECT_EQ(help.find("--resume  "), help.rfind("--resume  ")) << help;
}

TEST_F(RankLoadProcessTest, aMemoryLimitThatIsTooSmallIsReportedOnce) {
    const ToolResult result = runRanks(2, {"load", "in.nq", "-o", "d", "--memory-limit", "40M"});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("melnar-dict-mpi: --memory-limit 40M is too small: "))
        << result.m_errorOutput;
    EXPECT_EQ(result.m_errorOutput.size() - 1, result.m_errorOutput.find('\n'));
    EXPECT_FALSE(exists("d"));
}

TEST_F(RankLoadProcessTest, ranksThatRunOutOfMemoryAreNamedAndLeaveTheOldFiles) {
    std::string text;
    for (size_t number = 0; text.size() < 60 * SlicePlan::SLICE_SIZE; ++number)
        text += "<urn:s> <urn:p> \"" + std::to_string(number) + ' ' + std::string(900, 'z') + "\" .\n";
    m_directory.addFile("in.nt", text);
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "d.npy"});
    const auto files = getFiles();
    const std::vector<std::string> arguments{"load", "in.nt", "-o", "d", "--ids", "d.npy", "--checkpoint", "0"};
    const ToolResult result = runRanks(2, arguments + std::vector<std::string>{"--memory-limit", "145M"});
    EXPECT_EQ(3, result.m_exitCode) << result.m_errorOutput;
    EXPECT_TRUE(result.m_errorOutput.find(nameRank(0)) != std::string::npos ||
                result.m_errorOutput.find(nameRank(1)) != std::string::npos)
        << result.m_errorOutput;
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("% of the input read; with more ranks each uses less\n"))
        << result.m_errorOutput;
    EXPECT_TRUE(files == getFiles());
    EXPECT_EQ(QUADS, decode("d.npy", "d"));
    expectRanksSucceed(2, arguments);
    EXPECT_TRUE(text == decode("d.npy", "d"));
}

/// A load is held in the middle: the first rank reports more errors than a pipe holds. There has been a checkpoint.
class HeldRankLoadProcessTest : public RankProcessTest {
protected:
    HeldRankLoadProcessTest() {
        // More terms than three ranks offer for the two rounds before the first checkpoint.
        std::string text = makeTriples(14, 100'000);
        for (size_t number = 0; number < 10000; ++number)
            text += "no statement " + std::to_string(number) + "\n";
        m_directory.addFile("held.nt", text + makeTriples(3));
        const ToolResult result = run(
            {"load", "held.nt", "--lenient", "--errors", "0", "--shards", "-o", "expected", "--ids", "expected.npy"});
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    }

    static std::vector<std::string> getArguments(const std::vector<std::string>& more = {}) {
        return std::vector<std::string>{"load", "held.nt", "--lenient", "-o", "d", "--ids", "d.npy"} + more;
    }

    /// Starts a load, and returns when it is held.
    std::unique_ptr<RunningTool> startHeld(const size_t numberOfRanks, const std::vector<std::string>& more = {}) {
        std::filesystem::remove(m_directory.getPathOf("held"));
        EXPECT_EQ(0, ::mkfifo(m_directory.getPathOf("held").c_str(), 0600));
        const int pipe = ::open(m_directory.getPathOf("held").c_str(), O_RDWR | O_CLOEXEC);
        std::vector<RankGroup> groups{{1, "exec 2>held"}};
        if (numberOfRanks > 1)
            groups.push_back({numberOfRanks - 1});
        auto tool = std::make_unique<RunningTool>(
            makeRankCommand(getArguments({"--checkpoint", "1b", "--errors", "1000000"}) + more, groups),
            getRankInput());
        std::string told;
        for (char character = 0; !told.ends_with("held.nt:") && ::read(pipe, &character, 1) == 1;)
            told += character;
        m_pipes.emplace_back(pipe);
        return tool;
    }

    enum class Victim { FIRST_RANK, LAST_RANK, STARTER };

    /// Kills one process of a held load, and waits until none is left.
    void kill(const size_t numberOfRanks, const Victim victim, const std::vector<std::string>& more = {}) {
        const std::unique_ptr<RunningTool> tool = startHeld(numberOfRanks, more);
        const std::vector<pid_t> ranks = getChildren(tool->getProcessID());
        ASSERT_EQ(numberOfRanks, ranks.size());
        ::kill(victim == Victim::STARTER      ? tool->getProcessID()
               : victim == Victim::FIRST_RANK ? ranks.front()
                                              : ranks.back(),
               SIGKILL);
        EXPECT_EQ(128 + SIGKILL, tool->wait().m_exitCode);
        waitForEnd(ranks);
    }

    /// Resumes a load and runs it to its end. Returns its first message.
    std::string finish(const size_t numberOfRanks) const {
        const ToolResult result = runRanks(numberOfRanks, getArguments({"--resume", "--errors", "0"}));
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        return result.m_errorOutput.substr(0, result.m_errorOutput.find('\n') + 1);
    }

    void expectFiles() const {
        EXPECT_TRUE(getFiles("expected") == getFiles("d"));
        EXPECT_TRUE(getContentsOf("expected.npy") == getContentsOf("d.npy"));
    }

    std::vector<FileDescriptor> m_pipes; // with which loads are held
};

TEST_F(HeldRankLoadProcessTest, anyNumberOfRanksResumesALoadThatWasKilled) {
    struct Case {
        size_t m_numberOfRanks;
        Victim m_victim;
        size_t m_numberThatGoesOn;
    };
    for (const auto [numberOfRanks, victim, numberThatGoesOn] :
         {Case{2, Victim::FIRST_RANK, 3}, Case{3, Victim::LAST_RANK, 1}, Case{3, Victim::STARTER, 2}}) {
        SCOPED_TRACE(numberOfRanks);
        kill(numberOfRanks, victim);
        EXPECT_TRUE(exists("d/work-manifest"));
        EXPECT_FALSE(exists("d/manifest") || exists("d.npy"));
        const std::string note = finish(numberThatGoesOn);
        EXPECT_EQ(0u, note.find("resuming the interrupted load, which has ")) << note;
        expectFiles();
        remove("d");
    }
}

TEST_F(HeldRankLoadProcessTest, damagedRowsAreReportedWithTheWayOut) {
    kill(2, Victim::LAST_RANK);
    for (const size_t number : {0u, 1u}) {
        const std::string name = "d/work-rows-" + std::to_string(number);
        const std::string sound = getContentsOf(name);
        ASSERT_LT(size_t(100), sound.size());
        std::vector<std::string> allDamaged{"", sound.substr(0, 99)};
        for (const size_t position : {0u, 8u, 16u}) { // of a row, a number, and an ID
            allDamaged.push_back(sound);
            allDamaged.back()[position] = static_cast<char>(sound[position] ^ 1);
        }
        for (const std::string& damaged : allDamaged) {
            m_directory.addFile(name, damaged);
            const ToolResult result = runRanks(2, getArguments({"--resume", "--errors", "0", "--quiet"}));
            EXPECT_EQ(3, result.m_exitCode);
            EXPECT_EQ(0u, result.m_errorOutput.find(nameRank(number) + "File '" + name + "' ")) << result.m_errorOutput;
            EXPECT_TRUE(result.m_errorOutput.ends_with(WAY_OUT)) << result.m_errorOutput;
            EXPECT_FALSE(exists("d/manifest") || exists("d.npy"));
        }
        m_directory.addFile(name, sound);
    }
    EXPECT_EQ(0u, finish(3).find("resuming the interrupted load, "));
    expectFiles();
}

TEST_F(HeldRankLoadProcessTest, aDamagedUnfinishedLoadIsReportedWithTheWayOut) {
    kill(2, Victim::LAST_RANK);
    m_directory.addFile("d/work-manifest", getContentsOf("d/work-manifest").substr(1));
    const ToolResult result = runRanks(2, getArguments({"--resume", "--errors", "0", "--quiet"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find(nameRank(0) + "File 'd/work-manifest' ")) << result.m_errorOutput;
    EXPECT_TRUE(result.m_errorOutput.ends_with(WAY_OUT)) << result.m_errorOutput;
    std::filesystem::remove(m_directory.getPathOf("d/work-manifest"));
    EXPECT_EQ(0u, finish(3).find("there is no checkpoint to resume from: the load starts\n"));
    expectFiles();
}

/// The second kill comes before any further progress.
TEST_F(HeldRankLoadProcessTest, aLoadThatWasKilledTwiceIsResumed) {
    kill(3, Victim::LAST_RANK);
    kill(2, Victim::FIRST_RANK, {"--resume"});
    EXPECT_EQ(0u, finish(3).find("resuming the interrupted load, "));
    expectFiles();
}

/// A resumed run that ends before it reaches the progress of the run before leaves that progress saved. It requests
/// checkpoints so often that one would be due among the pieces that were done before.
TEST_F(RankLoadProcessTest, aLoadThatEndsEarlierTheSecondTimeIsResumed) {
    constexpr size_t SLICES = 16;
    m_directory.addFile("in.nt", makeTriples(SLICES, 100'000) + "an error in the last slice\n");
    const std::vector<std::string> lenient{"--lenient", "--rejected", "rejected", "--json"};
    const ToolResult expected =
        run(std::vector<std::string>{"load", "--shards", "in.nt", "-o", "d", "--ids", "d.npy"} + lenient);
    const std::string rejected = getContentsOf("rejected");
    EXPECT_EQ("an error in the last slice\n", rejected);
    for (const char* const checkpoint : {"1b", "8b"}) {
        SCOPED_TRACE(checkpoint);
        const ToolResult result =
            runRanks(1, {"load", "in.nt", "-o", "e", "--ids", "e.npy", "--resume", "--checkpoint", checkpoint});
        EXPECT_EQ(1, result.m_exitCode);
        EXPECT_TRUE(exists("e/work-manifest"));
    }
    const ToolResult result =
        runRanks(2, std::vector<std::string>{"load", "in.nt", "-o", "e", "--ids", "e.npy", "--resume"} + lenient);
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("resuming the interrupted load, ")) << result.m_errorOutput;
    // What was done before is reported again, once.
    EXPECT_TRUE(result.m_errorOutput.ends_with('\n' + expected.m_errorOutput)) << result.m_errorOutput;
    EXPECT_EQ(rejected, getContentsOf("rejected"));
    for (const char* const key : {"triples", "literals", "distinctXsdString", "errors"})
        EXPECT_EQ(nlohmann::json::parse(expected.m_output)[key], nlohmann::json::parse(result.m_output)[key]) << key;
    EXPECT_TRUE(getFiles("d") == getFiles("e"));
    EXPECT_TRUE(getContentsOf("d.npy") == getContentsOf("e.npy"));
}

/// So that a mistake does not lose hours of work.
TEST_F(HeldRankLoadProcessTest, anUnfinishedLoadIsNotDiscardedUnlessItIsForced) {
    kill(2, Victim::LAST_RANK);
    expectRanksFail(
        2, getArguments(), 2,
        "the folder 'd' has an unfinished load of the same files; --resume resumes it, and --force discards it");
    expectRanksFail(2, {"load", "in.nq", "-o", "d", "--resume"}, 2,
                    "the folder 'd' has an unfinished load of other files, of files that have changed or no longer "
                    "exist, or with other options; the same command resumes it, and --force discards it");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "in.nq", "--shards", "-o", "d"}, getArguments({"--shards"})})
        expectRefusal(arguments,
                      "the folder 'd' has an unfinished load by several processes; melnar-dict-mpi load with "
                      "--resume resumes it, and --force discards it");
    EXPECT_EQ(0u, finish(1).find("resuming the interrupted load, "));
    expectFiles();
    remove("d");
    kill(2, Victim::FIRST_RANK);
    const ToolResult result = runRanks(2, getArguments({"--force", "--errors", "0"}));
    EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    EXPECT_EQ(std::string::npos, result.m_errorOutput.find("resuming")) << result.m_errorOutput;
    expectFiles();
}

TEST_F(HeldRankLoadProcessTest, ranksDoNotResumeALoadByOneProcess) {
    ToolInput input = getInput();
    input.m_shellCommands = "ulimit -f 1000"; // for shards, and not for rows
    const std::vector<std::string> arguments = getArguments({"--shards", "--checkpoint", "1b", "--errors", "0"});
    EXPECT_EQ(3, runToolProcess(arguments, input).m_exitCode);
    EXPECT_TRUE(exists("d/work-manifest"));
    expectRanksFail(
        2, getArguments({"--resume"}), 2,
        "the folder 'd' has an unfinished load by one process; melnar-dict load resumes it, and --force discards it");
    EXPECT_EQ(0, run(arguments).m_exitCode);
    expectFiles();
}

TEST_F(HeldRankLoadProcessTest, whereNothingIsUnfinishedTheLoadBegins) {
    for (const bool isThere : {false, true}) {
        EXPECT_EQ("there is no checkpoint to resume from: the load starts\n", finish(2)) << isThere;
        expectFiles();
    }
}

TEST_F(HeldRankLoadProcessTest, readersSeeTheOldDictionaryUntilTheLoadIsDone) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "d.npy"});
    const auto old = getFiles("d");
    kill(2, Victim::STARTER);
    EXPECT_TRUE(exists("d/work-manifest"));
    const auto files = getFiles("d");
    for (const auto& [name, contents] : old)
        EXPECT_TRUE(files.contains(name) && files.at(name) == contents) << name;
    EXPECT_EQ(QUADS, decode("d.npy", "d"));
    expectSuccess({"verify", "d"});
    EXPECT_EQ(0u, finish(3).find("resuming the interrupted load, "));
    expectFiles();
}

TEST_F(HeldRankLoadProcessTest, aDiskThatIsFullForOneRankLeavesTheLastCheckpoint) {
    kill(2, Victim::FIRST_RANK);
    const auto unfinished = getFiles("d");
    for (const bool isFirst : {false, true}) {
        const std::string limit = "ulimit -f 40";
        const ToolResult result = runRanks({{1, isFirst ? limit : ""}, {1, isFirst ? "" : limit}},
                                           getArguments({"--resume", "--errors", "0", "--checkpoint", "1b"}));
        EXPECT_EQ(3, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(nameRank(isFirst ? 0 : 1) + "Cannot "))
            << result.m_errorOutput;
        EXPECT_NE(std::string::npos, result.m_errorOutput.find("(File too large)")) << result.m_errorOutput;
        const auto files = getFiles("d");
        EXPECT_TRUE(files.contains("work-manifest"));
    }
    EXPECT_EQ(0u, finish(3).find("resuming the interrupted load, "));
    expectFiles();
}

TEST_F(HeldRankLoadProcessTest, anotherWriterIsReported) {
    const std::unique_ptr<RunningTool> holder = startHeld(2);
    const pid_t firstRank = getChildren(holder->getProcessID()).front();
    const std::string beginning = "'d/manifest' is being written by process " + std::to_string(firstRank) + ' ';
    const ToolResult ofRanks = runRanks(2, {"load", "in.nq", "-o", "d"});
    EXPECT_EQ(3, ofRanks.m_exitCode);
    EXPECT_EQ(0u, ofRanks.m_errorOutput.find(nameRank(0) + beginning)) << ofRanks.m_errorOutput;
    const ToolResult ofOne = run({"load", "in.nq", "--shards", "-o", "d"});
    EXPECT_EQ(3, ofOne.m_exitCode);
    EXPECT_EQ(0u, ofOne.m_errorOutput.find("melnar-dict: " + beginning)) << ofOne.m_errorOutput;
}

} // namespace
