#include "tests/tools/melnar-dict-mpi/RankProcessTest.h"
#include "tests/tools/melnar-dict/load/RdfFacts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

/// The real data sets, loaded and encoded by ranks, compared with one process.
class RankSetsSlowTest : public RankProcessTest {};

TEST_F(RankSetsSlowTest, areTheSameWithAnyNumberOfRanks) {
    const std::optional<std::string> folder = getDataFolder();
    if (!folder)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    std::vector<std::string> all;
    for (const char* const set : {"vocabularies", "schemaorg-30.0", "long-texts.nt.gz", "wordnet31.nt.gz",
                                  "cldr-annotations.nt.gz", "w3c-rdf11-tests", "w3c-rdf12-tests"}) {
        const std::string path = *folder + '/' + set;
        ASSERT_TRUE(std::filesystem::exists(path)) << path;
        const bool isOfTests = std::string(set).starts_with("w3c"); // some of which must be refused
        const std::vector<std::string> options =
            isOfTests ? std::vector<std::string>{path, "--lenient", "--quiet"} : std::vector<std::string>{path};
        if (!isOfTests)
            all.push_back(path);
        loadByOneProcess(options);
        for (const size_t numberOfRanks : {1u, 2u, 3u, 4u})
            expectSame(numberOfRanks, options);
        if (isOfTests)
            continue;
        for (const size_t numberOfRanks : {1u, 2u, 3u, 4u}) {
            expectRanksSucceed(numberOfRanks, {"encode", path, "-d", "d", "-o", "encoded.npy"});
            EXPECT_TRUE(getContentsOf("d.npy") == getContentsOf("encoded.npy")) << path << ' ' << numberOfRanks;
        }
    }
    loadByOneProcess(all);
    for (const size_t numberOfRanks : {1u, 2u, 3u, 4u})
        expectSame(numberOfRanks, all);
}

} // namespace
