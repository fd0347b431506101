#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

/// Tests the output of `shards` for the folder "f" of the samples.
class ShardsCommandTest : public testing::Test {
protected:
    ShardsCommandTest() { DictionaryFolder::add(*makeDictionaryOfTerms(), m_folder); }

    ToolResult run(const std::vector<std::string>& arguments) const {
        ToolInput toolInput;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    Json getJson() const {
        const ToolResult result = run({"shards", "f", "--json"});
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        return Json::parse(result.m_output);
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("f");
};

TEST_F(ShardsCommandTest, jsonHasTheManifest) {
    ShardManifest manifest = DictionaryFolder::readManifest(m_folder);
    manifest.m_nextDocument = 3;
    manifest.m_inputs = {{"a.nt", 17, true}, {"b\xFF.nt", 5, false}};
    DictionaryFolder::writeManifest(manifest, m_folder);
    const Json json = getJson();
    EXPECT_EQ("f", json["dictionary"]);
    EXPECT_EQ(makeSampleTerms().size(), json["terms"]);
    EXPECT_EQ(manifest.m_history.m_entries.back().m_identity.toString(), json["identity"]);
    EXPECT_EQ((Json{{{"terms", makeSampleTerms().size()}, {"identity", json["identity"]}}}), json["states"]);
    EXPECT_EQ(true, json["isComplete"]);
    EXPECT_EQ(3, json["nextDocument"]);
    EXPECT_EQ(R"([{"name":"a.nt","statements":17,"isWhole":true},{"name":"b)"
              "\xEF\xBF\xBD"
              R"(.nt","statements":5,"isWhole":false}])",
              json["inputs"].dump());
    uint64_t terms = 0;
    uint64_t bytes = 0;
    uint64_t mostTerms = 0;
    uint64_t mostBytes = 0;
    for (const Json& shard : json["shards"]) {
        const uint32_t number = shard["shard"];
        EXPECT_EQ(manifest.m_shards[number].m_numberOfResources, shard["terms"]);
        EXPECT_NE(0, shard["terms"]);
        EXPECT_EQ(manifest.getFileName(number), shard["file"]);
        EXPECT_EQ(std::filesystem::file_size(DictionaryFolder::getPathOf(m_folder, number)), shard["fileBytes"]);
        terms += shard["terms"].get<uint64_t>();
        bytes += shard["fileBytes"].get<uint64_t>();
        mostTerms = std::max(mostTerms, shard["terms"].get<uint64_t>());
        mostBytes = std::max(mostBytes, shard["fileBytes"].get<uint64_t>());
    }
    EXPECT_EQ(json["shards"].size(), json["shardsInUse"]);
    EXPECT_EQ(json["terms"], terms);
    EXPECT_EQ(json["fileBytes"], bytes);
    EXPECT_DOUBLE_EQ(static_cast<double>(mostTerms) * 256 / static_cast<double>(terms), json["termSkew"]);
    EXPECT_DOUBLE_EQ(static_cast<double>(mostBytes) * 256 / static_cast<double>(bytes), json["byteSkew"]);
}

TEST_F(ShardsCommandTest, textHasTheSameFigures) {
    ShardManifest manifest = DictionaryFolder::readManifest(m_folder);
    manifest.m_inputs = {{"a.nt", 17, true}, {"b\x1B.nt", 5, false}};
    DictionaryFolder::writeManifest(manifest, m_folder);
    const ToolResult result = run({"shards", "f"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    const Json json = getJson();
    const auto expectText = [&result](const std::string& text) {
        EXPECT_NE(std::string::npos, result.m_output.find(text)) << text << "\n" << result.m_output;
    };
    const auto expectFigure = [&expectText](const std::string& name, const std::string& value) {
        expectText(name + std::string(61 - name.size() - value.size(), ' ') + value + '\n');
    };
    expectFigure("terms", std::to_string(makeSampleTerms().size()));
    expectFigure("shards in use", json["shardsInUse"].dump());
    expectFigure("bytes of files", json["fileBytes"].dump());
    expectFigure("saved states", "1");
    expectFigure("identity", json["identity"]);
    expectFigure("complete", "yes");
    expectFigure("next document", "1");
    expectText("  statements  input\n          17  a.nt\n           5  b\\u001B.nt, not whole\n");
    for (const Json& shard : json["shards"])
        expectText("  " + shard["file"].get<std::string>() + '\n');
    expectText("\nshard        terms          bytes  file\n");
}

TEST_F(ShardsCommandTest, theShardsAreNotRead) {
    DictionaryFolder::keepOnly({}, m_folder);
    EXPECT_EQ(makeSampleTerms().size(), getJson()["terms"]);
}

TEST_F(ShardsCommandTest, aFolderThatWasNeverWholeHasNoIdentity) {
    const std::string folder = m_directory.getPathOf("g");
    DictionaryFolder::add(*makeDictionaryOfTerms(), folder, ShardedDictionary::State::INTERMEDIATE);
    const Json json = Json::parse(run({"shards", "g", "--json"}).m_output);
    EXPECT_EQ(nullptr, json["identity"]);
    EXPECT_EQ(Json::array(), json["states"]);
    EXPECT_EQ(false, json["isComplete"]);
    EXPECT_EQ(makeSampleTerms().size(), json["terms"]);
    EXPECT_NE(std::string::npos, run({"shards", "g"}).m_output.find(" none\n"));
    DictionaryFolder::add(*makeDictionaryOfTerms(), folder);
    EXPECT_EQ(true, Json::parse(run({"shards", "g", "--json"}).m_output)["isComplete"]);
}

TEST_F(ShardsCommandTest, anEmptyFolderHasNoSkew) {
    DictionaryFolder::add(Dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 10}),
                          m_directory.getPathOf("empty"));
    const Json json = Json::parse(run({"shards", "empty", "--json"}).m_output);
    EXPECT_EQ(0, json["terms"]);
    EXPECT_EQ(0, json["termSkew"]);
    EXPECT_EQ(0, json["byteSkew"]);
    EXPECT_EQ(Json::array(), json["shards"]);
    EXPECT_EQ(0, run({"shards", "empty"}).m_exitCode);
}

TEST_F(ShardsCommandTest, aDamagedManifestIsNamed) {
    std::filesystem::resize_file(m_folder + "/manifest", 100);
    const ToolResult result = run({"shards", "f"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("'f/manifest'")) << result.m_errorOutput;
}

TEST_F(ShardsCommandTest, whatIsNoFolderIsRefused) {
    makeDictionaryOfTerms()->save(m_directory.getPathOf("d"));
    const ToolResult file = run({"shards", "d"});
    EXPECT_EQ(3, file.m_exitCode);
    EXPECT_EQ("melnar-dict: 'd' is not a folder of shards: there is no file 'd/manifest'\n", file.m_errorOutput);
    const ToolResult missing = run({"shards", "missing", "--json"});
    EXPECT_EQ(3, missing.m_exitCode);
    EXPECT_EQ(3, Json::parse(missing.m_output)["exitCode"]);
    EXPECT_EQ(2, run({"shards"}).m_exitCode);
    EXPECT_EQ(2, run({"shards", "-"}).m_exitCode);
}

} // namespace
