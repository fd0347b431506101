#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* TEXT = "<a:s> <a:p> \"text\" .\n"
                             "<a:s> <a:p> \"text\"@en .\n"
                             "<a:s> <a:p> \"text\"^^<http://www.w3.org/2001/XMLSchema#string> .\n"
                             "<a:s> <a:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n";

/// The tool as a process, run where its files are.
class ToolTest : public testing::Test {
protected:
    ToolResult run(const std::vector<std::string>& arguments, ToolInput input = {}) const {
        input.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, input);
    }

    /// Returns the JSON output of a run, which must succeed without messages.
    nlohmann::json runForJson(std::vector<std::string> arguments, const ToolInput& input = {}) const {
        arguments.emplace_back("--json");
        const ToolResult result = run(arguments, input);
        EXPECT_EQ(0, result.m_exitCode);
        EXPECT_EQ("", result.m_errorOutput);
        return nlohmann::json::parse(result.m_output);
    }

    const TemporaryDirectory m_directory;
};

/// Expects the run to have failed with nothing on standard output.
void expectFailure(const int exitCode, const std::string& errorOutput, const ToolResult& result) {
    EXPECT_EQ(exitCode, result.m_exitCode);
    EXPECT_EQ(errorOutput, result.m_errorOutput);
    EXPECT_EQ("", result.m_output);
}

TEST_F(ToolTest, printsATableOfWhatItLoaded) {
    m_directory.addFile("a.nt", TEXT);
    const ToolResult result = run({"load", "a.nt"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    EXPECT_EQ(0u, result.m_output.find("triples                                 4\n"
                                       "string literals met                     3\n"
                                       "  xsd:string                            2\n"
                                       "  rdf:PlainLiteral                      1\n"
                                       "distinct xsd:string                     1\n"
                                       "distinct rdf:PlainLiteral               1\n"
                                       "other terms                             9\n"
                                       "  IRIs                                  8\n"
                                       "  blank nodes                           0\n"
                                       "  other literals                        1\n"
                                       "  directional strings                   0\n"
                                       "  triple terms                          0\n"
                                       "distinct IRIs                           2\n"
                                       "distinct blank nodes                    0\n"
                                       "distinct other literals                 1\n"
                                       "distinct directional strings            0\n"
                                       "distinct triple terms                   0\n"
                                       "first document                          1\n"
                                       "errors                                  0\n"
                                       "bytes of text                          11\n"
                                       "bytes of other text                    49\n"
                                       "bytes of memory "));
}

TEST_F(ToolTest, printsTheSameAsJson) {
    m_directory.addFile("a.nt", TEXT);
    const nlohmann::json json = runForJson({"load", "a.nt"});
    EXPECT_EQ(4, json["triples"]);
    EXPECT_EQ(3, json["stringLiterals"]);
    EXPECT_EQ(2, json["xsdStringLiterals"]);
    EXPECT_EQ(1, json["rdfPlainLiteralLiterals"]);
    EXPECT_EQ(1, json["distinctXsdString"]);
    EXPECT_EQ(1, json["distinctRdfPlainLiteral"]);
    EXPECT_EQ(9, json["otherTerms"]);
    EXPECT_EQ(0, json["errors"]);
    EXPECT_EQ(11, json["textBytes"]);
    EXPECT_GT(json["memoryBytes"], 0);
    EXPECT_GT(json["seconds"].get<double>() + 1, 1 - 1e-9);
    EXPECT_TRUE(json["literalsPerSecond"].is_number());
    EXPECT_FALSE(json.contains("lookups"));
}

TEST_F(ToolTest, readsEveryFormatPlainAndPacked) {
    const std::vector<std::pair<std::string, std::string>> files{
        {"a.nt", "<a:s> <a:p> \"nt\" ."},
        {"a.nq", "<a:s> <a:p> \"nq\" <a:g> ."},
        {"a.ttl", "@prefix : <a:> . :s :p 'ttl' ."},
        {"a.trig", "@prefix : <a:> . :g { :s :p 'trig' }"},
    };
    std::vector<std::string> arguments{"load"};
    for (const auto& [name, text] : files) {
        m_directory.addFile(name, text);
        m_directory.addFile(name + ".gz", gzip(text));
        m_directory.addFile(name + ".bz2", bzip2(text));
        m_directory.addFile(name + ".xz", xz(text));
        m_directory.addFile(name + ".zst", zstd(text));
        for (const char* const extension : {"", ".gz", ".bz2", ".xz", ".zst"}) {
            arguments.push_back(name + extension);
            EXPECT_EQ(1, runForJson({"load", name + extension})["distinctXsdString"]) << name << extension;
        }
    }
    const nlohmann::json all = runForJson(arguments);
    EXPECT_EQ(20, all["triples"]);
    EXPECT_EQ(4, all["distinctXsdString"]);
}

TEST_F(ToolTest, readsStandardInputPlainAndPacked) {
    ToolInput input;
    input.m_input = TEXT;
    EXPECT_EQ(4, runForJson({"load", "--format", "nt", "-"}, input)["triples"]);
    for (const std::string& packed : {gzip(TEXT), bzip2(TEXT), xz(TEXT), zstd(TEXT)}) {
        input.m_input = packed;
        EXPECT_EQ(4, runForJson({"load", "--format=ntriples", "-"}, input)["triples"]);
    }
    input.m_input = "<a:s> <a:p> bad .";
    expectFailure(1, "-:1:13: expected an object, found 'bad'\n", run({"load", "--format", "nt", "-"}, input));
}

TEST_F(ToolTest, loadsWhatItKnowsOfAFolder) {
    std::filesystem::create_directories(m_directory.getPathOf("dumps/more"));
    m_directory.addFile("dumps/b.nt", "<a:s> <a:p> \"b\" .\n");
    m_directory.addFile("dumps/a.ttl.zst", zstd("<a:s> <a:p> \"a\" ."));
    m_directory.addFile("dumps/more/c.nq.xz", xz("<a:s> <a:p> bad .\n"));
    m_directory.addFile("dumps/README", "not read");
    expectFailure(1, "dumps/more/c.nq.xz:1:13: expected an object, found 'bad'\n", run({"load", "dumps/"}));
    m_directory.addFile("dumps/more/c.nq.xz", xz("<a:s> <a:p> \"c\" .\n"));
    const ToolResult result =
        run({"load", "--strings-only", "dumps", "-o", "dumps/d", "--get", "1", "--get", "2", "--get", "3"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_NE(std::string::npos, result.m_output.find("1\t\"a\"\n2\t\"b\"\n3\t\"c\"\n")) << result.m_output;
    EXPECT_EQ(3, runForJson({"load", "dumps"})["triples"]) << "the dictionary is passed over";
    expectFailure(2, "melnar-dict: the input 'dumps/b.nt' is also the output 'dumps/b.nt'\n",
                  run({"load", "dumps", "-o", "dumps/b.nt"}));
    std::filesystem::create_directory(m_directory.getPathOf("empty"));
    expectFailure(2, "melnar-dict: the folder 'empty' has no file whose name indicates a format\n",
                  run({"load", "empty"}));
}

TEST_F(ToolTest, refusesAHostileFileWithoutTakingTheMemory) {
    m_directory.addFile("a.nt.xz", xz(TEXT, {.m_dictionarySize = 1536u << 20}));
    expectFailure(3, "a.nt.xz: decompressing it takes more than the 256 MiB of memory allowed\n",
                  run({"load", "a.nt.xz"}));
}

TEST_F(ToolTest, letsAGivenFormatOverrideTheName) {
    m_directory.addFile("a.nt", "@prefix : <a:> . :s :p 'ttl' .");
    EXPECT_EQ(1, runForJson({"load", "a.nt", "--format", "turtle"})["triples"]);
}

TEST_F(ToolTest, resolvesRelativeIrisAgainstTheGivenBase) {
    m_directory.addFile("a.ttl", "<s> <p> \"x\"^^<XMLSchema#string> .");
    EXPECT_EQ(1, runForJson({"load", "a.ttl", "--base", "http://www.w3.org/2001/"})["distinctXsdString"]);
    EXPECT_EQ(0, runForJson({"load", "a.ttl"})["distinctXsdString"]);
}

TEST_F(ToolTest, looksLiteralsUpInBothDirections) {
    m_directory.addFile("a.nt", TEXT);
    const ToolResult result = run({"load", "--strings-only", "a.nt", "--threads", "1", "--query", "'text'", "--query",
                                   "\"text\"@en", "--get", "2"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    EXPECT_TRUE(result.m_output.ends_with("\n1\t\"text\"\n2\t\"text\"@en\n2\t\"text\"@en\n")) << result.m_output;
}

TEST_F(ToolTest, endsWithOneWhenSomethingIsNotFound) {
    m_directory.addFile("a.nt", TEXT);
    for (const std::vector<std::string>& question :
         {std::vector<std::string>{"--query", "\"absent\"@en"}, std::vector<std::string>{"--get", "3"}}) {
        const ToolResult result =
            run({"load", "--strings-only", "a.nt", "--query", "\"text\"", question[0], question[1]});
        EXPECT_EQ(1, result.m_exitCode);
        EXPECT_EQ("", result.m_errorOutput);
        EXPECT_TRUE(
            result.m_output.ends_with(question[0] == "--get" ? "\nnot found\t3\n" : "\nnot found\t\"absent\"@en\n"))
            << result.m_output;
    }
    const ToolResult result = run({"load", "--strings-only", "a.nt", "--json", "--get", "3", "--query", "'text'"});
    EXPECT_EQ(1, result.m_exitCode);
    const nlohmann::json lookups = nlohmann::json::parse(result.m_output)["lookups"];
    ASSERT_EQ(2u, lookups.size());
    EXPECT_EQ("3", lookups[0]["question"]);
    EXPECT_EQ(3, lookups[0]["id"]);
    EXPECT_TRUE(lookups[0]["literal"].is_null());
    EXPECT_EQ("'text'", lookups[1]["question"]);
    EXPECT_EQ(1, lookups[1]["id"]);
    EXPECT_EQ("\"text\"", lookups[1]["literal"]);
}

TEST_F(ToolTest, reportsFileLineAndCauseOfBadData) {
    m_directory.addFile("good.nt", TEXT);
    m_directory.addFile("bad.nt", "# c\n\n<a:s> <a:p> \"\\q\" .\n");
    expectFailure(1, "bad.nt:3:15: expected an escape such as \\n or \\u00E4 after the backslash, found 'q'\n",
                  run({"load", "good.nt", "bad.nt", "good.nt"}));
    m_directory.addFile("bad.ttl",
                        "@prefix : <a:> .\n:s :p 'x'^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .");
    expectFailure(
        1,
        "bad.ttl:2: Lexical form 'x' is invalid for datatype rdf:PlainLiteral because it does not contain the "
        "'@' character.\n",
        run({"load", "bad.ttl"}));
    m_directory.addFile("bad.nq.gz", gzip("<a:s> <a:p> \"x\"@en-- .\n"));
    expectFailure(1, "bad.nq.gz:1:21: expected the direction ltr or rtl, found a space\n", run({"load", "bad.nq.gz"}));
}

TEST_F(ToolTest, countsErrorsAndContinuesWhenLenient) {
    m_directory.addFile("a.nt", "bad\n<a:s> <a:p> \"a\" .\nbad\n");
    m_directory.addFile("b.ttl", "bad .\n<s> <p> \"b\" .\n");
    const ToolResult result = run({"load", "--lenient", "--json", "a.nt", "b.ttl"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("a.nt:1:1: expected a subject, found 'bad'\n"
              "a.nt:3:1: expected a subject, found 'bad'\n"
              "b.ttl:1:1: expected a subject, found 'bad'\n",
              result.m_errorOutput);
    const nlohmann::json json = nlohmann::json::parse(result.m_output);
    EXPECT_EQ(3, json["errors"]);
    EXPECT_EQ(2, json["distinctXsdString"]);
}

TEST_F(ToolTest, showsSomeErrorsAndKeepsWhatItSkips) {
    std::string text;
    for (int number = 0; number < 1300; ++number)
        text += "bad " + std::to_string(number) + "\n<a:s> <a:p> \"a\" .\n";
    m_directory.addFile("a.nt", text);
    const auto load = [this](std::vector<std::string> options) {
        options.insert(options.begin(), {"load", "--lenient", "a.nt"});
        const ToolResult result = run(options);
        EXPECT_EQ(0, result.m_exitCode);
        EXPECT_NE(std::string::npos, result.m_output.find("1300")) << "all errors are counted";
        return result.m_errorOutput;
    };
    const std::string shown = load({});
    EXPECT_EQ(21, std::count(shown.begin(), shown.end(), '\n'));
    EXPECT_TRUE(shown.ends_with("a.nt:39:1: expected a subject, found 'bad'\n… and 1,280 more errors\n")) << shown;
    EXPECT_EQ("a.nt:1:1: expected a subject, found 'bad'\n… and 1,299 more errors\n", load({"--errors", "1"}));
    EXPECT_EQ("1,300 errors\n", load({"--errors=0"}));
    EXPECT_EQ("", load({"--quiet", "--rejected", "r"}));
    std::string rejected;
    for (int number = 0; number < 1300; ++number)
        rejected += "bad " + std::to_string(number) + "\n";
    EXPECT_EQ(rejected, TemporaryDirectory::getContentsOf(m_directory.getPathOf("r")));
    expectFailure(3, "absent.nt: No such file or directory\n", run({"load", "--quiet", "--lenient", "absent.nt"}));
}

TEST_F(ToolTest, endsWithThreeWhenAFileCannotBeRead) {
    m_directory.addFile("plain.nt.gz", TEXT);
    std::string packed = gzip(TEXT);
    m_directory.addFile("cut.nt.gz", packed.substr(0, packed.size() - 1));
    packed[packed.size() - 8] = static_cast<char>(~packed[packed.size() - 8]);
    m_directory.addFile("wrong.nt.gz", packed);
    expectFailure(3, "absent.nt: No such file or directory\n", run({"load", "absent.nt"}));
    expectFailure(3, "absent.nt: No such file or directory\n", run({"load", "--lenient", "absent.nt"}));
    expectFailure(3, "cut.nt.gz: not a sound gzip file: it ends early\n", run({"load", "cut.nt.gz"}));
    expectFailure(3, "wrong.nt.gz: not a sound gzip file: its checksum or length does not match its data\n",
                  run({"load", "wrong.nt.gz"}));
    expectFailure(3, "plain.nt.gz: not a sound gzip file: its first bytes are not those of the format\n",
                  run({"load", "plain.nt.gz"}));
}

TEST_F(ToolTest, endsWithThreeAtALimit) {
    std::string text;
    for (int number = 0; number < 80000; ++number)
        text += "<a:s> <a:p> \"a literal with the number " + std::to_string(number) + "\" .\n";
    m_directory.addFile("a.nt", text);
    expectFailure(3,
                  "a.nt: out of memory: --memory-limit 10M is reached; a larger one may help, or fewer threads, or "
                  "shorter lines\n",
                  run({"load", "a.nt", "--memory-limit", "10M", "--threads", "1"}));
    expectFailure(
        3, "a.nt: The dictionary cannot create resource 11 because it was created to hold at most 10 resources.\n",
        run({"load", "a.nt", "--max-resources", "10", "--lenient"}));
    expectFailure(2, "melnar-dict: --memory-limit 1 is too small: with 1 thread it must be 5M or more\n",
                  run({"load", "--strings-only", "a.nt", "--memory-limit", "1", "--threads", "1"}));
    expectFailure(2, "melnar-dict: --memory-limit 8M is too small: with 1 thread it must be 10M or more\n",
                  run({"load", "a.nt", "--memory-limit", "8M", "--threads", "1"}));
    expectFailure(2, "melnar-dict: --memory-limit 10M is too small: with 4 threads it must be 11M or more\n",
                  run({"load", "--strings-only", "a.nt", "--memory-limit", "10M", "--threads", "4"}));
}

TEST_F(ToolTest, endsWithThreeWhenStandardOutputCannotBeWritten) {
    m_directory.addFile("a.nt", TEXT);
    ToolInput input;
    input.m_outputPath = "/dev/full";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"load", "a.nt"}, {"load", "--help"}, {"--help"}, {"--version"}})
        expectFailure(3, "melnar-dict: standard output: No space left on device\n", run(arguments, input));
    input = {};
    input.m_isOutputClosedPipe = true;
    input.m_shellCommands = "trap '' PIPE";
    expectFailure(3, "melnar-dict: standard output: Broken pipe\n", run({"load", "a.nt"}, input));
}

TEST_F(ToolTest, endsQuietlyWhenStandardOutputHasNoReader) {
    m_directory.addFile("a.nt", TEXT);
    ASSERT_EQ(0, run({"load", "a.nt", "-o", "d"}).m_exitCode);
    ASSERT_EQ(0, run({"encode", "--as", "iri", "a.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    ToolInput input;
    input.m_isOutputClosedPipe = true;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                      {"load", "a.nt"},
                                                      {"dump", "d"},
                                                      {"get", "d", "1"},
                                                      {"stats", "d"},
                                                      {"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"}}) {
        const ToolResult result = run(arguments, input);
        EXPECT_EQ(SIGPIPE, result.m_signalNumber) << arguments.front();
        EXPECT_EQ("", result.m_errorOutput) << arguments.front();
    }
}

TEST_F(ToolTest, aFileThatMayNotGrowIsAFailureThatLeavesNothing) {
    std::string triples;
    for (int number = 0; number < 10000; ++number)
        triples += "<urn:s> <urn:p> \"text " + std::to_string(number) + "\" .\n";
    m_directory.addFile("big.nt", triples);
    ASSERT_EQ(0, run({"load", "big.nt", "-o", "big"}).m_exitCode);
    const std::string dictionary = m_directory.getContentsOf(m_directory.getPathOf("big"));
    ToolInput input;
    input.m_shellCommands = "ulimit -f 8"; // half-kilobytes
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"load", "big.nt", "-o", "new"},
                                                      {"load", "big.nt", "--into", "big"},
                                                      {"compact", "big"},
                                                      {"compact", "big", "-o", "new"},
                                                      {"encode", "--as", "iri", "big.nt", "-d", "big", "-o", "new"},
                                                      {"dump", "big"}}) {
        const ToolResult result = run(arguments, input);
        EXPECT_EQ(3, result.m_exitCode) << arguments.front();
        EXPECT_NE(std::string::npos, result.m_errorOutput.find("File too large")) << result.m_errorOutput;
    }
    input.m_shellCommands = "ulimit -f 0";
    EXPECT_EQ(3, run({"load", "big.nt", "-o", "new"}, input).m_exitCode);
    EXPECT_EQ(dictionary, m_directory.getContentsOf(m_directory.getPathOf("big")));
    size_t numberOfFiles = 0;
    for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(m_directory.getPathOf("")))
        ++numberOfFiles;
    EXPECT_EQ(2u, numberOfFiles);
}

TEST_F(ToolTest, closedStandardDescriptorsLeadNowhere) {
    m_directory.addFile("a.nt", TEXT);
    // With one thread, since the file depends on which thread has filled a table.
    ASSERT_EQ(0, run({"load", "a.nt", "-o", "d", "--threads", "1"}).m_exitCode);
    const std::string dictionary = m_directory.getContentsOf(m_directory.getPathOf("d"));
    ToolInput input;
    input.m_shellCommands = "exec >&-";
    const std::string unwritable = "melnar-dict: standard output: Bad file descriptor\n";
    expectFailure(3, unwritable, run({"load", "a.nt", "-o", "new", "--threads", "1"}, input));
    EXPECT_EQ(dictionary, m_directory.getContentsOf(m_directory.getPathOf("new")));
    expectFailure(3, unwritable, run({"dump", "d"}, input));
    input.m_shellCommands = "exec <&- >&- 2>&-";
    EXPECT_EQ(3, run({"dump", "d"}, input).m_exitCode);
    EXPECT_EQ(3, run({"load", "-", "--format", "nt", "-o", "d"}, input).m_exitCode);
    EXPECT_EQ(dictionary, m_directory.getContentsOf(m_directory.getPathOf("d")));
    input.m_shellCommands = "exec 2>&-";
    EXPECT_EQ(0, run({"load", "a.nt", "--into", "d"}, input).m_exitCode);
    input.m_input = "This error is told nowhere.\n";
    EXPECT_EQ(0, run({"load", "-", "--format", "nt", "--lenient", "--into", "d"}, input).m_exitCode);
    EXPECT_EQ(0, run({"verify", "d"}).m_exitCode);
}

TEST_F(ToolTest, endsWithTwoOnAWrongCommandLine) {
    m_directory.addFile("a.nt", TEXT);
    expectFailure(2, "melnar-dict: load needs a file\n", run({"load"}));
    expectFailure(2, "melnar-dict: unknown option --what\n", run({"load", "a.nt", "--what"}));
    expectFailure(2, "melnar-dict: option --threads needs a number from 1 to 1024, not 'many'\n",
                  run({"load", "a.nt", "--threads", "many"}));
    expectFailure(2, "melnar-dict: the name 'a.txt' does not indicate a format; give it with --format\n",
                  run({"load", "a.nt", "a.txt"}));
    expectFailure(2, "melnar-dict: unknown verb 'loda'; did you mean 'load'?\n", run({"loda", "a.nt"}));
    expectFailure(2, "melnar-dict: unknown verb 'frob'; melnar-dict --help lists the verbs\n", run({"frob"}));
    expectFailure(2, "melnar-dict: expected a verb, found '--json'; melnar-dict --help lists the verbs\n",
                  run({"--json", "load", "a.nt"}));
    expectFailure(2, "melnar-dict: unknown option --thread; did you mean '--threads'?\n",
                  run({"load", "a.nt", "--thread=2"}));
    expectFailure(2, "melnar-dict: term 'text': expected a term, found 'text'; did you mean '\"text\"'?\n",
                  run({"load", "a.nt", "--query", "text"}));
    expectFailure(2, "melnar-dict: encode needs -d DICTIONARY\n", run({"encode", "--as", "iri", "a.nt", "-o", "o"}));
    expectFailure(2, "melnar-dict: unknown verb 'loda'; did you mean 'load'?\n", run({"help", "loda"}));
    const ToolResult result = run({});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("usage: melnar-dict VERB"));
}

TEST_F(ToolTest, helpListsVerbsAndOptions) {
    const ToolResult help = run({"--help"});
    EXPECT_EQ(0, help.m_exitCode);
    EXPECT_NE(std::string::npos, help.m_output.find("\n  load    "));
    const ToolResult helpOfLoad = run({"load", "--help"});
    EXPECT_EQ(0, helpOfLoad.m_exitCode);
    for (const char* const option : {"--format", "--threads", "--lenient", "--base", "--memory-limit",
                                     "--max-resources", "--json", "--query", "--get", "-h, --help"})
        EXPECT_NE(std::string::npos, helpOfLoad.m_output.find(std::string("\n  ") + option)) << option;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"help"}, {"-h"}})
        EXPECT_EQ(help.m_output, run(arguments).m_output);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"help", "load"}, {"load", "-h"}})
        EXPECT_EQ(helpOfLoad.m_output, run(arguments).m_output);
    for (const char* const argument : {"--version", "-V"}) {
        const ToolResult version = run({argument});
        EXPECT_EQ(0, version.m_exitCode);
        EXPECT_EQ("melnar-dict 0.1.0\n", version.m_output);
    }
}

} // namespace
