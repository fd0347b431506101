#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"
#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using State = ShardedDictionary::State;

/// Quads in canonical form, with every kind of term.
constexpr const char* QUADS = "<http://example.org/a#s> <urn:p> \"one\" .\n"
                              "<http://example.org/a#s> <urn:p> \"eins\"@de-AT <urn:g> .\n"
                              "_:b1 <urn:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> _:g .\n"
                              "_:b1 <urn:q> _:b.2 .\n"
                              "<urn:s> <urn:p> \"\xD9\x88\"@ar--rtl .\n"
                              "<urn:s> <urn:p> \"\" .\n"
                              "<urn:s> <urn:p> <<( _:b1 <urn:p> \"x\\t\"@EN )>> .\n"
                              "<http://example.org/a#s> <urn:p> \"one\" .\n";

/// Tests encode and decode with the folder "f", which has the terms of "in.nq" and some hundred more.
class FolderRewriteTest : public testing::Test {
protected:
    FolderRewriteTest() {
        std::string statements = QUADS;
        for (int number = 0; number < 500; ++number)
            statements += "<urn:" + std::to_string(number) + "> <urn:p> \"" + std::to_string(number) + "\" .\n";
        m_directory.addFile("in.nq", statements);
        addTo("f", statements, State::WHOLE);
    }

    /// Adds the terms of statements to a folder.
    void addTo(const std::string& folderName, const std::string& statements, const State state) const {
        saveTermDictionary({m_directory.addFile("added.nq", statements)}, getPathOf("d"));
        DictionaryFolder::add(getPathOf("d"), getPathOf(folderName), state);
    }

    std::string getPathOf(const std::string& name) const { return m_directory.getPathOf(name); }
    std::string getContentsOf(const std::string& name) const { return m_directory.getContentsOf(getPathOf(name)); }

    ToolResult run(const std::vector<std::string>& arguments) const {
        ToolInput toolInput;
        toolInput.m_workingDirectory = getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    void expectSuccess(const std::vector<std::string>& arguments) const {
        const ToolResult result = run(arguments);
        EXPECT_EQ(0, result.m_exitCode);
        EXPECT_EQ("", result.m_errorOutput);
    }

    /// Expects a failure with this exit code, no output "out", and a message with this text.
    void expectFailure(const int exitCode, const std::vector<std::string>& arguments, const std::string& text) const {
        const ToolResult result = run(arguments);
        EXPECT_EQ(exitCode, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(text)) << result.m_errorOutput;
        EXPECT_FALSE(std::filesystem::exists(getPathOf("out")));
    }

    std::string getLineOf(const std::string& folderName) const {
        return DictionaryLine::make(
            ShardedDictionary::open(getPathOf(folderName), {.m_memoryLimit = size_t(64) << 20})->getHistory());
    }

    const TemporaryDirectory m_directory;
};

TEST_F(FolderRewriteTest, decodingRowsGivesTheStatementsBack) {
    for (const char* const threads : {"1", "3"}) {
        expectSuccess({"encode", "in.nq", "-d", "f", "-o", "rows.npy", "--threads", threads});
        expectSuccess({"decode", "rows.npy", "-d", "f", "-o", "out.nq", "--threads", threads});
        EXPECT_EQ(getContentsOf("in.nq"), getContentsOf("out.nq"));
    }
    std::string line = getLineOf("f");
    line.pop_back();
    EXPECT_NE(std::string::npos, getContentsOf("rows.npy").find(line));
}

TEST_F(FolderRewriteTest, rowsHaveTheIdsThatLookupPrints) {
    m_directory.addFile("one.nt", "<urn:s> <urn:p> \"one\" .\n");
    const ToolResult encoded = run({"encode", "one.nt", "-d", "f", "-o", "-", "--id-width", "8"});
    ASSERT_EQ(24u, encoded.m_output.size()) << encoded.m_errorOutput;
    const std::string terms = run({"lookup", "f", "<urn:s>", "<urn:p>", "\"one\""}).m_output;
    std::vector<uint64_t> ids(3);
    encoded.m_output.copy(reinterpret_cast<char*>(ids.data()), encoded.m_output.size());
    EXPECT_EQ(std::to_string(ids[0]) + "\t<urn:s>\n" + std::to_string(ids[1]) + "\t<urn:p>\n" + std::to_string(ids[2]) +
                  "\t\"one\"\n",
              terms);
}

TEST_F(FolderRewriteTest, decodingIrisGivesTheStatementsBack) {
    for (const char* const threads : {"1", "3"}) {
        expectSuccess({"encode", "--as", "iri", "in.nq", "-d", "f", "-o", "encoded.nq", "--threads", threads});
        expectSuccess({"decode", "--as", "iri", "encoded.nq", "-d", "f", "-o", "out.nq", "--threads", threads});
        EXPECT_EQ(getContentsOf("in.nq"), getContentsOf("out.nq"));
    }
    EXPECT_TRUE(getContentsOf("encoded.nq").starts_with(getLineOf("f")));
}

TEST_F(FolderRewriteTest, whatTheFolderDoesNotHaveIsBadData) {
    m_directory.addFile("new.nt", "<urn:s> <urn:p> \"one\" .\n<urn:s> <urn:p> \"new\" .\n");
    expectFailure(1, {"encode", "new.nt", "-d", "f", "-o", "out"}, "new.nt:2: the dictionary does not have \"new\"\n");
    expectFailure(1, {"encode", "--as", "iri", "new.nt", "-d", "f", "-o", "out"},
                  "new.nt:2: the dictionary does not have the literal \"new\"\n");
    m_directory.addFile("iri.nt", "<urn:s> <urn:p> <melnar:99999999> .\n");
    expectFailure(1, {"decode", "--as", "iri", "iri.nt", "-d", "f", "-o", "out"},
                  "iri.nt:1: the IRI 'melnar:99999999' does not contain a resource ID of the dictionary\n");
}

TEST_F(FolderRewriteTest, theWidthOfAutoIsThatOfTheLargestId) {
    expectSuccess({"encode", "in.nq", "-d", "f", "-o", "narrow.npy"});
    EXPECT_NE(std::string::npos, getContentsOf("narrow.npy").find("'<u4'"));
    ShardManifest manifest = DictionaryFolder::readManifest(getPathOf("f"));
    // The number belongs to a shard that no statement needs.
    const auto setNumber = [&](const uint64_t number) {
        manifest.m_shards[0].m_numberOfResources = number;
        manifest.m_shards[0].m_terms = {{D_IRI, {number, 0}}};
        manifest.m_history.m_entries.back().m_commitPoint = manifest.getNumberOfResources() + 1;
        DictionaryFolder::writeManifest(manifest, getPathOf("f"));
    };
    setNumber(uint64_t(1) << 24);
    m_directory.addFile("one.nt", "<urn:s> <urn:p> \"one\" .\n");
    expectSuccess({"encode", "one.nt", "-d", "f", "-o", "narrow.npy"});
    EXPECT_NE(std::string::npos, getContentsOf("narrow.npy").find("'<u4'"));
    setNumber((uint64_t(1) << 24) + 1);
    expectSuccess({"encode", "one.nt", "-d", "f", "-o", "wide.npy"});
    EXPECT_NE(std::string::npos, getContentsOf("wide.npy").find("'<u8'"));
}

TEST_F(FolderRewriteTest, filesOfAnotherDictionaryAreRefused) {
    addTo("g", "<urn:s> <urn:p> \"other\" .\n", State::WHOLE);
    for (const char* const form : {"npy", "iri"}) {
        expectSuccess({"encode", "--as", form, "added.nq", "-d", "g", "-o", "encoded.nq"});
        expectFailure(1, {"decode", "--as", form, "encoded.nq", "-d", "f", "-o", "out"}, ", and has not grown from it");
        expectFailure(1, {"decode", "--as", form, "encoded.nq", "-d", "d", "-o", "out"}, ", and has not grown from it");
    }
}

TEST_F(FolderRewriteTest, aFolderThatHasGrownDecodesWhatWasEncodedBefore) {
    expectSuccess({"encode", "in.nq", "-d", "f", "-o", "rows.npy"});
    addTo("f", "<urn:s> <urn:p> \"other\" .\n", State::WHOLE);
    expectSuccess({"decode", "rows.npy", "-d", "f", "-o", "out.nq"});
    EXPECT_EQ(getContentsOf("in.nq"), getContentsOf("out.nq"));
    addTo("f", "<urn:s> <urn:p> \"more\" .\n", State::INTERMEDIATE);
    expectSuccess({"decode", "rows.npy", "-d", "f", "-o", "out.nq"});
    EXPECT_EQ(getContentsOf("in.nq"), getContentsOf("out.nq"));
}

TEST_F(FolderRewriteTest, aLoadThatIsNotCompleteNamesNoFile) {
    const std::string text = "'g' holds a load that has not been completed, so that no file of its IDs can name it\n";
    addTo("g", "<urn:s> <urn:p> \"other\" .\n", State::INTERMEDIATE);
    for (int round = 0; round < 2; ++round) {
        expectFailure(3, {"encode", "added.nq", "-d", "g", "-o", "out"}, text);
        expectFailure(3, {"encode", "--as", "iri", "added.nq", "-d", "g", "-o", "out"}, text);
        expectSuccess({"encode", "added.nq", "-d", "g", "-o", "-"}); // names no file
        if (round == 0) {
            addTo("g", "<urn:s> <urn:p> \"other\" .\n", State::WHOLE);
            expectSuccess({"encode", "added.nq", "-d", "g", "-o", "rows.npy"});
            addTo("g", "<urn:s> <urn:p> \"more\" .\n", State::INTERMEDIATE);
        }
    }
    addTo("h", "<urn:s> <urn:p> \"other\" .\n", State::INTERMEDIATE);
    expectFailure(1, {"decode", "rows.npy", "-d", "h", "-o", "out"},
                  "; the given one is not complete, and has not grown from it");
}

TEST_F(FolderRewriteTest, outputsLeaveTheFolderAlone) {
    expectSuccess({"encode", "in.nq", "-d", "f", "-o", "rows.npy"});
    const std::string shard =
        "f/" + std::filesystem::path(DictionaryFolder::getPathOf(getPathOf("f"), 0)).filename().string();
    const std::string manifest = getContentsOf("f/manifest");
    for (const std::string& output : {std::string("f/manifest"), shard, std::string("f/new")}) {
        const std::string inFolder =
            "'" + output + "' is in the folder of a dictionary; --force writes it nevertheless";
        expectFailure(2, {"encode", "in.nq", "-d", "f", "-o", output}, inFolder);
        expectFailure(2, {"decode", "rows.npy", "-d", "d", "-o", output}, inFolder);
        expectFailure(2, {"canonical", "in.nq", "-o", output}, inFolder);
        expectFailure(2, {"stats", "d", "--html", output}, inFolder);
        expectFailure(2, {"load", "in.nq", "-o", output}, inFolder);
        expectFailure(2, {"compact", "d", "-o", output}, inFolder);
        for (const char* const verb : {"encode", "decode"})
            expectFailure(2, {verb, "in.nq", "-d", "f", "-o", output, "--force"},
                          "the input 'f' is also the folder of the output '" + output + "'");
    }
    expectFailure(2, {"compact", shard}, "' is in the folder of a dictionary");
    expectFailure(2, {"load", "in.nq", "--into", shard}, "' is in the folder of a dictionary");
    for (const std::string option : {"", "--force"})
        expectFailure(2, {"encode", "in.nq", "-d", "f", "-o", "f", option.empty() ? "--quads" : option},
                      "'f' exists and is not a regular file, so it cannot be replaced");
    EXPECT_EQ(manifest, getContentsOf("f/manifest"));
    EXPECT_FALSE(std::filesystem::exists(getPathOf("f/new")));
    expectSuccess({"verify", "f", "--quiet"});
}

TEST_F(FolderRewriteTest, onlyTheShardsOfTheTermsAreRead) {
    m_directory.addFile("one.nt", "<urn:s> <urn:p> \"one\" .\n");
    expectSuccess({"encode", "one.nt", "-d", "f", "-o", "rows.npy"});
    std::vector<uint32_t> shards;
    for (const std::string term : {"<urn:s>", "<urn:p>", "\"one\""})
        shards.push_back(ShardLayout::getShard(std::stoull(run({"lookup", "f", term}).m_output)));
    DictionaryFolder::keepOnly(shards, getPathOf("f"));
    expectSuccess({"encode", "one.nt", "-d", "f", "-o", "rows.npy"});
    expectSuccess({"decode", "rows.npy", "-d", "f", "-o", "out.nt"});
    EXPECT_EQ(getContentsOf("one.nt"), getContentsOf("out.nt"));
    std::filesystem::remove(DictionaryFolder::getPathOf(getPathOf("f"), shards.front()));
    expectFailure(3, {"encode", "one.nt", "-d", "f", "-o", "out"}, "/f/shard-");
    expectFailure(3, {"decode", "rows.npy", "-d", "f", "-o", "out"}, "/f/shard-");
}

TEST_F(FolderRewriteTest, theMemoryLimitHoldsForAllShardsTogether) {
    expectSuccess({"encode", "in.nq", "-d", "f", "-o", "rows.npy"});
    expectFailure(3, {"encode", "in.nq", "-d", "f", "-o", "out", "--threads", "1", "--memory-limit", "12M"},
                  "out of memory: --memory-limit 12M is reached");
    expectFailure(3, {"decode", "rows.npy", "-d", "f", "-o", "out", "--threads", "1", "--memory-limit", "8M"},
                  "out of memory: --memory-limit 8M is reached");
}

} // namespace
