#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"
#include "tools/melnar-dict/saved/DictionaryPage.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> toLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// Tests the verbs with the folder "f", which has the terms of the file "d": the samples, and many strings.
class FolderVerbsTest : public testing::Test {
protected:
    static constexpr int NUMBER_OF_STRINGS = 3000;

    FolderVerbsTest() {
        Dictionary larger({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 10000});
        {
            DictionaryThread thread(larger);
            for (const SampleTerm& sample : makeSampleTerms())
                larger.resolveTerm(thread, sample.m_term);
            for (int number = 0; number < NUMBER_OF_STRINGS; ++number)
                larger.resolveResource(thread, std::to_string(number) + "@x-" + std::to_string(number % 3),
                                       D_RDF_PLAIN_LITERAL);
        }
        larger.commit();
        larger.save(getPathOf("d"));
        DictionaryFolder::add(larger, getPathOf("f"));
        for (const std::string& line : toLines(outputOf({"dump", "f"}))) {
            const size_t tab = line.find('\t');
            m_ids[line.substr(tab + 1)] = line.substr(0, tab);
        }
    }

    std::string getPathOf(const std::string& name) const { return m_directory.getPathOf(name); }

    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    /// Returns the output of a run that must succeed.
    std::string outputOf(const std::vector<std::string>& arguments, const std::string& input = "") const {
        const ToolResult result = run(arguments, input);
        EXPECT_EQ(0, result.m_exitCode) << arguments.front();
        EXPECT_EQ("", result.m_errorOutput) << arguments.front();
        return result.m_output;
    }

    /// Expects a failure with this exit code, without output, whose message has this text.
    void expectFailure(const int exitCode, const std::vector<std::string>& arguments, const std::string& text) const {
        const ToolResult result = run(arguments);
        EXPECT_EQ(exitCode, result.m_exitCode) << arguments.front();
        EXPECT_EQ("", result.m_output) << arguments.front();
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(text))
            << arguments.front() << ": " << result.m_errorOutput;
    }

    void damage(const std::string& path, const size_t position) const {
        std::string contents = TemporaryDirectory::getContentsOf(path);
        contents.at(position) = static_cast<char>(contents.at(position) ^ 4);
        std::ofstream(path, std::ios::binary) << contents;
    }

    uint32_t getShard(const std::string& term) const { return ShardLayout::getShard(std::stoull(m_ids.at(term))); }

    const TemporaryDirectory m_directory;
    std::map<std::string, std::string> m_ids; // of the terms in the folder
};

TEST_F(FolderVerbsTest, dumpPrintsTheTermsOfTheFileShardByShard) {
    std::vector<std::string> terms;
    for (const std::string& line : toLines(outputOf({"dump", "d"})))
        terms.push_back(line.substr(line.find('\t') + 1));
    std::vector<std::string> termsOfFolder;
    uint64_t previousID = 0;
    for (const std::string& line : toLines(outputOf({"dump", "f"}))) {
        const uint64_t id = std::stoull(line);
        EXPECT_TRUE(previousID == 0 || ShardLayout::getShard(previousID) < ShardLayout::getShard(id) ||
                    (ShardLayout::getShard(previousID) == ShardLayout::getShard(id) && previousID < id))
            << previousID << " " << id;
        previousID = id;
        termsOfFolder.push_back(line.substr(line.find('\t') + 1));
    }
    std::ranges::sort(terms);
    std::ranges::sort(termsOfFolder);
    EXPECT_EQ(NUMBER_OF_STRINGS + makeSampleTerms().size(), terms.size());
    EXPECT_EQ(terms, termsOfFolder);
}

TEST_F(FolderVerbsTest, jsonOfATermIsThatOfTheFileWithTheIdOfTheFolder) {
    std::map<std::string, std::string> rows;
    for (const std::string& line : toLines(outputOf({"dump", "f", "--json"}))) {
        Json row = Json::parse(line);
        const std::string id = std::to_string(row["id"].get<uint64_t>());
        row.erase("id");
        rows[id] = row.dump();
    }
    EXPECT_EQ(m_ids.size(), rows.size());
    const std::vector<std::string> lines = toLines(outputOf({"dump", "d"}));
    const std::vector<std::string> linesOfJson = toLines(outputOf({"dump", "d", "--json"}));
    ASSERT_EQ(lines.size(), linesOfJson.size());
    for (size_t index = 0; index < lines.size(); ++index) {
        Json row = Json::parse(linesOfJson[index]);
        row.erase("id");
        EXPECT_EQ(row.dump(), rows[m_ids.at(lines[index].substr(lines[index].find('\t') + 1))]);
    }
}

TEST_F(FolderVerbsTest, getAndLookupAreInversesForEveryTerm) {
    std::string ids;
    std::string terms;
    std::string expected;
    for (const auto& [term, id] : m_ids) {
        ids += id + '\n';
        terms += term + '\n';
        expected += id + '\t' + term + '\n';
    }
    EXPECT_EQ(expected, outputOf({"get", "f", "-"}, ids));
    EXPECT_EQ(expected, outputOf({"lookup", "f", "-"}, terms));
    EXPECT_EQ(outputOf({"get", "f", "--json", "-"}, ids), outputOf({"lookup", "f/", "--json", "-"}, terms));
}

TEST_F(FolderVerbsTest, whatIsNotThereIsNotFound) {
    uint64_t largestID = 0;
    for (const auto& [term, id] : m_ids)
        largestID = std::max<uint64_t>(largestID, std::stoull(id));
    const std::string beyond = std::to_string(largestID + ShardLayout::NUMBER_OF_SHARDS);
    const ToolResult ids = run({"get", "f", "0", beyond, "18446744073709551615", m_ids.at("\"text\"")});
    EXPECT_EQ(1, ids.m_exitCode);
    EXPECT_EQ("not found\t0\nnot found\t" + beyond + "\nnot found\t18446744073709551615\n" + m_ids.at("\"text\"") +
                  "\t\"text\"\n",
              ids.m_output);
    const ToolResult terms = run({"lookup", "f", "\"nothing\"", "\"text\"", "<a:nothing>"});
    EXPECT_EQ(1, terms.m_exitCode);
    EXPECT_EQ("not found\t\"nothing\"\n" + m_ids.at("\"text\"") + "\t\"text\"\nnot found\t<a:nothing>\n",
              terms.m_output);
}

TEST_F(FolderVerbsTest, aRefusedTermIsNamedAsWithAFile) {
    const std::string malformed = "\"z@en-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";
    const ToolResult file = run({"lookup", "d", malformed, "\"5\"^^<t>"});
    const ToolResult folder = run({"lookup", "f", malformed, "\"5\"^^<t>"});
    EXPECT_EQ(1, folder.m_exitCode);
    EXPECT_EQ(file.m_errorOutput, folder.m_errorOutput);
}

TEST_F(FolderVerbsTest, onlyTheRequestedShardIsRead) {
    const std::string term = "<http://example.org/3>";
    DictionaryFolder::keepOnly({getShard(term)}, getPathOf("f"));
    EXPECT_EQ(m_ids.at(term) + '\t' + term + '\n', outputOf({"get", "f", m_ids.at(term)}));
    EXPECT_EQ(m_ids.at(term) + '\t' + term + '\n', outputOf({"lookup", "f", term}));
    expectFailure(3, {"get", "f", m_ids.at("_:b0")}, "shard-");
    expectFailure(3, {"lookup", "f", "_:b0"}, "shard-");
    expectFailure(3, {"verify", "f"}, "shard-");
    expectFailure(3, {"stats", "f"}, "shard-");
}

TEST_F(FolderVerbsTest, verifyCountsTheTermsOfAllShards) {
    const std::string number = std::to_string(m_ids.size());
    EXPECT_EQ("f: sound, " + number + " resources\n", outputOf({"verify", "f"}));
    const Json json = Json::parse(outputOf({"verify", "f", "--json"}));
    EXPECT_EQ("f", json["dictionary"]);
    EXPECT_EQ(true, json["sound"]);
    EXPECT_EQ(m_ids.size(), json["resources"]);
}

TEST_F(FolderVerbsTest, verifyNamesTheFirstTermThatNoFileCanHoldByItsIdInTheFolder) {
    Dictionary flawed({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 10});
    {
        DictionaryThread thread(flawed);
        flawed.resolveResource(thread, "no space", D_IRI);
    }
    DictionaryFolder::add(flawed, getPathOf("f"));
    const uint32_t shard = ShardLayout::getShard("no space", D_IRI);
    const uint64_t number = DictionaryFolder::readManifest(getPathOf("f")).m_shards[shard].m_numberOfResources;
    const std::string id = std::to_string(ShardLayout::toGlobal(number, shard));
    expectFailure(1, {"verify", "f"}, "resource " + id + ": ");
    expectFailure(1, {"get", "f", id}, "resource " + id + " cannot be written: ");
    // Damage of a later shard takes precedence.
    ASSERT_GT(255u, shard);
    damage(DictionaryFolder::getPathOf(getPathOf("f"), 255), 100);
    expectFailure(3, {"verify", "f"}, "shard-ff-");
}

TEST_F(FolderVerbsTest, aDamagedShardIsNamedByItsFile) {
    const uint32_t shard = getShard("_:b0");
    const std::string path = DictionaryFolder::getPathOf(getPathOf("f"), shard);
    damage(path, std::filesystem::file_size(path) / 2);
    const std::string name = "/f/" + std::filesystem::path(path).filename().string() + "'";
    expectFailure(3, {"get", "f", m_ids.at("_:b0")}, name);
    expectFailure(3, {"lookup", "f", "_:b0"}, name);
    expectFailure(3, {"verify", "f"}, name);
    expectFailure(3, {"stats", "f"}, name);
    const ToolResult dump = run({"dump", "f"});
    EXPECT_EQ(3, dump.m_exitCode);
    EXPECT_NE(std::string::npos, dump.m_errorOutput.find(name)) << dump.m_errorOutput;
    const Json json = Json::parse(run({"verify", "f", "--json"}).m_output);
    EXPECT_EQ(3, json["exitCode"]);
}

TEST_F(FolderVerbsTest, aShardOfAnotherFolderIsRefused) {
    const uint32_t shard = getShard("_:b0");
    DictionaryFolder::add(*makeDictionaryOfTerms(), getPathOf("g"));
    std::filesystem::copy_file(DictionaryFolder::getPathOf(getPathOf("g"), shard),
                               DictionaryFolder::getPathOf(getPathOf("f"), shard),
                               std::filesystem::copy_options::overwrite_existing);
    expectFailure(3, {"get", "f", m_ids.at("_:b0")}, "' is not the one that the manifest of its folder names.");
    expectFailure(3, {"verify", "f"}, "' is not the one that the manifest of its folder names.");
}

TEST_F(FolderVerbsTest, aTermInTheWrongShardIsFoundByVerifyAlone) {
    ShardManifest manifest = DictionaryFolder::readManifest(getPathOf("f"));
    const std::string first = DictionaryFolder::getPathOf(getPathOf("f"), 0);
    const std::string second = DictionaryFolder::getPathOf(getPathOf("f"), 1);
    std::swap(manifest.m_shards[0], manifest.m_shards[1]);
    DictionaryFolder::writeManifest(manifest, getPathOf("f"));
    std::filesystem::rename(first, getPathOf("f/" + manifest.getFileName(1)));
    std::filesystem::rename(second, getPathOf("f/" + manifest.getFileName(0)));
    EXPECT_EQ(m_ids.size(), toLines(outputOf({"dump", "f"})).size());
    expectFailure(3, {"verify", "f"}, "/f' is damaged: Resource 1 belongs to another shard.");
}

TEST_F(FolderVerbsTest, aDamagedManifestIsNamed) {
    const std::string manifest = getPathOf("f/manifest");
    damage(manifest, std::filesystem::file_size(manifest) / 2);
    for (const std::string verb : {"dump", "stats", "verify"})
        expectFailure(3, {verb, "f"}, "'f/manifest'");
    expectFailure(3, {"get", "f", "1"}, "'f/manifest'");
    expectFailure(3, {"lookup", "f", "_:b0"}, "'f/manifest'");
    std::filesystem::resize_file(manifest, 3);
    expectFailure(3, {"dump", "f"}, "'f/manifest'");
}

TEST_F(FolderVerbsTest, aFolderWithoutAManifestIsNoDictionary) {
    std::filesystem::remove(getPathOf("f/manifest"));
    for (const std::string verb : {"dump", "stats", "verify"})
        expectFailure(3, {verb, "f"}, "'f' is not a folder of shards: there is no file 'f/manifest'");
    expectFailure(3, {"get", "f", "1"}, "'f' is not a folder of shards: there is no file 'f/manifest'");
}

TEST_F(FolderVerbsTest, aManifestAloneIsNoDictionaryFile) {
    expectFailure(3, {"dump", "f/manifest"}, "'f/manifest'");
}

TEST_F(FolderVerbsTest, aFolderWithoutTermsIsADictionary) {
    DictionaryFolder::add(Dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 10}),
                          getPathOf("empty"));
    EXPECT_EQ("", outputOf({"dump", "empty"}));
    EXPECT_EQ("empty: sound, 0 resources\n", outputOf({"verify", "empty"}));
    EXPECT_EQ("not found\t1\n", run({"get", "empty", "1"}).m_output);
    EXPECT_EQ("not found\t_:b0\n", run({"lookup", "empty", "_:b0"}).m_output);
    EXPECT_EQ("Dictionary", Json::parse(outputOf({"stats", "empty", "--json"}))["name"]);
    EXPECT_TRUE(outputOf({"stats", "empty", "--html", "-"}).starts_with(BEGINNING_OF_A_DICTIONARY_PAGE));
}

TEST_F(FolderVerbsTest, theMemoryLimitIsThatOfAllShardsTogether) {
    std::string ids;
    for (const auto& [term, id] : m_ids)
        ids += id + '\n';
    const ToolResult result = run({"get", "f", "--memory-limit", "8M", "-"}, ids);
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("out of memory: --memory-limit 8M is reached"))
        << result.m_errorOutput;
    // One shard at a time needs little memory.
    EXPECT_EQ(m_ids.size(), toLines(outputOf({"dump", "f", "--memory-limit", "8M"})).size());
    outputOf({"verify", "f", "--memory-limit", "8M"});
    outputOf({"stats", "f", "--memory-limit", "8M"});
}

TEST_F(FolderVerbsTest, statsAreThoseOfAllShardsTogether) {
    const Json folder = Json::parse(outputOf({"stats", "f", "--json"}));
    const Json file = Json::parse(outputOf({"stats", "d", "--json"}));
    std::map<std::string, Json> figures;
    for (const Json& property : folder["properties"])
        figures[property["label"]] = property["value"];
    size_t numberOfCounts = 0;
    for (const Json& property : file["properties"]) {
        const std::string label = property["label"];
        ASSERT_TRUE(figures.contains(label)) << label;
        if (property["metric"] == "NUMBER_OF_RESOURCES" || property["metric"] == "BYTES_OF_TEXT" ||
            property["metric"] == "GENERATION") {
            EXPECT_EQ(property["value"], figures[label]) << label;
            ++numberOfCounts;
        }
    }
    EXPECT_EQ(9u, numberOfCounts);
    const ShardManifest manifest = DictionaryFolder::readManifest(getPathOf("f"));
    EXPECT_EQ(manifest.m_history.m_entries.back().m_identity.toString(), figures["Identity"]);
    const auto getLanguages = [](const Json& root) {
        return *std::ranges::find(root["children"], "Languages", [](const Json& child) { return child["name"]; });
    };
    EXPECT_EQ(getLanguages(file), getLanguages(folder));
    EXPECT_NE(std::string::npos,
              outputOf({"stats", "f"}).find("    Identity: " + figures["Identity"].get<std::string>()));
}

TEST_F(FolderVerbsTest, thePageIsOneOfTheWholeFolder) {
    for (const char* const name : {"f", "f/"}) {
        const std::string page = outputOf({"stats", name, "--html", "-"});
        EXPECT_NE(std::string::npos, page.find("<h1><bdi>f</bdi></h1>")) << page;
        EXPECT_NE(std::string::npos, page.find("<div><dt>terms</dt><dd>3,018</dd></div>"));
        EXPECT_NE(std::string::npos, page.find("<div><dt>shards</dt><dd>256</dd></div>"));
    }
    EXPECT_EQ(std::string::npos, outputOf({"stats", "d", "--html", "-"}).find("<dt>shards</dt>"));
}

TEST_F(FolderVerbsTest, compactRefusesAFolder) {
    const std::string text = "'f' is a folder of shards, whose IDs are dense already: there is nothing to compact";
    expectFailure(2, {"compact", "f"}, text);
    expectFailure(2, {"compact", "f", "-o", "g"}, text);
    expectFailure(2, {"compact", "f", "-o", "g", "--force"}, text);
    EXPECT_FALSE(std::filesystem::exists(getPathOf("g")));
    std::filesystem::create_directory(getPathOf("h"));
    EXPECT_NE(0, run({"compact", "h"}).m_exitCode);
}

} // namespace
