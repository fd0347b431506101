#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/load/LoadProcessTest.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* const WAY_OUT = " This program cannot resume the interrupted load. If 'd/work-manifest' is "
                                      "removed, the same command starts anew.\n";

/// Makes several blocks of a mebibyte with `numberOfTexts` texts. Each shard that gets a term takes time to save.
std::string makeTriples(const size_t numberOfBlocks, const size_t numberOfTexts = 50) {
    std::string text;
    for (size_t number = 0; text.size() < numberOfBlocks << 20; ++number)
        text += "<http://example.org/subject/" + std::to_string(number % 10) + "> <urn:p> \"text " +
                std::to_string(number * 7 % numberOfTexts) + " " + std::string(200, 'x') + "\"" +
                (number % numberOfTexts % 3 == 0 ? "@en .\n" : " .\n");
    return text;
}

/// A load into shards as a process, run where its files are.
class LoadShardsTest : public LoadProcessTest {
protected:
    /// Returns the names of the files beside the folders.
    std::vector<std::string> getNames() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory.getPathOf("")))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }
};

TEST_F(LoadShardsTest, rowsAppearTogetherWithTheFolderAndMeanTheStatements) {
    const ToolResult result = expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "T.npy"});
    EXPECT_EQ(0u, result.m_output.find("triples                                 6\n")) << result.m_output;
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
    expectSuccess({"encode", "in.nq", "-d", "d", "-o", "E.npy"});
    EXPECT_EQ(getContentsOf("T.npy"), getContentsOf("E.npy")) << "encode writes the same";
    expectSuccess({"verify", "d"});
    for (const auto& [name, contents] : getFiles("d"))
        EXPECT_TRUE(name == "manifest" || name.starts_with("shard-")) << name;
    EXPECT_EQ((std::vector<std::string>{"E.npy", "T.npy", "bad.nq", "d", "in.nq", "more.nq"}), getNames());
}

TEST_F(LoadShardsTest, folderAndRowsAreTheSameWithAnyThreadsAndMemory) {
    const std::string text = makeTriples(5, 120);
    m_directory.addFile("in.nt", text.substr(0, text.find('\n', text.size() / 2) + 1));
    m_directory.addFile("rest.nt.gz", gzip(text.substr(text.find('\n', text.size() / 2) + 1)));
    expectSuccess({"load", "--shards", "in.nt", "rest.nt.gz", "-o", "d", "--ids", "d.npy", "--threads", "1"});
    EXPECT_TRUE(text == decode("d.npy", "d"));
    const auto expected = getFiles("d");
    for (const std::vector<std::string>& options :
         std::vector<std::vector<std::string>>{{"--threads", "2"},
                                               {"--threads", "7", "--checkpoint", "2b"},
                                               {"--threads", "1", "--memory-limit", "76M"},
                                               {"--threads", "3", "--memory-limit", "130M", "--checkpoint", "1b"},
                                               {"--threads", "3", "--memory-limit", "124M", "--checkpoint", "0"}}) {
        SCOPED_TRACE(testing::PrintToString(options));
        std::vector<std::string> arguments{"load", "--shards", "in.nt", "rest.nt.gz", "-o", "e", "--ids", "e.npy"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectSuccess(arguments);
        EXPECT_TRUE(expected == getFiles("e"));
        EXPECT_TRUE(getContentsOf("d.npy") == getContentsOf("e.npy"));
        std::filesystem::remove_all(m_directory.getPathOf("e"));
    }
}

TEST_F(LoadShardsTest, turtleAndPackedInputGiveWhatAPlainDictionaryGives) {
    m_directory.addFile("in.ttl", "@prefix : <urn:> .\n:s :p [ :q \"a\", \"b\" ], ( 1 2.5 \"c\"@en ) .\n");
    m_directory.addFile("in.nt.gz", gzip(makeTriples(1)));
    expectSuccess({"load", "in.ttl", "in.nt.gz", "in.nq", "-o", "plain", "--ids", "plain.npy"});
    expectSuccess({"load", "--shards", "in.ttl", "in.nt.gz", "in.nq", "-o", "d", "--ids", "d.npy"});
    EXPECT_TRUE(decode("plain.npy", "plain") == decode("d.npy", "d"));
}

TEST_F(LoadShardsTest, theFiguresAreThoseOfAPlainLoad) {
    m_directory.addFile("in.nt", makeTriples(2));
    m_directory.addFile("mixed.nq", std::string(QUADS) + "no statement\n" + MORE_QUADS);
    const std::vector<std::string> inputs{"in.nt", "mixed.nq", "in.nq", "--lenient", "--quiet"};
    const auto getFigures = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), inputs.begin(), inputs.end());
        nlohmann::json json = nlohmann::json::parse(expectSuccess(arguments).m_output);
        for (const char* const key : {"memoryBytes", "seconds", "literalsPerSecond", "termsPerSecond"}) {
            EXPECT_TRUE(json.contains(key)) << key;
            json.erase(key);
        }
        return json;
    };
    const nlohmann::json plain = getFigures({"load", "-o", "plain", "--json"});
    EXPECT_EQ(1, plain["errors"]);
    EXPECT_EQ(plain, getFigures({"load", "--shards", "-o", "d", "--json"}));
    EXPECT_EQ(plain, getFigures({"load", "--shards", "-o", "e", "--json", "--threads", "1", "--memory-limit", "76M"}));
    EXPECT_EQ(getFigures({"load", "--into", "plain", "--json"}), getFigures({"load", "--into", "d", "--json"}));
}

TEST_F(LoadShardsTest, lookupsAreAnswered) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d"});
    const auto lookUp = [this](const std::string& term) {
        const std::string line = expectSuccess({"lookup", "d", term}).m_output;
        return line.substr(0, line.find_first_not_of("0123456789"));
    };
    const std::string tagged = lookUp("\"one\"@en-GB");
    const std::string blank = lookUp("_:b");
    const std::string iri = lookUp("<urn:p>");
    const ToolResult result =
        run({"load", "--shards", "in.nq", "-o", "e", "--query", "\"one\"@en-GB", "--query", "\"none\"", "--query",
             "_:b", "--get", iri, "--get", tagged, "--get", "0", "--get", "123456789"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    const std::string expected = tagged + "\t\"one\"@en-GB\nnot found\t\"none\"\n" + blank + "\t_:b\n" + iri +
                                 "\t<urn:p>\n" + tagged + "\t\"one\"@en-GB\nnot found\t0\nnot found\t123456789\n";
    EXPECT_TRUE(result.m_output.ends_with(expected)) << result.m_output;
}

TEST_F(LoadShardsTest, aFolderThatGrowsKeepsItsIDs) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "T.npy"});
    const std::string before = run({"dump", "d"}).m_output;
    const auto old = getFiles("d");
    expectSuccess({"load", "more.nq", "in.nq", "--into", "d", "-o", "e", "--ids", "U.npy"});
    EXPECT_TRUE(old == getFiles("d"));
    expectSuccess({"load", "more.nq", "in.nq", "--into", "d/", "--ids", "V.npy", "--threads", "2"});
    EXPECT_TRUE(getFiles("e") == getFiles("d"));
    EXPECT_EQ(getContentsOf("U.npy"), getContentsOf("V.npy"));
    EXPECT_EQ(QUADS, decode("T.npy", "d")) << "old rows mean what they meant";
    const std::string statements = decode("U.npy", "e");
    EXPECT_EQ(0u, statements.find(MORE_QUADS));
    EXPECT_NE(std::string::npos, statements.find("_:doc3-b <urn:p> \"one\"@en-GB <urn:g> .\n")) << statements;
    const ToolResult refusal = run({"load", "in.nq", "--into", "e", "--shards", "-o", "plain", "--order", "any"});
    EXPECT_EQ(2, refusal.m_exitCode);
    std::string after = run({"dump", "d"}).m_output;
    for (size_t begin = 0; begin < before.size(); begin = before.find('\n', begin) + 1) {
        const std::string line = before.substr(begin, before.find('\n', begin) + 1 - begin);
        EXPECT_NE(std::string::npos, after.find(line)) << line;
    }
}

TEST_F(LoadShardsTest, nothingNewLeavesTheShards) {
    expectSuccess({"load", "--shards", "more.nq", "-o", "d"});
    auto files = getFiles("d");
    expectSuccess({"load", "more.nq", "--into", "d"});
    auto after = getFiles("d");
    files.erase("manifest"); // it lists the inputs
    after.erase("manifest");
    EXPECT_EQ(files, after);
    m_directory.addFile("empty.nt", "");
    expectSuccess({"load", "--shards", "empty.nt", "-o", "none", "--ids", "none.npy"});
    EXPECT_EQ(1u, getFiles("none").size());
    EXPECT_EQ(NpyHeader::SIZE, getContentsOf("none.npy").size());
    expectSuccess({"verify", "none"});
    expectSuccess({"load", "more.nq", "--into", "none", "--ids", "T.npy"});
    EXPECT_EQ(MORE_QUADS, decode("T.npy", "none"));
}

TEST_F(LoadShardsTest, aDictionaryIsReplacedByAnotherOne) {
    expectSuccess({"load", "--shards", "more.nq", "-o", "d"});
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "T.npy"});
    expectSuccess({"load", "--shards", "in.nq", "-o", "e"});
    EXPECT_TRUE(getFiles("e") == getFiles("d"));
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
}

TEST_F(LoadShardsTest, blankNodesMayBeShared) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d"});
    expectSuccess({"load", "in.nq", "--into", "d", "--blank-nodes", "shared", "--ids", "T.npy"});
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
}

TEST_F(LoadShardsTest, rowsHaveTheRequestedWidthAndColumns) {
    m_directory.addFile("in.nt", "<urn:s> <urn:p> <urn:o> .\n");
    for (const auto& [options, rowSize] : std::vector<std::pair<std::vector<std::string>, size_t>>{
             {{}, 12}, {{"--id-width", "8"}, 24}, {{"--quads"}, 16}, {{"--quads", "--id-width", "8"}, 32}}) {
        std::vector<std::string> arguments{"load", "--shards", "in.nt", "-o", "d", "--ids", "T.npy"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectSuccess(arguments);
        EXPECT_EQ(NpyHeader::SIZE + rowSize, getContentsOf("T.npy").size());
        EXPECT_EQ("<urn:s> <urn:p> <urn:o> .\n", decode("T.npy", "d"));
    }
}

TEST_F(LoadShardsTest, standardOutputHasTheRowsAlone) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "T.npy"});
    const ToolResult result = expectSuccess({"load", "--shards", "in.nq", "-o", "e", "--ids", "-", "--quiet"});
    EXPECT_EQ(getContentsOf("T.npy").substr(NpyHeader::SIZE), result.m_output);
    EXPECT_TRUE(getFiles("d") == getFiles("e"));
}

TEST_F(LoadShardsTest, standardInputAndPipesAreRead) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d"});
    ToolInput input = getInput();
    input.m_input = QUADS;
    const ToolResult result = runToolProcess(
        {"load", "--shards", "-", "--format", "nq", "-o", "e", "--checkpoint", "1b", "--query", "\"one\""}, input);
    EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    auto expected = getFiles("d");
    auto files = getFiles("e");
    expected.erase("manifest"); // it names the input
    files.erase("manifest");
    EXPECT_TRUE(expected == files);
    ASSERT_EQ(0, ::mkfifo(m_directory.getPathOf("pipe.nq").c_str(), 0600));
    for (int round = 0; round < 2; ++round) { // in the second one the folder exists
        RunningTool tool({"load", "--shards", "pipe.nq", "-o", "f"}, getInput());
        const int pipeEnd = ::open(m_directory.getPathOf("pipe.nq").c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(1, ::write(pipeEnd, "\n", 1));
        ::close(pipeEnd);
        const ToolResult piped = tool.wait();
        EXPECT_EQ(0, piped.m_exitCode) << piped.m_errorOutput;
    }
}

TEST_F(LoadShardsTest, wrongCommandLinesAreRefused) {
    expectSuccess({"load", "in.nq", "-o", "plain"});
    expectRefusal({"load", "--shards", "in.nq"}, "--shards needs -o, the folder of the dictionary");
    expectRefusal({"load", "--shards", "in.nq", "-o", "d", "--strings-only"},
                  "--strings-only is for a dictionary without shards");
    expectRefusal({"load", "--shards", "in.nq", "-o", "d", "--order", "any"},
                  "the IDs of shards follow the order of the input: --order any is for a dictionary without shards");
    expectRefusal({"load", "--shards", "in.nq", "-o", "d", "--max-resources", "10"},
                  "--max-resources is for a dictionary without shards");
    expectRefusal({"load", "--shards", "in.nq", "--into", "plain"},
                  "--shards cannot add to 'plain', which is a dictionary without shards");
    expectRefusal({"load", "--shards", "in.nq", "--into", "missing"},
                  "--shards cannot add to 'missing', which is a dictionary without shards");
    expectRefusal({"load", "in.nq", "-o", "d", "--checkpoint", "5"}, "--checkpoint is for a dictionary of shards");
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--order", "input"});
    expectRefusal({"load", "in.nq", "-o", "d"}, "'d' exists and is not a regular file, so it cannot be replaced");
    expectSuccess({"load", "in.nq", "--into", "d", "--checkpoint", "5"});
}

TEST_F(LoadShardsTest, outputsThatWouldDestroySomethingAreRefused) {
    expectRefusal({"load", "--shards", "in.nq", "-o", "more.nq"},
                  "'more.nq' exists and is not a folder; a dictionary of shards is a folder");
    expectRefusal({"load", "--shards", "in.nq", "-o", "more.nq", "--force"},
                  "'more.nq' exists and is not a folder; a dictionary of shards is a folder");
    std::filesystem::create_directory(m_directory.getPathOf("notes"));
    for (const char* const name : {"notes/work-plan.txt", "notes/manifesto"}) {
        m_directory.addFile(name, "my own");
        expectRefusal({"load", "--shards", "in.nq", "-o", "notes"},
                      "the folder 'notes' is not empty and has no dictionary; --force adds one to it");
        if (name == std::string("notes/work-plan.txt"))
            std::filesystem::rename(m_directory.getPathOf(name), m_directory.getPathOf("work-plan.txt"));
    }
    std::filesystem::rename(m_directory.getPathOf("work-plan.txt"), m_directory.getPathOf("notes/work-plan.txt"));
    expectSuccess({"load", "--shards", "in.nq", "-o", "notes", "--force"});
    expectSuccess({"load", "--into", "notes", "more.nq"});
    EXPECT_EQ("my own", getContentsOf("notes/work-plan.txt"));
    EXPECT_EQ("my own", getContentsOf("notes/manifesto"));
    std::filesystem::copy(m_directory.getPathOf("in.nq"), m_directory.getPathOf("notes/in.nq"));
    for (const char* const force : {"--quiet", "--force"})
        expectRefusal({"load", "--shards", "notes/in.nq", "-o", "notes", force},
                      "the input 'notes/in.nq' is in the folder of the dictionary");
}

TEST_F(LoadShardsTest, rowsAndRejectedStatementsStayOutOfTheFolder) {
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "--shards", "in.nq", "-o", "d"});
        for (const std::string name : {"d/T.npy", "./d/T.npy", "d/manifest", "d/work-rows"})
            expectRefusal({"load", "--shards", "in.nq", "-o", "d", "--ids", name, "--force"},
                          "'" + name + "' is in the folder of the dictionary");
        expectRefusal({"load", "--shards", "in.nq", "-o", "d/", "--lenient", "--rejected", "d/r", "--force"},
                      "'d/r' is in the folder of the dictionary");
    }
    expectRefusal({"load", "--shards", "in.nq", "more.nq", "-o", "e", "--ids", "more.nq"},
                  "the input 'more.nq' is also the output 'more.nq'");
    EXPECT_FALSE(exists("e"));
}

TEST_F(LoadShardsTest, anErrorLeavesTheOldFiles) {
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "--shards", "more.nq", "-o", "d", "--ids", "T.npy"});
        const auto files = getFiles();
        for (const char* const threads : {"1", "3"})
            for (const std::string name : {"bad.nq", "missing.nq"}) {
                const ToolResult result =
                    run({"load", "--shards", "in.nq", name, "-o", "d", "--ids", "T.npy", "--threads", threads});
                EXPECT_EQ(name == "bad.nq" ? 1 : 3, result.m_exitCode);
                EXPECT_EQ(0u, result.m_errorOutput.find(name)) << result.m_errorOutput;
                EXPECT_EQ("", result.m_output);
                EXPECT_TRUE(files == getFiles());
            }
    }
    const auto files = getFiles("d");
    EXPECT_EQ(1, run({"load", "bad.nq", "--into", "d"}).m_exitCode);
    EXPECT_TRUE(files == getFiles("d"));
}

TEST_F(LoadShardsTest, aDiskThatIsFullLeavesTheOldFiles) {
    m_directory.addFile("in.nt", makeTriples(2));
    for (const bool isThere : {false, true}) {
        if (isThere)
            expectSuccess({"load", "--shards", "more.nq", "-o", "d", "--ids", "T.npy"});
        const auto files = getFiles();
        for (const char* const memory : {"1G", "76M"})
            for (const std::string limit : {"0", "1", "40", "200"}) { // half-kilobytes
                ToolInput input = getInput();
                input.m_shellCommands = "ulimit -f " + limit;
                const ToolResult result = runToolProcess({"load", "--shards", "in.nt", "-o", "d", "--ids", "T.npy",
                                                          "--memory-limit", memory, "--threads", "1"},
                                                         input);
                EXPECT_EQ(3, result.m_exitCode) << limit << ' ' << memory;
                EXPECT_EQ(limit != "0", result.m_errorOutput.find("File too large") != std::string::npos)
                    << result.m_errorOutput << " (which is a file, too)";
                for (const auto& [name, contents] : files)
                    EXPECT_TRUE(!isThere || contents == getFiles()[name]) << name;
                EXPECT_EQ(isThere, exists("T.npy"));
            }
    }
    expectSuccess({"load", "--shards", "in.nt", "-o", "d", "--ids", "T.npy"});
    EXPECT_TRUE(getContentsOf("in.nt") == decode("T.npy", "d"));
}

TEST_F(LoadShardsTest, documentsThatFollowSharedLabelsAreOthers) {
    m_directory.addFile("one.nt", "_:b <urn:p> \"one\" .\n");
    for (const bool makesShards : {false, true}) {
        std::vector<std::string> arguments{"load", "one.nt", "-o", "d", "--blank-nodes", "shared"};
        if (makesShards)
            arguments.emplace_back("--shards");
        expectSuccess(arguments);
        expectSuccess({"load", "one.nt", "--into", "d"});
        const std::string terms = run({"dump", "d"}).m_output;
        EXPECT_NE(std::string::npos, terms.find("\t_:b\n")) << terms;
        EXPECT_NE(std::string::npos, terms.find("\t_:doc2-b\n")) << terms;
        std::filesystem::remove_all(m_directory.getPathOf("d"));
    }
}

TEST_F(LoadShardsTest, aLoadThatAnErrorHasEndedResumesLeniently) {
    m_directory.addFile("in.nt", makeTriples(3) + "no statement\n" + makeTriples(1));
    const std::vector<std::string> load{"load", "--shards", "in.nt", "--ids", "T.npy", "--checkpoint", "1b", "-o"};
    const auto with = [](std::vector<std::string> arguments, const std::vector<std::string>& more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    };
    const ToolResult undisturbed = run(with(load, {"e", "--lenient"}));
    EXPECT_EQ(0, undisturbed.m_exitCode);
    const std::string rows = getContentsOf("T.npy");
    std::filesystem::remove(m_directory.getPathOf("T.npy"));
    EXPECT_EQ(1, run(with(load, {"d"})).m_exitCode);
    EXPECT_TRUE(exists("d/work-manifest"));
    EXPECT_FALSE(exists("T.npy") || exists("d/manifest"));
    const ToolResult result = run(with(load, {"d", "--lenient"}));
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("resuming the interrupted load, ")) << result.m_errorOutput;
    EXPECT_EQ(rows, getContentsOf("T.npy"));
    EXPECT_TRUE(getFiles("e") == getFiles("d"));
}

TEST_F(LoadShardsTest, aDamagedDictionaryIsReplacedAndNotAddedTo) {
    expectSuccess({"load", "--shards", "more.nq", "-o", "d"});
    std::string manifest = getContentsOf("d/manifest");
    manifest[manifest.size() / 2] ^= 1;
    m_directory.addFile("d/manifest", manifest);
    EXPECT_EQ(3, run({"load", "in.nq", "--into", "d"}).m_exitCode);
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "T.npy"});
    EXPECT_EQ(QUADS, decode("T.npy", "d"));
    expectSuccess({"verify", "d"});
}

TEST_F(LoadShardsTest, nothingIsAddedToAFolderWithoutAManifest) {
    std::filesystem::create_directory(m_directory.getPathOf("empty"));
    const ToolResult result = run({"load", "in.nq", "--into", "empty"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("melnar-dict: 'empty' is not a folder of shards: there is no file 'empty/manifest'\n",
              result.m_errorOutput);
}

TEST_F(LoadShardsTest, aManifestOfSomethingElseIsNotReplaced) {
    std::filesystem::create_directory(m_directory.getPathOf("project"));
    m_directory.addFile("project/manifest", "of something else");
    const ToolResult result = run({"load", "in.nq", "--shards", "-o", "project"});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("melnar-dict: the folder 'project' is not empty and has no dictionary; --force adds one to it\n",
              result.m_errorOutput);
    EXPECT_EQ("of something else", getContentsOf("project/manifest"));
}

TEST_F(LoadShardsTest, aMemoryLimitThatIsTooSmallIsReported) {
    const ToolResult result = run({"load", "--shards", "in.nq", "-o", "d", "--memory-limit", "40M", "--threads", "1"});
    EXPECT_EQ(2, result.m_exitCode);
    const std::string beginning = "melnar-dict: --memory-limit 40M is too small: with 1 thread it must be ";
    ASSERT_EQ(0u, result.m_errorOutput.find(beginning)) << result.m_errorOutput;
    EXPECT_FALSE(exists("d"));
    const std::string needed =
        result.m_errorOutput.substr(beginning.size(), result.m_errorOutput.find(" or more\n") - beginning.size());
    m_directory.addFile("in.nt", makeTriples(3));
    expectSuccess({"load", "--shards", "in.nt", "-o", "d", "--ids", "T.npy", "--memory-limit", needed, "--threads", "1",
                   "--checkpoint", "1b"});
    EXPECT_TRUE(getContentsOf("in.nt") == decode("T.npy", "d"));
}

/// A load is held in the middle: it reports more errors than a pipe holds. The blocks before have been saved.
class HeldLoadShardsTest : public LoadShardsTest {
protected:
    HeldLoadShardsTest() {
        std::string text = makeTriples(3);
        for (size_t number = 0; number < 10000; ++number)
            text += "no statement " + std::to_string(number) + "\n";
        m_directory.addFile("held.nt", text + makeTriples(2));
        EXPECT_EQ(0, ::pipe2(m_ends.data(), O_CLOEXEC));
    }

    ~HeldLoadShardsTest() override {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }

    static std::vector<std::string> getArguments(const std::vector<std::string>& more) {
        std::vector<std::string> arguments{"load", "held.nt", "--lenient", "--errors",     "1000000", "--threads",
                                           "2",    "--ids",   "T.npy",     "--checkpoint", "1b"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// Starts a load and returns when it is held.
    std::unique_ptr<RunningTool> startHeld(const std::vector<std::string>& more) {
        ToolInput input = getInput();
        input.m_errorDescriptor = m_ends[1];
        auto tool = std::make_unique<RunningTool>(getArguments(more), input);
        char character = 0;
        EXPECT_EQ(1, ::read(m_ends[0], &character, 1));
        EXPECT_EQ('h', character) << "of held.nt, whose errors are reported";
        return tool;
    }

    /// Kills a load in the middle.
    void kill(const std::vector<std::string>& more) {
        const std::unique_ptr<RunningTool> tool = startHeld(more);
        tool->send(SIGKILL);
        EXPECT_EQ(SIGKILL, tool->wait().m_signalNumber);
    }

    /// Runs the same load to its end. Returns its first message.
    std::string finish(const std::vector<std::string>& more) const {
        const ToolResult result = run(getArguments(more));
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        return result.m_errorOutput.substr(0, result.m_errorOutput.find('\n') + 1);
    }

    /// Returns the files that an undisturbed load makes.
    std::map<std::string, std::string> getExpected(const std::vector<std::string>& more) const {
        EXPECT_EQ(0u, finish(more).find("held.nt:"));
        std::map<std::string, std::string> files = getFiles("d");
        files["T.npy"] = getContentsOf("T.npy");
        std::filesystem::remove_all(m_directory.getPathOf("d"));
        std::filesystem::remove(m_directory.getPathOf("T.npy"));
        return files;
    }

    void expectFiles(std::map<std::string, std::string> expected) const {
        EXPECT_TRUE(expected["T.npy"] == getContentsOf("T.npy"));
        expected.erase("T.npy");
        EXPECT_TRUE(expected == getFiles("d"));
    }

    /// Makes a new pipe for the next load, since the old one is full.
    void renewPipe() {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
        EXPECT_EQ(0, ::pipe2(m_ends.data(), O_CLOEXEC));
    }

    std::array<int, 2> m_ends{}; // of a pipe for standard error
};

TEST_F(HeldLoadShardsTest, aLoadThatWasKilledIsResumed) {
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--shards", "-o", "d"}, {"--shards", "-o", "d", "--memory-limit", "100M"}}) {
        const auto expected = getExpected(options);
        kill(options);
        EXPECT_TRUE(exists("d/work-manifest"));
        EXPECT_FALSE(exists("d/manifest") || exists("T.npy"));
        const std::string note = finish(options);
        EXPECT_EQ(0u, note.find("resuming the interrupted load, which has ")) << note;
        expectFiles(expected);
        EXPECT_EQ(0u, finish(options).find("held.nt:")) << "from its start";
        expectFiles(expected);
        std::filesystem::remove_all(m_directory.getPathOf("d"));
        std::filesystem::remove(m_directory.getPathOf("T.npy"));
        renewPipe();
    }
}

TEST_F(HeldLoadShardsTest, otherThreadsAndMemoryAreTheSameLoad) {
    const auto expected = getExpected({"--shards", "-o", "d"});
    kill({"--shards", "-o", "d", "--memory-limit", "100M"});
    EXPECT_EQ(
        0u,
        finish({"--shards", "-o", "d", "--threads", "1", "--checkpoint", "0"}).find("resuming the interrupted load, "));
    expectFiles(expected);
}

TEST_F(HeldLoadShardsTest, readersSeeTheOldDictionaryUntilTheLoadIsDone) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "old.npy"});
    const auto old = getFiles("d");
    expectSuccess({"load", "--into", "d", "-o", "e", "more.nq"});
    kill({"--into", "d"});
    EXPECT_TRUE(exists("d/work-manifest"));
    const auto files = getFiles("d");
    for (const auto& [name, contents] : old)
        EXPECT_TRUE(files.contains(name) && files.at(name) == contents) << name;
    EXPECT_EQ(QUADS, decode("old.npy", "d"));
    expectSuccess({"verify", "d"});
    EXPECT_EQ(0u, finish({"--into", "d"}).find("resuming the interrupted load, "));
    EXPECT_EQ(QUADS, decode("old.npy", "d"));
    expectSuccess({"verify", "d"});
    EXPECT_FALSE(exists("d/work-manifest"));
}

TEST_F(HeldLoadShardsTest, aLoadThatAddsToAnotherFolderResumesThere) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "old"});
    const auto old = getFiles("old");
    const auto expected = getExpected({"--into", "old", "-o", "d"});
    kill({"--into", "old", "-o", "d"});
    EXPECT_EQ(0u, finish({"--into", "old", "-o", "d"}).find("resuming the interrupted load, "));
    expectFiles(expected);
    EXPECT_TRUE(old == getFiles("old"));
    renewPipe();
    std::filesystem::remove_all(m_directory.getPathOf("d"));
    kill({"--into", "old", "-o", "d"});
    expectSuccess({"load", "more.nq", "--into", "old"});
    EXPECT_EQ("discarding another, interrupted load into 'd'\n", finish({"--into", "old", "-o", "d", "--force"}))
        << "as the dictionary is another one";
}

/// It is refused unless it is forced, so that a mistake does not lose hours of work.
TEST_F(HeldLoadShardsTest, anotherLoadIsRefusedOrDiscardsTheUnfinishedOne) {
    const std::vector<std::string> options{"--shards", "-o", "d"};
    const std::string refusal =
        "melnar-dict: the folder 'd' has an unfinished load of other files, of files that have changed or no longer "
        "exist, or with other options; the same command resumes it, and --force discards it\n";
    const std::string note = "discarding another, interrupted load into 'd'\n";
    for (const std::string change : {"input", "gone", "size", "time", "base", "columns"}) {
        SCOPED_TRACE(change);
        kill(options);
        const auto unfinished = getFiles("d");
        std::vector<std::string> arguments = getArguments(options);
        const std::string held = getContentsOf("held.nt");
        if (change == "input")
            arguments = {"load", "--shards", "in.nq", "-o", "d"};
        else if (change == "gone")
            std::filesystem::remove(m_directory.getPathOf("held.nt"));
        else if (change == "size")
            m_directory.addFile("held.nt", held + "\n");
        else if (change == "time")
            std::filesystem::last_write_time(m_directory.getPathOf("held.nt"),
                                             std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
        else if (change == "base")
            arguments.insert(arguments.end(), {"--base", "http://base/"});
        else
            arguments.emplace_back("--quads");
        const ToolResult refused = run(arguments);
        EXPECT_EQ(2, refused.m_exitCode);
        EXPECT_EQ(refusal, refused.m_errorOutput);
        for (const auto& [name, contents] : unfinished)
            EXPECT_TRUE(name.ends_with(".lock") || getFiles("d")[name] == contents) << name;
        if (change != "gone") {
            arguments.emplace_back("--force");
            const ToolResult forced = run(arguments);
            EXPECT_EQ(0, forced.m_exitCode) << forced.m_errorOutput;
            EXPECT_EQ(0u, forced.m_errorOutput.find(note)) << forced.m_errorOutput.substr(0, 200);
            const auto files = getFiles("d");
            std::filesystem::remove_all(m_directory.getPathOf("d"));
            EXPECT_EQ(0, run(arguments).m_exitCode);
            EXPECT_TRUE(files == getFiles("d")) << "nothing of the other load has stayed";
        }
        m_directory.addFile("held.nt", held);
        std::filesystem::remove_all(m_directory.getPathOf("d"));
        renewPipe();
    }
}

/// If the names exceed a mebibyte, a checksum identifies the load.
TEST_F(HeldLoadShardsTest, aLoadOfManyInputsWithLongNamesIsResumed) {
    const std::string part(200, 'n');
    std::string folder = "many";
    for (int depth = 0; depth < 18; ++depth)
        folder += '/' + part;
    std::filesystem::create_directories(m_directory.getPathOf(folder));
    for (int number = 100; number < 400; ++number)
        m_directory.addFile(folder + '/' + std::to_string(number) + ".nq",
                            "<urn:s> <urn:p> <urn:" + std::to_string(number) + "> .\n");
    const std::vector<std::string> options{"--quads", "--shards", "-o", "d", "many"};
    const auto expected = getExpected(options);
    kill(options);
    EXPECT_GT(300 * folder.size(), size_t(1) << 20);
    EXPECT_LT(getContentsOf("d/work-manifest").size(), size_t(1) << 16);
    const std::string changed = m_directory.getPathOf(folder + "/222.nq");
    const auto time = std::filesystem::last_write_time(changed);
    std::filesystem::last_write_time(changed, time + std::chrono::nanoseconds(1));
    const ToolResult refused = run(getArguments(options));
    EXPECT_EQ(2, refused.m_exitCode) << "a task of the same length";
    EXPECT_EQ(0u, refused.m_errorOutput.find("melnar-dict: the folder 'd' has an unfinished load of other files"));
    std::filesystem::last_write_time(changed, time);
    EXPECT_EQ(0u, finish(options).find("resuming the interrupted load, "));
    expectFiles(expected);
}

/// The shards that the first process had in memory no longer fit.
TEST_F(HeldLoadShardsTest, lessMemoryIsEnoughToResume) {
    std::string statements;
    for (size_t number = 0; number < 120000; ++number)
        statements += "<urn:s> <urn:p> \"" + std::string(220, 'x') + std::to_string(number) + "\" .\n";
    m_directory.addFile("held.nt", statements + getContentsOf("held.nt"));
    const std::vector<std::string> options{"--shards", "-o", "d", "--checkpoint", "25b"}; // of some 30
    const auto expected = getExpected(options);
    kill(options);
    EXPECT_EQ(0u, finish({"--shards", "-o", "d", "--checkpoint", "0", "--memory-limit", "90M"})
                      .find("resuming the interrupted load, "));
    expectFiles(expected);
}

/// The process was killed after it had replaced the manifest, and only had to remove the record of the load.
TEST_F(HeldLoadShardsTest, theRecordOfALoadThatIsDoneBlocksNothing) {
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--ids", "old.npy"});
    kill({"--into", "d"});
    const std::string unfinished = getContentsOf("d/work-manifest");
    EXPECT_EQ(0u, finish({"--into", "d"}).find("resuming the interrupted load, "));
    m_directory.addFile("d/work-manifest", unfinished);
    expectSuccess({"load", "more.nq", "--into", "d"});
    EXPECT_FALSE(exists("d/work-manifest"));
    expectSuccess({"verify", "d"});
}

/// The work of an earlier process stays when the next one fails before its own first save.
TEST_F(HeldLoadShardsTest, aLoadThatFailsWhenItResumesLosesNothing) {
    const std::vector<std::string> options{"--shards", "-o", "d"};
    const auto expected = getExpected(options);
    kill(options);
    const auto files = getFiles("d");
    ToolInput input = getInput();
    input.m_shellCommands = "ulimit -f 1";
    input.m_outputPath = "/dev/null";
    input.m_errorDescriptor = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(3, runToolProcess(getArguments(options), input).m_exitCode);
    ::close(input.m_errorDescriptor);
    for (const auto& [name, contents] : files)
        EXPECT_TRUE(name == "manifest.lock" || getFiles("d").contains(name)) << name;
    EXPECT_EQ(0u, finish(options).find("resuming the interrupted load, "));
    expectFiles(expected);
}

TEST_F(HeldLoadShardsTest, aDamagedUnfinishedLoadIsReportedWithTheWayOut) {
    kill({"--shards", "-o", "d"});
    m_directory.addFile("d/work-manifest", getContentsOf("d/work-manifest").substr(1));
    const ToolResult result = run({"load", "--shards", "in.nq", "-o", "d"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("melnar-dict: File 'd/work-manifest' ")) << result.m_errorOutput;
    EXPECT_TRUE(result.m_errorOutput.ends_with(WAY_OUT)) << result.m_errorOutput;
    expectSuccess({"load", "--shards", "in.nq", "-o", "d", "--force"});
    expectSuccess({"verify", "d"});
}

TEST_F(HeldLoadShardsTest, damagedDataOfAnUnfinishedLoadIsReportedWithTheWayOut) {
    const std::vector<std::string> options{"--shards", "-o", "d", "--memory-limit", "100M"};
    const auto expected = getExpected(options);
    kill(options);
    const auto unfinished = getFiles("d");
    const auto isOfTerms = [](const auto& file) { return file.first.starts_with("work-terms-"); };
    const auto terms = std::ranges::find_if(unfinished, isOfTerms);
    ASSERT_NE(unfinished.end(), terms);
    for (const std::string& name : {std::string("work-rows"), terms->first}) {
        const std::string& sound = unfinished.at(name);
        std::string flipped = sound;
        flipped[20] = static_cast<char>(flipped[20] ^ 1); // of an ID or a lexical form
        for (const std::string& damaged : {std::string(), sound.substr(0, 20), flipped}) {
            m_directory.addFile("d/" + name, damaged);
            for (int attempt = 0; attempt < 2; ++attempt) {
                const ToolResult result = run(getArguments(options));
                EXPECT_EQ(3, result.m_exitCode);
                EXPECT_NE(std::string::npos, result.m_errorOutput.find("melnar-dict: File 'd/" + name + "' "))
                    << result.m_errorOutput;
                EXPECT_TRUE(result.m_errorOutput.ends_with(WAY_OUT)) << result.m_errorOutput;
            }
        }
        m_directory.addFile("d/" + name, sound);
    }
    EXPECT_EQ(0u, finish(options).find("resuming the interrupted load, ")) << "nothing was removed";
    expectFiles(expected);
    std::filesystem::remove_all(m_directory.getPathOf("d"));
    renewPipe();
    kill(options);
    m_directory.addFile("d/work-rows", "");
    std::filesystem::remove(m_directory.getPathOf("d/work-manifest"));
    EXPECT_EQ(0u, finish(options).find("held.nt:")) << "from its start";
    expectFiles(expected);
}

TEST_F(HeldLoadShardsTest, anotherWriterIsReportedOrWaitedFor) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "--shards", "in.nq", "-o", "d"}, {"load", "in.nq", "--into", "d"}}) {
        expectSuccess({"load", "--shards", "more.nq", "-o", "d"});
        const std::unique_ptr<RunningTool> holder = startHeld({"--shards", "-o", "d"});
        const ToolResult refused = run(arguments);
        EXPECT_EQ(3, refused.m_exitCode);
        EXPECT_EQ(0u, refused.m_errorOutput.find("melnar-dict: 'd/manifest' is being written by process " +
                                                 std::to_string(holder->getProcessID()) + ' '))
            << refused.m_errorOutput;
        expectSuccess({"verify", "d"}); // readers do not wait
        std::vector<std::string> patient = arguments;
        patient.insert(patient.end(), {"--wait", "--force"}); // the holder leaves an unfinished load
        ToolInput input = getInput();
        std::array<int, 2> ends{};
        ASSERT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
        input.m_errorDescriptor = ends[1];
        RunningTool waiting(patient, input);
        char character = 0;
        EXPECT_EQ(1, ::read(ends[0], &character, 1)) << "it says that it waits";
        holder->send(SIGKILL);
        EXPECT_EQ(SIGKILL, holder->wait().m_signalNumber);
        EXPECT_EQ(0, waiting.wait().m_exitCode);
        ::close(ends[0]);
        ::close(ends[1]);
        EXPECT_FALSE(exists("d/work-manifest") || exists("d/manifest.lock"));
        expectSuccess({"verify", "d"});
        renewPipe();
    }
}

TEST_F(HeldLoadShardsTest, aFolderThatWasMadeStaysWithTheUnfinishedLoadAlone) {
    kill({"--shards", "-o", "d", "--checkpoint", "0"});
    EXPECT_TRUE(exists("d/work-rows"));
    EXPECT_FALSE(exists("d/work-manifest"));
    const ToolResult result = run({"load", "--shards", "bad.nq", "-o", "d"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("bad.nq:7")) << result.m_errorOutput << ", as nothing is given up";
    EXPECT_TRUE(getFiles("d").empty());
    expectSuccess({"load", "--shards", "in.nq", "-o", "d"});
    expectSuccess({"verify", "d"});
}

} // namespace
