#include "tools/melnar-dict-mpi/RankLoadOptions.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

RankLoadOptions parse(const std::vector<std::string>& arguments) {
    RankLoadOptions options;
    EXPECT_EQ(Request::WORK, readCommandLine(describeRankLoad(options), arguments));
    return options;
}

std::string messageOf(const std::vector<std::string>& arguments) {
    RankLoadOptions options;
    const auto failure = catchException<ToolFailure>([&] { readCommandLine(describeRankLoad(options), arguments); });
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    return failure.what();
}

TEST(RankLoadOptionsTest, needsAFileAndAFolder) {
    const RankLoadOptions options = parse({"a.nt", "-o", "d"});
    EXPECT_EQ((InputFiles{{"a.nt", RdfFormat::N_TRIPLES}}), options.m_load.m_files);
    EXPECT_EQ("d", options.m_load.m_output.m_outputName);
    EXPECT_TRUE(options.m_load.m_makesShards);
    EXPECT_EQ(1u, options.m_load.m_numberOfThreads);
    EXPECT_EQ(0u, options.m_load.m_memoryLimit) << "the rank's share";
    EXPECT_FALSE(options.m_isResuming || options.m_areInputsOfRanks || options.m_tellsTraffic);
    EXPECT_EQ("", options.m_load.m_idsName);
    EXPECT_EQ("load needs a file", messageOf({"-o", "d"}));
    EXPECT_EQ("load needs -o, the folder of the dictionary", messageOf({"a.nt"}));
}

TEST(RankLoadOptionsTest, takesEveryOption) {
    const RankLoadOptions options = parse({"--into",     "i",
                                           "--ids",      "T.npy",
                                           "--id-width", "4",
                                           "--quads",    "--resume",
                                           "-o",         "d",
                                           "3:a.nt",     "--traffic",
                                           "--lenient",  "--inputs-of-rank",
                                           "--errors",   "7",
                                           "--rejected", "r",
                                           "--quiet",    "--base",
                                           "http://b/",  "--checkpoint",
                                           "5",          "--memory-limit",
                                           "1G",         "--json",
                                           "--max-line", "3K",
                                           "--force"});
    EXPECT_TRUE(options.m_isResuming && options.m_areInputsOfRanks && options.m_tellsTraffic);
    const LoadOptions& load = options.m_load;
    EXPECT_EQ((InputFiles{{"3:a.nt", RdfFormat::N_TRIPLES}}), load.m_files) << "as it was named";
    EXPECT_EQ("i", load.m_intoName);
    EXPECT_EQ("d", load.m_output.m_outputName);
    EXPECT_EQ("T.npy", load.m_idsName);
    EXPECT_EQ(4u, load.m_rows.m_idWidth);
    EXPECT_TRUE(load.m_rows.m_asksForQuads && load.m_isLenient && load.m_feedback.m_isQuiet && load.m_asksForJson &&
                load.m_output.m_isForced);
    EXPECT_EQ(7u, load.m_numberOfErrorsShown);
    EXPECT_EQ("r", load.m_rejectedName);
    EXPECT_EQ("http://b/", load.m_base);
    EXPECT_EQ(std::chrono::minutes(5), load.m_checkpoint.m_interval);
    EXPECT_EQ(uint64_t(1) << 30, load.m_memoryLimit);
    EXPECT_EQ(3072u, load.m_maximumLine);
}

TEST(RankLoadOptionsTest, savesTheExtendedDictionaryInPlaceUnlessThereIsAnOutput) {
    EXPECT_EQ("d", parse({"a.nt", "--into", "d"}).m_load.m_output.m_outputName);
    EXPECT_EQ("o", parse({"a.nt", "--into", "d", "-o", "o"}).m_load.m_output.m_outputName);
}

TEST(RankLoadOptionsTest, readsAllFormats) {
    const InputFiles files = parse({"0:a.ttl.gz", "1:/b.trig", "--format", "nq", "c", "-o", "d"}).m_load.m_files;
    ASSERT_EQ(3u, files.size());
    EXPECT_EQ(RdfFormat::N_QUADS, files[2].second);
    EXPECT_EQ(RdfFormat::TURTLE, parse({"0:a.ttl.gz", "-o", "d"}).m_load.m_files[0].second);
}

TEST(RankLoadOptionsTest, refusesWhatContradictsItself) {
    EXPECT_EQ("--rejected needs --lenient; nothing is skipped without it",
              messageOf({"a.nt", "-o", "d", "--rejected", "r"}));
    for (const std::vector<std::string>& option :
         {std::vector<std::string>{"--id-width", "8"}, {"--id-width", "auto"}, {"--quads"}}) {
        std::vector<std::string> arguments{"a.nt", "-o", "d"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        if (option.back() == "auto")
            EXPECT_NO_THROW(parse(arguments)) << "which is what it is without the option";
        else
            EXPECT_EQ("--id-width and --quads need --ids", messageOf(arguments));
    }
    EXPECT_EQ("several processes cannot write rows to standard output", messageOf({"a.nt", "-o", "d", "--ids", "-"}));
    EXPECT_EQ(
        0u, messageOf({"a.ttl", "-o", "d", "--blank-nodes", "shared"}).find("--blank-nodes shared is for N-Triples "));
}

TEST(RankLoadOptionsTest, refusesWhatOneProcessOffersAlone) {
    for (const char* const option :
         {"--shards", "--query", "--get", "--threads", "--order", "--strings-only", "--max-resources"})
        EXPECT_EQ(0u, messageOf({"a.nt", "-o", "d", option, "1"}).find("unknown option " + std::string(option)))
            << option;
}

TEST(RankLoadOptionsTest, refusesValuesOutOfTheirRange) {
    EXPECT_EQ("the value of option --output is empty", messageOf({"a.nt", "-o", ""}));
    EXPECT_EQ("the value of option --ids is empty", messageOf({"a.nt", "-o", "d", "--ids", ""}));
    for (const std::vector<std::string>& option : {std::vector<std::string>{"--errors", "-1"},
                                                   {"--errors", "x"},
                                                   {"--id-width", "5"},
                                                   {"--checkpoint", "x"},
                                                   {"--memory-limit", "0"},
                                                   {"--base", "x"},
                                                   {"--max-line", ""},
                                                   {"--rdf", "2"}}) {
        std::vector<std::string> arguments{"a.nt", "-o", "d", "--ids", "T.npy"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        EXPECT_NE(std::string::npos, messageOf(arguments).find(option[0])) << option[0];
    }
}

} // namespace
