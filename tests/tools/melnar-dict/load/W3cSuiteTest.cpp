#include "tests/tools/melnar-dict/load/RdfFacts.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <optional>
#include <string>

namespace {

/// The W3C's tests of the four formats, with their expected results.
class W3cSuiteTest : public testing::Test {
protected:
    void SetUp() override {
        const std::optional<std::string> folder = getDataFolder();
        if (!folder)
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_folder = *folder + "/w3c-rdf11-tests/";
        m_tests = nlohmann::json::parse(std::ifstream(*folder + "/facts-w3c-rdf11-tests.json"))["tests"];
    }

    static RdfFormat getFormat(const nlohmann::json& test) {
        const std::string suite = test["suite"];
        return suite == "rdf-n-triples" ? RdfFormat::N_TRIPLES
               : suite == "rdf-n-quads" ? RdfFormat::N_QUADS
               : suite == "rdf-turtle"  ? RdfFormat::TURTLE
                                        : RdfFormat::TRIG;
    }

    /// Returns the fault in the result of a test; empty if there is none.
    std::string findFault(const nlohmann::json& test, FileLoader::Settings settings) const {
        settings.m_base = test["base"];
        TestLoad load(settings);
        load.load(m_folder + test["file"].get<std::string>(), getFormat(test));
        const ExitCode exitCode = load.getJournal().getExitCode();
        if (test["expect"] == "reject")
            return exitCode == ExitCode::BAD_DATA ? "" : "was not rejected";
        if (exitCode != ExitCode::DONE)
            return "was rejected: " + load.getErrorOutput();
        if (test.contains("statements") && load.getJournal().getCounts().m_statements != test["statements"])
            return "has " + std::to_string(load.getJournal().getCounts().m_statements) + " statements";
        if (hashSortedForms(load.readForms(D_XSD_STRING)) != test["sha256_xsd_string"] ||
            load.readForms(D_XSD_STRING).size() != test["distinct_xsd_string"])
            return "has other strings";
        if (hashSortedForms(load.readForms(D_RDF_PLAIN_LITERAL)) != test["sha256_lang_tagged"] ||
            load.readForms(D_RDF_PLAIN_LITERAL).size() != test["distinct_lang_tagged"])
            return "has other plain literals";
        const std::string fileName = m_folder + test["file"].get<std::string>();
        const TermLoadOutcome terms = loadTerms(fileName, getFormat(test), settings);
        if (terms.m_rows.size() != 4 * load.getJournal().getCounts().m_statements)
            return "has other rows";
        settings.m_numberOfThreads = 1;
        settings.m_blockSize = BlockReader::DEFAULT_BLOCK_SIZE;
        const TermLoadOutcome expected = loadTerms(fileName, getFormat(test), settings);
        return terms.m_rows == expected.m_rows && terms.m_savedBytes == expected.m_savedBytes
                   ? ""
                   : "gives its terms other IDs";
    }

    void expectToDecideAsTheW3cDoes(const FileLoader::Settings& settings) const {
        ASSERT_EQ(826u, m_tests.size());
        size_t rejected = 0;
        for (const nlohmann::json& test : m_tests) {
            EXPECT_EQ("", findFault(test, settings)) << test["suite"] << ' ' << test["name"];
            rejected += test["expect"] == "reject";
        }
        EXPECT_EQ(272u, rejected);
    }

    std::string m_folder;
    nlohmann::json m_tests;
};

using W3cSuiteConcurrentTest = W3cSuiteTest;

TEST_F(W3cSuiteTest, oneThreadDecidesEveryTestAsTheW3cDoes) {
    expectToDecideAsTheW3cDoes({1, false, "", 1 << 20});
}

TEST_F(W3cSuiteConcurrentTest, threeThreadsWithTinyBlocksDecideEveryTestAsTheW3cDoes) {
    expectToDecideAsTheW3cDoes({3, false, "", 1});
}

} // namespace
