#include "tools/melnar-dict/load/LoadEstimator.h"

#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/MemoryOfTheProcess.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/load/RdfFacts.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr std::array<uint8_t, 7> ALL_DATATYPES{D_XSD_STRING,    D_RDF_PLAIN_LITERAL,  D_IRI,        D_BLANK_NODE,
                                               D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM};

LoadEstimator::Settings makeSettings(const uint64_t sampleBytes, const uint64_t unitBytes = 4096) {
    return {.m_memoryLimit = uint64_t(1) << 30,
            .m_sampleBytes = sampleBytes,
            .m_unpackedBytes = uint64_t(1) << 30,
            .m_unitBytes = unitBytes};
}

/// Makes statements whose literals repeat, far away and nearby, with lines of many lengths.
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

/// Makes statements with terms of all kinds, many of which repeat, far away and nearby: those from the first one on.
std::string makeTermText(const RdfFormat format, const size_t numberOfStatements, const size_t first = 0) {
    const bool isTurtle = !isLineFormat(format);
    std::string text = isTurtle ? "@prefix : <http://example.org/a/> .\n" : "";
    const auto iri = [isTurtle](const std::string& name) {
        return isTurtle ? ':' + name : "<http://example.org/a/" + name + '>';
    };
    for (size_t number = first; number < numberOfStatements; ++number) {
        const std::string value = std::to_string(number % 2 == 0 ? number * 7919 % (numberOfStatements / 4) : number);
        const std::string subject = number % 3 != 0 ? iri('s' + std::to_string(number / 8))
                                    : isTurtle      ? "[]"
                                                    : "_:b" + std::to_string(number);
        const std::string plainTriple = iri('s' + value) + ' ' + iri("p") + ' ' + iri("o" + value);
        const std::string objects[] = {
            iri('o' + value),
            '"' + value + '"',
            '"' + value + "\"@en",
            '"' + value + "\"^^<http://www.w3.org/2001/XMLSchema#integer>",
            '"' + value + "\"@ar--rtl",
            "<<( " + plainTriple + " )>>",
            "_:n" + value,
        };
        text += subject + ' ' + iri('p' + std::to_string(number % 50)) + ' ' + objects[number % 7] + " .\n";
    }
    return text;
}

/// Loads the files of an estimate.
std::unique_ptr<TestLoad> loadFiles(const InputFiles& files, const LoadEstimator::Settings& settings) {
    auto load = settings.m_loadsOnlyStrings
                    ? std::make_unique<TestLoad>()
                    : std::make_unique<TestLoad>(FileLoader::Settings{},
                                                 FileLoader::TermSettings{.m_blankNodes = settings.m_blankNodes});
    for (const auto& [fileName, format] : files)
        load->load(fileName, format);
    EXPECT_EQ("", load->getErrorOutput());
    return load;
}

void expectNear(const uint64_t expected, const uint64_t estimated, const double tolerance, const std::string& what) {
    EXPECT_NEAR(static_cast<double>(expected), static_cast<double>(estimated),
                tolerance * static_cast<double>(expected))
        << what;
}

/// Compares an estimate with a load of the same terms.
void expectNearLoad(const InputFiles& files, const LoadEstimator::Settings& settings, const double tolerance) {
    SCOPED_TRACE(settings.m_loadsOnlyStrings ? "strings only" : "all terms");
    LoadEstimator estimator(settings);
    const LoadEstimate estimate = estimator.estimate(files);
    const std::unique_ptr<TestLoad> load = loadFiles(files, settings);
    const Dictionary& dictionary = load->getDictionary();
    const TemporaryDirectory directory;
    dictionary.save(directory.getPathOf("d"));
    const StatementCounts& counts = load->getJournal().getCounts();
    expectNear(counts.m_statements, estimate.m_counts.m_statements, tolerance, "statements");
    expectNear(counts.m_strings + counts.m_plainLiterals,
               estimate.m_counts.m_strings + estimate.m_counts.m_plainLiterals, tolerance, "literals");
    expectNear(counts.getNumberOfOtherTerms(), estimate.m_counts.getNumberOfOtherTerms(), tolerance, "other terms");
    for (const uint8_t datatypeID : ALL_DATATYPES) {
        const uint64_t distinct = dictionary.getNumberOfResources(datatypeID);
        if (distinct >= dictionary.getNextResourceID() / 100) // Few terms are neither important nor significant.
            expectNear(distinct, estimate.m_distinct[datatypeID], tolerance,
                       "distinct terms of datatype " + std::to_string(datatypeID));
    }
    expectNear(dictionary.getMemoryInUse(), estimate.m_size.m_memoryBytes, tolerance, "memory");
    expectNear(std::filesystem::file_size(directory.getPathOf("d")), estimate.m_size.m_fileBytes, tolerance, "file");
    EXPECT_TRUE(estimate.m_isWholeInput);
    EXPECT_GE(estimate.m_inputBytes, estimate.m_sampledBytes);
    EXPECT_GT(estimate.m_seconds, 0);
}

/// Does the same for loads of only string literals and of all terms.
void expectNearLoads(const InputFiles& files, LoadEstimator::Settings settings, const double tolerance) {
    for (const bool loadsOnlyStrings : {true, false}) {
        settings.m_loadsOnlyStrings = loadsOnlyStrings;
        expectNearLoad(files, settings, tolerance);
    }
}

TEST(LoadEstimatorTest, countsSmallInput) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE})
        for (const bool loadsOnlyStrings : {true, false}) {
            const std::string text = makeTermText(format, 7000);
            const InputFiles files{{directory.addFile("a", text), format},
                                   {directory.addFile("b", gzip(text)), format}};
            LoadEstimator::Settings settings = makeSettings(1 << 24);
            settings.m_loadsOnlyStrings = loadsOnlyStrings;
            LoadEstimator estimator(settings);
            const LoadEstimate estimate = estimator.estimate(files);
            EXPECT_EQ(2 * text.size(), estimate.m_inputBytes);
            EXPECT_EQ(estimate.m_inputBytes, estimate.m_sampledBytes);
            const std::unique_ptr<TestLoad> load = loadFiles(files, settings);
            const Dictionary& dictionary = load->getDictionary();
            EXPECT_EQ(14'000u, estimate.m_counts.m_statements);
            EXPECT_EQ(4000u, estimate.m_counts.m_strings + estimate.m_counts.m_plainLiterals);
            EXPECT_EQ(load->getJournal().getCounts().getNumberOfOtherTerms(),
                      estimate.m_counts.getNumberOfOtherTerms());
            uint64_t textBytes = 0;
            uint64_t otherTextBytes = 0;
            for (const uint8_t datatypeID : ALL_DATATYPES) {
                EXPECT_EQ(dictionary.getNumberOfResources(datatypeID), estimate.m_distinct[datatypeID])
                    << size_t(datatypeID);
                EXPECT_EQ(loadsOnlyStrings && datatypeID >= D_IRI, estimate.m_distinct[datatypeID] == 0);
                (datatypeID >= D_IRI ? otherTextBytes : textBytes) += dictionary.getTextBytes(datatypeID);
            }
            EXPECT_EQ(textBytes, estimate.m_textBytes);
            EXPECT_EQ(otherTextBytes, estimate.m_otherTextBytes);
            EXPECT_EQ(loadsOnlyStrings, estimate.m_rowBytes == 0);
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
    EXPECT_EQ(numberOfStatements, estimate.m_counts.m_statements);
    EXPECT_EQ(estimate.m_inputBytes, estimate.m_sampledBytes);
}

TEST(LoadEstimatorTest, extrapolatesLargeInput) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        // 20'000 literals of each kind, far from the numbers where a hash table doubles
        const std::string text = makeText(format, 80'000);
        const std::string plain = directory.addFile("a", text);
        const LoadEstimator::Settings settings = makeSettings(text.size() / 5);
        expectNearLoads({{plain, format}}, settings, 0.15);
        expectNearLoads({{directory.addFile("b", gzip(text)), format}}, settings, 0.15);
        expectNearLoads({{plain, format}, {directory.addFile("c", text.substr(0, text.find('\n', 5000) + 1)), format}},
                        settings, 0.15);
    }
}

TEST(LoadEstimatorTest, extrapolatesTermsOfAllKinds) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        const std::string text = makeTermText(format, 120'000);
        const LoadEstimator::Settings settings = makeSettings(text.size() / 4, 8192);
        expectNearLoads({{directory.addFile("a", text), format}}, settings, 0.2);
        expectNearLoads({{directory.addFile("b", gzip(text)), format}}, settings, 0.2);
        const std::string begin = text.substr(0, text.find('\n', text.size() / 2) + 1);
        const std::string end = makeTermText(format, 120'000, 60'000);
        expectNearLoads({{directory.addFile("c", begin), format}, {directory.addFile("d", end), format}}, settings,
                        0.2);
    }
}

TEST(LoadEstimatorTest, treatsNodesWithoutALabelAsNewOnesEachTime) {
    const TemporaryDirectory directory;
    std::string text;
    for (size_t number = 0; number < 30'000; ++number)
        text += "[] <a:p> 1 .\n";
    const LoadEstimator::Settings settings = makeSettings(text.size() / 4);
    for (const std::string& file : {directory.addFile("a", text), directory.addFile("b", gzip(text))}) {
        LoadEstimator estimator(settings);
        EXPECT_NEAR(30'000,
                    static_cast<double>(estimator.estimate({{file, RdfFormat::TURTLE}}).m_distinct[D_BLANK_NODE]), 500);
    }
}

TEST(LoadEstimatorTest, takesLabelsToBelongToTheirFilesUnlessTheyAreShared) {
    const TemporaryDirectory directory;
    const std::string text = "_:a <a:p> _:b .\n";
    const InputFiles files{{directory.addFile("a", text), RdfFormat::N_TRIPLES},
                           {directory.addFile("b", text), RdfFormat::TURTLE}};
    for (const auto& [mode, number] :
         {std::pair{BlankNodeScope::Mode::DOCUMENTS, 4u}, {BlankNodeScope::Mode::SHARED, 2u}}) {
        LoadEstimator::Settings settings = makeSettings(1 << 20);
        settings.m_blankNodes.m_mode = mode;
        LoadEstimator estimator(settings);
        EXPECT_EQ(number, estimator.estimate(files).m_distinct[D_BLANK_NODE]);
    }
}

TEST(LoadEstimatorTest, countsNothingOfStatementsThatAreRefused) {
    const TemporaryDirectory directory;
    const std::string file = directory.addFile(
        "a", "<a:s> <a:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\nbad\n<a:s> <a:p> 'no' .\n"
             "<a:s> <a:p> \"y\" .\n");
    LoadEstimator estimator(makeSettings(1 << 20));
    const LoadEstimate estimate = estimator.estimate({{file, RdfFormat::N_TRIPLES}});
    EXPECT_EQ(1u, estimate.m_counts.m_statements);
    EXPECT_EQ(1u, estimate.m_distinct[D_XSD_STRING]);
    EXPECT_EQ(0u, estimate.m_distinct[D_RDF_PLAIN_LITERAL]);
}

TEST(LoadEstimatorTest, takesLinesThatAreLongerThanAUnit) {
    const TemporaryDirectory directory;
    std::string text;
    for (size_t number = 0; number < 2000; ++number)
        text += "<a:s> <a:p> \"" + std::to_string(number) + std::string(number % 5 == 0 ? 10'000 : 10, 'x') + "\" .\n";
    expectNearLoads({{directory.addFile("a", text), RdfFormat::N_TRIPLES}}, makeSettings(text.size() / 2), 0.2);
}

TEST(LoadEstimatorTest, namesTheFileThatCannotBeRead) {
    LoadEstimator estimator(makeSettings(1 << 20));
    EXPECT_STREQ("/absent.nt: No such file or directory",
                 catchException<ToolFailure>([&] {
                     estimator.estimate({{"/absent.nt", RdfFormat::N_TRIPLES}});
                 }).what());
}

TEST(LoadEstimatorTest, reportsHowManyBytesItHasReadAndWhyItCannotReadMore) {
    const TemporaryDirectory directory;
    const std::string text = makeText(RdfFormat::N_TRIPLES, 1000);
    const std::string file = directory.addFile("a", text);
    LoadEstimator estimator(makeSettings(1 << 20));
    EXPECT_EQ(0u, estimator.getBytesRead());
    estimator.estimate({{file, RdfFormat::N_TRIPLES}});
    EXPECT_EQ(text.size(), estimator.getBytesRead());
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(2, EIO, SystemCallFaults::Duration::ONCE); // after the check whether the file is compressed
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

TEST(LoadEstimatorTest, theVerbEstimatesALoadWithTheSameOptions) {
    const TemporaryDirectory directory;
    const std::string lines = directory.addFile("a.nq", makeTermText(RdfFormat::N_QUADS, 3500));
    const std::string moreLines = directory.addFile("c.nq", makeTermText(RdfFormat::N_QUADS, 3000));
    const std::string turtle = directory.addFile("b.ttl", makeTermText(RdfFormat::TURTLE, 3500));
    const std::string rows = directory.getPathOf("r");
    using Arguments = std::vector<std::string>;
    for (const Arguments& options : {Arguments{turtle},
                                     {lines, turtle},
                                     {lines, moreLines, "--blank-nodes", "shared"},
                                     {lines, turtle, "--strings-only"}}) {
        Arguments estimate{"estimate", "--json"};
        estimate.insert(estimate.end(), options.begin(), options.end());
        Arguments load{"load", "--json", "--threads", "1", "-o", directory.getPathOf("d")};
        load.insert(load.end(), options.begin(), options.end());
        const bool loadsOnlyStrings = options.back() == "--strings-only";
        if (!loadsOnlyStrings)
            load.insert(load.end(), {"--ids", rows});
        const nlohmann::json estimated = nlohmann::json::parse(runToolProcess(estimate).m_output);
        const nlohmann::json loaded = nlohmann::json::parse(runToolProcess(load).m_output);
        size_t numberOfFigures = 0;
        for (const auto& [key, value] : loaded.items())
            if (key != "seconds" && key != "memoryBytes" && estimated.contains(key)) {
                EXPECT_EQ(value, estimated[key]) << key;
                ++numberOfFigures;
            }
        EXPECT_EQ(17u, numberOfFigures);
        expectNear(loaded["memoryBytes"], estimated["memoryBytes"], 0.15, "memory");
        expectNear(std::filesystem::file_size(directory.getPathOf("d")), estimated["fileBytes"], 0.02, "file");
        EXPECT_EQ(loadsOnlyStrings ? 0 : std::filesystem::file_size(rows), estimated["rowBytes"]);
    }
}

TEST(LoadEstimatorTest, theVerbStaysWithinItsMemoryLimit) {
    constexpr size_t MEBIBYTE = size_t(1) << 20;
    constexpr size_t PROGRAM_BYTES = 16 * MEBIBYTE; // including memory shared with other processes
    const char* const reason = findWhyMemoryTellsNothing(32 * MEBIBYTE);
    if (reason != nullptr)
        GTEST_SKIP() << reason;
    const TemporaryDirectory directory;
    {
        std::ofstream file(directory.getPathOf("a.nt"));
        for (size_t number = 0; number < 700'000; ++number)
            file << "_:a" << number << " <a:p> \"" << number << "\"^^<a:d> .\n";
    }
    for (const auto& [limit, exitCode] : {std::pair{"24M", 3}, {"400M", 0}}) {
        const ToolResult result =
            runToolProcess({"estimate", "--memory-limit", limit, "--threads", "1", directory.getPathOf("a.nt")});
        EXPECT_EQ(exitCode, result.m_exitCode) << result.m_errorOutput;
        EXPECT_EQ(exitCode != 0,
                  result.m_errorOutput.find("out of memory: --memory-limit 24M is reached") != std::string::npos);
        EXPECT_LT(result.m_peakMemory, (exitCode == 0 ? 400 : 24) * MEBIBYTE + PROGRAM_BYTES);
    }
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
        EXPECT_EQ(isShort, estimate.m_counts.m_statements == 100);
        EXPECT_EQ(isShort, estimate.toText().find("only for the part of a pipe that was read") == std::string::npos);
    }
}

/// The real data sets: the estimates of memory, file size and the numbers of distinct terms that make up most of them
/// must be right within a quarter.
class LoadEstimatorSlowTest : public testing::Test {
protected:
    static constexpr double TOLERANCE = 0.25;

    void SetUp() override {
        const std::optional<std::string> folder = getDataFolder();
        if (!folder)
            GTEST_SKIP() << "MELNAR_DATA names no folder";
        m_folder = *folder + '/';
    }

    /// Returns the file of a set, decompressed.
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
            expectNearLoads({{path, RdfFormat::N_TRIPLES}}, makeSettings(uint64_t(64) << 20, 256 * 1024), TOLERANCE);
            if (name != "long-texts.nt") // has too few lines for that
                expectNearLoads({{path, RdfFormat::N_TRIPLES}}, makeSettings(uint64_t(24) << 20, 256 * 1024),
                                TOLERANCE);
        }
}

TEST_F(LoadEstimatorSlowTest, isNearForTheSmallSets) {
    expectNearLoads(findFiles("vocabularies"), makeSettings(uint64_t(64) << 20), TOLERANCE);
    for (const auto& file : findFiles("schemaorg-30.0"))
        expectNearLoads({file}, makeSettings(uint64_t(64) << 20), TOLERANCE);
}

TEST_F(LoadEstimatorSlowTest, isNearForTheMadeFile) {
    const std::string path = m_directory.getPathOf("large.nt");
    const std::string command = "python3 '" + m_folder + "make_large.py' 300000 --jobs 1 -o '" + path + "' > '" +
                                m_directory.getPathOf("facts") + "'";
    ASSERT_EQ(0, std::system(command.c_str())); // NOLINT(cert-env33-c,concurrency-mt-unsafe): a test's own command
    for (const uint64_t share : {1u, 2u, 4u})
        expectNearLoads({{path, RdfFormat::N_TRIPLES}},
                        makeSettings(std::filesystem::file_size(path) / share, 64 * 1024), TOLERANCE);
}

} // namespace
