#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tools/melnar-dict/saved/DictionaryPage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Tests the page that `stats` writes for a dictionary "d".
class StatsPageTest : public testing::Test {
protected:
    StatsPageTest() {
        m_directory.addFile("in.nt", "<urn:s> <urn:p> \"one\" .\n<urn:s> <urn:p> \"eins\"@de .\n");
        m_directory.addFile("notes.txt", "what to remember");
        EXPECT_EQ(0, run({"load", "in.nt", "-o", "d", "--threads", "1"}).m_exitCode);
    }

    ToolResult run(const std::vector<std::string>& arguments, ToolInput input = {}) const {
        input.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, input);
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    /// Expects exit code 2, this message, and an unchanged file.
    void expectRefusal(const std::vector<std::string>& arguments, const std::string& message,
                       const std::string& fileName) const {
        const std::string before = getContentsOf(fileName);
        const ToolResult result = run(arguments);
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ("melnar-dict: " + message + "\n", result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
        EXPECT_EQ(before, getContentsOf(fileName));
    }

    TemporaryDirectory m_directory;
};

TEST_F(StatsPageTest, thePageReplacesAnOlderOneAndNothingIsPrinted) {
    const ToolResult result = run({"stats", "d", "--html", "page.html"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_EQ("", result.m_errorOutput);
    const std::string page = getContentsOf("page.html");
    EXPECT_TRUE(page.starts_with(BEGINNING_OF_A_DICTIONARY_PAGE));
    EXPECT_NE(std::string::npos, page.find("<h1><bdi>d</bdi></h1>"));
    EXPECT_FALSE(exists("page.html.saving"));
    EXPECT_FALSE(exists("page.html.lock"));
    m_directory.addFile("page.html", std::string(BEGINNING_OF_A_DICTIONARY_PAGE) + "old");
    EXPECT_EQ(0, run({"stats", "--html", "page.html", "d"}).m_exitCode);
    EXPECT_EQ(page, getContentsOf("page.html"));
}

TEST_F(StatsPageTest, aDashIsStandardOutput) {
    const ToolResult result = run({"stats", "d", "--html", "-"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_TRUE(result.m_output.starts_with(BEGINNING_OF_A_DICTIONARY_PAGE));
    EXPECT_TRUE(result.m_output.ends_with("</html>\n"));
    EXPECT_FALSE(exists("-"));
}

TEST_F(StatsPageTest, onlyTheLastPartOfTheDictionarysNameIsShown) {
    const std::string name = "<img src=x onerror=alert(1)>";
    ASSERT_EQ(0, ::mkdir(m_directory.getPathOf("secret").c_str(), 0700));
    std::filesystem::copy_file(m_directory.getPathOf("d"), m_directory.getPathOf("secret/" + name));
    const std::string page = run({"stats", "secret/" + name, "--html", "-"}).m_output;
    EXPECT_NE(std::string::npos, page.find("<h1><bdi>&lt;img src=x onerror=alert(1)&gt;</bdi></h1>"));
    EXPECT_EQ(std::string::npos, page.find("secret"));
    EXPECT_EQ(std::string::npos, page.find("<img"));
}

TEST_F(StatsPageTest, otherFilesAreReplacedOnlyByForce) {
    m_directory.addFile("empty", "");
    m_directory.addFile("cut", std::string(BEGINNING_OF_A_DICTIONARY_PAGE.substr(1)));
    for (const std::string name : {"notes.txt", "empty", "cut", "in.nt"}) {
        expectRefusal({"stats", "d", "--html", name},
                      "'" + name + "' exists and is not a page of stats; --force replaces it", name);
        EXPECT_EQ(0, run({"stats", "d", "--html", name, "--force"}).m_exitCode);
        EXPECT_TRUE(getContentsOf(name).starts_with(BEGINNING_OF_A_DICTIONARY_PAGE));
    }
}

TEST_F(StatsPageTest, theDictionaryIsNeverThePage) {
    ASSERT_EQ(0, ::symlink("d", m_directory.getPathOf("link").c_str()));
    ASSERT_EQ(0, ::link(m_directory.getPathOf("d").c_str(), m_directory.getPathOf("hard").c_str()));
    for (const std::string name : {"d", "link", "hard"}) {
        const std::string message = "the input 'd' is also the output '" + name + "'";
        expectRefusal({"stats", "d", "--html", name}, message, "d");
        expectRefusal({"stats", "d", "--html", name, "--force"}, message, "d");
    }
}

TEST_F(StatsPageTest, nothingIsWrittenIfTheDictionaryCannotBeRead) {
    EXPECT_EQ(3, run({"stats", "none", "--html", "page.html"}).m_exitCode);
    EXPECT_EQ(3, run({"stats", "notes.txt", "--html", "page.html"}).m_exitCode);
    EXPECT_FALSE(exists("page.html"));
    EXPECT_FALSE(exists("page.html.lock"));
    EXPECT_EQ(3, run({"stats", "d", "--html", "none/page.html"}).m_exitCode);
}

TEST_F(StatsPageTest, optionsThatDoNotGoTogetherAreRefused) {
    expectRefusal({"stats", "d", "--json", "--html", "page.html"}, "--json and --html exclude each other", "d");
    expectRefusal({"stats", "d", "--html", "page.html", "--json"}, "--json and --html exclude each other", "d");
    EXPECT_FALSE(exists("page.html"));
    expectRefusal({"stats", "d", "--wait"}, "--wait and --force are for --html", "d");
    expectRefusal({"stats", "d", "--force"}, "--wait and --force are for --html", "d");
    expectRefusal({"stats", "d", "--html", ""}, "the value of option --html is empty", "d");
}

TEST_F(StatsPageTest, standardOutputThatCannotBeWrittenIsAFailure) {
    ToolInput input;
    input.m_outputPath = "/dev/full";
    EXPECT_EQ(3, run({"stats", "d", "--html", "-"}, input).m_exitCode);
}

} // namespace
