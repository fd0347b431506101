#include "tests/torture/RankKillTorture.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

namespace {

class RankKillTortureTest : public testing::Test {
protected:
    /// Returns the output for a program that executes commands before it becomes that of the ranks.
    std::string torture(const std::string& commands) {
        const std::string path = m_directory.addFile("program", "#!/bin/sh\n" + commands +
                                                                    "\nexec '" MELNAR_DICT_MPI_EXECUTABLE "' \"$@\"\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        std::ostringstream output;
        m_isRight = tortureRanksByKills(4, 5, m_directory.getPathOf(""), output, path);
        return output.str();
    }

    const TemporaryDirectory m_directory;
    bool m_isRight = false;
};

TEST_F(RankKillTortureTest, killedLoadsResume) {
    const std::string output = torture(":");
    EXPECT_TRUE(m_isRight) << output;
    EXPECT_EQ(0u, output.find("4 kills of loads by ranks: each went on to what an undisturbed load makes (")) << output;
}

/// This holds whatever is killed.
TEST_F(RankKillTortureTest, filesThatOneProcessDoesNotMakeAreFound) {
    const std::string output = torture("if [ -e d ]; then : > d/left; fi");
    EXPECT_FALSE(m_isRight) << output;
    EXPECT_NE(std::string::npos, output.find("WRONG: a load that adds to a folder does not always make the same files"))
        << output;
}

} // namespace
