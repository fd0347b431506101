#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

/// Statements in canonical form: encoding and decoding give the same bytes.
constexpr const char* CANONICAL =
    "<urn:s> <urn:p> \"one\" .\n"
    "_:b1 <urn:p> \"eins\"@de-AT .\n"
    "<urn:s> <urn:p> \"quote \\\" backslash \\\\ \\\\n feed \\n return \\r tab \\t delete \\u007F\" .\n"
    "<urn:s> <urn:p> \"\" .\n"
    "<urn:s> <urn:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n"
    "<urn:\xC3\xA9> <urn:p> _:B1 .\n"
    "<urn:s> <urn:p> \"\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80\"@ja .\n";

class RewriteCommandTest : public testing::Test {
protected:
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    void load(const std::string& fileName) const {
        const ToolResult result = run({"load", "--strings-only", fileName, "-o", "d", "--threads", "1"});
        ASSERT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    /// Returns the line at the start of encoded files.
    std::string getLineOf(const std::string& dictionaryName) const {
        const auto dictionary =
            Dictionary::open(m_directory.getPathOf(dictionaryName), {.m_memoryLimit = size_t(64) << 20});
        return DictionaryLine::make(dictionary->getHistory());
    }

    /// Loads a statement into a dictionary, a new one or an existing one.
    void loadText(const std::string& text, const std::string& option, const std::string& dictionaryName) {
        m_directory.addFile("text.nt", "<urn:s> <urn:p> \"" + text + "\" .\n");
        const ToolResult result = run({"load", "--strings-only", "text.nt", option, dictionaryName, "--threads", "1"});
        ASSERT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    }

    TemporaryDirectory m_directory;
};

TEST_F(RewriteCommandTest, encodePutsIDsInThePlaceOfLiterals) {
    m_directory.addFile("in.nt", CANONICAL);
    load("in.nt");
    const ToolResult result = run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"});
    EXPECT_EQ(0, result.m_exitCode);
    EXPECT_EQ(getLineOf("d") + "<urn:s> <urn:p> <melnar:1> .\n"
                               "_:b1 <urn:p> <melnar:2> .\n"
                               "<urn:s> <urn:p> <melnar:3> .\n"
                               "<urn:s> <urn:p> <melnar:4> .\n"
                               "<urn:s> <urn:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n"
                               "<urn:\xC3\xA9> <urn:p> _:B1 .\n"
                               "<urn:s> <urn:p> <melnar:5> .\n",
              result.m_output);
}

TEST_F(RewriteCommandTest, aLineThatIsTooLongIsAnErrorWhereItBegins) {
    m_directory.addFile("in.nt", "<urn:s> <urn:p> \"one\" .\n<urn:s> <urn:p> \"three\" .\n");
    load("in.nt");
    for (const char* const verb : {"encode", "decode"}) {
        EXPECT_EQ(0, run({verb, "--as", "iri", "in.nt", "-d", "d", "-o", "-", "--max-line", "25"}).m_exitCode);
        const ToolResult result = run({verb, "--as", "iri", "in.nt", "-d", "d", "-o", "-", "--max-line", "24"});
        EXPECT_EQ(1, result.m_exitCode);
        EXPECT_NE(std::string::npos,
                  result.m_errorOutput.find("in.nt:2:1: expected a line of at most 24 bytes, found a longer one\n"))
            << result.m_errorOutput;
    }
    EXPECT_EQ(0, run({"load", "--strings-only", "in.nt", "--max-line", "25"}).m_exitCode);
    EXPECT_EQ(1, run({"load", "--strings-only", "in.nt", "--max-line", "24"}).m_exitCode);
}

TEST_F(RewriteCommandTest, decodeGivesCanonicalTriplesBackByteForByte) {
    m_directory.addFile("in.nt", CANONICAL);
    load("in.nt");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    ASSERT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt"}).m_exitCode);
    EXPECT_EQ(CANONICAL, getContentsOf("decoded.nt"));
}

TEST_F(RewriteCommandTest, statementsComeOutInCanonicalForm) {
    m_directory.addFile("in.nq",
                        "# a comment\n\n"
                        "<urn:s>\t<urn:p>\"\\u0041\\t\\u00E9\"^^<http://www.w3.org/2001/XMLSchema#string>.# end\n"
                        "<urn:\\u00E9> <urn:p> \"a\"@en <urn:g>.\n"
                        "_:a<urn:p>_:c _:g.\n");
    load("in.nq");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "in.nq", "-d", "d", "-o", "encoded.nq"}).m_exitCode);
    EXPECT_EQ(getLineOf("d") +
                  "<urn:s> <urn:p> <melnar:1> .\n<urn:\xC3\xA9> <urn:p> <melnar:2> <urn:g> .\n_:a <urn:p> _:c _:g .\n",
              getContentsOf("encoded.nq"));
    ASSERT_EQ(0, run({"decode", "--as", "iri", "encoded.nq", "-d", "d", "-o", "decoded.nq"}).m_exitCode);
    EXPECT_EQ("<urn:s> <urn:p> \"A\\t\xC3\xA9\" .\n<urn:\xC3\xA9> <urn:p> \"a\"@en <urn:g> .\n_:a <urn:p> _:c _:g .\n",
              getContentsOf("decoded.nq"));
}

TEST_F(RewriteCommandTest, labelsThatAreKeywordsComeOutAsTheyWere) {
    m_directory.addFile("in.nt", "_:base <urn:p> \"a\" .\n_:base <urn:p> <urn:o> . # not plain\n"
                                 "_:xbase <urn:p> _:base.\n_:Graph<urn:p>_:xGraph . # not plain\n");
    load("in.nt");
    const ToolResult result = run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"});
    EXPECT_EQ("", result.m_errorOutput);
    EXPECT_EQ(getLineOf("d") + "_:base <urn:p> <melnar:1> .\n_:base <urn:p> <urn:o> .\n_:xbase <urn:p> _:base .\n"
                               "_:Graph <urn:p> _:xGraph .\n",
              result.m_output);
}

TEST_F(RewriteCommandTest, orderIsKeptWithAnyNumberOfThreads) {
    std::string triples;
    for (int number = 0; number < 100000; ++number)
        triples +=
            "<urn:s:" + std::to_string(number) + "> <urn:p> \"text " + std::to_string(number % 1000) + "\"@en .\n";
    m_directory.addFile("in.nt", triples);
    m_directory.addFile("in.nt.gz", gzip(triples));
    load("in.nt");
    for (const char* const threads : {"1", "2", "7"}) {
        ASSERT_EQ(
            0,
            run({"encode", "--as", "iri", "in.nt.gz", "-d", "d", "-o", "encoded.nt", "--threads", threads}).m_exitCode);
        ASSERT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt", "--threads", threads})
                         .m_exitCode);
        EXPECT_EQ(triples, getContentsOf("decoded.nt"));
        EXPECT_LT(getContentsOf("encoded.nt").size(), triples.size());
    }
}

TEST_F(RewriteCommandTest, aFolderMeansItsFilesButNotIfOneOfThemHasNoLines) {
    std::filesystem::create_directory(m_directory.getPathOf("dumps"));
    m_directory.addFile("dumps/b.nq.bz2", bzip2(CANONICAL));
    m_directory.addFile("dumps/a.nt", CANONICAL);
    m_directory.addFile("dumps/README", "not read");
    load("dumps");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "dumps", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    ASSERT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt"}).m_exitCode);
    EXPECT_EQ(std::string(CANONICAL) + CANONICAL, getContentsOf("decoded.nt"));
    m_directory.addFile("dumps/c.ttl", "");
    const ToolResult result = run({"encode", "--as", "iri", "dumps", "-d", "d", "-o", "encoded.nt"});
    EXPECT_EQ(2, result.m_exitCode);
    EXPECT_EQ("melnar-dict: with these options encode reads N-Triples and N-Quads, and 'dumps/c.ttl' is neither\n",
              result.m_errorOutput);
}

TEST_F(RewriteCommandTest, severalFilesAndStandardInputAreWrittenOneAfterTheOther) {
    m_directory.addFile("in.nt", CANONICAL);
    load("in.nt");
    const ToolResult result = run({"encode", "--as", "iri", "in.nt", "-", "--format", "ntriples", "-d", "d", "-o", "-"},
                                  "<urn:s> <urn:p> \"one\" .\n");
    EXPECT_TRUE(result.m_output.ends_with("<melnar:5> .\n<urn:s> <urn:p> <melnar:1> .\n")) << result.m_output;
}

TEST_F(RewriteCommandTest, whatCannotBeEncodedNamesItsLineAndLeavesNoFile) {
    m_directory.addFile("known.nt", "<urn:s> <urn:p> \"known\" .\n");
    load("known.nt");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"<urn:s> <urn:p> \"unknown\"@en .\n", "the dictionary does not have the literal \"unknown\"@en"},
        {"<urn:s> <urn:p> <melnar:1> .\n", "the IRI 'melnar:1' would be decoded as a literal"},
        {"<melnar:x> <urn:p> <urn:o> .\n", "the IRI 'melnar:x' would be decoded as a literal"},
        {"<urn:s> <urn:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n",
         "it does not contain the '@' character"},
        {"not a triple\n", "expected"},
    };
    for (const auto& [line, cause] : cases) {
        m_directory.addFile("bad.nt", "<urn:s> <urn:p> \"known\" .\n" + line + "<urn:s> <urn:p> \"known\" .\n");
        const ToolResult result = run({"encode", "--as", "iri", "bad.nt", "-d", "d", "-o", "out.nt"});
        EXPECT_EQ(1, result.m_exitCode) << line;
        EXPECT_TRUE(result.m_errorOutput.starts_with("bad.nt:2:")) << result.m_errorOutput;
        EXPECT_NE(std::string::npos, result.m_errorOutput.find(cause)) << result.m_errorOutput;
        EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("out.nt")));
        EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("out.nt.saving")));
    }
}

TEST_F(RewriteCommandTest, theFirstErrorIsReportedAndTheTextBeforeItIsWritten) {
    m_directory.addFile("known.nt", "<urn:s> <urn:p> \"known\" .\n");
    load("known.nt");
    const std::string sound = "<urn:s> <urn:p> \"known\" .\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"<urn:s> <urn:p> \"unknown\" .\n<urn:s> <urn:p> \"unknown\"@en .\nnot a statement\n",
         "the dictionary does not have the literal \"unknown\""},
        {"<urn:s> <urn:p> \"unknown\" <melnar:1> .\n", "the dictionary does not have the literal \"unknown\""},
        {"<urn:s> <urn:p> \"known\" <melnar:1> .\n", "the IRI 'melnar:1' would be decoded as a literal"},
    };
    for (const auto& [lines, cause] : cases) {
        const ToolResult result =
            run({"encode", "--as", "iri", "-", "--format", "nquads", "-d", "d", "-o", "-"}, sound + lines + sound);
        EXPECT_EQ(1, result.m_exitCode) << lines;
        EXPECT_EQ(getLineOf("d") + "<urn:s> <urn:p> <melnar:1> .\n", result.m_output) << lines;
        EXPECT_EQ("-:2: " + cause + '\n', result.m_errorOutput) << lines;
    }
}

TEST_F(RewriteCommandTest, whatCannotBeDecodedNamesItsLine) {
    m_directory.addFile("known.nt", "<urn:s> <urn:p> \"known\" .\n");
    load("known.nt");
    for (const std::string line :
         {"<urn:s> <urn:p> <melnar:2> .\n", "<urn:s> <urn:p> <melnar:0> .\n", "<urn:s> <urn:p> <melnar:01> .\n",
          "<urn:s> <urn:p> <melnar:> .\n", "<urn:s> <urn:p> <melnar:1x> .\n", "<melnar:1> <urn:p> <urn:o> .\n",
          "<urn:s> <melnar:1> <urn:o> .\n", "<urn:s> <urn:p> <melnar:18446744073709551617> .\n"}) {
        m_directory.addFile("bad.nt", "<urn:s> <urn:p> <melnar:1> .\n" + line);
        const ToolResult result = run({"decode", "--as", "iri", "bad.nt", "-d", "d", "-o", "out.nt"});
        EXPECT_EQ(1, result.m_exitCode) << line;
        EXPECT_TRUE(result.m_errorOutput.starts_with("bad.nt:2: the IRI 'melnar:")) << result.m_errorOutput;
    }
}

TEST_F(RewriteCommandTest, decodeTakesTheDictionaryOfThenAndOneThatHasGrownFromIt) {
    loadText("one", "-o", "d");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "text.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    const std::string text = getContentsOf("text.nt");
    for (const char* const addition : {"one", "two", "three"}) {
        loadText(addition, "--into", "d");
        ASSERT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt"}).m_exitCode)
            << addition;
        EXPECT_EQ(text, getContentsOf("decoded.nt"));
    }
    ASSERT_EQ(0, run({"compact", "d"}).m_exitCode);
    EXPECT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt"}).m_exitCode)
        << "no ID has changed";
}

TEST_F(RewriteCommandTest, decodeRefusesAnotherDictionaryAndNamesBoth) {
    loadText("one", "-o", "d");
    loadText("other", "-o", "other");
    std::filesystem::copy_file(m_directory.getPathOf("d"), m_directory.getPathOf("copy"));
    loadText("two", "--into", "copy");
    loadText("three", "--into", "d");
    m_directory.addFile("one.nt", "<urn:s> <urn:p> \"one\" .\n");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "one.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    const auto nameOf = [this](const std::string& dictionaryName) {
        const std::string line = getLineOf(dictionaryName);
        const size_t begin = line.find("dictionary ");
        return line.substr(begin, line.size() - 1 - begin);
    };
    for (const char* const dictionaryName : {"other", "copy"}) {
        const ToolResult result =
            run({"decode", "--as", "iri", "encoded.nt", "-d", dictionaryName, "-o", "decoded.nt"});
        EXPECT_EQ(1, result.m_exitCode) << dictionaryName;
        EXPECT_EQ("encoded.nt:1: encoded with " + nameOf("d") + "; the given one is " + nameOf(dictionaryName) +
                      ", and has not grown from it\n",
                  result.m_errorOutput);
        EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("decoded.nt")));
    }
}

TEST_F(RewriteCommandTest, decodeRefusesADictionaryWhoseIDsHaveChanged) {
    const std::string path = m_directory.getPathOf("d");
    {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        DictionaryThread thread(dictionary);
        dictionary.resolveResource(thread, "withdrawn", D_XSD_STRING);
        dictionary.rollback();
        dictionary.resolveResource(thread, "one", D_XSD_STRING);
        dictionary.commit();
        dictionary.save(path);
    }
    m_directory.addFile("one.nt", "<urn:s> <urn:p> \"one\" .\n");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "one.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    ASSERT_EQ(getLineOf("d") + "<urn:s> <urn:p> <melnar:2> .\n", getContentsOf("encoded.nt"));
    ASSERT_EQ("2\t1\n", run({"compact", "d", "-o", "compacted"}).m_output);
    EXPECT_EQ(0, run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"}).m_exitCode);
    const ToolResult result = run({"decode", "--as", "iri", "encoded.nt", "-d", "compacted", "-o", "-"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_NE(std::string::npos, result.m_errorOutput.find(", generation 0; the given one is dictionary "));
    EXPECT_NE(std::string::npos, result.m_errorOutput.find(", generation 1, and has not grown from it"));
}

TEST_F(RewriteCommandTest, everyPartOfFilesPutTogetherIsChecked) {
    loadText("one", "-o", "d");
    loadText("other", "-o", "other");
    const std::string statement = "<urn:s> <urn:p> <melnar:1> .\n";
    for (const size_t statements : {size_t(1), size_t(50000)}) { // in one block, and in a later one
        std::string text = getLineOf("d");
        for (size_t number = 0; number < statements; ++number)
            text += statement;
        m_directory.addFile("sound.nt", text + getLineOf("d") + statement);
        EXPECT_EQ(0, run({"decode", "--as", "iri", "sound.nt", "-d", "d", "-o", "-", "--threads", "3"}).m_exitCode);
        m_directory.addFile("mixed.nt", text + getLineOf("other") + statement);
        const ToolResult result = run({"decode", "--as", "iri", "mixed.nt", "-d", "d", "-o", "-", "--threads", "3"});
        EXPECT_EQ(1, result.m_exitCode);
        const std::string place = "mixed.nt:" + std::to_string(statements + 2) + ": encoded with dictionary ";
        EXPECT_TRUE(result.m_errorOutput.starts_with(place)) << result.m_errorOutput;
        EXPECT_EQ(statements * std::string("<urn:s> <urn:p> \"one\" .\n").size(), result.m_output.size())
            << "everything before it is written";
    }
    m_directory.addFile("bad.nt", "no statement\n" + getLineOf("other"));
    EXPECT_TRUE(
        run({"decode", "--as", "iri", "bad.nt", "-d", "d", "-o", "-"}).m_errorOutput.starts_with("bad.nt:1:1: "))
        << "the first error counts";
}

TEST_F(RewriteCommandTest, whatNamesNoDictionaryIsDecodedWithAny) {
    loadText("one", "-o", "d");
    m_directory.addFile("encoded.nt", "# a comment\n<urn:s> <urn:p> <melnar:1> .\n");
    EXPECT_EQ("<urn:s> <urn:p> \"one\" .\n",
              run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"}).m_output);
}

TEST_F(RewriteCommandTest, aDictionaryOfTheFirstFormatVersionIsNamedAndGrows) {
    std::filesystem::copy_file(MELNAR_GOLDEN_FOLDER "/dictionary-narrow-v1.dict", m_directory.getPathOf("d"));
    m_directory.addFile("abc.nt", "<urn:s> <urn:p> \"abc\" .\n");
    ASSERT_EQ(0, run({"encode", "--as", "iri", "abc.nt", "-d", "d", "-o", "encoded.nt"}).m_exitCode);
    EXPECT_TRUE(getContentsOf("encoded.nt").starts_with("# melnar-dict: encoded with dictionary "));
    loadText("new", "--into", "d");
    EXPECT_EQ(getContentsOf("abc.nt"), run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"}).m_output);
}

TEST_F(RewriteCommandTest, refusesWrongCommandLines) {
    m_directory.addFile("in.nt", CANONICAL);
    load("in.nt");
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"encode"},
             {"encode", "--as", "iri", "in.nt"},
             {"encode", "--as", "iri", "in.nt", "-d", "d"},
             {"encode", "--as", "iri", "in.nt", "-o", "out"},
             {"encode", "--as", "iri", "in.ttl", "-d", "d", "-o", "out"},
             {"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "out", "--format", "turtle"},
             {"encode", "--as", "iri", "-", "-", "--format", "nt", "-d", "d", "-o", "out"},
             {"decode", "--as", "iri", "in.nt", "-d", "d", "-o", "out", "--lenient"}})
        EXPECT_EQ(2, run(arguments).m_exitCode) << arguments.size();
}

TEST_F(RewriteCommandTest, reportsFilesThatCannotBeReadOrWritten) {
    m_directory.addFile("in.nt", CANONICAL);
    load("in.nt");
    EXPECT_EQ(3, run({"encode", "--as", "iri", "missing.nt", "-d", "d", "-o", "out"}).m_exitCode);
    EXPECT_EQ(3, run({"encode", "--as", "iri", "in.nt", "-d", "missing", "-o", "out"}).m_exitCode);
    EXPECT_EQ(3, run({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "no/such/folder/out"}).m_exitCode);
    EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf("out")));
    ToolInput input;
    input.m_outputPath = "/dev/full";
    EXPECT_EQ(3, runToolProcess({"encode", "--as", "iri", m_directory.getPathOf("in.nt"), "-d",
                                 m_directory.getPathOf("d"), "-o", "-"},
                                input)
                     .m_exitCode);
}

} // namespace
