#include "tools/melnar-dict-mpi/RankInputs.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

RankInputs assign(const InputFiles& named, const bool areOfRanks) {
    RankInputs inputs;
    inputs.assign(named, areOfRanks);
    return inputs;
}

std::string messageOf(const std::string& name, const bool areOfRanks) {
    const auto failure = catchException<ToolFailure>([&] { assign({{name, RdfFormat::N_TRIPLES}}, areOfRanks); });
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    return failure.what();
}

TEST(RankInputsTest, filesOfAllRanksKeepTheirNames) {
    const InputFiles named{{"/a.nt", RdfFormat::N_TRIPLES}, {"3:/b.ttl", RdfFormat::TURTLE}, {":", RdfFormat::TRIG}};
    const RankInputs inputs = assign(named, false);
    EXPECT_EQ(named, inputs.m_files);
    EXPECT_EQ(std::vector<uint32_t>(3, SlicePlan::ANY_RANK), inputs.m_ranks);
}

TEST(RankInputsTest, filesOfARankHaveItBeforeTheirNames) {
    const RankInputs inputs = assign({{"3:/a.nt", RdfFormat::N_TRIPLES},
                                      {"0:b.ttl", RdfFormat::TURTLE},
                                      {"2147483646:1:c.nq", RdfFormat::N_QUADS},
                                      {"3::", RdfFormat::N_TRIPLES}},
                                     true);
    EXPECT_EQ((InputFiles{{"/a.nt", RdfFormat::N_TRIPLES},
                          {"b.ttl", RdfFormat::TURTLE},
                          {"1:c.nq", RdfFormat::N_QUADS},
                          {":", RdfFormat::N_TRIPLES}}),
              inputs.m_files);
    EXPECT_EQ((std::vector<uint32_t>{3, 0, 2147483646, 3}), inputs.m_ranks);
}

TEST(RankInputsTest, withoutFilesThereAreNone) {
    EXPECT_TRUE(assign({}, true).m_files.empty());
}

TEST(RankInputsTest, namesWithoutARankAreRefused) {
    for (const std::string name :
         {"/a.nt", ":a.nt", "x:/a.nt", "3:", "3", "", ":", "-1:a.nt", "+1:a.nt", " 1:a.nt", "1 :a.nt", "1.5:a.nt",
          "0x1:a.nt", "2147483647:a.nt", "4294967295:a.nt", "4294967296:a.nt", "18446744073709551616:a.nt"})
        EXPECT_EQ(
            "with --inputs-of-rank a file has the number of a rank before its name, such as 3:/scratch/part-3.nt; "
            "'" +
                name + "' has none",
            messageOf(name, true));
}

TEST(RankInputsTest, standardInputIsRefused) {
    for (const bool areOfRanks : {false, true})
        EXPECT_EQ("several processes cannot read standard input", messageOf("-", areOfRanks));
    EXPECT_EQ("several processes cannot read standard input", messageOf("0:-", true));
    EXPECT_EQ("0:-", assign({{"0:-", RdfFormat::N_TRIPLES}}, false).m_files[0].first) << "which is a name";
}

} // namespace
