#include "Engine/core/platform/stream/TargetFile.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <unistd.h>

using namespace melnar;

namespace {

/// Restores the working directory of the process.
class WorkingDirectory : private Unmovable {
public:
    explicit WorkingDirectory(const std::string& folder) : m_before(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~WorkingDirectory() { std::filesystem::current_path(m_before); }

private:
    const std::filesystem::path m_before;
};

class TargetFileTest : public testing::Test {
protected:
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
};

TEST_F(TargetFileTest, reportsWhetherTheFileExists) {
    const TargetFile target(m_path);
    struct stat status;
    EXPECT_FALSE(target.examine(status));
    m_directory.addFile("file", "four");
    ASSERT_TRUE(target.examine(status));
    EXPECT_EQ(4, status.st_size);
    EXPECT_EQ(m_path, target.getName());
    EXPECT_EQ(m_path, target.getFolderName() + "/file");
}

TEST_F(TargetFileTest, followsLinksOfFilesAndFolders) {
    std::filesystem::create_directory(m_directory.getPathOf("folder"));
    ASSERT_EQ(0, ::symlink("folder", m_directory.getPathOf("linked").c_str()));
    ASSERT_EQ(0, ::symlink("linked/file", m_directory.getPathOf("link").c_str()));
    const std::string expected = m_directory.getPathOf("folder/file");
    for (const bool exists : {false, true}) {
        if (exists)
            m_directory.addFile("folder/file", "contents");
        EXPECT_EQ(expected, TargetFile(m_directory.getPathOf("link")).getName());
        EXPECT_EQ(expected, TargetFile(m_directory.getPathOf("linked/file")).getName());
        EXPECT_EQ(expected, TargetFile(m_directory.getPathOf("linked/../folder/file")).getName());
    }
}

TEST_F(TargetFileTest, aNameWithoutAFolderIsOneInTheProcesssFolder) {
    const WorkingDirectory directory(m_directory.getPathOf(""));
    const TargetFile target("file");
    EXPECT_EQ(m_path, target.getName()) << "the process may go elsewhere before it writes";
    const WorkingDirectory root("/");
    EXPECT_EQ("/melnar-test-file", TargetFile("melnar-test-file").getName());
    EXPECT_EQ("/", TargetFile("melnar-test-file").getFolderName());
}

TEST_F(TargetFileTest, aNameInAFolderThatIsNotThereIsKept) {
    const std::string path = m_directory.getPathOf("missing/file");
    EXPECT_EQ(path, TargetFile(path).getName());
    EXPECT_EQ(m_directory.getPathOf("missing"), TargetFile(path).getFolderName());
}

} // namespace
