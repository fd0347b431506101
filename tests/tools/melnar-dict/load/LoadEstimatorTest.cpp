#include "tools/melnar-dict/load/LoadEstimator.h"

#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/load/RdfFacts.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace {

LoadEstimator::Settings makeSettings(const uint64_t sampleBytes, const uint64_t unitBytes = 4096) {
    return {.m_memoryLimit = uint64_t(1) << 30,
            .m_sampleBytes = sampleBytes,
            .m_unpackedBytes = uint64_t(1) << 30,
            .m_unitBytes = unitBytes};
}

/// Statements whose literals repeat, here and there and nearby, with lines of many lengths.
std::string makeText(const RdfFormat format, const size_t numberOfStatements) {
    std::string text = isLineFormat(format) ? "" : "@prefix : <a:> .\n";
    const std::string subject = isLineFormat(format) ? "<a:s> <a:p> " : ":s :p ";
    for (size_t number = 0; number < numberOfStatements; ++number) {
        const size_t value = number % 3 == 0 ? number * 7919 % (numberOfStatements / 5 + 1) : number / 2;
        text += subject + '"' + std::to_string(value) + std::string(value % 97, 'x') + '"' +
                (value % 2 == 0 ? "@en" : "") + " .\n";
    }
    return text;
}

/// Compares an estimate with a load.
void expectNear(const InputFiles& files, const LoadEstimator::Settings& settings, const double tolerance) {
    LoadEstimator estimator(settings);
    const LoadEstimate estimate = estimator.estimate(files);
    TestLoad load;
    for (const auto& [fileName, format] : files)
        load.load(fileName, format);
    const TemporaryDirectory directory;
    load.getDictionary().save(directory.getPathOf("d"));
    const auto near = [tolerance](const auto expected, const auto estimated, const char* const what) {
        EXPECT_NEAR(static_cast<double>(expected), static_cast<double>(estimated),
                    tolerance * static_cast<double>(expected))
            << what;
    };
    const StatementCounts& counts = load.getJournal().getCounts();
    near(counts.m_statements, estimate.m_statements, "statements");
    near(counts.m_strings + counts.m_plainLiterals, estimate.m_literals, "literals");
    near(load.getDictionary().getMemoryInUse(), estimate.m_size.m_memoryBytes, "memory");
    near(std::filesystem::file_size(directory.getPathOf("d")), estimate.m_size.m_fileBytes, "file");
    EXPECT_TRUE(estimate.m_isWholeInput);
    EXPECT_GE(estimate.m_inputBytes, estimate.m_sampledBytes);
    EXPECT_GT(estimate.m_seconds, 0);
}

TEST(LoadEstimatorTest, countsSmallInput) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        const std::string text = makeText(format, 3000);
        const InputFiles files{{directory.addFile("a", text), format}, {directory.addFile("b", gzip(text)), format}};
        LoadEstimator estimator(makeSettings(1 << 24));
        const LoadEstimate estimate = estimator.estimate(files);
        EXPECT_EQ(6000u, estimate.m_statements);
        EXPECT_EQ(6000u, estimate.m_literals);
        EXPECT_EQ(2 * text.size(), estimate.m_inputBytes);
        EXPECT_EQ(estimate.m_inputBytes, estimate.m_sampledBytes);
        TestLoad load;
        load.load(files[0].first, format);
        EXPECT_EQ(load.getDictionary().getNumberOfResources(D_XSD_STRING), estimate.m_distinctStrings);
        EXPECT_EQ(load.getDictionary().getNumberOfResources(D_RDF_PLAIN_LITERAL), estimate.m_distinctPlainLiterals);
        EXPECT_EQ(load.getDictionary().getTextBytes(D_XSD_STRING) +
                      load.getDictionary().getTextBytes(D_RDF_PLAIN_LITERAL),
                  estimate.m_textBytes);
    }
}

TEST(LoadEstimatorTest, countsAllOfSeveralSmallFiles) {
    const TemporaryDirectory directory;
    InputFiles files{{directory.addFile("empty", ""), RdfFormat::TURTLE}};
    size_t numberOfStatements = 0;
    for (size_t number = 1; number < 30; number += 7) {
        files.emplace_back(directory.addFile(std::to_string(number), makeText(RdfFormat::N_TRIPLES, number)),
                           RdfFormat::N_TRIPLES);
        numberOfStatements += number;
    }
    LoadEstimator estimator(makeSettings(1 << 20, 512));
    const LoadEstimate estimate = estimator.estimate(files);
    EXPECT_EQ(numberOfStatements, estimate.m_statements);
    EXPECT_EQ(estimate.m_inputBytes, estimate.m_sampledBytes);
}

TEST(LoadEstimatorTest, extrapolatesLargeInput) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        // 20'000 literals of each kind, far from the numbers where a hash table doubles
        const std::string text = makeText(format, 80'000);
        const std::string plain = directory.addFile("a", text);
        expectNear({{plain, format}}, makeSettings(text.size() / 5), 0.15);
        expectNear({{directory.addFile("b", gzip(text)), format}}, makeSettings(text.size() / 5), 0.15);
        expectNear({{plain, format}, {directory.addFile("c", text.substr(0, 5000)), format}},
                   makeSettings(text.size() / 5), 0.15);
    }
}

TEST(LoadEstimatorTest, takesLinesThatAreLongerThanAUnit) {
    const TemporaryDirectory directory;
    std::string text;
    for (size_t number = 0; number < 2000; ++number)
        text += "<a:s> <a:p> \"" + std::to_string(number) + std::string(number % 5 == 0 ? 10'000 : 10, 'x') + "\" .\n";
    expectNear({{directory.addFile("a", text), RdfFormat::N_TRIPLES}}, makeSettings(text.size() / 2), 0.2);
}

TEST(LoadEstimatorTest, namesTheFileThatCannotBeRead) {
    LoadEstimator estimator(makeSettings(1 << 20));
    EXPECT_STREQ("/absent.nt: No such file or directory",
                 catchException<ToolFailure>([&] {
                     estimator.estimate({{"/absent.nt", RdfFormat::N_TRIPLES}});
                 }).what());
}

TEST(LoadEstimatorTest, tellsHowManyBytesItHasReadAndWhyItCannotReadMore) {
    const TemporaryDirectory directory;
    const std::string text = makeText(RdfFormat::N_TRIPLES, 1000);
    const std::string file = directory.addFile("a", text);
    LoadEstimator estimator(makeSettings(1 << 20));
    EXPECT_EQ(0u, estimator.getBytesRead());
    estimator.estimate({{file, RdfFormat::N_TRIPLES}});
    EXPECT_EQ(text.size(), estimator.getBytesRead());
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(2, EIO, SystemCallFaults::Duration::ONCE); // behind the look whether the file is packed
    LoadEstimator other(makeSettings(1 << 20));
    EXPECT_EQ(file + ": Input/output error", catchException<ToolFailure>([&] {
                                                 other.estimate({{file, RdfFormat::N_TRIPLES}});
                                             }).what());
}

TEST(LoadEstimatorTest, theVerbPrintsTableAndJson) {
    const TemporaryDirectory directory;
    const std::string file = directory.addFile("a.nt", makeText(RdfFormat::N_TRIPLES, 100));
    const ToolResult table = runToolProcess({"estimate", file});
    EXPECT_EQ(0, table.m_exitCode);
    EXPECT_NE(std::string::npos, table.m_output.find("\nbytes of the saved file ")) << table.m_output;
    const nlohmann::json json = nlohmann::json::parse(runToolProcess({"estimate", "--json", file}).m_output);
    EXPECT_EQ(100, json["triples"]);
    EXPECT_EQ(std::filesystem::file_size(file), json["inputBytes"]);
    EXPECT_TRUE(json["isWholeInput"]);
    EXPECT_EQ(3, runToolProcess({"estimate", "/absent.nt"}).m_exitCode);
}

TEST(LoadEstimatorTest, saysThatOfAPipeOnlyTheBeginningIsRead) {
    const std::string text = makeText(RdfFormat::N_TRIPLES, 100); // less than a pipe holds
    for (const bool isShort : {true, false}) {
        const TemporaryDirectory directory;
        const std::string pipe = directory.getPathOf("pipe");
        ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
        std::thread writer([&] { std::ofstream(pipe) << text; });
        LoadEstimator estimator(makeSettings(isShort ? 1 << 20 : text.size() / 2, 1024));
        const LoadEstimate estimate = estimator.estimate({{pipe, RdfFormat::N_TRIPLES}});
        writer.join();
        EXPECT_EQ(isShort, estimate.m_isWholeInput);
        EXPECT_EQ(estimate.m_sampledBytes, estimate.m_inputBytes);
        EXPECT_EQ(isShort, estimate.m_statements == 100);
        EXPECT_EQ(isShort, estimate.toText().find("of what was read of a pipe") == std::string::npos);
    }
}

/// The real data sets: memory and file size are to be right within a quarter.
class LoadEstimatorSlowTest : public testing::Test {
protected:
    static constexpr double TOLERANCE = 0.25;

    void SetUp() override {
        const std::optional<std::string> folder = getDataFolder();
        if (!folder)
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_folder = *folder + '/';
    }

    /// Returns the file of a set, unpacked.
    std::string unpack(const std::string& name) const {
        const std::string path = m_directory.getPathOf(name);
        const std::string command = "gzip -dc '" + m_folder + name + ".gz' > '" + path + "'";
        EXPECT_EQ(0, std::system(command.c_str())); // NOLINT(cert-env33-c,concurrency-mt-unsafe): a test's own command
        return path;
    }

    InputFiles findFiles(const std::string& folder) const {
        InputFiles files;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder + folder))
            if (const auto format = formatOfFile(entry.path().string()))
                files.emplace_back(entry.path().string(), *format);
        std::sort(files.begin(), files.end());
        return files;
    }

    const TemporaryDirectory m_directory;
    std::string m_folder;
};

TEST_F(LoadEstimatorSlowTest, isNearForTheLargeSets) {
    for (const std::string name : {"wordnet31.nt", "cldr-annotations.nt", "long-texts.nt"})
        for (const std::string& path : {unpack(name), m_folder + name + ".gz"}) {
            SCOPED_TRACE(path);
            expectNear({{path, RdfFormat::N_TRIPLES}}, makeSettings(uint64_t(64) << 20, 256 * 1024), TOLERANCE);
            if (name != "long-texts.nt") // has fewer lines than that would need
                expectNear({{path, RdfFormat::N_TRIPLES}}, makeSettings(uint64_t(24) << 20, 256 * 1024), TOLERANCE);
        }
}

TEST_F(LoadEstimatorSlowTest, isNearForTheSmallSets) {
    expectNear(findFiles("vocabularies"), makeSettings(uint64_t(64) << 20), TOLERANCE);
    for (const auto& file : findFiles("schemaorg-30.0"))
        expectNear({file}, makeSettings(uint64_t(64) << 20), TOLERANCE);
}

TEST_F(LoadEstimatorSlowTest, isNearForTheMadeFile) {
    const std::string path = m_directory.getPathOf("large.nt");
    const std::string command = "python3 '" + m_folder + "make_large.py' 300000 --jobs 1 -o '" + path + "' > '" +
                                m_directory.getPathOf("facts") + "'";
    ASSERT_EQ(0, std::system(command.c_str())); // NOLINT(cert-env33-c,concurrency-mt-unsafe): a test's own command
    for (const uint64_t share : {1u, 2u, 4u})
        expectNear({{path, RdfFormat::N_TRIPLES}}, makeSettings(std::filesystem::file_size(path) / share, 64 * 1024),
                   TOLERANCE);
}

} // namespace
