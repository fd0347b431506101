#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include "Engine/core/platform/MelnarException.h"

#include "tests/support/RunWithoutPrivileges.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace melnar;

namespace {

void replace(const std::string& path, const std::string& contents) {
    AtomicFileOutputStream output(path);
    output.write(contents.data(), contents.size());
    output.commit();
}

std::set<std::string> getFileNames(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

mode_t getPermissions(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class AtomicFileOutputStreamTest : public testing::Test {
protected:
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
    const std::string m_folder = m_directory.getPathOf("");
};

TEST_F(AtomicFileOutputStreamTest, makesAFileThatIsNotThere) {
    replace(m_path, "new");
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, theOldFileStaysUntilTheCommit) {
    m_directory.addFile("file", "the old file is longer");
    AtomicFileOutputStream output(m_path);
    EXPECT_EQ(m_path, output.getName());
    output.write("new", 3);
    output.flush();
    EXPECT_EQ("the old file is longer", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(output.getTemporaryFileName()));
    output.commit();
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, withoutACommitNothingChangesAndNothingStays) {
    {
        AtomicFileOutputStream output(m_path);
        output.write("new", 3);
        output.flush();
    }
    EXPECT_EQ(std::set<std::string>(), getFileNames(m_folder));
    m_directory.addFile("file", "old");
    {
        AtomicFileOutputStream output(m_path);
        output.write("new", 3);
        output.flush();
    }
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, aPreparedFileIsCompleteBesideTheOldOneUntilTheCommit) {
    m_directory.addFile("file", "old");
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 0640));
    AtomicFileOutputStream output(m_path);
    output.write("new", 3);
    output.prepare();
    output.prepare();
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(output.getTemporaryFileName()));
    EXPECT_EQ(mode_t(0640), getPermissions(output.getTemporaryFileName()));
    output.commit();
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder)) << "the lock file is gone as well";
}

TEST_F(AtomicFileOutputStreamTest, whatWasPreparedButNotCommittedGoes) {
    m_directory.addFile("file", "old");
    {
        AtomicFileOutputStream output(m_path);
        output.write("new", 3);
        output.prepare();
    }
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, largeContentsArriveWhole) {
    std::string contents;
    for (unsigned number = 0; contents.size() < 3000000; ++number)
        contents += std::to_string(number) + ' ';
    {
        AtomicFileOutputStream output(m_path);
        for (size_t begin = 0, step = 1; begin < contents.size(); begin += step, step = step * 2 + 1)
            output.write(contents.data() + begin, std::min(step, contents.size() - begin));
        output.commit();
    }
    EXPECT_EQ(contents, TemporaryDirectory::getContentsOf(m_path));
}

TEST_F(AtomicFileOutputStreamTest, keepsThePermissionsOfTheOldFile) {
    m_directory.addFile("file", "old");
    for (const mode_t permissions : {0600U, 0644U, 0640U, 0444U, 0755U}) {
        ASSERT_EQ(0, ::chmod(m_path.c_str(), permissions));
        replace(m_path, "new");
        EXPECT_EQ(permissions, getPermissions(m_path));
    }
}

/// A write of a user who is not the superuser clears the bit, so permissions are set after the last one.
TEST_F(AtomicFileOutputStreamTest, keepsTheBitThatSetsTheUser) {
    m_directory.addFile("file", "old");
    if (::geteuid() == 0) {
        for (const std::string& path : {m_folder, m_path})
            ASSERT_EQ(0, ::chown(path.c_str(), NOBODY, NOBODY));
    }
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 04755));
    EXPECT_TRUE(isTrueWithoutPrivileges([&] {
        replace(m_path, "new");
        return true;
    }));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ(mode_t(04755), getPermissions(m_path));
}

/// Only the superuser can make a file of another user.
TEST_F(AtomicFileOutputStreamTest, keepsOwnerAndGroupOfTheOldFile) {
    constexpr uid_t OWNER = 65533;
    constexpr gid_t GROUP = 65532;
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the superuser";
    m_directory.addFile("file", "old");
    ASSERT_EQ(0, ::chown(m_path.c_str(), OWNER, GROUP));
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 0640));
    replace(m_path, "new");
    struct stat status;
    ASSERT_EQ(0, ::stat(m_path.c_str(), &status));
    EXPECT_EQ(OWNER, status.st_uid);
    EXPECT_EQ(GROUP, status.st_gid);
    EXPECT_EQ(mode_t(0640), getPermissions(m_path));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
}

TEST_F(AtomicFileOutputStreamTest, aPrivateFileIsNotPublicWhileItIsWritten) {
    m_directory.addFile("file", "old");
    for (const mode_t permissions : {0600U, 0440U, 0400U}) {
        ASSERT_EQ(0, ::chmod(m_path.c_str(), permissions));
        AtomicFileOutputStream output(m_path);
        EXPECT_EQ(permissions, getPermissions(output.getTemporaryFileName()));
        output.write("new", 3);
        output.commit();
        EXPECT_EQ(permissions, getPermissions(m_path));
    }
}

/// So a hard link to a leftover is not changed.
TEST_F(AtomicFileOutputStreamTest, replacesALeftoverInsteadOfWritingIntoIt) {
    const std::string other = m_directory.addFile("other", "another file");
    ASSERT_EQ(0, ::link(other.c_str(), (m_path + ".saving").c_str()));
    replace(m_path, "new");
    EXPECT_EQ("another file", TemporaryDirectory::getContentsOf(other));
    EXPECT_EQ((std::set<std::string>{"file", "other"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, writesUnderTheLockOfItsCallerAndLeavesItLocked) {
    m_directory.addFile("file", "old");
    FileLock lock(m_path);
    for (const char* const contents : {"first", "second"}) {
        AtomicFileOutputStream output(lock);
        EXPECT_EQ(m_path, output.getName());
        output.write(contents, std::string(contents).size());
        output.commit();
        EXPECT_EQ(contents, TemporaryDirectory::getContentsOf(m_path));
        EXPECT_THROW(const FileLock second(m_path), MelnarException);
    }
}

TEST_F(AtomicFileOutputStreamTest, theCommitReleasesItsOwnLock) {
    AtomicFileOutputStream output(m_path);
    EXPECT_THROW(const FileLock lock(m_path), MelnarException);
    output.commit();
    EXPECT_NO_THROW(const FileLock lock(m_path));
}

TEST_F(AtomicFileOutputStreamTest, afterTheCommitTheTemporaryFileIsTheNextWriters) {
    std::optional<AtomicFileOutputStream> first(std::in_place, m_path);
    first->commit();
    AtomicFileOutputStream second(m_path);
    second.write("new", 3);
    first.reset();
    second.commit();
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
}

TEST_F(AtomicFileOutputStreamTest, aNewFileHasTheUsersPermissions) {
    const mode_t mask = ::umask(027);
    replace(m_path, "new");
    ::umask(mask);
    EXPECT_EQ(mode_t(0640), getPermissions(m_path));
}

TEST_F(AtomicFileOutputStreamTest, aLinkStaysALinkAndItsTargetIsReplaced) {
    const std::string target = m_directory.addFile("target", "old");
    ASSERT_EQ(0, ::symlink("target", m_path.c_str()));
    const std::string second = m_directory.getPathOf("second");
    ASSERT_EQ(0, ::symlink("file", second.c_str()));
    replace(second, "new");
    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
    EXPECT_TRUE(std::filesystem::is_symlink(second));
    EXPECT_FALSE(std::filesystem::is_symlink(target));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(target));
    EXPECT_EQ((std::set<std::string>{"file", "second", "target"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, aLinkToNothingStaysALinkAndItsTargetIsMade) {
    std::filesystem::create_directory(m_directory.getPathOf("data"));
    ASSERT_EQ(0, ::symlink("data/second", m_path.c_str()));
    ASSERT_EQ(0, ::symlink("../target", m_directory.getPathOf("data/second").c_str()));
    const std::string absolute = m_directory.getPathOf("absolute");
    ASSERT_EQ(0, ::symlink(m_path.c_str(), absolute.c_str()));
    for (const std::string& path : {m_path, absolute}) {
        replace(path, "new");
        EXPECT_TRUE(std::filesystem::is_symlink(path));
        EXPECT_TRUE(std::filesystem::is_symlink(m_directory.getPathOf("data/second")));
        EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_directory.getPathOf("target")));
        EXPECT_EQ((std::set<std::string>{"absolute", "data", "file", "target"}), getFileNames(m_folder));
        EXPECT_TRUE(std::filesystem::remove(m_directory.getPathOf("target")));
    }
}

TEST_F(AtomicFileOutputStreamTest, followsALinkToNothingFromANameWithoutAFolder) {
    ASSERT_EQ(0, ::symlink("target", m_path.c_str()));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder);
    replace("file", "new");
    std::filesystem::current_path(before);
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_directory.getPathOf("target")));
    EXPECT_EQ((std::set<std::string>{"file", "target"}), getFileNames(m_folder));
}

/// It would have been removed after both files were replaced.
TEST_F(AtomicFileOutputStreamTest, removesAnOldFileThatADeadWriterKept) {
    for (const bool isCommitted : {false, true}) {
        m_directory.addFile("file", "old");
        const std::string kept = m_directory.addFile("file.replaced", "older");
        AtomicFileOutputStream output(m_path);
        EXPECT_FALSE(std::filesystem::exists(kept));
        if (isCommitted)
            output.commit();
    }
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, takesOverAFileThatADeadWriterLeft) {
    m_directory.addFile("file.saving", std::string(100000, 'x'));
    EXPECT_EQ(m_path + ".saving", AtomicFileOutputStream(m_path).getTemporaryFileName());
    m_directory.addFile("file.saving", std::string(100000, 'x'));
    replace(m_path, "new");
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

/// A writer that is killed in its commit may leave a file that nobody may write. Only the owner's rights count here, so
/// the test runs as a user who is not the superuser.
TEST_F(AtomicFileOutputStreamTest, takesOverAReadOnlyFileThatADeadWriterLeft) {
    m_directory.addFile("file", "old");
    const std::string left = m_directory.addFile("file.saving", std::string(100000, 'x'));
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 0444));
    ASSERT_EQ(0, ::chmod(left.c_str(), 0444));
    if (::geteuid() == 0) {
        for (const std::string& path : {m_folder, m_path, left})
            ASSERT_EQ(0, ::chown(path.c_str(), NOBODY, NOBODY));
    }
    EXPECT_TRUE(isTrueWithoutPrivileges([&] {
        replace(m_path, "new");
        return true;
    }));
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_EQ(mode_t(0444), getPermissions(m_path));
    EXPECT_EQ((std::set<std::string>{"file"}), getFileNames(m_folder));
}

TEST_F(AtomicFileOutputStreamTest, writesBesideANameWithoutAFolder) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder);
    replace("file", "new");
    std::filesystem::current_path(before);
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(m_path));
}

} // namespace
