#include "tools/melnar-dict/shell/OutputLock.h"

#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

TEST(OutputLockTest, holdsTheLockOfTheFileThatANameLeadsTo) {
    const TemporaryDirectory directory;
    const std::string target = directory.addFile("target", "old");
    const std::string link = directory.getPathOf("link");
    ASSERT_EQ(0, ::symlink("target", link.c_str()));
    std::ostringstream errorOutput;
    {
        OutputLock lock(link, false, errorOutput);
        EXPECT_EQ(target, lock.getTargetName());
        EXPECT_EQ(link, lock.get().getFileName());
        EXPECT_TRUE(std::filesystem::exists(target + ".lock"));
    }
    EXPECT_FALSE(std::filesystem::exists(target + ".lock"));
    EXPECT_EQ("", errorOutput.str());
}

TEST(OutputLockTest, aHeldLockEndsTheToolWithTheHoldersName) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const FileLock holder(path);
    std::ostringstream errorOutput;
    const auto failure = catchException<ToolFailure>([&] { const OutputLock lock(path, false, errorOutput); });
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
    const std::string message = failure.what();
    EXPECT_EQ(0u,
              message.find("'" + path + "' is being written by process " + std::to_string(::getpid()) + " on host "))
        << message;
    EXPECT_TRUE(message.ends_with("; --wait waits until it has finished")) << message;
    EXPECT_EQ("", errorOutput.str());
}

} // namespace
