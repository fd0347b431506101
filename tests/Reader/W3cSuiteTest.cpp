#include "tests/Reader/GraphIsomorphism.h"
#include "tests/Reader/ReadText.h"
#include "tests/Reader/W3cManifest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

/// The W3C's tests of the four syntaxes, evaluated as the manifests define.
class W3cSuiteTest : public testing::Test {
protected:
    void SetUp() override {
        const char* const folder = std::getenv("MELNAR_DATA");
        if (folder == nullptr || !std::filesystem::is_directory(folder))
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_data = folder;
    }

    static Rdf::Syntax syntaxOf(const std::string& path) {
        return path.ends_with(".ttl")  ? Rdf::Syntax::TURTLE
               : path.ends_with(".nq") ? Rdf::Syntax::N_QUADS
               : path.ends_with(".nt") ? Rdf::Syntax::N_TRIPLES
                                       : Rdf::Syntax::TRIG;
    }

    static ReadResult read(const std::string& path, const std::string& base, const Rdf::Version version) {
        Rdf::ReaderOptions options = strict(syntaxOf(path), version);
        options.m_base = base;
        const std::string text = readWholeFile(path);
        const ReadResult result = readText(text, options);
        EXPECT_EQ(result, readInPieces(text, 1, options)) << path;
        return result;
    }

    /// Returns the fault in the result of a test; empty if there is none.
    std::string findFault(const W3cTest& test, const Rdf::Version version) {
        const ReadResult result = read(test.m_action, test.m_base, version);
        // Negative evaluation tests have IRIs that do not match.
        if (test.m_type.find("Negative") != std::string::npos) {
            ++m_numberRejected;
            return result.m_errors.size() == 1 ? "" : "was not rejected";
        }
        if (!result.m_errors.empty())
            return "was rejected: " + result.m_errors.front();
        if (test.m_type.ends_with("C14N"))
            return result.m_statements == readWholeFile(test.m_result) ? "" : "is written as " + result.m_statements;
        if (!test.m_type.ends_with("Eval"))
            return "";
        ++m_numberEvaluated;
        const ReadResult expected = read(test.m_result, "", version);
        EXPECT_EQ(std::vector<std::string>(), expected.m_errors);
        return areIsomorphic(result.m_statements, expected.m_statements) ? "" : "gives " + result.m_statements;
    }

    void check(const std::string& suite, const Rdf::Version version) {
        const std::string base =
            "https://w3c.github.io/rdf-tests/rdf/" + suite.substr(4, 5) + "/" + suite.substr(suite.find('/') + 1);
        for (const W3cTest& test : readW3cManifest(m_data + "/" + suite, base)) {
            EXPECT_EQ("", findFault(test, version)) << suite << test.m_name << " (" << test.m_action << ")";
            ++m_numberOfTests;
        }
    }

    std::string m_data;
    size_t m_numberOfTests = 0;
    size_t m_numberRejected = 0;
    size_t m_numberEvaluated = 0;
};

TEST_F(W3cSuiteTest, rdf11IsDecidedAsTheW3cDoes) {
    for (const Rdf::Version version : {Rdf::Version::RDF_1_1, Rdf::Version::RDF_1_2}) {
        m_numberOfTests = m_numberRejected = m_numberEvaluated = 0;
        for (const char* const language : {"rdf-n-triples", "rdf-n-quads", "rdf-turtle", "rdf-trig"})
            check("w3c-rdf11-tests/" + std::string(language) + "/", version);
        EXPECT_EQ(826u, m_numberOfTests);
        EXPECT_EQ(272u, m_numberRejected);
        EXPECT_EQ(288u, m_numberEvaluated);
    }
}

TEST_F(W3cSuiteTest, rdf12IsDecidedAsTheW3cDoes) {
    for (const char* const language : {"rdf-n-triples", "rdf-n-quads", "rdf-turtle", "rdf-trig"})
        for (const char* const kind : {"c14n", "syntax", "eval"}) {
            const std::string suite = "w3c-rdf12-tests/" + std::string(language) + "/" + kind + "/";
            if (std::filesystem::exists(m_data + "/" + suite))
                check(suite, Rdf::Version::RDF_1_2);
        }
    EXPECT_EQ(301u, m_numberOfTests);
    EXPECT_EQ(86u, m_numberRejected);
    EXPECT_EQ(54u, m_numberEvaluated);
}

} // namespace
