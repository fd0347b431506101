#include "tests/tools/melnar-dict-mpi/RankProcessTest.h"
#include "tests/tools/melnar-dict/input/GzipText.h"

#include "Engine/core/platform/stream/FileDescriptor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

using namespace melnar;

namespace {

/// Has the folder d.
class RankEncodeProcessTest : public RankProcessTest {
protected:
    void load(const std::vector<std::string>& arguments) const {
        expectSuccess(std::vector<std::string>{"load", "--shards", "-o", "d"} + arguments);
    }

    static std::vector<std::string> makeArguments(const std::string& output, const std::vector<std::string>& more) {
        return std::vector<std::string>{"encode", "-d", "d", "-o", output} + more;
    }

    /// Makes the rows out.npy with one process.
    void encodeByOneProcess(const std::vector<std::string>& arguments) const {
        expectSuccess(makeArguments("out.npy", arguments));
    }

    /// Expects the same rows from ranks, and no other file.
    void expectSame(const size_t numberOfRanks, const std::vector<std::string>& arguments) const {
        SCOPED_TRACE(std::to_string(numberOfRanks) + " ranks, " + testing::PrintToString(arguments));
        auto files = getFiles();
        EXPECT_EQ("", expectRanksSucceed(numberOfRanks, makeArguments("ranks.npy", arguments)).m_output);
        files["ranks.npy"] = files.at("out.npy");
        EXPECT_TRUE(files == getFiles());
        std::filesystem::remove(m_directory.getPathOf("ranks.npy"));
    }

    void expectSameAsOneProcess(const size_t numberOfRanks, const std::vector<std::string>& arguments) const {
        encodeByOneProcess(arguments);
        expectSame(numberOfRanks, arguments);
    }

    /// Expects ranks to end with the same message as one process, word by word, and to leave the files unchanged.
    void expectSameFailure(const size_t numberOfRanks, const std::vector<std::string>& arguments, const int exitCode,
                           const std::string& beginning) const {
        SCOPED_TRACE(std::to_string(numberOfRanks) + " ranks, " + testing::PrintToString(arguments));
        const auto files = getFiles();
        const ToolResult expected = run(arguments);
        EXPECT_EQ(exitCode, expected.m_exitCode);
        EXPECT_EQ(0u, expected.m_errorOutput.find(beginning)) << expected.m_errorOutput;
        const ToolResult result = runRanks(numberOfRanks, arguments);
        EXPECT_EQ(exitCode, result.m_exitCode);
        EXPECT_EQ(nameReader(expected.m_errorOutput, exitCode, numberOfRanks), result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
        EXPECT_TRUE(files == getFiles());
    }
};

TEST_F(RankEncodeProcessTest, rowsAreThoseOfOneProcess) {
    m_directory.addFile("in.nt", makeTriples(5, 20000));
    m_directory.addFile("packed.nt.gz", gzip(makeTriples(2, 700)));
    m_directory.addFile("in.ttl", "@prefix : <urn:> .\n:s :p [ :q \"a\", \"b\" ], ( 1 2.5 \"c\"@en ), <relative> .\n");
    m_directory.addFile("empty.nt", "");
    m_directory.addFile("empty.ttl", "");
    m_directory.addFile("empty.nq.gz", gzip(""));
    std::filesystem::create_directory(m_directory.getPathOf("many"));
    for (int number = 100; number < 130; ++number)
        m_directory.addFile("many/" + std::to_string(number) + (number % 3 == 0 ? ".nt" : ".ttl"),
                            "_:b <urn:p> \"" + std::to_string(number / 5) + "\" .\n");
    const std::vector<std::string> inputs{"in.ttl", "in.nt",       "empty.nt", "packed.nt.gz",
                                          "many",   "empty.nq.gz", "in.nq",    "empty.ttl"};
    load(inputs);
    encodeByOneProcess(inputs);
    for (const size_t numberOfRanks : {1u, 2u, 3u, 4u})
        expectSame(numberOfRanks, inputs);
}

TEST_F(RankEncodeProcessTest, linesThatSlicesAreCutInAreReadOnce) {
    std::string text;
    for (const size_t length : {SlicePlan::SLICE_SIZE - 30, uint64_t(100), 2 * SlicePlan::SLICE_SIZE, uint64_t(100)})
        text += "<urn:s> <urn:p> \"" + std::string(length, 'y') + "\" .\n";
    text.pop_back(); // the last line end
    m_directory.addFile("in.nt", text);
    load({"in.nt"});
    encodeByOneProcess({"in.nt"});
    for (const size_t numberOfRanks : {2u, 3u})
        expectSame(numberOfRanks, {"in.nt"});
}

TEST_F(RankEncodeProcessTest, emptyInputMakesAFileWithoutRows) {
    m_directory.addFile("empty.nt", "");
    load({"in.nq"});
    encodeByOneProcess({"empty.nt"});
    for (const size_t numberOfRanks : {1u, 3u})
        expectSame(numberOfRanks, {"empty.nt"});
}

TEST_F(RankEncodeProcessTest, optionsOfRowsAndOfBlankNodesAreThoseOfOneProcess) {
    m_directory.addFile("in.nt", "_:b <urn:p> \"one\" .\n");
    m_directory.addFile("more.nt", "_:b <urn:p> _:c .\n");
    m_directory.addFile("in.ttl", "<relative> <urn:p> [] .\n");
    const std::vector<std::string> inputs{"in.nt", "more.nt", "in.ttl", "--base", "http://example.org/"};
    load(inputs);
    expectSameAsOneProcess(2, inputs);
    expectSameAsOneProcess(3, inputs + std::vector<std::string>{"--quads"});
    expectSameAsOneProcess(2, inputs + std::vector<std::string>{"--id-width", "8"});
    load({"in.nq", "--blank-nodes", "shared"});
    m_directory.addFile("b.nq", "_:b <urn:p> \"one\" _:g .\n");
    expectSameAsOneProcess(2, {"in.nq", "b.nq", "--blank-nodes", "shared"});
    load({"in.nq"});
    expectSuccess({"load", "b.nq", "in.nt", "--into", "d"}); // their documents are 2 and 3
    expectSameAsOneProcess(2, {"in.nq"});
    const std::string ofFirst = getContentsOf("out.npy");
    expectSameAsOneProcess(2, {"b.nq", "in.nt", "--document", "2"});
    expectSameFailure(2, makeArguments("out.npy", {"in.nt", "--document", "9"}), 1,
                      "in.nt:1: the dictionary does not have ");
    encodeByOneProcess({"in.nq"});
    EXPECT_EQ(ofFirst, getContentsOf("out.npy"));
}

/// Like files on the machines of the ranks.
TEST_F(RankEncodeProcessTest, ranksReadTheFilesThatTheyAreGiven) {
    m_directory.addFile("in.nt", makeTriples(3));
    m_directory.addFile("in.ttl", "<urn:s> <urn:p> <relative>, \"a\" .\n");
    load({"in.nt", "in.ttl", "in.nq"});
    encodeByOneProcess({"in.nt", "in.ttl", "in.nq"});
    expectSame(3, {"--inputs-of-rank", "2:in.nt", "0:in.ttl", "1:in.nq"});
    expectSame(2, {"--inputs-of-rank", "1:in.nt", "1:in.ttl", "1:in.nq"});
    expectRanksFail(2, makeArguments("e.npy", {"--inputs-of-rank", "0:in.nt", "2:in.nq"}), 2,
                    "'in.nq' is of rank 2, and the ranks are 0 to 1");
    expectRanksFail(2, makeArguments("in.nt", {"--inputs-of-rank", "0:in.nt"}), 2,
                    "the input 'in.nt' is also the output 'in.nt'");
    const ToolResult result = runRanks(2, makeArguments("e.npy", {"--inputs-of-rank", "0:in.nt", "1:missing.nt"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(nameRank(1) + "missing.nt: No such file or directory\n", result.m_errorOutput);
    EXPECT_FALSE(exists("e.npy"));
}

TEST_F(RankEncodeProcessTest, aTermThatIsMissingIsReportedAsByOneProcess) {
    const std::string text = makeTriples(3);
    m_directory.addFile("in.nt", text);
    load({"in.nt"});
    const auto insert = [&text](const size_t place, const std::string& line) {
        const size_t begin = text.find('\n', place) + 1;
        return text.substr(0, begin) + line + text.substr(begin);
    };
    const std::string missing = "<urn:missing> <urn:p> \"missing\" .\n";
    m_directory.addFile("first.nt", insert(0, missing));
    m_directory.addFile("second.nt", insert(SlicePlan::SLICE_SIZE + 100, missing));
    m_directory.addFile("last.nt", text + "<http://example.org/subject/1> <urn:p> \"missing\"@en");
    expectSameFailure(1, makeArguments("out.npy", {"first.nt"}), 1, "first.nt:2: the dictionary does not have ");
    for (const bool isThere : {false, true}) {
        SCOPED_TRACE(isThere);
        expectSameFailure(3, makeArguments("out.npy", {"in.nt", "second.nt", "in.nt", "first.nt"}), 1, "second.nt:");
        expectSameFailure(2, makeArguments("out.npy", {"in.nt", "last.nt"}), 1, "last.nt:");
        encodeByOneProcess({"in.nt"}); // which stays unchanged
    }
}

TEST_F(RankEncodeProcessTest, theFirstErrorIsReportedAndNoOther) {
    const std::string missing = "<urn:s> <urn:p> \"missing\" .\n";
    const std::string refused = "<urn:s> <urn:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
    const std::string noStatement = "no statement\n";
    m_directory.addFile("in.nt", makeTriples(1));
    load({"in.nq", "in.nt"});
    for (const std::vector<std::string>& lines : {std::vector<std::string>{missing, refused, noStatement},
                                                  {missing, noStatement, refused},
                                                  {refused, missing},
                                                  {noStatement, missing},
                                                  {"<urn:s> <urn:missing> no term .\n", missing}}) {
        std::string text;
        for (const std::string& line : lines)
            text += "<urn:s> <urn:p> \"one\" .\n" + line;
        m_directory.addFile("bad.nt", text);
        expectSameFailure(2, makeArguments("out.npy", {"in.nq", "bad.nt", "in.nq"}), 1, "bad.nt:2:");
    }
    m_directory.addFile("bad.nt.gz", gzip(getContentsOf("in.nt")).substr(0, 1000));
    expectSameFailure(2, makeArguments("out.npy", {"bad.nt.gz"}), 3, "bad.nt.gz:");
    m_directory.addFile("bad.ttl", "<urn:s> <urn:p> \"one\" .\n<urn:s> <urn:p> .\n");
    expectSameFailure(3, makeArguments("out.npy", {"in.nq", "bad.ttl"}), 1, "bad.ttl:2:");
}

TEST_F(RankEncodeProcessTest, theDictionaryMustBeAFolderOfShards) {
    load({"in.nq"});
    expectSuccess({"load", "in.nq", "-o", "file"});
    std::filesystem::create_directory(m_directory.getPathOf("folder"));
    for (const std::string name : {"file", "missing", "folder"})
        expectRanksFail(2, {"encode", "in.nq", "-d", name, "-o", "out.npy"}, 3,
                        "'" + name + "' is not a folder of shards: there is no file '" + name + "/manifest'");
    m_directory.addFile("d/manifest", "no manifest");
    const ToolResult result = runRanks(2, makeArguments("out.npy", {"in.nq"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find(nameRank(0))) << result.m_errorOutput;
    EXPECT_FALSE(exists("out.npy") || exists("out.npy.saving"));
}

TEST_F(RankEncodeProcessTest, aShardThatIsDamagedIsReported) {
    load({"in.nq"});
    for (const auto& entry : std::filesystem::directory_iterator(m_directory.getPathOf("d")))
        if (entry.path().filename() != "manifest" && entry.file_size() > 0)
            std::filesystem::resize_file(entry.path(), 10);
    const ToolResult result = runRanks(3, makeArguments("out.npy", {"in.nq"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("melnar-dict-mpi: rank ")) << result.m_errorOutput;
    EXPECT_FALSE(exists("out.npy") || exists("out.npy.saving"));
}

TEST_F(RankEncodeProcessTest, anOutputThatWouldDestroySomethingIsRefusedOnce) {
    load({"in.nq"});
    expectSuccess({"load", "in.nq", "-o", "file"});
    const auto expectRefused = [this](const std::string& output, const std::string& message) {
        expectRanksFail(3, makeArguments(output, {"in.nq"}), 2, message);
    };
    expectRefused("in.nq", "the input 'in.nq' is also the output 'in.nq'");
    expectRefused("d/manifest", "'d/manifest' is in the folder of a dictionary; --force writes it nevertheless");
    expectRefused("file", "'file' is a dictionary; --force replaces it");
    expectRefused("-", "OUT must be a file; '-' is standard input or output, and './-' is a file of that name");
    encodeByOneProcess({"in.nq"});
    const std::string rows = getContentsOf("out.npy");
    expectRanksSucceed(2, makeArguments("file", {"in.nq", "--force"}));
    EXPECT_EQ(rows, getContentsOf("file"));
}

TEST_F(RankEncodeProcessTest, wrongCommandLinesAndInputsAreReportedOnce) {
    load({"in.nq"});
    expectRanksFail(3, {"encode", "in.nq", "-d", "d"}, 2, "encode needs -o OUT");
    expectRanksFail(2, makeArguments("out.npy", {"in.nq", "--threads", "2"}), 2, "unknown option --threads");
    expectRanksFail(2, makeArguments("out.npy", {"-", "--format", "nt"}), 2,
                    "several processes cannot read standard input");
    expectRanksFail(3, makeArguments("out.npy", {"in.nq", "missing.nt"}), 3, "missing.nt: No such file or directory");
    const std::string help = expectRanksSucceed(2, {"encode", "--help"}).m_output;
    EXPECT_EQ(0u, help.find("usage: melnar-dict-mpi encode ")) << help;
    EXPECT_EQ(help.find("--dictionary "), help.rfind("--dictionary ")) << help;
}

TEST_F(RankEncodeProcessTest, anOutputThatAnotherProcessIsWritingIsLeftAlone) {
    load({"in.nq"});
    m_directory.addFile("out.npy.lock", "");
    const FileDescriptor lock(::open(m_directory.getPathOf("out.npy.lock").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(0, ::flock(lock.get(), LOCK_EX));
    const ToolResult result = runRanks(2, makeArguments("out.npy", {"in.nq"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find(nameRank(0) + "'out.npy' is being written by ")) << result.m_errorOutput;
    EXPECT_EQ(result.m_errorOutput.size() - 1, result.m_errorOutput.find('\n'));
    EXPECT_FALSE(exists("out.npy") || exists("out.npy.saving"));
}

/// The disk of a rank other than the first, which also writes rows.
TEST_F(RankEncodeProcessTest, aDiskThatIsFullForARankLeavesTheOldRows) {
    m_directory.addFile("in.nt", makeTriples(4));
    load({"in.nt"});
    m_directory.addFile("out.npy", "old");
    const auto files = getFiles();
    const ToolResult result = runRanks({{1}, {1, "ulimit -f 40"}}, makeArguments("out.npy", {"in.nt"}));
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find(nameRank(1) + "Cannot write file '")) << result.m_errorOutput;
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("(File too large)")) << result.m_errorOutput;
    EXPECT_TRUE(files == getFiles());
}

} // namespace
