#include "tools/melnar-dict/input/InputNames.h"

#include "tests/support/CaughtException.h"
#include "tests/support/RunWithoutPrivileges.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace {

using Files = std::vector<std::pair<std::string, RdfFormat>>;

class InputNamesTest : public testing::Test {
protected:
    std::string getPathOf(const std::string& name) const { return m_directory.getPathOf(name); }

    void addFolder(const std::string& name) const { std::filesystem::create_directories(getPathOf(name)); }

    void addFile(const std::string& name) const { m_directory.addFile(name, ""); }

    Files expand(const std::string& name, const std::optional<RdfFormat> format = std::nullopt) const {
        return expandInputNames({{getPathOf(name), format}});
    }

    /// Returns the paths of a folder's files, without their common start.
    std::string list(const std::string& name, const std::optional<RdfFormat> format = std::nullopt) const {
        std::string names;
        for (const auto& [fileName, fileFormat] : expand(name, format)) {
            EXPECT_TRUE(fileName.starts_with(getPathOf(name))) << fileName;
            names += fileName.substr(getPathOf(name).size()) + ' ';
        }
        return names;
    }

    std::pair<ExitCode, std::string> failureOf(const std::string& name,
                                               const std::optional<RdfFormat> format = std::nullopt) const {
        const auto failure = catchException<ToolFailure>([&] { expand(name, format); });
        return {failure.getExitCode(), failure.what()};
    }

    const TemporaryDirectory m_directory;
};

TEST_F(InputNamesTest, keepsFilesAndTheirOrder) {
    EXPECT_EQ((Files{{"b.nt", RdfFormat::N_TRIPLES}, {"-", RdfFormat::TURTLE}, {"absent.trig.zst", RdfFormat::TRIG}}),
              expandInputNames({{"b.nt", std::nullopt}, {"-", RdfFormat::TURTLE}, {"absent.trig.zst", std::nullopt}}));
    EXPECT_EQ((Files{{"a.nt", RdfFormat::TRIG}}), expandInputNames({{"a.nt", RdfFormat::TRIG}}));
    EXPECT_EQ(Files{}, expandInputNames({}));
}

TEST_F(InputNamesTest, refusesAFileWhoseFormatIsUnknown) {
    EXPECT_STREQ("standard input needs --format", catchException<ToolFailure>([] {
                                                      expandInputNames({{"-", std::nullopt}});
                                                  }).what());
    EXPECT_EQ(std::pair(ExitCode::USAGE,
                        "the name '" + getPathOf("a.txt") + "' does not indicate a format; give it with --format"),
              failureOf("a.txt"));
}

TEST_F(InputNamesTest, takesWhatItKnowsOfAFolderAndItsFoldersInTheOrderOfBytes) {
    for (const char* const folder : {"d/a", "d/b.nt", "d/c/deep/er"})
        addFolder(folder);
    for (const char* const file :
         {"d/z.nt", "d/a.nt", "d/a/x.ttl.gz", "d/a/README", "d/b.nt/1.nq.XZ", "d/c/deep/er/t.TRIG", "d/B.nt.bz2",
          "d/unknown.rdf", "d/noextension", "d/packed.gz", "d/\xC3\xA4.nt", "d/a-.nt"})
        addFile(file);
    EXPECT_EQ("/B.nt.bz2 /a-.nt /a.nt /a/x.ttl.gz /b.nt/1.nq.XZ /c/deep/er/t.TRIG /z.nt /\xC3\xA4.nt ", list("d"));
    EXPECT_EQ((Files{{getPathOf("d/a/x.ttl.gz"), RdfFormat::TURTLE}}), expand("d/a"));
    EXPECT_EQ((Files{{getPathOf("d/a/x.ttl.gz"), RdfFormat::TURTLE}}), expand("d/a/"));
}

TEST_F(InputNamesTest, takesAllFilesOfAFolderWithAFormat) {
    addFolder("d/a");
    for (const char* const file : {"d/part-2", "d/part-1.gz", "d/a/x.ttl", "d/.hidden.nt"})
        addFile(file);
    EXPECT_EQ("/a/x.ttl /part-1.gz /part-2 ", list("d", RdfFormat::N_TRIPLES));
    EXPECT_EQ(RdfFormat::N_TRIPLES, expand("d", RdfFormat::N_TRIPLES).front().second);
}

TEST_F(InputNamesTest, skipsHiddenFilesInAFolderButNotAHiddenFolderThatIsNamed) {
    addFolder("d/.git");
    addFolder(".h");
    for (const char* const file : {"d/.a.nt", "d/.git/b.nt", "d/c.nt", ".h/d.nt"})
        addFile(file);
    EXPECT_EQ("/c.nt ", list("d"));
    EXPECT_EQ("/d.nt ", list(".h"));
}

TEST_F(InputNamesTest, followsLinksToFilesAndNamedLinksToFoldersButNoOthers) {
    addFolder("d/sub");
    addFolder("other");
    addFile("other/a.nt");
    std::filesystem::create_symlink("../other/a.nt", getPathOf("d/link.nt"));
    std::filesystem::create_symlink("..", getPathOf("d/sub/cycle"));
    std::filesystem::create_symlink("../other", getPathOf("d/folder"));
    std::filesystem::create_symlink("nowhere", getPathOf("d/missed.nt"));
    std::filesystem::create_symlink("d", getPathOf("named"));
    EXPECT_EQ("/link.nt /missed.nt ", list("d")) << "what cannot be read must be missed later";
    EXPECT_EQ("/link.nt /missed.nt ", list("named"));
}

TEST_F(InputNamesTest, passesOverPipesInAFolder) {
    addFolder("d");
    addFile("d/a.nt");
    ASSERT_EQ(0, ::mkfifo(getPathOf("d/pipe.nt").c_str(), 0600));
    EXPECT_EQ("/a.nt ", list("d"));
}

TEST_F(InputNamesTest, refusesAFolderOfWhichItKnowsNothing) {
    addFolder("d/.hidden");
    addFile("d/.hidden/a.nt");
    EXPECT_EQ(std::pair(ExitCode::USAGE, "the folder '" + getPathOf("d") + "' has no file to read"),
              failureOf("d", RdfFormat::TURTLE));
    addFile("d/README");
    EXPECT_EQ(
        std::pair(ExitCode::USAGE, "the folder '" + getPathOf("d") + "' has no file whose name indicates a format"),
        failureOf("d"));
}

TEST_F(InputNamesTest, reportsThatAFolderCannotBeRead) {
    addFolder("d/closed");
    addFile("d/a.nt");
    ASSERT_EQ(0, ::chmod(getPathOf("").c_str(), 0755));
    for (const std::string name : {"d/closed", "d"}) {
        const std::pair<ExitCode, std::string> expected(ExitCode::FAILURE, "the folder '" + getPathOf(name) +
                                                                               "' cannot be read: Permission denied");
        ASSERT_EQ(0, ::chmod(getPathOf("d/closed").c_str(), 0));
        EXPECT_TRUE(isTrueWithoutPrivileges([&] { return failureOf(name) == expected; })) << name;
        ASSERT_EQ(0, ::chmod(getPathOf("d/closed").c_str(), 0755));
        EXPECT_FALSE(isTrueWithoutPrivileges([&] { return failureOf(name) == expected; })) << name;
    }
}

} // namespace
