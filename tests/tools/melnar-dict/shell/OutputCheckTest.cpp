#include "tools/melnar-dict/shell/OutputCheck.h"

#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* DICTIONARY = "MELNARDC and what follows";

class OutputCheckTest : public testing::Test {
protected:
    /// Expects a refusal and returns its message.
    template<class Action>
    static std::string getRefusal(const ExitCode exitCode, const Action& action) {
        const auto failure = catchException<ToolFailure>(action);
        EXPECT_EQ(exitCode, failure.getExitCode());
        return failure.what();
    }

    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("output");
};

TEST_F(OutputCheckTest, anOutputThatIsNotThereIsRefusedForNothing) {
    const OutputCheck check(m_path, false);
    EXPECT_FALSE(check.isOutput(m_path));
    EXPECT_NO_THROW(check.refuseInput(m_path));
    EXPECT_NO_THROW(check.refuseInput(m_directory.addFile("input", "text")));
    EXPECT_NO_THROW(check.requireDictionaryOrNothing());
    EXPECT_NO_THROW(check.refuseDictionary());
    EXPECT_NO_THROW(check.requireRoom(1));
}

TEST_F(OutputCheckTest, anInputIsKnownByItsFileAndNotByItsName) {
    m_directory.addFile("output", "text");
    const std::string same = m_directory.getPathOf("same");
    const std::string other = m_directory.addFile("other", "text");
    ASSERT_EQ(0, ::link(m_path.c_str(), same.c_str()));
    for (const bool isForced : {false, true}) {
        const OutputCheck check(m_path, isForced);
        EXPECT_EQ("the input '" + same + "' is also the output '" + m_path + "'",
                  getRefusal(ExitCode::USAGE, [&] { check.refuseInput(same); }));
        EXPECT_NO_THROW(check.refuseInput(other));
        EXPECT_NO_THROW(check.refuseInput(m_directory.getPathOf("missing")));
    }
}

TEST_F(OutputCheckTest, theFolderOfADictionaryIsLeftAlone) {
    const std::string folder = m_directory.getPathOf("f");
    const std::string link = m_directory.getPathOf("link");
    std::filesystem::create_directory(folder);
    std::filesystem::create_symlink(folder + "/new", link);
    m_directory.addFile("f/manifest", "MELNARDF and what follows");
    for (const std::string& name : {folder + "/manifest", folder + "/new", link}) {
        EXPECT_EQ("'" + name + "' is in the folder of a dictionary; --force writes it nevertheless",
                  getRefusal(ExitCode::USAGE, [&] { OutputCheck(name, false); }));
        const OutputCheck check(name, true);
        EXPECT_EQ("the input '" + folder + "' is also the folder of the output '" + name + "'",
                  getRefusal(ExitCode::USAGE, [&] { check.refuseInput(folder); }));
        EXPECT_NO_THROW(check.refuseInput(m_directory.getPathOf("")));
    }
    EXPECT_EQ("'" + folder + "' exists and is not a regular file, so it cannot be replaced",
              getRefusal(ExitCode::USAGE, [&] { OutputCheck(folder, true); }));
}

TEST_F(OutputCheckTest, anotherFileThatIsCalledManifestMakesNoDictionary) {
    m_directory.addFile("manifest", "MELNARD");
    EXPECT_NO_THROW(OutputCheck(m_path, false).refuseInput(m_directory.getPathOf("")));
    std::filesystem::remove(m_directory.getPathOf("manifest"));
    ASSERT_EQ(0, ::mkfifo(m_directory.getPathOf("manifest").c_str(), 0600));
    EXPECT_NO_THROW(OutputCheck(m_path, false));
}

TEST_F(OutputCheckTest, whatWritingMakesOrRemovesIsNoInput) {
    for (const auto& [suffix, whatItIs] :
         {std::pair(".saving", "temporary file"), {".replaced", "backup file"}, {".lock", "lock file"}}) {
        const std::string input = m_directory.addFile(std::string("output") + suffix, "text");
        EXPECT_EQ("the input '" + input + "' is also the " + whatItIs + " of the output '" + m_path + "'",
                  getRefusal(ExitCode::USAGE, [&] { OutputCheck(m_path, true).refuseInput(input); }));
    }
}

TEST_F(OutputCheckTest, isTheOutputByEveryNameOfItsPlaceOnly) {
    m_directory.addFile("output", DICTIONARY);
    const std::string link = m_directory.getPathOf("link");
    const std::string hardLink = m_directory.getPathOf("hard");
    ASSERT_EQ(0, ::symlink("output", link.c_str()));
    ASSERT_EQ(0, ::link(m_path.c_str(), hardLink.c_str()));
    const OutputCheck check(link, false);
    EXPECT_TRUE(check.isOutput(m_path));
    EXPECT_TRUE(check.isOutput(link));
    EXPECT_FALSE(check.isOutput(hardLink));
    EXPECT_FALSE(check.isOutput(m_directory.getPathOf("missing")));
    EXPECT_FALSE(check.isOutput("-"));
}

TEST_F(OutputCheckTest, aDictionaryIsRecognisedByItsFirstBytes) {
    for (const bool isDictionary : {false, true}) {
        m_directory.addFile("output", isDictionary ? DICTIONARY : "MELNARDX and what follows");
        const OutputCheck check(m_path, false);
        const OutputCheck forced(m_path, true);
        if (isDictionary) {
            EXPECT_NO_THROW(check.requireDictionaryOrNothing());
            EXPECT_EQ("'" + m_path + "' is a dictionary; --force replaces it",
                      getRefusal(ExitCode::USAGE, [&] { check.refuseDictionary(); }));
        } else {
            EXPECT_EQ("'" + m_path + "' exists and is not a dictionary; --force replaces it",
                      getRefusal(ExitCode::USAGE, [&] { check.requireDictionaryOrNothing(); }));
            EXPECT_NO_THROW(check.refuseDictionary());
        }
        EXPECT_NO_THROW(forced.requireDictionaryOrNothing());
        EXPECT_NO_THROW(forced.refuseDictionary());
    }
}

TEST_F(OutputCheckTest, irregularFilesAreRefusedEvenByForce) {
    ASSERT_EQ(0, ::mkfifo(m_path.c_str(), 0600));
    for (const bool isForced : {false, true})
        EXPECT_EQ("'" + m_path + "' exists and is not a regular file, so it cannot be replaced",
                  getRefusal(ExitCode::USAGE, [&] { const OutputCheck check(m_path, isForced); }));
}

TEST_F(OutputCheckTest, roomIsRefusedOnlyWhereItCannotSuffice) {
    constexpr uint64_t TOO_MUCH = std::numeric_limits<uint64_t>::max();
    const OutputCheck check(m_path, false);
    const std::string message = getRefusal(ExitCode::FAILURE, [&] { check.requireRoom(TOO_MUCH); });
    EXPECT_EQ(0u, message.find("'" + m_path + "' needs at least " + std::to_string(TOO_MUCH) + " bytes")) << message;
    EXPECT_NO_THROW(check.requireRoom(0));
    EXPECT_NO_THROW(OutputCheck(m_path, true).requireRoom(TOO_MUCH));
    EXPECT_NO_THROW(OutputCheck(m_directory.getPathOf("missing/output"), false).requireRoom(TOO_MUCH))
        << "a folder that is not there is reported by the lock";
}

TEST_F(OutputCheckTest, twoOutputsAreKnownByTheirPlacesWhetherTheyAreThereOrNot) {
    const std::string link = m_directory.getPathOf("link");
    ASSERT_EQ(0, ::symlink(m_path.c_str(), link.c_str()));
    const std::string hardLink = m_directory.getPathOf("hard-link");
    for (const bool isThere : {false, true}) {
        if (isThere) {
            m_directory.addFile("output", DICTIONARY);
            ASSERT_EQ(0, ::link(m_path.c_str(), hardLink.c_str()));
        }
        const OutputCheck check(m_path, true);
        for (const std::string& other : {m_path, link, m_path + ".saving", m_path + ".replaced", m_path + ".lock"})
            EXPECT_EQ("'" + other + "' is also the output '" + m_path +
                          "', or a file that is created while it is written",
                      getRefusal(ExitCode::USAGE, [&] { check.refuseOutput(other); }));
        EXPECT_NO_THROW(check.refuseOutput(m_directory.getPathOf("other")));
        if (isThere) {
            EXPECT_THROW(check.refuseOutput(hardLink), ToolFailure);
        }
    }
}

} // namespace
