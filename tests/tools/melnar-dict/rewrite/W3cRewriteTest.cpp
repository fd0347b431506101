#include "tests/Reader/W3cManifest.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"
#include "tools/melnar-dict/rewrite/CanonicalCommand.h"
#include "tools/melnar-dict/rewrite/CheckCommand.h"
#include "tools/melnar-dict/rewrite/RewriteCommand.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The W3C's tests, checked by `check` and written by `canonical`.
class W3cRewriteTest : public testing::Test {
protected:
    W3cRewriteTest() : m_nowhere(::open("/dev/null", O_WRONLY)), m_output(m_nowhere) {}
    ~W3cRewriteTest() override { ::close(m_nowhere); }

    void SetUp() override {
        const char* const folder = std::getenv("MELNAR_DATA");
        if (folder == nullptr || !std::filesystem::is_directory(folder))
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_data = folder;
    }

    void checkSuite(const std::string& suite, const Rdf::Version version) {
        const std::string base =
            "https://w3c.github.io/rdf-tests/rdf/" + suite.substr(0, 5) + suite.substr(suite.find('/'));
        for (const W3cTest& test : readW3cManifest(m_data + "/w3c-" + suite, base)) {
            SCOPED_TRACE(test.m_action);
            const bool isNegative = test.m_type.find("Negative") != std::string::npos;
            FilePass::Settings reading;
            reading.m_numberOfThreads = 2;
            reading.m_base = test.m_base;
            reading.m_version = version;
            const RdfFormat format = *formatOfFile(test.m_action);
            std::ostringstream errors;
            EXPECT_EQ(isNegative ? ExitCode::BAD_DATA : ExitCode::DONE,
                      runCheck({.m_files = {{test.m_action, format}}, .m_reading = reading}, m_output, errors))
                << errors.str();
            m_numberRejected += isNegative;
            ++m_numberOfTests;
            if (!isNegative)
                checkRows(test.m_action, format, reading);
            if (!test.m_type.ends_with("C14N"))
                continue;
            const std::string path = m_directory.getPathOf("out.nq");
            EXPECT_EQ(ExitCode::DONE,
                      runCanonical({.m_files = {{test.m_action, format}}, .m_output = {path}, .m_reading = reading},
                                   m_output, errors));
            EXPECT_EQ(readWholeFile(test.m_result), readWholeFile(path));
            ++m_numberWritten;
        }
    }

    /// Checks that rows of IDs give the statements as `canonical` writes them, except for the case of language tags.
    void checkRows(const std::string& path, const RdfFormat format, const FilePass::Settings& reading) {
        RewriteOptions options;
        options.m_files = {{path, format}};
        options.m_dictionaryName = m_directory.getPathOf("d");
        options.m_base = reading.m_base;
        options.m_version = reading.m_version;
        options.m_numberOfThreads = 2;
        saveTermDictionary(options.m_files, options.m_dictionaryName, {}, reading.m_base, reading.m_version);
        const std::string rows = m_directory.getPathOf("T.npy");
        const std::string decoded = m_directory.getPathOf("decoded.nq");
        const std::string canonical = m_directory.getPathOf("canonical.nq");
        const std::string again = m_directory.getPathOf("again.nq");
        std::ostringstream errors;
        options.m_output.m_outputName = rows;
        EXPECT_EQ(ExitCode::DONE, runEncode(options, m_output, errors)) << errors.str();
        std::vector<uint64_t> ids;
        takeIDs(readWholeFile(rows).substr(NpyHeader::SIZE), RowLayout::NARROW, ids);
        std::vector<uint64_t> loadedIDs = loadTerms(path, format, reading).m_rows;
        if (!hasGraphs(format))
            for (size_t row = 0; row < loadedIDs.size(); row += 3)
                loadedIDs.erase(loadedIDs.begin() + static_cast<ptrdiff_t>(row + 3)); // that of the default graph
        EXPECT_EQ(loadedIDs, ids) << "load writes the same rows";
        options.m_files = {{rows, format}};
        options.m_output.m_outputName = decoded;
        EXPECT_EQ(ExitCode::DONE, runDecode(options, m_output, errors)) << errors.str();
        EXPECT_EQ(ExitCode::DONE,
                  runCanonical({.m_files = {{path, format}}, .m_output = {canonical}, .m_reading = reading}, m_output,
                               errors));
        EXPECT_EQ(ExitCode::DONE,
                  runCanonical({.m_files = {{decoded, RdfFormat::N_QUADS}}, .m_output = {again}}, m_output, errors))
            << errors.str();
        const std::string expected = readWholeFile(canonical);
        EXPECT_EQ(expected, readWholeFile(again));
        const auto isSameLetter = [](const unsigned char left, const unsigned char right) {
            return std::tolower(left) == std::tolower(right);
        };
        const std::string found = readWholeFile(decoded);
        EXPECT_TRUE(std::equal(found.begin(), found.end(), expected.begin(), expected.end(), isSameLetter)) << found;
        m_bytesDecoded += found.size();
    }

    const int m_nowhere;
    StandardOutput m_output;
    const TemporaryDirectory m_directory;
    std::string m_data;
    size_t m_numberOfTests = 0;
    size_t m_numberRejected = 0;
    size_t m_numberWritten = 0;
    size_t m_bytesDecoded = 0;
};

TEST_F(W3cRewriteTest, everyTestIsDecidedAndWrittenAsTheW3cDoes) {
    for (const char* const language : {"rdf-n-triples", "rdf-n-quads", "rdf-turtle", "rdf-trig"}) {
        checkSuite("rdf11-tests/" + std::string(language) + "/", Rdf::Version::RDF_1_1);
        for (const char* const kind : {"c14n", "syntax", "eval"}) {
            const std::string suite = "rdf12-tests/" + std::string(language) + "/" + kind + "/";
            if (std::filesystem::exists(m_data + "/w3c-" + suite))
                checkSuite(suite, Rdf::Version::RDF_1_2);
        }
    }
    EXPECT_EQ(826u + 301u, m_numberOfTests);
    EXPECT_EQ(272u + 86u, m_numberRejected);
    EXPECT_LT(0u, m_numberWritten);
    EXPECT_LT(50000u, m_bytesDecoded);
}

} // namespace
