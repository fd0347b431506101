#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Triples in canonical form, with every kind of term.
constexpr const char* TRIPLES = "<http://example.org/a#s> <urn:p> \"one\" .\n"
                                "<http://example.org/a#s> <urn:p> \"eins\"@de-AT .\n"
                                "<http://example.org/a#s> <urn:p> \"\xD9\x88\"@ar--rtl .\n"
                                "_:b1 <urn:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n"
                                "_:b1 <urn:q> \"05\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n"
                                "_:b1 <urn:q> _:b.2 .\n"
                                "_:B1 <urn:q> <http://example.org/a#s> .\n"
                                "<http://example.org/\xC3\xA9> <urn:q> \"quote \\\" backslash \\\\ \\\\n feed \\n "
                                "return \\r tab \\t delete \\u007F\" .\n"
                                "<urn:s> <urn:p> \"\" .\n"
                                "<urn:s> <urn:p> \"\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80\"@ja .\n"
                                "<urn:s> <urn:p> \"x\\ny\"^^<urn:t> .\n"
                                "<urn:s> <urn:p> <<( _:b1 <urn:p> \"x\\t\"@EN )>> .\n"
                                "<urn:s> <urn:p> <<( <urn:s> <urn:p> <<( <urn:s> <urn:p> \"5\"^^<urn:t> )>> )>> .\n"
                                "<urn:s> <urn:p> \"one\" .\n";

constexpr const char* QUADS = "<urn:s> <urn:p> \"one\" .\n"
                              "<urn:s> <urn:p> \"one\" <urn:g> .\n"
                              "<urn:s> <urn:p> \"two\"@en _:g .\n"
                              "<urn:s> <urn:p> \"one\" .\n";

class RowRewriteTest : public testing::Test {
protected:
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    void expectSuccess(const std::vector<std::string>& arguments) const {
        const ToolResult result = run(arguments);
        ASSERT_EQ(0, result.m_exitCode) << result.m_errorOutput;
        EXPECT_EQ("", result.m_errorOutput);
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    /// Adds a file and saves the dictionary "d" of its terms.
    void addWithDictionary(const std::string& fileName, const std::string& text) const {
        saveTermDictionary({m_directory.addFile(fileName, text)}, m_directory.getPathOf("d"));
    }

    /// Adds a file with rows of IDs that names no dictionary.
    void addRows(const std::string& fileName, const RowLayout& layout, const std::vector<uint64_t>& ids) const {
        std::string bytes = NpyHeader{layout, false, ids.size() / layout.m_columns, ""}.toBytes();
        appendIDs(ids, layout.m_idWidth, bytes);
        m_directory.addFile(fileName, bytes);
    }

    std::vector<uint64_t> getIDs(const std::string& bytes, const size_t width) const {
        std::vector<uint64_t> ids;
        takeIDs(bytes, width, ids);
        return ids;
    }

    const TemporaryDirectory m_directory;
};

TEST_F(RowRewriteTest, everyKindOfTermComesBack) {
    for (const auto& [fileName, text] : {std::pair("in.nt", TRIPLES), std::pair("in.nq", QUADS)})
        for (const std::string threads : {"1", "2", "7"})
            for (const std::string width : {"4", "8", "auto"}) {
                addWithDictionary(fileName, text);
                expectSuccess(
                    {"encode", fileName, "-d", "d", "-o", "T.npy", "--threads", threads, "--id-width", width});
                expectSuccess({"decode", "T.npy", "-d", "d", "-o", "out", "--threads", threads});
                EXPECT_EQ(text, getContentsOf("out"));
            }
}

TEST_F(RowRewriteTest, theFileHasHeaderDictionaryAndRowsInTheOrderOfTheInput) {
    addWithDictionary("in.nq", QUADS);
    expectSuccess({"encode", "in.nq", "-d", "d", "-o", "T.npy"});
    const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(64) << 20});
    std::string line = DictionaryLine::make(dictionary->getHistory());
    line.pop_back();
    std::string expected = NpyHeader{{4, 4}, false, 4, line}.toBytes();
    appendIDs(std::vector<uint64_t>{1, 2, 3, 0, 1, 2, 3, 4, 1, 2, 5, 6, 1, 2, 3, 0}, 4, expected);
    EXPECT_EQ(expected, getContentsOf("T.npy"));
}

TEST_F(RowRewriteTest, standardOutputHasTheRowsAlone) {
    addWithDictionary("in.nt", "<urn:s> <urn:p> <urn:o> .\n<urn:s> <urn:p> <urn:s> .\n");
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 1, 2, 1}),
              getIDs(run({"encode", "in.nt", "-d", "d", "-o", "-"}).m_output, 4));
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 0, 1, 2, 1, 0}),
              getIDs(run({"encode", "in.nt", "-d", "d", "-o", "-", "--quads", "--id-width", "8"}).m_output, 8));
}

TEST_F(RowRewriteTest, fourColumnsComeWithASyntaxThatHasGraphs) {
    const std::string statement = "<urn:s> <urn:p> <urn:o> .\n";
    addWithDictionary("in.nt", statement);
    for (const char* const name : {"in.nq", "in.trig", "in.ttl"})
        m_directory.addFile(name, statement);
    const auto getSize = [&](std::vector<std::string> files) {
        files.insert(files.begin(), "encode");
        files.insert(files.end(), {"-d", "d", "-o", "-"});
        return run(files).m_output.size();
    };
    EXPECT_EQ(12u, getSize({"in.nt"}));
    EXPECT_EQ(12u, getSize({"in.ttl"}));
    EXPECT_EQ(16u, getSize({"in.nq"}));
    EXPECT_EQ(16u, getSize({"in.trig"}));
    EXPECT_EQ(32u, getSize({"in.nt", "in.nq"}));
}

TEST_F(RowRewriteTest, orderIsKeptOverManyBlocksAndThreads) {
    std::string triples;
    for (int number = 0; number < 60000; ++number)
        triples += "<urn:s:" + std::to_string(number) + "> <urn:p:" + std::to_string(number % 7) + "> \"text " +
                   std::to_string(number % 5000) + "\"@en .\n";
    addWithDictionary("in.nt", triples);
    m_directory.addFile("in.nt.gz", gzip(triples));
    for (const char* const threads : {"1", "2", "7"}) {
        expectSuccess({"encode", "in.nt.gz", "-d", "d", "-o", "T.npy", "--threads", threads});
        EXPECT_EQ(256u + 60000 * 12, getContentsOf("T.npy").size());
        expectSuccess({"decode", "T.npy", "-d", "d", "-o", "out.nt", "--threads", threads});
        EXPECT_TRUE(triples == getContentsOf("out.nt"));
    }
    m_directory.addFile("T.npy.gz", gzip(getContentsOf("T.npy")));
    EXPECT_TRUE(triples == run({"decode", "T.npy.gz", "-d", "d", "-o", "-"}).m_output);
    EXPECT_TRUE(triples == run({"decode", "-", "-d", "d", "-o", "-"}, getContentsOf("T.npy")).m_output);
}

/// A few rows give more text than is held at a time.
TEST_F(RowRewriteTest, longTextsAreWrittenPieceByPiece) {
    const std::string text = "<urn:s> <urn:p> \"" + std::string(700000, 'x') + "\" .\n<urn:s> <urn:p> \"y\" .\n";
    addWithDictionary("in.nt", text);
    std::vector<uint64_t> ids;
    std::string expected;
    for (int number = 0; number < 60; ++number) {
        ids.insert(ids.end(), {1, 2, 3, 1, 2, 4});
        expected += text;
    }
    addRows("T.npy", {3, 8}, ids);
    for (const char* const threads : {"1", "3"})
        EXPECT_TRUE(
            expected ==
            run({"decode", "T.npy", "-d", "d", "-o", "-", "--threads", threads, "--memory-limit", "16M"}).m_output);
    ids.insert(ids.end(), {1, 2, 5});
    addRows("T.npy", {3, 8}, ids);
    const ToolResult result = run({"decode", "T.npy", "-d", "d", "-o", "-"});
    EXPECT_EQ("T.npy: row 120: the object is 5, and the dictionary has no resource with this ID\n",
              result.m_errorOutput);
    EXPECT_TRUE(expected == result.m_output);
}

TEST_F(RowRewriteTest, anEmptyFileIsAnArrayWithoutRows) {
    addWithDictionary("in.nt", "<urn:s> <urn:p> <urn:o> .\n");
    m_directory.addFile("empty.nt", "# nothing\n");
    expectSuccess({"encode", "empty.nt", "-d", "d", "-o", "T.npy"});
    EXPECT_EQ(256u, getContentsOf("T.npy").size());
    expectSuccess({"decode", "T.npy", "-d", "d", "-o", "out.nt"});
    EXPECT_EQ("", getContentsOf("out.nt"));
}

TEST_F(RowRewriteTest, plainLiteralsAreTextAndTag) {
    addWithDictionary("in.nt", "<urn:s> <urn:p> \"x\"@en .\n<urn:s> <urn:p> \"x\" .\n");
    const std::string type = "^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
    m_directory.addFile("plain.nt", "<urn:s> <urn:p> \"x@en\"" + type + "<urn:s> <urn:p> \"x@\"" + type);
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 1, 2, 4}),
              getIDs(run({"encode", "plain.nt", "-d", "d", "-o", "-"}).m_output, 4));
}

TEST_F(RowRewriteTest, labelsBelongToTheirDocuments) {
    const std::string first = m_directory.addFile("a.nt", "_:b <urn:p> _:doc2-b .\n");
    const std::string second = m_directory.addFile("b.nt", "_:b <urn:p> _:b .\n");
    saveTermDictionary({first, second}, m_directory.getPathOf("d"));
    const auto getRows = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "encode");
        arguments.insert(arguments.end(), {"-d", "d", "-o", "-"});
        const ToolResult result = run(arguments);
        EXPECT_EQ("", result.m_errorOutput);
        return getIDs(result.m_output, 4);
    };
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 4, 2, 4}), getRows({"a.nt", "b.nt"}));
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 1}), getRows({"b.nt"}));
    EXPECT_EQ((std::vector<uint64_t>{4, 2, 4}), getRows({"b.nt", "--document", "2"}));
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 1, 2, 1}), getRows({"a.nt", "b.nt", "--blank-nodes", "shared"}));
    expectSuccess({"encode", "a.nt", "b.nt", "-d", "d", "-o", "T.npy"});
    EXPECT_EQ("_:b <urn:p> _:doc_2-b .\n_:doc2-b <urn:p> _:doc2-b .\n",
              run({"decode", "T.npy", "-d", "d", "-o", "-"}).m_output);
}

TEST_F(RowRewriteTest, severalFilesOfRowsAreDecodedOneAfterTheOther) {
    addWithDictionary("in.nt", "<urn:s> <urn:p> <urn:o> .\n");
    addRows("a.npy", {3, 8}, {1, 2, 3});
    addRows("b.npy", {4, 4}, {3, 2, 1, 0, 3, 2, 1, 1});
    EXPECT_EQ("<urn:s> <urn:p> <urn:o> .\n<urn:o> <urn:p> <urn:s> .\n<urn:o> <urn:p> <urn:s> <urn:s> .\n",
              run({"decode", "a.npy", "b.npy", "-d", "d", "-o", "-"}).m_output);
}

TEST_F(RowRewriteTest, aTermThatIsNotThereIsNamedWithItsLine) {
    addWithDictionary("known.nt", "<urn:s> <urn:p> \"known\" .\n");
    const std::string known = "<urn:s> <urn:p> \"known\" .\n";
    for (const auto& [lines, error] : std::vector<std::pair<std::string, std::string>>{
             {"<urn:s> <urn:p> \"x\"@en .\n", ":2: the dictionary does not have \"x\"@en"},
             {"<urn:x> <urn:y> \"x\"@en .\n", ":2: the dictionary does not have <urn:x>"},
             {"<urn:s> <urn:y> \"x\"@en .\n", ":2: the dictionary does not have <urn:y>"},
             {"\n<urn:s> <urn:p> _:b .\n", ":3: the dictionary does not have _:b"},
             {"<urn:s> <urn:p> \"1\"^^<urn:t> .\n", ":2: the dictionary does not have \"1\"^^<urn:t>"},
             {"<urn:s> <urn:p> <<( _:b <urn:p> \"\" )>> .\n",
              ":2: the dictionary does not have <<( _:b <urn:p> \"\" )>>"},
             {"<urn:s> <urn:p> \"known\" <urn:g> .\n", ":2: the dictionary does not have <urn:g>"},
             {"<urn:s> <urn:p> \"a\\u001B\" .\n", ":2: the dictionary does not have \"a\\u001B\""},
             {"<urn:s> <urn:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n",
              ":2: Lexical form 'x' is invalid for datatype rdf:PlainLiteral because it does not contain the '@'"},
             {"<urn:x> <urn:p> <urn:o> .\nno statement\n", ":2: the dictionary does not have <urn:x>"},
             {"no statement\n<urn:x> <urn:p> <urn:o> .\n", ":2:1: expected a subject"},
         }) {
        m_directory.addFile("bad.nq", known + lines + known);
        for (const char* const threads : {"1", "3"}) {
            const ToolResult result = run({"encode", "bad.nq", "-d", "d", "-o", "out.npy", "--threads", threads});
            EXPECT_EQ(1, result.m_exitCode) << lines;
            EXPECT_EQ(0u, result.m_errorOutput.find("bad.nq" + error)) << result.m_errorOutput;
            for (const char* const name : {"out.npy", "out.npy.saving", "out.npy.lock"})
                EXPECT_FALSE(exists(name));
        }
        EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 0}),
                  getIDs(run({"encode", "bad.nq", "-d", "d", "-o", "-"}).m_output, 4))
            << "everything before it is written";
    }
}

TEST_F(RowRewriteTest, rowsThatAreNoStatementsAreRefusedWithTheirPlace) {
    addWithDictionary("in.nq", "<urn:s> <urn:p> \"literal\" .\n_:b <urn:p> <<( _:b <urn:p> _:b )>> .\n"
                               "_:b <urn:p> \"7\"^^<urn:t> .\n");
    // 1 <urn:s>, 2 <urn:p>, 3 the literal, 4 _:b, 5 the triple term, 6 the number
    for (const auto& [row, error] : std::vector<std::pair<std::vector<uint64_t>, std::string>>{
             {{0, 2, 3, 0}, "the subject is 0, and the dictionary has no resource with this ID"},
             {{1, 2, 7, 0}, "the object is 7, and the dictionary has no resource with this ID"},
             {{1, uint64_t(-1), 3, 0},
              "the predicate is 18446744073709551615, and the dictionary has no resource with this ID"},
             {{1, 2, 3, 99}, "the graph is 99, and the dictionary has no resource with this ID"},
             {{3, 2, 3, 0}, "the subject is resource 3, a literal"},
             {{5, 2, 3, 0}, "the subject is resource 5, a triple term"},
             {{1, 3, 3, 0}, "the predicate is resource 3, a literal"},
             {{1, 6, 3, 0}, "the predicate is resource 6, a literal"},
             {{1, 4, 3, 0}, "the predicate is resource 4, a blank node"},
             {{1, 2, 3, 3}, "the graph is resource 3, a literal"},
             {{1, 2, 3, 5}, "the graph is resource 5, a triple term"},
         }) {
        std::vector<uint64_t> ids = {1, 2, 3, 0};
        ids.insert(ids.end(), row.begin(), row.end());
        ids.insert(ids.end(), {1, 2, 3, 0});
        addRows("T.npy", {4, 8}, ids);
        const ToolResult result = run({"decode", "T.npy", "-d", "d", "-o", "-"});
        EXPECT_EQ(1, result.m_exitCode);
        EXPECT_EQ("T.npy: row 1: " + error + '\n', result.m_errorOutput);
        EXPECT_EQ("<urn:s> <urn:p> \"literal\" .\n", result.m_output);
        EXPECT_EQ(1, run({"decode", "T.npy", "-d", "d", "-o", "out"}).m_exitCode);
        EXPECT_FALSE(exists("out"));
    }
}

TEST_F(RowRewriteTest, aGraphNeedsAnOutputThatHasPlaceForIt) {
    addWithDictionary("in.nq", QUADS);
    expectSuccess({"encode", "in.nq", "-d", "d", "-o", "T.npy"});
    for (const char* const name : {"out.nt", "out.ttl"}) {
        const ToolResult result = run({"decode", "T.npy", "-d", "d", "-o", name});
        EXPECT_EQ(1, result.m_exitCode);
        EXPECT_EQ("T.npy: row 1: the statement is in a named graph, which the output format cannot represent\n",
                  result.m_errorOutput);
    }
    expectSuccess({"decode", "T.npy", "-d", "d", "-o", "out.nq"});
    addRows("default.npy", {4, 4}, {1, 2, 3, 0});
    expectSuccess({"decode", "default.npy", "-d", "d", "-o", "out.nt"});
}

TEST_F(RowRewriteTest, aTermThatNoFileCanHoldIsRefused) {
    {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        DictionaryThread thread(dictionary);
        dictionary.resolveTerm(thread, {.m_kind = Term::Kind::IRI, .m_text = "urn:s"});
        dictionary.resolveTerm(thread, {.m_kind = Term::Kind::IRI, .m_text = "urn:a b"});
        dictionary.resolveTerm(thread, {.m_kind = Term::Kind::LITERAL, .m_text = "\xFF"});
        dictionary.resolveTerm(thread, {.m_kind = Term::Kind::LITERAL, .m_text = "x", .m_datatype = "relative"});
        dictionary.commit();
        dictionary.save(m_directory.getPathOf("d"));
    }
    for (const auto& [id, flaw] : {std::pair(2, "it is not an absolute IRI"), std::pair(3, "its text is not UTF-8"),
                                   std::pair(4, "its datatype is not an absolute IRI, or is that of a string")}) {
        addRows("T.npy", {3, 4}, {1, 1, 1, 1, 1, uint64_t(id)});
        EXPECT_EQ("T.npy: row 1: resource " + std::to_string(id) + " cannot be written: " + flaw + '\n',
                  run({"decode", "T.npy", "-d", "d", "-o", "-"}).m_errorOutput);
    }
}

TEST_F(RowRewriteTest, anotherDictionaryIsRefusedAndOneThatHasGrownIsTaken) {
    addWithDictionary("in.nt", TRIPLES);
    expectSuccess({"encode", "in.nt", "-d", "d", "-o", "T.npy"});
    saveTermDictionary({m_directory.addFile("other.nt", "<urn:p> <urn:s> \"other\" .\n")},
                       m_directory.getPathOf("other"));
    const ToolResult result = run({"decode", "T.npy", "-d", "other", "-o", "out.nt"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ(0u, result.m_errorOutput.find("T.npy: encoded with dictionary ")) << result.m_errorOutput;
    EXPECT_TRUE(result.m_errorOutput.ends_with(", and has not grown from it\n")) << result.m_errorOutput;
    EXPECT_FALSE(exists("out.nt"));
    {
        const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(64) << 20});
        DictionaryThread thread(*dictionary);
        dictionary->resolveTerm(thread, {.m_kind = Term::Kind::IRI, .m_text = "urn:new"});
        dictionary->commit();
        dictionary->save(m_directory.getPathOf("d"));
    }
    expectSuccess({"decode", "T.npy", "-d", "d", "-o", "out.nt"});
    EXPECT_EQ(TRIPLES, getContentsOf("out.nt"));
    std::string damaged = getContentsOf("T.npy");
    damaged[damaged.find("generation") - 3] = 'x';
    m_directory.addFile("damaged.npy", damaged);
    EXPECT_EQ("damaged.npy: the comment that names the dictionary is damaged\n",
              run({"decode", "damaged.npy", "-d", "d", "-o", "-"}).m_errorOutput);
}

TEST_F(RowRewriteTest, aDamagedFileIsRefusedWithItsName) {
    addWithDictionary("in.nt", TRIPLES);
    expectSuccess({"encode", "in.nt", "-d", "d", "-o", "T.npy"});
    const std::string sound = getContentsOf("T.npy");
    std::string fortran = sound;
    fortran.replace(fortran.find("False"), 5, "True ");
    for (const auto& [bytes, cause] : std::vector<std::pair<std::string, std::string>>{
             {"", "it is not a .npy file; decode --as iri reads encoded statements"},
             {TRIPLES, "it is not a .npy file; decode --as iri reads encoded statements"},
             {sound.substr(0, 200), "it ends within its header"},
             {sound.substr(0, sound.size() - 1), "it ends after 13 of the 14 rows that its header states"},
             {sound + "x", "more bytes follow the 14 rows that its header states"},
             {fortran, "it is stored column by column (Fortran order); expected rows (C order)"},
         }) {
        m_directory.addFile("bad.npy", bytes);
        for (const char* const threads : {"1", "3"}) {
            const ToolResult result = run({"decode", "bad.npy", "-d", "d", "-o", "out", "--threads", threads});
            EXPECT_EQ(1, result.m_exitCode);
            EXPECT_EQ("bad.npy: " + cause + '\n', result.m_errorOutput);
            EXPECT_FALSE(exists("out"));
        }
    }
    EXPECT_EQ(3, run({"decode", "missing.npy", "-d", "d", "-o", "out"}).m_exitCode);
    EXPECT_EQ(3, run({"decode", ".", "-d", "d", "-o", "out"}).m_exitCode) << "a folder has no rows";
}

TEST_F(RowRewriteTest, refusesWrongCommandLines) {
    const std::string forRows = "--quads, --id-width, --blank-nodes, --document and --base are for --as npy";
    for (const auto& [options, message] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"encode", "in.nt", "--as", "npz"}, "option --as needs npy or iri, not 'npz'"},
             {{"encode", "in.nt", "--id-width", "2"}, "option --id-width needs 4, 8 or auto, not '2'"},
             {{"encode", "in.nt", "--blank-nodes", "none"},
              "option --blank-nodes needs documents or shared, not 'none'"},
             {{"encode", "in.nt", "--document", "0"},
              "option --document needs a number from 1 to 9223372036854775807, not '0'"},
             {{"encode", "in.nt", "--document", "2", "--blank-nodes", "shared"},
              "--document needs --blank-nodes documents"},
             {{"encode", "in.nt", "--as", "iri", "--quads"}, forRows},
             {{"encode", "in.nt", "--as", "iri", "--id-width", "4"}, forRows},
             {{"encode", "in.nt", "--as", "iri", "--document", "2"}, forRows},
             {{"encode", "in.nt", "--as", "iri", "--blank-nodes", "shared"}, forRows},
             {{"encode", "in.nt", "--as", "iri", "--base", "urn:b"}, forRows},
             {{"encode", "in.ttl", "--as", "iri"},
              "with these options encode reads N-Triples and N-Quads, and 'in.ttl' is neither"},
             {{"encode", "in.npy"}, "the name 'in.npy' does not indicate a format; give it with --format"},
             {{"decode", "-", "-"}, "standard input can be read only once"},
             {{"decode", "T.npy", "--quads"}, "unknown option --quads"},
             {{"decode", "T.npy", "--format", "nquads"},
              "with these options decode reads no RDF and takes no --format"},
             {{"decode", "T.npy", "--rdf", "1.1"}, "--rdf and --max-line are for --as iri"},
             {{"decode", "T.npy", "--max-line", "1M"}, "--rdf and --max-line are for --as iri"},
         }) {
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"-d", "d", "-o", "out"});
        const ToolResult result = run(arguments);
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ("melnar-dict: " + message + "\n", result.m_errorOutput) << testing::PrintToString(options);
    }
}

TEST_F(RowRewriteTest, aFullDiskLeavesTheOldFile) {
    std::string triples;
    for (int number = 0; number < 5000; ++number)
        triples += "<urn:s> <urn:p> \"" + std::to_string(number) + "\" .\n";
    addWithDictionary("in.nt", triples);
    expectSuccess({"encode", "in.nt", "-d", "d", "-o", "T.npy"});
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"encode", "in.nt", "-d", "d", "-o", "out"},
          {"decode", "T.npy", "-d", "d", "-o", "out"}}) {
        m_directory.addFile("out", "old");
        ToolInput input;
        input.m_workingDirectory = m_directory.getPathOf("");
        input.m_shellCommands = "trap '' XFSZ; ulimit -f 16";
        const ToolResult result = runToolProcess(arguments, input);
        EXPECT_EQ(3, result.m_exitCode) << result.m_errorOutput;
        EXPECT_EQ("old", getContentsOf("out"));
        EXPECT_FALSE(exists("out.saving"));
        std::vector<std::string> toStandardOutput = arguments;
        toStandardOutput.back() = "-";
        input.m_shellCommands.clear();
        input.m_outputPath = "/dev/full";
        EXPECT_EQ(3, runToolProcess(toStandardOutput, input).m_exitCode);
    }
}

TEST_F(RowRewriteTest, anInterruptionLeavesTheOldFileAndNothingElse) {
    addWithDictionary("in.nt", TRIPLES);
    expectSuccess({"encode", "in.nt", "-d", "d", "-o", "T.npy"});
    const std::string pipe = m_directory.getPathOf("pipe.nt");
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    for (const auto& [verb, inputName] : {std::pair("encode", "in.nt"), std::pair("decode", "T.npy")})
        for (const int signalNumber : {SIGINT, SIGTERM}) {
            m_directory.addFile("out", "old");
            ToolInput input;
            input.m_workingDirectory = m_directory.getPathOf("");
            RunningTool tool({verb, "pipe.nt", "-d", "d", "-o", "out"}, input);
            const int pipeEnd = ::open(pipe.c_str(), O_WRONLY); // returns when the tool reads
            const std::string part = getContentsOf(inputName).substr(0, 300);
            EXPECT_EQ(static_cast<ssize_t>(part.size()), ::write(pipeEnd, part.data(), part.size()));
            EXPECT_TRUE(exists("out.saving"));
            tool.send(signalNumber);
            EXPECT_EQ(128 + signalNumber, tool.wait().m_exitCode);
            ::close(pipeEnd);
            EXPECT_EQ("old", getContentsOf("out"));
            EXPECT_FALSE(exists("out.saving"));
            EXPECT_FALSE(exists("out.lock"));
        }
}

} // namespace
