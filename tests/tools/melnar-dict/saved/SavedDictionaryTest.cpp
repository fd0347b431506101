#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace {

constexpr const char* TRIPLES = "<urn:s> <urn:p> \"one\" .\n"
                                "<urn:s> <urn:p> \"eins\"@de .\n"
                                "<urn:s> <urn:p> \"one\"^^<http://www.w3.org/2001/XMLSchema#string> .\n"
                                "<urn:s> <urn:p> \"line\\nbreak \\\"quoted\\\"\"@en-GB .\n"
                                "<urn:s> <urn:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n";

/// Tests the verbs with the triples above, loaded and saved as "d" by one thread.
class SavedDictionaryTest : public testing::Test {
protected:
    SavedDictionaryTest() {
        m_directory.addFile("in.nt", TRIPLES);
        EXPECT_EQ(0, run({"load", "--strings-only", "in.nt", "-o", "d", "--threads", "1"}).m_exitCode);
    }

    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    void damage(const std::string& fileName, const size_t position) const {
        std::string contents = getContentsOf(fileName);
        contents.at(position) = static_cast<char>(contents.at(position) ^ 4);
        m_directory.addFile(fileName, contents);
    }

    /// Adds "new" to the saved dictionary, as resource 6: 4 and 5 are withdrawn.
    void addWithGap() const {
        const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(1) << 30});
        {
            DictionaryThread thread(*dictionary);
            dictionary->resolveResource(thread, "gone", D_XSD_STRING);
            dictionary->resolveResource(thread, "gone@en", D_RDF_PLAIN_LITERAL);
            dictionary->rollback();
            EXPECT_EQ(6u, dictionary->resolveResource(thread, "new", D_XSD_STRING));
        }
        dictionary->commit();
        dictionary->save(m_directory.getPathOf("d"));
    }

    TemporaryDirectory m_directory;
};

TEST_F(SavedDictionaryTest, loadSavesWhatItLoaded) {
    const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(1) << 30});
    EXPECT_EQ(4u, dictionary->getNextResourceID());
    EXPECT_EQ(4u, dictionary->getCommitPoint().m_resourceID) << "everything is committed";
    EXPECT_FALSE(exists("d.saving"));
}

TEST_F(SavedDictionaryTest, loadSavesTheSameBytesAgain) {
    ASSERT_EQ(0, run({"load", "--strings-only", "in.nt", "-o", "e", "--threads", "1"}).m_exitCode);
    EXPECT_EQ(getContentsOf("d"), getContentsOf("e"));
}

TEST_F(SavedDictionaryTest, getPrintsLiteralsAndAbsentIDs) {
    const ToolResult found = run({"get", "d", "1", "3"});
    EXPECT_EQ(0, found.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n", found.m_output);
    const ToolResult missing = run({"get", "d", "4", "2", "0", "18446744073709551615"});
    EXPECT_EQ(1, missing.m_exitCode);
    EXPECT_EQ("not found\t4\n2\t\"eins\"@de\nnot found\t0\nnot found\t18446744073709551615\n", missing.m_output);
}

TEST_F(SavedDictionaryTest, getFindsNothingUnderAWithdrawnID) {
    addWithGap();
    const ToolResult result = run({"get", "d", "4", "6", "5"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("", result.m_errorOutput);
    EXPECT_EQ("not found\t4\n6\t\"new\"\nnot found\t5\n", result.m_output);
}

TEST_F(SavedDictionaryTest, getRefusesInvalidIDs) {
    for (const char* const text : {"", "x", "1x", "-1", "18446744073709551616", "1.0"})
        EXPECT_EQ(2, run({"get", "d", "--", text}).m_exitCode) << text;
    EXPECT_EQ(2, run({"get", "d"}).m_exitCode);
    EXPECT_EQ(2, run({"get"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, getReadsTheLinesOfStandardInputAtItsPosition) {
    const ToolResult result = run({"get", "d", "3", "-", "1"}, "1\r\n9\n\nx\n2");
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n1\t\"one\"\nnot found\t9\n2\t\"eins\"@de\n1\t\"one\"\n",
              result.m_output);
    EXPECT_EQ("-:3: '' is not a resource ID\n-:4: 'x' is not a resource ID\n", result.m_errorOutput);
    EXPECT_EQ(2, run({"get", "d", "-", "-"}).m_exitCode);
    EXPECT_EQ("", run({"get", "d", "-"}).m_output);
}

TEST_F(SavedDictionaryTest, getAnswersManyLinesInOrder) {
    std::string lines;
    std::string expected;
    for (int line = 0; line < 200000; ++line) {
        lines += line % 3 == 0 ? "1\n" : "2\n";
        expected += line % 3 == 0 ? "1\t\"one\"\n" : "2\t\"eins\"@de\n";
    }
    EXPECT_EQ(expected, run({"get", "d", "-"}, lines).m_output);
}

TEST_F(SavedDictionaryTest, getKeepsTheAnswersFromBeforeAFailure) {
    const ToolResult result = run({"get", "d", "1", "-"}, "\x1F\x8B no gzip file");
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n", result.m_output);
}

TEST_F(SavedDictionaryTest, lookupTakesLiteralsInTurtleSyntax) {
    const ToolResult found =
        run({"lookup", "d", "\"one\"", "\"eins\"@de", "\"line\\u000Abreak \\\"quoted\\\"\"@en-GB"});
    EXPECT_EQ("", found.m_errorOutput);
    EXPECT_EQ(0, found.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n", found.m_output);
    const ToolResult missing = run({"lookup", "d", "\"eins\"", "\"eins\"@DE"});
    EXPECT_EQ(1, missing.m_exitCode);
    EXPECT_EQ("not found\t\"eins\"\nnot found\t\"eins\"@DE\n", missing.m_output);
}

TEST_F(SavedDictionaryTest, lookupRefusesInvalidTermsAndContinues) {
    const ToolResult result = run({"lookup", "d", "one", "\"one", "\"5\"^^<t>", "'one'"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n", result.m_output);
    EXPECT_EQ("melnar-dict: term 'one': expected a term, found 'one'; did you mean '\"one\"'?\n"
              "melnar-dict: term '\"one': this string is not closed: expected its closing quote, found the end of the "
              "text\n"
              "melnar-dict: term '\"5\"^^<t>': expected an absolute IRI, found '<t>'\n",
              result.m_errorOutput);
}

TEST_F(SavedDictionaryTest, lookupReadsTheLinesOfStandardInputAtItsPosition) {
    const ToolResult result =
        run({"lookup", "d", "'eins'@de", "-", "bad", "'one'"}, "\"one\"\r\n\"eins\"@de\n\nbad\n\"a\rb\"\n\"one\"");
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("2\t\"eins\"@de\n1\t\"one\"\n2\t\"eins\"@de\n1\t\"one\"\n1\t\"one\"\n", result.m_output);
    EXPECT_TRUE(result.m_errorOutput.starts_with("-:3:1: expected a term, found the end of the text\n"
                                                 "-:4:1: expected a term, found 'bad'; did you mean "
                                                 "'\"bad\"'?\n-:5:"))
        << result.m_errorOutput;
    EXPECT_NE(std::string::npos, result.m_errorOutput.find("term 'bad': "));
    EXPECT_EQ(2, run({"lookup", "d", "-", "-"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, lookupReportsALiteralThatTheDictionaryRefusesAndContinues) {
    const std::string cause = "Lexical form 'z@en-' is invalid for datatype rdf:PlainLiteral because  it its language "
                              "tag is malformed.\n";
    const std::string malformed = "\"z@en-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";
    const ToolResult lines =
        run({"lookup", "d", "-"}, "\"one\"\n" + malformed + "\nbad\n" + malformed + "\n\"eins\"@de\n");
    EXPECT_EQ(1, lines.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n", lines.m_output);
    EXPECT_TRUE(lines.m_errorOutput.starts_with("-:2: " + cause + "-:3:1: ")) << lines.m_errorOutput;
    EXPECT_TRUE(lines.m_errorOutput.ends_with("-:4: " + cause)) << lines.m_errorOutput;
    const ToolResult arguments = run({"lookup", "d", "\"one\"", malformed, "\"eins\"@de"});
    EXPECT_EQ(1, arguments.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n", arguments.m_output);
    EXPECT_EQ("melnar-dict: term '" + malformed + "': " + cause, arguments.m_errorOutput);
}

TEST_F(SavedDictionaryTest, lookupKeepsTheAnswersFromBeforeAFailure) {
    const ToolResult result = run({"lookup", "d", "\"one\"", "-"}, "\x1F\x8B no gzip file");
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n", result.m_output);
}

TEST_F(SavedDictionaryTest, lookupAnswersManyLinesInOrder) {
    std::string lines;
    std::string expected;
    for (int line = 0; line < 200000; ++line) {
        lines += line % 2 == 0 ? "\"one\"\n" : "\"eins\"@de\n";
        expected += line % 2 == 0 ? "1\t\"one\"\n" : "2\t\"eins\"@de\n";
    }
    EXPECT_EQ(expected, run({"lookup", "d", "-"}, lines).m_output);
}

TEST_F(SavedDictionaryTest, dumpPrintsEverythingInAscendingOrder) {
    const ToolResult result = run({"dump", "d"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n", result.m_output);
}

TEST_F(SavedDictionaryTest, dumpReportsOutputThatCannotBeWritten) {
    ToolInput input;
    input.m_outputPath = "/dev/full";
    EXPECT_EQ(3, runToolProcess({"dump", m_directory.getPathOf("d")}, input).m_exitCode);
}

TEST_F(SavedDictionaryTest, statsDescribesForPeopleAndMachines) {
    const ToolResult text = run({"stats", "d"});
    EXPECT_EQ(0, text.m_exitCode);
    EXPECT_TRUE(text.m_output.starts_with("Dictionary\n"));
    EXPECT_NE(std::string::npos, text.m_output.find("    Languages\n        de: 1\n        en-GB: 1\n"));
    const nlohmann::json json = nlohmann::json::parse(run({"stats", "--json", "d"}).m_output);
    EXPECT_EQ("Dictionary", json["name"]);
    EXPECT_EQ("Data pool", json["children"][0]["name"]);
    EXPECT_EQ("MEMORY_CONSUMED", json["children"][0]["properties"][0]["metric"]);
}

TEST_F(SavedDictionaryTest, verifyDistinguishesSoundFromDamaged) {
    const ToolResult sound = run({"verify", "d"});
    EXPECT_EQ(0, sound.m_exitCode);
    EXPECT_EQ("d: sound, 3 resources\n", sound.m_output);
    damage("d", getContentsOf("d").size() / 2);
    const ToolResult damaged = run({"verify", "d"});
    EXPECT_EQ(3, damaged.m_exitCode);
    EXPECT_EQ("", damaged.m_output);
    EXPECT_NE(std::string::npos, damaged.m_errorOutput.find("'d' is damaged: section 'datatype 5'"))
        << damaged.m_errorOutput;
}

TEST_F(SavedDictionaryTest, everyVerbRefusesFilesThatAreNoDictionary) {
    for (const char* const verb : {"get", "lookup", "dump", "stats", "compact", "verify"}) {
        std::vector<std::string> arguments{verb, "in.nt"};
        if (arguments[0] == "get")
            arguments.emplace_back("1");
        if (arguments[0] == "lookup")
            arguments.emplace_back("\"one\"");
        const ToolResult result = run(arguments);
        EXPECT_EQ(3, result.m_exitCode) << verb;
        // compact reads the file that it has locked, by its real name.
        const std::string name = arguments[0] == "compact" ? m_directory.getPathOf("in.nt") : "in.nt";
        EXPECT_EQ("melnar-dict: File '" + name + "' is not a dictionary file.\n", result.m_errorOutput) << verb;
        arguments[1] = "missing";
        EXPECT_EQ(3, run(arguments).m_exitCode) << verb;
    }
}

TEST_F(SavedDictionaryTest, everyVerbKeepsItsMemoryLimit) {
    std::string triples;
    for (int number = 0; number < 100000; ++number)
        triples += "<urn:s> <urn:p> \"text " + std::to_string(number) + "\" .\n";
    m_directory.addFile("big.nt", triples);
    ASSERT_EQ(0, run({"load", "--strings-only", "big.nt", "-o", "big"}).m_exitCode);
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"dump", "big"},
          {"get", "big", "1"},
          {"lookup", "big", "\"x\""},
          {"stats", "big"},
          {"verify", "big"},
          {"compact", "big", "-o", "e"},
          {"load", "--strings-only", "in.nt", "--into", "big", "--threads", "1"},
          {"encode", "--as", "iri", "in.nt", "-d", "big", "-o", "e", "--threads", "1"}}) {
        std::vector<std::string> limited = arguments;
        limited.insert(limited.end(), {"--memory-limit", "5M"});
        const ToolResult result = run(limited);
        EXPECT_EQ(3, result.m_exitCode) << arguments[0];
        EXPECT_NE(std::string::npos, result.m_errorOutput.find("out of memory: --memory-limit 5M is reached"))
            << result.m_errorOutput;
        limited.back() = "4M";
        EXPECT_EQ(2, run(limited).m_exitCode) << arguments[0];
    }
}

TEST_F(SavedDictionaryTest, intoAddsAndKeepsTheIDs) {
    m_directory.addFile("more.nt", "<urn:s> <urn:p> \"new\" .\n<urn:s> <urn:p> \"eins\"@de .\n");
    ASSERT_EQ(0, run({"load", "--strings-only", "more.nt", "--into", "d"}).m_exitCode);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n4\t\"new\"\n",
              run({"dump", "d"}).m_output);
}

TEST_F(SavedDictionaryTest, intoWithOutputLeavesTheOldFile) {
    const std::string before = getContentsOf("d");
    m_directory.addFile("more.nt", "<urn:s> <urn:p> \"new\" .\n");
    ASSERT_EQ(0, run({"load", "--strings-only", "more.nt", "--into", "d", "-o", "e"}).m_exitCode);
    EXPECT_EQ(before, getContentsOf("d"));
    EXPECT_TRUE(run({"dump", "e"}).m_output.ends_with("4\t\"new\"\n"));
    EXPECT_EQ(2, run({"load", "more.nt", "--into", "d", "--max-resources", "5"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, aLoadThatFailsLeavesTheOldFile) {
    const std::string before = getContentsOf("d");
    m_directory.addFile("bad.nt", "<urn:s> <urn:p> \"new\" .\nnot a triple\n");
    EXPECT_EQ(1, run({"load", "bad.nt", "--into", "d"}).m_exitCode);
    EXPECT_EQ(3, run({"load", "missing.nt", "-o", "d"}).m_exitCode);
    EXPECT_EQ(2, run({"load", "in.nt", "-o", "d", "--memory-limit", "8K"}).m_exitCode);
    EXPECT_EQ(before, getContentsOf("d"));
    EXPECT_FALSE(exists("d.saving"));
    EXPECT_EQ(3, run({"load", "in.nt", "-o", "no/such/folder/d"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, whatIsNoRegularFileIsNotReplaced) {
    ASSERT_EQ(0, ::mkfifo(m_directory.getPathOf("pipe").c_str(), 0600));
    ASSERT_EQ(0, ::mkdir(m_directory.getPathOf("folder").c_str(), 0700));
    for (const std::string name : {"/dev/null", "pipe", "folder"})
        for (std::vector<std::string> arguments : {std::vector<std::string>{"load", "in.nt"},
                                                   {"compact", "d"},
                                                   {"encode", "--as", "iri", "in.nt", "-d", "d"},
                                                   {"decode", "--as", "iri", "in.nt", "-d", "d"}}) {
            arguments.insert(arguments.end(), {"-o", name, "--force"});
            const ToolResult result = run(arguments);
            EXPECT_EQ(2, result.m_exitCode) << arguments[0];
            EXPECT_EQ("melnar-dict: '" + name + "' exists and is not a regular file, so it cannot be replaced\n",
                      result.m_errorOutput);
            EXPECT_EQ("", result.m_output);
            EXPECT_FALSE(exists(name + ".saving"));
            EXPECT_FALSE(exists(name + ".lock"));
        }
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_TRUE(std::filesystem::is_fifo(m_directory.getPathOf("pipe")));
    EXPECT_TRUE(std::filesystem::is_directory(m_directory.getPathOf("folder")));
}

TEST_F(SavedDictionaryTest, whatACrashLeftDoesNotHinderTheNextSave) {
    const std::string before = getContentsOf("d");
    m_directory.addFile("d.saving", before.substr(0, before.size() / 2));
    EXPECT_EQ(0, run({"load", "--strings-only", "in.nt", "--into", "d", "--threads", "1"}).m_exitCode);
    EXPECT_FALSE(exists("d.saving"));
    EXPECT_EQ(0, run({"verify", "d"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, compactKeepsTheResources) {
    const std::string before = run({"dump", "d"}).m_output;
    const ToolResult result = run({"compact", "d", "-o", "e"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("", result.m_output) << "no ID had to change";
    EXPECT_EQ(before, run({"dump", "e"}).m_output);
    EXPECT_EQ(0, run({"compact", "d"}).m_exitCode);
    EXPECT_EQ(getContentsOf("e"), getContentsOf("d"));
}

TEST_F(SavedDictionaryTest, compactPrintsTheIDsThatChange) {
    addWithGap();
    const ToolResult result = run({"compact", "d"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ("6\t4\n", result.m_output);
    EXPECT_EQ("1\t\"one\"\n2\t\"eins\"@de\n3\t\"line\\nbreak \\\"quoted\\\"\"@en-GB\n4\t\"new\"\n",
              run({"dump", "d"}).m_output);
    EXPECT_EQ("", run({"compact", "d"}).m_output);
}

TEST_F(SavedDictionaryTest, compactPrintsNoIDsWhenItCannotSave) {
    addWithGap();
    const std::string before = getContentsOf("d");
    const ToolResult result = run({"compact", "d", "-o", "no/such/folder/d"});
    EXPECT_EQ(3, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_EQ(before, getContentsOf("d"));
}

TEST_F(SavedDictionaryTest, compactKeepsTheOldIDsWhenItCannotPrintTheNewOnes) {
    addWithGap();
    const std::string before = getContentsOf("d");
    ToolInput input;
    input.m_outputPath = "/dev/full";
    EXPECT_EQ(3, runToolProcess({"compact", m_directory.getPathOf("d")}, input).m_exitCode);
    EXPECT_EQ(before, getContentsOf("d"));
    EXPECT_FALSE(exists("d.saving"));
}

TEST_F(SavedDictionaryTest, verbsThatPrintRowsPrintThemAsJson) {
    const std::string one = R"({"id":1,"literal":"\"one\"","text":"one","language":null,)"
                            R"("type":"literal","value":"one","datatype":null,"direction":null})"
                            "\n";
    const std::string eins = R"({"id":2,"literal":"\"eins\"@de","text":"eins","language":"de",)"
                             R"("type":"literal","value":"eins","datatype":null,"direction":null})"
                             "\n";
    const std::string missing = R"({"id":9,"literal":null,"text":null,"language":null,)"
                                R"("type":null,"value":null,"datatype":null,"direction":null})"
                                "\n";
    const std::string absent = R"({"id":null,"literal":"\"two\"","text":"two","language":null,)"
                               R"("type":"literal","value":"two","datatype":null,"direction":null})"
                               "\n";
    EXPECT_EQ(eins + one, run({"get", "d", "--json", "2", "1"}).m_output);
    EXPECT_EQ(missing + one, run({"get", "d", "--json", "-"}, "9\n1\n").m_output);
    EXPECT_EQ(one + absent, run({"lookup", "d", "--json", "'one'", "'two'"}).m_output);
    const ToolResult dump = run({"dump", "d", "--json"});
    EXPECT_EQ(0, dump.m_exitCode);
    EXPECT_TRUE(dump.m_output.starts_with(one + eins + "{\"id\":3,")) << dump.m_output;
    addWithGap();
    EXPECT_EQ("{\"old\":6,\"new\":4}\n", run({"compact", "d", "--json"}).m_output);
}

TEST_F(SavedDictionaryTest, verifyReportsItAsJson) {
    EXPECT_EQ("{\n  \"dictionary\": \"d\",\n  \"sound\": true,\n  \"resources\": 3\n}\n",
              run({"verify", "d", "--json"}).m_output);
    damage("d", getContentsOf("d").size() / 2);
    const ToolResult damaged = run({"verify", "d", "--json"});
    EXPECT_EQ(3, damaged.m_exitCode);
    const nlohmann::json json = nlohmann::json::parse(damaged.m_output);
    EXPECT_EQ(3, json["exitCode"]);
    EXPECT_EQ("melnar-dict: " + json["error"].get<std::string>() + '\n', damaged.m_errorOutput);
}

TEST_F(SavedDictionaryTest, everyVerbReportsItsErrorAsJson) {
    damage("d", getContentsOf("d").size() / 2);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"verify", "d"},
                                                      {"stats", "d"},
                                                      {"get", "d", "1"},
                                                      {"lookup", "d", "'one'"},
                                                      {"dump", "d"},
                                                      {"compact", "d"},
                                                      {"load", "--strings-only", "in.nt", "--into", "d"},
                                                      {"load", "absent.nt"},
                                                      {"estimate", "absent.nt"},
                                                      {"check", "absent.nt"},
                                                      {"load", "in.nt", "-o", "in.nt"},
                                                      {"compact", "d", "-o", "in.nt"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const ToolResult text = run(arguments);
        EXPECT_EQ("", text.m_output);
        std::vector<std::string> withJson = arguments;
        withJson.emplace_back("--json");
        const ToolResult result = run(withJson);
        EXPECT_EQ(text.m_exitCode, result.m_exitCode);
        EXPECT_EQ(text.m_errorOutput, result.m_errorOutput);
        const nlohmann::json json = nlohmann::json::parse(result.m_output);
        EXPECT_EQ(2u, json.size());
        EXPECT_EQ(result.m_exitCode, json["exitCode"]);
        EXPECT_TRUE(result.m_errorOutput.ends_with(json["error"].get<std::string>() + '\n')) << result.m_errorOutput;
        ToolInput input;
        input.m_outputPath = "/dev/full";
        input.m_workingDirectory = m_directory.getPathOf("");
        EXPECT_LT(0, runToolProcess(withJson, input).m_exitCode) << "it ends, and not by a signal";
    }
    EXPECT_EQ("", run({"verify", "d", "--json", "--unknown"}).m_output);
}

TEST_F(SavedDictionaryTest, rowsThatWerePrintedStandBeforeWhatEndsTheVerb) {
    const std::string one = run({"get", "d", "--json", "1"}).m_output;
    const ToolResult result = run({"get", "d", "--json", "1", "-"}, std::string(200, 'x'));
    EXPECT_EQ(one, result.m_output) << "a line that is no ID ends nothing";
    ToolInput input;
    input.m_workingDirectory = m_directory.getPathOf("");
    input.m_inputPath = m_directory.getPathOf(""); // a folder cannot be read
    const ToolResult failed = runToolProcess({"get", "d", "--json", "1", "-"}, input);
    EXPECT_EQ(3, failed.m_exitCode);
    EXPECT_EQ(one + "{\"error\":\"Is a directory\",\"exitCode\":3}\n", failed.m_output);
}

TEST_F(SavedDictionaryTest, aDictionaryIsNeitherStandardInputNorOutput) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"load", "in.nt", "-o", "-"},
                                                      {"load", "in.nt", "--into", "-"},
                                                      {"get", "-", "1"},
                                                      {"lookup", "-", "'one'"},
                                                      {"dump", "-"},
                                                      {"stats", "-"},
                                                      {"verify", "-"},
                                                      {"compact", "-"},
                                                      {"compact", "d", "-o", "-"},
                                                      {"encode", "--as", "iri", "in.nt", "-d", "-", "-o", "x"},
                                                      {"decode", "--as", "iri", "in.nt", "-d", "-", "-o", "x"}}) {
        const ToolResult result = run(arguments);
        EXPECT_EQ(2, result.m_exitCode) << arguments[0];
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(" must be a file; '-' is standard input or output"))
            << result.m_errorOutput;
    }
    EXPECT_FALSE(exists("-"));
    EXPECT_EQ(0, run({"load", "in.nt", "-o", "./-"}).m_exitCode);
    EXPECT_EQ(0, run({"verify", "./-"}).m_exitCode);
}

TEST_F(SavedDictionaryTest, everyVerbHasHelp) {
    for (const char* const verb : {"load", "get", "lookup", "dump", "stats", "compact", "verify", "encode", "decode"}) {
        const ToolResult result = run({verb, "--help"});
        EXPECT_EQ(0, result.m_exitCode) << verb;
        EXPECT_TRUE(result.m_output.starts_with("usage: melnar-dict " + std::string(verb))) << verb;
        EXPECT_NE(std::string::npos, run({"--help"}).m_output.find("  " + std::string(verb) + " ")) << verb;
    }
}

} // namespace
