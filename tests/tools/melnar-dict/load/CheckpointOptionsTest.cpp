#include "tools/melnar-dict/load/CheckpointOptions.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

CheckpointOptions parse(const std::vector<std::string>& arguments) {
    CheckpointOptions options;
    VerbDescription verb{"load", "", "", "", {}};
    addCheckpoint(verb, "", options);
    EXPECT_EQ(Request::WORK, readCommandLine(verb, arguments));
    return options;
}

TEST(CheckpointOptionsTest, everyTenMinutesUnlessAnOptionStatesOtherwise) {
    const CheckpointOptions options = parse({});
    EXPECT_FALSE(options.m_isGiven);
    EXPECT_EQ(std::chrono::minutes(10), options.m_interval);
    EXPECT_EQ(0u, options.m_blocks);
}

TEST(CheckpointOptionsTest, takesMinutesOrBlocks) {
    for (const int minutes : {0, 1, 1'000'000'000}) {
        const CheckpointOptions options = parse({"--checkpoint", std::to_string(minutes)});
        EXPECT_TRUE(options.m_isGiven);
        EXPECT_EQ(std::chrono::minutes(minutes), options.m_interval);
        EXPECT_EQ(0u, options.m_blocks);
    }
    for (const unsigned blocks : {1u, 25u, 1'000'000'000u}) {
        const CheckpointOptions options = parse({"--checkpoint=" + std::to_string(blocks) + "b"});
        EXPECT_TRUE(options.m_isGiven);
        EXPECT_EQ(blocks, options.m_blocks);
    }
    EXPECT_EQ(std::chrono::minutes(3), parse({"--checkpoint", "5b", "--checkpoint", "3"}).m_interval);
    EXPECT_EQ(0u, parse({"--checkpoint", "5b", "--checkpoint", "3"}).m_blocks) << "the last one counts";
}

TEST(CheckpointOptionsTest, refusesEverythingElse) {
    for (const auto& [value, numbers] :
         std::vector<std::pair<std::string, std::string>>{{"", "0 to 1000000000"},
                                                          {"b", "1 to 1000000000"},
                                                          {"0b", "1 to 1000000000"},
                                                          {"-1", "0 to 1000000000"},
                                                          {"1.5", "0 to 1000000000"},
                                                          {"1000000001", "0 to 1000000000"},
                                                          {"1000000001b", "1 to 1000000000"},
                                                          {"5m", "0 to 1000000000"},
                                                          {"5 b", "1 to 1000000000"},
                                                          {"5bb", "1 to 1000000000"}}) {
        const auto failure = catchException<ToolFailure>([&, &text = value] { parse({"--checkpoint=" + text}); });
        EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
        EXPECT_NE(std::string::npos, std::string(failure.what()).find("a number from " + numbers)) << failure.what();
        EXPECT_NE(std::string::npos, std::string(failure.what()).find("--checkpoint")) << failure.what();
    }
}

} // namespace
