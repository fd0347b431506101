#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

constexpr const char* TRIPLES = "<urn:s> <urn:p> \"one\" .\n";
constexpr const char* NO_TRIPLES = "this is not RDF\n";

/// The verbs that encode and decode, as the start of a command line.
const std::vector<std::vector<std::string>> REWRITERS{
    {"encode"}, {"encode", "--as", "iri"}, {"decode"}, {"decode", "--as", "iri"}};

std::vector<std::string> join(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Tests the tool when an output would destroy something. There are a dictionary "d", its triples "in.nt" and their
/// rows "rows.npy".
class OverwritingTest : public testing::Test {
protected:
    OverwritingTest() {
        m_directory.addFile("in.nt", TRIPLES);
        m_directory.addFile("bad.nt", NO_TRIPLES);
        m_directory.addFile("notes.txt", "what to remember");
        EXPECT_EQ(0, run({"load", "in.nt", "-o", "d", "--ids", "rows.npy"}).m_exitCode);
    }

    ToolResult run(const std::vector<std::string>& arguments, ToolInput input = {}) const {
        input.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, input);
    }

    /// Expects the run to be refused before any work, with and without --force, and to leave the file unchanged.
    void expectRefusalEvenByForce(std::vector<std::string> arguments, const std::string& fileName,
                                  const std::string& message, const ToolInput& input = {}) const {
        const std::string before = getContentsOf(fileName);
        for (const bool isForced : {false, true}) {
            if (isForced)
                arguments.emplace_back("--force");
            const ToolResult result = run(arguments, input);
            EXPECT_EQ(2, result.m_exitCode);
            EXPECT_EQ("melnar-dict: " + message + "\n", result.m_errorOutput);
            EXPECT_EQ("", result.m_output);
            EXPECT_EQ(before, getContentsOf(fileName));
            EXPECT_FALSE(exists(fileName + ".lock"));
        }
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    bool isDictionary(const std::string& fileName) const { return run({"verify", fileName}).m_exitCode == 0; }

    void link(const std::string& target, const std::string& name) const {
        EXPECT_EQ(0, ::symlink(target.c_str(), m_directory.getPathOf(name).c_str()));
    }

    void linkHard(const std::string& target, const std::string& name) const {
        EXPECT_EQ(0, ::link(m_directory.getPathOf(target).c_str(), m_directory.getPathOf(name).c_str()));
    }

    const TemporaryDirectory m_directory;
};

TEST_F(OverwritingTest, anInputOfLoadIsNotItsOutput) {
    link("in.nt", "link.nt");
    linkHard("in.nt", "hard.nt");
    for (const std::string name : {"in.nt", "./in.nt", "link.nt", "hard.nt"}) {
        for (const std::vector<std::string>& more :
             {std::vector<std::string>{}, {"--strings-only"}, {"--ids", "ids.npy"}})
            expectRefusalEvenByForce(join({"load", "bad.nt", "in.nt", "-o", name}, more), "in.nt",
                                     "the input 'in.nt' is also the output '" + name + "'");
        expectRefusalEvenByForce({"load", name, "-o", "in.nt"}, "in.nt",
                                 "the input '" + name + "' is also the output 'in.nt'");
    }
    ToolInput input;
    input.m_inputPath = m_directory.getPathOf("in.nt");
    expectRefusalEvenByForce({"load", "-", "--format", "nt", "-o", "in.nt"}, "in.nt",
                             "the input '-' is also the output 'in.nt'", input);
}

/// The shell expands `load -o *.nt` to all names: the first one becomes the output.
TEST_F(OverwritingTest, aFileThatIsNoDictionaryIsNotReplacedByOne) {
    m_directory.addFile("empty", "");
    m_directory.addFile("short", "MELNAR");
    for (const std::string name : {"bad.nt", "notes.txt", "empty", "short"}) {
        const std::string before = getContentsOf(name);
        for (std::vector<std::string> arguments : {std::vector<std::string>{"load", "in.nt", "-o", name},
                                                   {"load", "in.nt", "--into", "d", "-o", name},
                                                   {"compact", "d", "-o", name}}) {
            const ToolResult result = run(arguments);
            EXPECT_EQ(2, result.m_exitCode);
            EXPECT_EQ("melnar-dict: '" + name + "' exists and is not a dictionary; --force replaces it\n",
                      result.m_errorOutput);
            EXPECT_EQ(before, getContentsOf(name));
            EXPECT_FALSE(exists(name + ".lock"));
            arguments.emplace_back("--force");
            EXPECT_EQ(0, run(arguments).m_exitCode);
            EXPECT_TRUE(isDictionary(name));
            m_directory.addFile(name, before);
        }
    }
}

TEST_F(OverwritingTest, nothingIsLoadedBeforeTheRefusal) {
    const ToolResult result = run({"load", "bad.nt", "-o", "notes.txt"});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("melnar-dict: 'notes.txt' exists and is not a dictionary; --force replaces it\n", result.m_errorOutput);
}

TEST_F(OverwritingTest, aDictionaryIsReplacedByAnotherSoundOrNot) {
    EXPECT_EQ(0, run({"load", "in.nt", "-o", "d"}).m_exitCode);
    m_directory.addFile("damaged", getContentsOf("d").substr(0, 50));
    EXPECT_EQ(0, run({"load", "in.nt", "-o", "damaged"}).m_exitCode);
    EXPECT_TRUE(isDictionary("damaged"));
}

TEST_F(OverwritingTest, aDictionaryMayBeReplacedInItsPlaceByWhateverNameItIsGiven) {
    link("d", "link");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "in.nt", "--into", "d", "-o", "d"},
          {"load", "in.nt", "--into", "d", "-o", "./link"},
          {"compact", "d", "-o", "d"},
          {"compact", "link", "-o", "d"}}) {
        const ToolResult result = run(arguments);
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        EXPECT_EQ("1\t<urn:s>\n2\t<urn:p>\n3\t\"one\"\n", run({"dump", "d"}).m_output);
    }
    EXPECT_TRUE(std::filesystem::is_symlink(m_directory.getPathOf("link")));
}

TEST_F(OverwritingTest, aHardLinkOfADictionaryIsAnotherPlaceAndAnInput) {
    linkHard("d", "hard");
    expectRefusalEvenByForce({"load", "in.nt", "--into", "d", "-o", "hard"}, "d",
                             "the input 'd' is also the output 'hard'");
    expectRefusalEvenByForce({"compact", "d", "-o", "hard"}, "d", "the input 'd' is also the output 'hard'");
}

TEST_F(OverwritingTest, encodeAndDecodeReplaceNeitherTheirInputsNorTheirDictionary) {
    link("d", "link");
    linkHard("in.nt", "hard.nt");
    for (const std::vector<std::string>& rewriter : REWRITERS) {
        for (const std::string name : {"in.nt", "hard.nt"})
            expectRefusalEvenByForce(join(rewriter, {"bad.nt", "in.nt", "-d", "d", "-o", name}), "in.nt",
                                     "the input 'in.nt' is also the output '" + name + "'");
        for (const std::string name : {"d", "link"})
            expectRefusalEvenByForce(join(rewriter, {"in.nt", "-d", "d", "-o", name}), "d",
                                     "the input 'd' is also the output '" + name + "'");
        ToolInput input;
        input.m_inputPath = m_directory.getPathOf("in.nt");
        std::vector<std::string> arguments = join(rewriter, {"-", "-d", "d", "-o", "in.nt"});
        if (rewriter != std::vector<std::string>{"decode"})
            arguments = join(arguments, {"--format", "nt"});
        expectRefusalEvenByForce(arguments, "in.nt", "the input '-' is also the output 'in.nt'", input);
    }
}

TEST_F(OverwritingTest, encodeAndDecodeReplaceATextButNoDictionary) {
    ASSERT_EQ(0, run({"load", "in.nt", "-o", "other"}).m_exitCode);
    ASSERT_EQ(0, run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    ASSERT_TRUE(getContentsOf("encoded.nt").ends_with("\n<urn:s> <urn:p> <melnar:3> .\n"));
    const std::string before = getContentsOf("other");
    for (const std::vector<std::string>& rewriter : REWRITERS) {
        const std::string encoded = rewriter.size() == 1 ? "rows.npy" : "encoded.nt";
        const bool encodes = rewriter.front() == "encode";
        const std::string expected = getContentsOf(encodes ? encoded : "in.nt");
        const auto getArguments = [&](const std::string& output) {
            return join(rewriter, {encodes ? "in.nt" : encoded, "-d", "d", "-o", output});
        };
        const ToolResult result = run(getArguments("other"));
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ("melnar-dict: 'other' is a dictionary; --force replaces it\n", result.m_errorOutput);
        EXPECT_EQ(before, getContentsOf("other"));
        EXPECT_EQ(0, run(join(getArguments("other"), {"--force"})).m_exitCode);
        EXPECT_EQ(expected, getContentsOf("other"));
        m_directory.addFile("other", before);
        EXPECT_EQ(0, run(getArguments("notes.txt")).m_exitCode);
        EXPECT_EQ(expected, getContentsOf("notes.txt"));
    }
}

/// A shell opens the file to which it appends before the tool starts.
TEST_F(OverwritingTest, standardOutputIsNoInputEither) {
    for (const std::vector<std::string>& rewriter : REWRITERS)
        for (const std::string name : {"in.nt", "d"}) {
            ToolInput input;
            input.m_outputPath = m_directory.getPathOf(name);
            expectRefusalEvenByForce(join(rewriter, {"in.nt", "-d", "d", "-o", "-"}), name,
                                     "the input '" + name + "' is also standard output", input);
        }
}

TEST_F(OverwritingTest, filesThatWritingRemovesAreNoInputs) {
    for (const auto& [suffix, whatItIs] :
         {std::pair(".saving", "temporary file"), {".replaced", "backup file"}, {".lock", "lock file"}}) {
        const std::string name = std::string("d") + suffix;
        const std::string message = "the input '" + name + "' is also the " + whatItIs + " of the output 'd'";
        m_directory.addFile(name, TRIPLES);
        expectRefusalEvenByForce({"load", name, "--format", "nt", "--into", "d"}, name, message);
        m_directory.addFile(name, getContentsOf("d"));
        expectRefusalEvenByForce({"load", "in.nt", "--into", name, "-o", "d"}, name, message);
        expectRefusalEvenByForce({"compact", name, "-o", "d"}, name, message);
        std::filesystem::remove(m_directory.getPathOf(name));
    }
}

TEST_F(OverwritingTest, aFolderWhereNothingCanBeWrittenIsReportedBeforeTheLoad) {
    for (const std::string name : {"no/such/folder/d", "/proc/d", "in.nt/d"}) {
        const ToolResult result = run({"load", "bad.nt", "-o", name});
        EXPECT_EQ(3, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_errorOutput.find("'" + name)) << result.m_errorOutput;
        EXPECT_EQ(std::string::npos, result.m_errorOutput.find("bad.nt")) << result.m_errorOutput;
        EXPECT_EQ(3, run({"compact", "bad.nt", "-o", name}).m_exitCode);
        EXPECT_EQ(3, run({"encode", "bad.nt", "-d", "d", "-o", name}).m_exitCode);
    }
}

/// A dictionary that would take all space takes none here: the file has a hole.
TEST_F(OverwritingTest, aDiskThatHasSurelyNoRoomIsReportedBeforeTheLoad) {
    struct statvfs disk;
    ASSERT_EQ(0, ::statvfs(m_directory.getPathOf("").c_str(), &disk));
    const uint64_t size = uint64_t(disk.f_blocks) * disk.f_frsize + (uint64_t(1) << 30);
    if (::truncate(m_directory.getPathOf("d").c_str(), static_cast<off_t>(size)) != 0)
        GTEST_SKIP() << "a file of this system cannot be that large";
    const ToolResult result = run({"load", "bad.nt", "--into", "d"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("melnar-dict: 'd' needs at least " + std::to_string(size) +
                                            " bytes in addition to the old file, and its disk has "))
        << result.m_errorOutput;
    EXPECT_TRUE(result.m_errorOutput.ends_with("; --force tries it nevertheless\n")) << result.m_errorOutput;
    EXPECT_FALSE(exists("d.lock"));
    const ToolResult forced = run({"load", "bad.nt", "--into", "d", "--force"});
    EXPECT_EQ(3, forced.m_exitCode);
    EXPECT_EQ(std::string::npos, forced.m_errorOutput.find("needs at least")) << forced.m_errorOutput;
}

TEST_F(OverwritingTest, ownerGroupAndPermissionsOfAReplacedFileStay) {
    ASSERT_EQ(0, run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "out.nt"}).m_exitCode);
    for (const std::string name : {"d", "out.nt"}) {
        const std::string path = m_directory.getPathOf(name);
        if (::geteuid() == 0) {
            ASSERT_EQ(0, ::chown(path.c_str(), 65533, 65532));
        }
        ASSERT_EQ(0, ::chmod(path.c_str(), 0640));
        const std::vector<std::vector<std::string>> runs =
            name == "d"
                ? std::vector<std::vector<std::string>>{{"load", "in.nt", "--into", "d"},
                                                        {"load", "in.nt", "--into", "d", "--ids", "rows.npy"},
                                                        {"compact", "d"}}
                : std::vector<std::vector<std::string>>{{"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "out.nt"}};
        for (const std::vector<std::string>& arguments : runs) {
            struct stat before;
            struct stat after;
            ASSERT_EQ(0, ::stat(path.c_str(), &before));
            EXPECT_EQ(0, run(arguments).m_exitCode);
            ASSERT_EQ(0, ::stat(path.c_str(), &after));
            EXPECT_NE(before.st_ino, after.st_ino) << "it has been replaced";
            EXPECT_EQ(before.st_mode, after.st_mode);
            EXPECT_EQ(before.st_uid, after.st_uid);
            EXPECT_EQ(before.st_gid, after.st_gid);
        }
    }
}

TEST_F(OverwritingTest, verbsThatWriteTellOfTheOptionsAndOthersRefuseThem) {
    for (const char* const verb : {"load", "stats", "compact", "encode", "decode"})
        for (const char* const option : {"\n  --wait ", "\n  --force "})
            EXPECT_NE(std::string::npos, run({verb, "--help"}).m_output.find(option)) << verb;
    for (const char* const verb : {"get", "lookup", "dump", "verify"})
        for (const std::string option : {"--wait", "--force"}) {
            const ToolResult result = run({verb, "d", option});
            EXPECT_EQ(2, result.m_exitCode);
            EXPECT_EQ("melnar-dict: unknown option " + option + "\n", result.m_errorOutput);
        }
}

TEST_F(OverwritingTest, rowsReplaceNoInputAndNothingThatTheDictionaryIsWrittenBy) {
    for (const auto& [dictionaryName, rowsName] :
         std::vector<std::pair<std::string, std::string>>{{"out", "out"},
                                                          {"out", "./out.saving"},
                                                          {"out", "out.lock"},
                                                          {"rows.saving", "rows"},
                                                          {"rows.lock", "rows"}}) {
        const ToolResult result = run({"load", "in.nt", "-o", dictionaryName, "--ids", rowsName, "--force"});
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_errorOutput.find("or a file that is created while it is written\n"));
    }
    expectRefusalEvenByForce({"load", "bad.nt", "in.nt", "-o", "out", "--ids", "in.nt"}, "in.nt",
                             "the input 'in.nt' is also the output 'in.nt'");
    expectRefusalEvenByForce({"load", "bad.nt", "--into", "d", "--ids", "./d"}, "d",
                             "the input 'd' is also the output './d'");
}

TEST_F(OverwritingTest, whatIsRejectedReplacesNoInputNoOtherOutputAndNoDictionary) {
    expectRefusalEvenByForce({"load", "--lenient", "bad.nt", "in.nt", "--rejected", "in.nt"}, "in.nt",
                             "the input 'in.nt' is also the output 'in.nt'");
    expectRefusalEvenByForce({"load", "--lenient", "bad.nt", "--into", "d", "--rejected", "./d"}, "d",
                             "the input 'd' is also the output './d'");
    for (const std::string name : {"./out", "out.saving", "out.lock"}) {
        const ToolResult result = run({"load", "--lenient", "bad.nt", "-o", "out", "--rejected", name, "--force"});
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ("melnar-dict: '" + name +
                      "' is also the output 'out', or a file that is created while it is written\n",
                  result.m_errorOutput);
        EXPECT_FALSE(exists(name));
    }
    const std::string before = getContentsOf("d");
    EXPECT_EQ("melnar-dict: 'd' is a dictionary; --force replaces it\n",
              run({"load", "--lenient", "bad.nt", "--rejected", "d"}).m_errorOutput);
    EXPECT_EQ(before, getContentsOf("d"));
    EXPECT_EQ(0, run({"load", "--lenient", "bad.nt", "--rejected", "d", "--force"}).m_exitCode);
    EXPECT_EQ(NO_TRIPLES, getContentsOf("d"));
}

TEST_F(OverwritingTest, anOutputThatIsNotCompressedAsItsNameSaysIsRefused) {
    for (const auto& [extension, format] : {std::pair("gz", "gzip"), {"BZ2", "bzip2"}, {"xz", "xz"}, {"zst", "zstd"}}) {
        const std::string name = std::string("out.nt.") + extension;
        m_directory.addFile(name, "old");
        const std::string message = "output '" + name + "' would not be compressed as " + format +
                                    ", as its name says; give it another name and compress it afterwards";
        expectRefusalEvenByForce({"canonical", "bad.nt", "-o", name}, name, message);
        for (const std::vector<std::string>& rewriter : REWRITERS)
            expectRefusalEvenByForce(join(rewriter, {"bad.nt", "-d", "d", "-o", name}), name, message);
        expectRefusalEvenByForce({"load", "bad.nt", "--lenient", "--rejected", name}, name, message);
        expectRefusalEvenByForce({"stats", "d", "--html", name}, name, message);
    }
}

} // namespace
