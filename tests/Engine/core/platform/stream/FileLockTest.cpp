#include "Engine/core/platform/stream/FileLock.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/ReplacedHostName.h"
#include "tests/support/RunWithoutPrivileges.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <csignal>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string describe(const pid_t process) {
    std::array<char, HOST_NAME_MAX + 1> hostName{};
    EXPECT_EQ(0, ::gethostname(hostName.data(), hostName.size() - 1));
    return "process " + std::to_string(process) + " on host " + hostName.data();
}

/// Returns the holder of the lock, or nothing if it is free.
std::optional<std::string> findHolder(const std::string& path) {
    std::optional<std::string> found;
    try {
        const FileLock lock(path, [&](const std::string& holder, const std::function<void()>&) {
            found = holder;
            throw std::runtime_error("held");
        });
    } catch (const std::runtime_error&) {
    }
    return found;
}

/// Another process that holds a lock until it is killed.
class HoldingProcess : private Unmovable {
public:
    explicit HoldingProcess(const std::string& path) {
        std::array<int, 2> pipeEnds{};
        EXPECT_EQ(0, ::pipe(pipeEnds.data()));
        m_processID = ::fork();
        if (m_processID == 0) {
            const FileLock lock(path);
            static_cast<void>(::write(pipeEnds[1], "x", 1) == 1);
            for (;;)
                ::pause();
        }
        ::close(pipeEnds[1]);
        char taken = 0;
        EXPECT_EQ(1, ::read(pipeEnds[0], &taken, 1));
        ::close(pipeEnds[0]);
    }

    ~HoldingProcess() { kill(); }

    pid_t getProcessID() const { return m_processID; }

    void kill() {
        if (m_processID == 0)
            return;
        ::kill(m_processID, SIGKILL);
        EXPECT_EQ(m_processID, ::waitpid(m_processID, nullptr, 0));
        m_processID = 0;
    }

private:
    pid_t m_processID;
};

class FileLockTest : public testing::Test {
protected:
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
};

TEST_F(FileLockTest, isMadeForExistingAndMissingFiles) {
    {
        const FileLock lock(m_path);
        EXPECT_EQ(m_path, lock.getFileName());
        EXPECT_EQ(m_path, lock.getTarget().getName());
        EXPECT_FALSE(std::filesystem::exists(m_path));
    }
    m_directory.addFile("file", "old");
    const FileLock lock(m_path);
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
}

TEST_F(FileLockTest, theLockFileNamesTheHolderAndGoesWithTheLock) {
    {
        const FileLock lock(m_path);
        EXPECT_EQ(m_path + ".lock", lock.getLockFileName());
        EXPECT_EQ("melnar lock: " + describe(::getpid()) + "\n",
                  TemporaryDirectory::getContentsOf(lock.getLockFileName()));
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.getPathOf("")));
}

TEST_F(FileLockTest, aSecondTakerLearnsTheHolder) {
    {
        const FileLock lock(m_path);
        EXPECT_EQ(describe(::getpid()), findHolder(m_path)) << "a process excludes itself, too";
    }
    EXPECT_EQ(std::nullopt, findHolder(m_path));
    const HoldingProcess holder(m_path);
    EXPECT_EQ(describe(holder.getProcessID()), findHolder(m_path));
    EXPECT_TRUE(std::filesystem::exists(m_path + ".lock")) << "who does not get the lock leaves its file alone";
}

TEST_F(FileLockTest, aHolderThatHasNotWrittenItsNameYetIsAnotherProcess) {
    const FileLock lock(m_path);
    std::filesystem::resize_file(m_path + ".lock", 0);
    EXPECT_EQ("another process", findHolder(m_path));
    m_directory.addFile("file.lock", "melnar lock: \033[31m\n");
    EXPECT_EQ("another process", findHolder(m_path)) << "nothing that a terminal would obey";
}

TEST_F(FileLockTest, theHostIsNamedInPrintableCharacters) {
    const std::string longestName(HOST_NAME_MAX, 'h');
    for (const auto& [name, printed] : {std::pair<std::string, std::string>("a b~", "a b~"),
                                        {"m\xc3\xbcnchen\n\x1f\x7f", "m??nchen???"},
                                        {longestName, longestName},
                                        {longestName + "x", longestName}}) {
        const ReplacedHostName hostName(name);
        const FileLock lock(m_path);
        EXPECT_EQ("process " + std::to_string(::getpid()) + " on host " + printed, findHolder(m_path));
    }
}

TEST_F(FileLockTest, aKilledHolderReleasesTheLockAndItsFileIsReplaced) {
    HoldingProcess holder(m_path);
    ASSERT_NE(std::nullopt, findHolder(m_path));
    holder.kill();
    ASSERT_TRUE(std::filesystem::exists(m_path + ".lock"));
    {
        const FileLock lock(m_path);
        EXPECT_EQ(describe(::getpid()), findHolder(m_path));
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.getPathOf("")));
}

TEST_F(FileLockTest, aLockFileThatAPowerCutLeavesIsReplaced) {
    for (const std::string& text : {std::string(), std::string(512, '\0'), std::string("melnar lock: process 1 on b\n"),
                                    "melnar lock: " + std::string(498, 'x') + "\n"}) {
        m_directory.addFile("file.lock", text);
        const FileLock lock(m_path);
        EXPECT_EQ(describe(::getpid()), findHolder(m_path));
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.getPathOf("")));
}

TEST_F(FileLockTest, namesThatLeadToOneFileShareItsLock) {
    std::filesystem::create_directory(m_directory.getPathOf("folder"));
    const std::string link = m_directory.getPathOf("link");
    const std::string linkedFolder = m_directory.getPathOf("linked");
    ASSERT_EQ(0, ::symlink("folder/file", link.c_str()));
    ASSERT_EQ(0, ::symlink("folder", linkedFolder.c_str()));
    const std::string path = m_directory.getPathOf("folder/file");
    for (const bool exists : {false, true}) {
        if (exists)
            m_directory.addFile("folder/file", "contents");
        const FileLock lock(link);
        EXPECT_EQ(path, lock.getTarget().getName());
        EXPECT_EQ(path + ".lock", lock.getLockFileName());
        for (const std::string& name : {link, path, linkedFolder + "/file", m_directory.getPathOf("folder/../link")})
            EXPECT_NE(std::nullopt, findHolder(name)) << name;
        EXPECT_EQ(std::nullopt, findHolder(m_directory.getPathOf("other")));
    }
}

/// If a link changes after the lock was taken, the holder must not follow it.
TEST_F(FileLockTest, aLinkIsFollowedOnce) {
    const std::string link = m_directory.getPathOf("link");
    std::filesystem::create_directory(m_directory.getPathOf("a"));
    std::filesystem::create_directory(m_directory.getPathOf("b"));
    ASSERT_EQ(0, ::symlink("a", link.c_str()));
    const FileLock lock(link + "/file");
    ASSERT_EQ(0, ::unlink(link.c_str()));
    ASSERT_EQ(0, ::symlink("b", link.c_str()));
    EXPECT_EQ(m_directory.getPathOf("a/file"), lock.getTarget().getName());
    EXPECT_EQ(std::nullopt, findHolder(link + "/file"));
}

TEST_F(FileLockTest, isTriedAgainWhenNoCallerWaits) {
    std::optional<FileLock> first(std::in_place, m_path);
    size_t calls = 0;
    const FileLock second(m_path, [&](const std::string&, const std::function<void()>&) {
        if (++calls == 3)
            first.reset();
    });
    EXPECT_EQ(3u, calls);
    EXPECT_NE(std::nullopt, findHolder(m_path));
}

TEST_F(FileLockTest, aWaitEndsWhenTheHolderIsKilled) {
    HoldingProcess holder(m_path);
    size_t calls = 0;
    const FileLock lock(m_path, [&](const std::string& name, const std::function<void()>& wait) {
        ++calls;
        EXPECT_EQ(describe(holder.getProcessID()), name);
        holder.kill();
        wait();
    });
    EXPECT_EQ(1u, calls);
    EXPECT_EQ(describe(::getpid()), findHolder(m_path));
}

/// If the file of a held lock is removed by hand, and another writer takes its own lock, the file of that one stays.
TEST_F(FileLockTest, removesNoLockFileButItsOwn) {
    std::optional<FileLock> first(std::in_place, m_path);
    ASSERT_TRUE(std::filesystem::remove(m_path + ".lock"));
    const FileLock second(m_path);
    first.reset();
    EXPECT_NE(std::nullopt, findHolder(m_path));
}

TEST_F(FileLockTest, aLockFileThatMayOnlyBeReadIsRespectedAndReplacedWhenItsHolderIsDead) {
    ASSERT_EQ(0, ::chmod(m_directory.getPathOf("").c_str(), 0777));
    {
        const FileLock lock(m_path);
        ASSERT_EQ(0, ::chmod(lock.getLockFileName().c_str(), 0444));
        const std::string expected = describe(::getpid());
        EXPECT_TRUE(isTrueWithoutPrivileges([&] { return findHolder(m_path) == expected; }));
    }
    for (const char* const text : {"", "melnar lock: process 1 on host left\n"}) {
        ASSERT_EQ(0, ::chmod(m_directory.addFile("file.lock", text).c_str(), 0444));
        EXPECT_TRUE(isTrueWithoutPrivileges([&] {
            const FileLock lock(m_path);
            return findHolder(m_path) == describe(::getpid());
        }));
        EXPECT_FALSE(std::filesystem::exists(m_path + ".lock"));
    }
}

} // namespace
