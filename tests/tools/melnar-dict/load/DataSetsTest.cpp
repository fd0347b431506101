#include "tests/support/FolderContents.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/load/RdfFacts.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace melnar;

namespace {

/// The real data sets, with the expected results of each. The parameter is the number of threads.
class DataSetsTest : public testing::TestWithParam<size_t> {
protected:
    void SetUp() override {
        const std::optional<std::string> folder = getDataFolder();
        if (!folder)
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_folder = *folder + '/';
        m_facts = nlohmann::json::parse(std::ifstream(m_folder + "facts.json"));
    }

    std::vector<std::string> getFiles(const std::string& set) const {
        std::vector<std::string> files;
        for (const nlohmann::json& file : m_facts["sets"][set]["files"])
            files.push_back(file["file"]);
        return files;
    }

    /// Loads files and compares everything with the known facts; IDs are followed in both directions.
    void expectFacts(const std::vector<std::string>& files, const nlohmann::json& facts) const {
        ASSERT_FALSE(files.empty());
        FileLoader::Settings settings;
        settings.m_numberOfThreads = GetParam();
        TestLoad load(settings);
        for (const std::string& file : files)
            load.load(m_folder + file, formatOfFile(file).value());
        ASSERT_EQ("", load.getErrorOutput());
        const StatementCounts& counts = load.getJournal().getCounts();
        EXPECT_EQ(facts["triples"], counts.m_statements);
        EXPECT_EQ(facts["xsd_string"]["occurrences"], counts.m_strings);
        EXPECT_EQ(facts["lang_tagged"]["occurrences"], counts.m_plainLiterals);
        expectForms(load, D_XSD_STRING, facts["xsd_string"], "distinct");
        expectForms(load, D_RDF_PLAIN_LITERAL, facts["lang_tagged"], "distinct_text_at_lang");
    }

    static void expectForms(const TestLoad& load, const uint8_t datatypeID, const nlohmann::json& facts,
                            const char* const distinct) {
        EXPECT_EQ(facts[distinct], load.getDictionary().getNumberOfResources(datatypeID));
        EXPECT_EQ(facts["bytes_distinct"], load.getDictionary().getTextBytes(datatypeID));
        EXPECT_EQ(facts["sha256_sorted_distinct"], hashSortedForms(load.readForms(datatypeID)));
    }

    void expectSet(const std::string& set) const { expectFacts(getFiles(set), m_facts["sets"][set]["facts"]); }

    std::string m_folder;
    nlohmann::json m_facts;
};

class DataSetsSlowTest : public DataSetsTest {};

TEST_P(DataSetsTest, schemaIsTheSameInThreeSyntaxes) {
    const std::vector<std::string> files = getFiles("schemaorg-30.0");
    EXPECT_EQ(3u, files.size());
    for (const std::string& file : files)
        expectFacts({file}, m_facts["sets"]["schemaorg-30.0"]["facts"]);
}

TEST_P(DataSetsTest, vocabulariesAreOneStoreOfManyFiles) {
    EXPECT_EQ(34u, getFiles("vocabularies").size());
    expectSet("vocabularies");
}

TEST_P(DataSetsTest, longTextsAreWholeBooks) {
    expectSet("long-texts");
}

TEST_P(DataSetsSlowTest, wordNetHasExplicitDatatypes) {
    expectSet("wordnet31");
}

TEST_P(DataSetsSlowTest, annotationsHaveManyScriptsAndDuplicates) {
    expectSet("cldr-annotations");
}

INSTANTIATE_TEST_SUITE_P(Threads, DataSetsTest, testing::Values(1, 2, 7));
INSTANTIATE_TEST_SUITE_P(Threads, DataSetsSlowTest, testing::Values(1, 2, 7));

class AllDataSetsSlowTest : public DataSetsTest {};

TEST_P(AllDataSetsSlowTest, togetherShareTheirLiterals) {
    std::vector<std::string> files{getFiles("schemaorg-30.0").at(0)};
    for (const char* const set : {"vocabularies", "wordnet31", "cldr-annotations", "long-texts"})
        for (const std::string& file : getFiles(set))
            files.push_back(file);
    expectFacts(files, m_facts["all_sets_together"]["facts"]);
}

INSTANTIATE_TEST_SUITE_P(Threads, AllDataSetsSlowTest, testing::Values(2));

/// The same with all terms, and the rows of IDs.
class TermSetsTest : public DataSetsTest {
protected:
    void SetUp() override {
        DataSetsTest::SetUp();
        if (!IsSkipped())
            m_facts = nlohmann::json::parse(std::ifstream(m_folder + "facts-terms.json"))["sets"];
    }

    /// Returns the path of a file, of which the facts have only the name.
    std::string getPathOf(const std::string& fileName) const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder))
            if (entry.path().filename() == fileName)
                return entry.path();
        throw std::runtime_error("There is no file '" + fileName + "'.");
    }

    void expectSet(const std::string& set) const {
        const nlohmann::json& facts = m_facts[set];
        FileLoader::Settings settings;
        settings.m_numberOfThreads = GetParam();
        MemoryOutputStream rows;
        TestLoad load(settings, {.m_rowStream = &rows, .m_rowLayout = {facts["columns"], RowLayout::NARROW}});
        for (const std::string file : facts["files"])
            load.load(getPathOf(file), formatOfFile(file).value());
        ASSERT_EQ("", load.getErrorOutput());
        EXPECT_EQ(facts["sha256_rows_uint32_le"], hashBytes(rows.getBytes()));
        const StatementCounts& counts = load.getJournal().getCounts();
        EXPECT_EQ(facts["statements"], counts.m_statements);
        EXPECT_EQ(facts["iri"]["occurrences"], counts.m_iris);
        EXPECT_EQ(facts["blank_node"]["occurrences"], counts.m_blankNodes);
        EXPECT_EQ(facts["xsd_string"]["occurrences"], counts.m_strings);
        EXPECT_EQ(facts["lang_tagged"]["occurrences"], counts.m_plainLiterals);
        EXPECT_EQ(facts["other_literal"]["occurrences"], counts.m_otherLiterals);
        EXPECT_EQ(facts["distinct_terms"], load.getDictionary().getNextResourceID() - 1);
        EXPECT_EQ(facts["blank_node"]["distinct"], load.getDictionary().getNumberOfResources(D_BLANK_NODE));
        expectForms(load, D_IRI, facts["iri"], "distinct");
        expectForms(load, D_XSD_STRING, facts["xsd_string"], "distinct");
        expectForms(load, D_RDF_PLAIN_LITERAL, facts["lang_tagged"], "distinct");
        expectForms(load, D_TYPED_LITERAL, facts["other_literal"], "distinct");
    }
};

class TermSetsSlowTest : public TermSetsTest {};

TEST_P(TermSetsTest, schemaIsOneInTwoSyntaxes) {
    expectSet("schemaorg-nt");
    expectSet("schemaorg-nq");
}

TEST_P(TermSetsTest, vocabulariesHaveBlankNodesOfTheirOwn) {
    expectSet("vocabularies");
}

TEST_P(TermSetsTest, longTextsHaveRowsToo) {
    expectSet("long-texts");
}

TEST_P(TermSetsSlowTest, wordNetHasTermsOfManyKinds) {
    expectSet("wordnet31");
}

TEST_P(TermSetsSlowTest, annotationsAreMillionsOfRows) {
    expectSet("cldr-annotations");
}

INSTANTIATE_TEST_SUITE_P(Threads, TermSetsTest, testing::Values(1, 2, 7));
INSTANTIATE_TEST_SUITE_P(Threads, TermSetsSlowTest, testing::Values(1, 2, 7));

/// The same as folders of shards, made by the tool: with one thread, with several, and with so little memory that most
/// terms are spilled.
class ShardSetsSlowTest : public TermSetsTest {
protected:
    struct Outcome {
        nlohmann::json m_report;
        std::map<std::string, std::string> m_files; // of the folder and the rows
    };

    Outcome load(const nlohmann::json& files, const size_t numberOfThreads,
                 const std::vector<std::string>& options) const {
        const TemporaryDirectory directory;
        std::vector<std::string> arguments{
            "load",     "--shards", "-o",      "d",         "--ids",
            "rows.npy", "--json",   "--quiet", "--threads", std::to_string(numberOfThreads)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        for (const std::string file : files)
            arguments.push_back(getPathOf(file));
        ToolInput input;
        input.m_workingDirectory = directory.getPathOf("");
        const ToolResult result = runToolProcess(arguments, input);
        EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        EXPECT_EQ("", result.m_errorOutput);
        return {nlohmann::json::parse(result.m_output), getContentsOfFolder(directory.getPathOf(""))};
    }

    static void expectTerms(const nlohmann::json& facts, const nlohmann::json& report) {
        EXPECT_EQ(facts["statements"], report["triples"]);
        EXPECT_EQ(facts["iri"]["distinct"], report["distinctIris"]);
        EXPECT_EQ(facts["blank_node"]["distinct"], report["distinctBlankNodes"]);
        EXPECT_EQ(facts["xsd_string"]["distinct"], report["distinctXsdString"]);
        EXPECT_EQ(facts["lang_tagged"]["distinct"], report["distinctRdfPlainLiteral"]);
        EXPECT_EQ(facts["other_literal"]["distinct"], report["distinctOtherLiterals"]);
    }

    void expectSet(const std::string& set) const {
        SCOPED_TRACE(set);
        const nlohmann::json& facts = m_facts[set];
        const Outcome whole = load(facts["files"], 1, {});
        ASSERT_TRUE(whole.m_files.contains("d/manifest") && whole.m_files.contains("rows.npy"));
        expectTerms(facts, whole.m_report);
        EXPECT_TRUE(whole.m_files == load(facts["files"], GetParam(), {}).m_files);
        // Enough for empty shards and a few terms.
        const std::string limit = std::to_string(67 + 24 * GetParam()) + "M";
        const Outcome spilled = load(facts["files"], GetParam(), {"--memory-limit", limit});
        EXPECT_GT(spilled.m_report["memoryBytes"], 0);
        EXPECT_LT(spilled.m_report["memoryBytes"], whole.m_report["memoryBytes"]) << "no terms were spilled";
        expectTerms(facts, spilled.m_report);
        EXPECT_TRUE(whole.m_files == spilled.m_files);
    }
};

TEST_P(ShardSetsSlowTest, areTheSameWithAnyThreadsAndMemory) {
    ASSERT_FALSE(m_facts.empty());
    for (const auto& [set, facts] : m_facts.items())
        expectSet(set);
}

INSTANTIATE_TEST_SUITE_P(Threads, ShardSetsSlowTest, testing::Values(3));

} // namespace
