#include "tools/melnar-dict/load/FileLoader.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Forms = std::vector<std::string>;

FileLoader::Settings makeSettings(const size_t numberOfThreads, const bool lenient, const size_t blockSize) {
    return {numberOfThreads, lenient, "", blockSize};
}

/// Makes many statements, some of them twice and some across several lines if the format allows it.
std::string makeText(const RdfFormat format, const size_t numberOfStatements) {
    std::string text;
    for (size_t number = 0; number < numberOfStatements; ++number) {
        const std::string literal = "\"number " + std::to_string(number % (numberOfStatements / 2 + 1)) + "\"";
        text += "<a:s> <a:p> " + literal + (number % 3 == 0 ? "@en" : "") + (isLineFormat(format) ? " .\n" : "\n.\n");
    }
    return text;
}

TEST(FileLoaderConcurrentTest, findsTheSameWithAnyNumberOfThreadsInAnyFormat) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS, RdfFormat::TURTLE, RdfFormat::TRIG}) {
        const std::string text = makeText(format, 3000);
        const LoadOutcome expected = loadText(format, text);
        EXPECT_EQ(ExitCode::DONE, expected.m_exitCode);
        EXPECT_EQ(3000u, expected.m_counts.m_statements);
        EXPECT_EQ(3000u, expected.m_counts.m_strings + expected.m_counts.m_plainLiterals);
        EXPECT_LT(expected.m_strings.size(), expected.m_counts.m_strings) << "some occur twice";
        for (const size_t numberOfThreads : std::initializer_list<size_t>{2, 7, 20}) {
            const LoadOutcome outcome = loadText(format, text, makeSettings(numberOfThreads, false, 500));
            EXPECT_EQ(expected.m_strings, outcome.m_strings);
            EXPECT_EQ(expected.m_plainLiterals, outcome.m_plainLiterals);
            EXPECT_EQ(expected.m_counts.m_statements, outcome.m_counts.m_statements);
            EXPECT_EQ(expected.m_counts.m_strings, outcome.m_counts.m_strings);
            EXPECT_EQ(expected.m_counts.m_plainLiterals, outcome.m_counts.m_plainLiterals);
            EXPECT_EQ(expected.m_counts.getNumberOfOtherTerms(), outcome.m_counts.getNumberOfOtherTerms());
        }
    }
}

// The message for "\q" in the thirteenth column, after the line.
constexpr const char* MALFORMED_MESSAGE =
    ":15: expected an escape such as \\n or \\u00E4 after the backslash, found 'q'\n";

TEST(FileLoaderConcurrentTest, reportsTheFirstErrorOfTheFileWithAnyNumberOfThreads) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        const std::string good = makeText(format, 200);
        const auto lines = static_cast<size_t>(std::count(good.begin(), good.end(), '\n'));
        const std::string refused = "<a:s> <a:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
        const std::string malformed = "<a:s> <a:p> \"\\q\" .\n";
        const std::string message = "Lexical form 'x' is invalid for datatype rdf:PlainLiteral because it does not "
                                    "contain the '@' character.\n";
        for (int round = 0; round < 10; ++round)
            for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7}) {
                const auto settings = makeSettings(numberOfThreads, false, 300);
                const LoadOutcome first = loadText(format, good + refused + good + malformed + malformed, settings);
                EXPECT_EQ("FILE:" + std::to_string(lines + 1) + ": " + message, first.m_errorOutput);
                EXPECT_EQ(ExitCode::BAD_DATA, first.m_exitCode);
                const LoadOutcome second = loadText(format, good + malformed + refused + good + refused, settings);
                EXPECT_EQ("FILE:" + std::to_string(lines + 1) + MALFORMED_MESSAGE, second.m_errorOutput);
            }
    }
}

TEST(FileLoaderConcurrentTest, reportsAllErrorsInOrderWhenLenient) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        std::string text;
        std::string expected;
        for (size_t line = 1; line <= 400; ++line)
            if (line % 7 == 0) {
                text += "<a:s> <a:p> \"\\q\" .\n";
                expected += "FILE:" + std::to_string(line) + MALFORMED_MESSAGE;
            } else if (line % 11 == 0) {
                text += "<a:s> <a:p> \"x@a-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
                expected += "FILE:" + std::to_string(line) +
                            ": Lexical form 'x@a-' is invalid for datatype rdf:PlainLiteral because  it its language "
                            "tag is malformed.\n";
            } else
                text += "<a:s> <a:p> \"" + std::to_string(line) + "\" .\n";
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7})
            for (const size_t blockSize : std::initializer_list<size_t>{1, 100, 1000000}) {
                const LoadOutcome outcome = loadText(format, text, makeSettings(numberOfThreads, true, blockSize));
                EXPECT_EQ(expected, outcome.m_errorOutput);
                EXPECT_EQ(ExitCode::DONE, outcome.m_exitCode);
                EXPECT_EQ(312u, outcome.m_strings.size());
            }
    }
}

TEST(FileLoaderTest, refusesALineOrStatementThatIsTooLongWhereItBegins) {
    FileLoader::Settings settings = makeSettings(2, true, 16);
    settings.m_maximumLine = 30;
    const std::string before = "<a:s> <a:p> \"0123456789abc\" .\n";
    const std::string longLine = " <a:s> <a:p> \"0123456789abcdef\" .\n";
    const std::string longer = "<a:s> <a:p> \"" + std::string(10'000, 'x') + "\" .\n";
    const std::string text = before + longLine + longer + "<a:s> <a:p> \"after\" .\n";
    const LoadOutcome lines = loadText(RdfFormat::N_TRIPLES, text, settings);
    EXPECT_EQ("FILE:2:1: expected a line of at most 30 bytes, found a longer one\n"
              "FILE:3:1: expected a line of at most 30 bytes, found a longer one\n",
              lines.m_errorOutput);
    EXPECT_EQ((Forms{"0123456789abc", "after"}), lines.m_strings);
    const LoadOutcome statements = loadText(RdfFormat::TURTLE, text, settings);
    EXPECT_EQ("FILE:2:2: expected a statement of at most 30 bytes, found a longer one\n"
              "FILE:3:1: expected a statement of at most 30 bytes, found a longer one\n",
              statements.m_errorOutput);
    EXPECT_EQ((Forms{"0123456789abc", "after"}), statements.m_strings);
    const std::string oneLine = "<a:s> <a:p> 'a' . <a:s> <a:p> 'b' . # " + std::string(1000, 'c');
    EXPECT_EQ((Forms{"a", "b"}), loadText(RdfFormat::TURTLE, oneLine, settings).m_strings);
    settings.m_isLenient = false;
    const LoadOutcome strict = loadText(RdfFormat::N_QUADS, text, settings);
    EXPECT_EQ("FILE:2:1: expected a line of at most 30 bytes, found a longer one\n", strict.m_errorOutput);
    EXPECT_EQ(ExitCode::BAD_DATA, strict.m_exitCode);
}

TEST(FileLoaderTest, loadsSeveralFilesIntoOneDictionary) {
    const TemporaryDirectory directory;
    TestLoad load;
    load.load(directory.addFile("a.nt", "<a:s> <a:p> \"both\" .\n<a:s> <a:p> \"first\" ."), RdfFormat::N_TRIPLES);
    load.load(directory.addFile("b.ttl.gz", gzip("<s> <p> 'both' , \"second\"@en .")), RdfFormat::TURTLE);
    EXPECT_EQ((Forms{"both", "first"}), load.readForms(D_XSD_STRING));
    EXPECT_EQ(Forms{"second@en"}, load.readForms(D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(4u, load.getJournal().getCounts().m_statements);
    EXPECT_EQ("", load.getErrorOutput());
}

TEST(FileLoaderTest, loadsNothingFromAnEmptyFile) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE})
        for (const std::string text : {"", "\n", "# c", "\xEF\xBB\xBF"}) {
            const LoadOutcome outcome = loadText(format, text);
            EXPECT_EQ(ExitCode::DONE, outcome.m_exitCode) << outcome.m_errorOutput;
            EXPECT_EQ(0u, outcome.m_counts.m_statements);
        }
}

TEST(FileLoaderFailureTest, reportsThatAFileDoesNotExist) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        TestLoad load;
        load.load("/does/not/exist.nt", format);
        EXPECT_EQ("/does/not/exist.nt: No such file or directory\n", load.getErrorOutput());
        EXPECT_EQ(ExitCode::FAILURE, load.getJournal().getExitCode());
        EXPECT_TRUE(load.getJournal().isStopped());
    }
}

TEST(FileLoaderConcurrentTest, reportsThatReadingFailedAfterTheErrorsBeforeIt) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE})
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 7}) {
            const std::string good = makeText(format, 1000);
            std::string packed = gzip(good + "<a:s> <a:p> \"\\q\" .\n" + good);
            packed[packed.size() - 5] = static_cast<char>(packed[packed.size() - 5] ^ 1); // in the checksum
            const std::string path = directory.addFile("a.gz", packed);
            TestLoad strict(makeSettings(numberOfThreads, false, 100));
            strict.load(path, format);
            EXPECT_EQ(path + (isLineFormat(format) ? ":1001" : ":2001") + MALFORMED_MESSAGE, strict.getErrorOutput());
            EXPECT_EQ(ExitCode::BAD_DATA, strict.getJournal().getExitCode());
            TestLoad lenient(makeSettings(numberOfThreads, true, 100));
            lenient.load(path, format);
            EXPECT_EQ(path + (isLineFormat(format) ? ":1001" : ":2001") + MALFORMED_MESSAGE + path +
                          ": not a sound gzip file: its checksum or length does not match its data\n",
                      lenient.getErrorOutput());
            EXPECT_EQ(ExitCode::FAILURE, lenient.getJournal().getExitCode());
        }
}

TEST(FileLoaderConcurrentTest, stopsAtTheLargestNumberOfResources) {
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE})
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 7}) {
            const std::string path = directory.addFile("a", makeText(format, 2000));
            TestLoad load(makeSettings(numberOfThreads, true, 300), TestLoad::MEMORY_LIMIT, 100);
            load.load(path, format);
            EXPECT_EQ(path + ": The dictionary cannot create resource 101 because it was created to hold at most 100 "
                             "resources.\n",
                      load.getErrorOutput());
            EXPECT_EQ(ExitCode::FAILURE, load.getJournal().getExitCode());
            EXPECT_EQ(101u, load.getDictionary().getNextResourceID());
            EXPECT_EQ(100u, load.readForms(D_XSD_STRING).size() + load.readForms(D_RDF_PLAIN_LITERAL).size());
        }
}

TEST(FileLoaderConcurrentTest, stopsAtTheMemoryLimitAndKeepsWhatItHas) {
    constexpr size_t MEMORY_LIMIT = 400000;
    const TemporaryDirectory directory;
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE})
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 7}) {
            const std::string path = directory.addFile("a", makeText(format, 40000));
            TestLoad load(makeSettings(numberOfThreads, true, 3000), MEMORY_LIMIT);
            load.load(path, format);
            EXPECT_EQ(0u, load.getErrorOutput().find(path + ": out of memory")) << load.getErrorOutput();
            EXPECT_EQ(ExitCode::FAILURE, load.getJournal().getExitCode());
            EXPECT_LE(load.getDictionary().getMemoryInUse(), MEMORY_LIMIT);
            EXPECT_EQ(load.getDictionary().getNextResourceID() - 1,
                      load.readForms(D_XSD_STRING).size() + load.readForms(D_RDF_PLAIN_LITERAL).size());
        }
}

} // namespace
