#include "tools/melnar-dict/rewrite/CanonicalCommand.h"

#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

class CanonicalCommandTest : public testing::Test {
protected:
    /// Adds an input; its name determines the format.
    void add(const std::string& name, const std::string& text) {
        m_options.m_files.emplace_back(m_directory.addFile(name, text), *formatOfFile(name));
    }

    ExitCode run(const std::string& outputName = "out.nq") {
        m_options.m_output.m_outputName = m_directory.getPathOf(outputName);
        StandardOutput output(STDOUT_FILENO);
        m_errorOutput.str("");
        return runCanonical(m_options, output, m_errorOutput);
    }

    std::string getOutput(const std::string& outputName = "out.nq") const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(outputName));
    }

    TemporaryDirectory m_directory;
    CanonicalOptions m_options;
    std::ostringstream m_errorOutput;
};

TEST_F(CanonicalCommandTest, writesEverySyntaxAsLines) {
    add("a.nt", "# comment\n<a:s>\t<a:p>\"\\u0041\\t\\u00E9\"^^<http://www.w3.org/2001/XMLSchema#string>. # end\n\n"
                "_:b <a:p> \"x\"@EN-gb .\n");
    add("b.nq", "<a:s> <a:p> \"\\u007F\" _:g.\n<a:s> <a:p> <<(_:b<a:q><a:o>)>>.\n");
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("<a:s> <a:p> \"A\\t\xC3\xA9\" .\n_:b <a:p> \"x\"@en-gb .\n<a:s> <a:p> \"\\u007F\" _:doc2-g .\n"
              "<a:s> <a:p> <<( _:doc2-b <a:q> <a:o> )>> .\n",
              getOutput());
    m_options.m_files.clear();
    add("c.ttl", "@prefix : <a:> . :s :p 1, 'x\ty' ; :q [ :r _:b ] .");
    ASSERT_EQ(ExitCode::DONE, run("out.nt"));
    EXPECT_EQ("<a:s> <a:p> \"1\"^^<http://www.w3.org/2001/XMLSchema#integer> .\n<a:s> <a:p> \"x\\ty\" .\n"
              "_:anon37 <a:r> _:b .\n<a:s> <a:q> _:anon37 .\n",
              getOutput("out.nt"));
    m_options.m_files.clear();
    add("d.trig", "<x> <a:p> '''a\nb''' . <a:g> { <a:s> <a:p> <y> }");
    m_options.m_reading.m_base = "a://b/c";
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("<a://b/x> <a:p> \"a\\nb\" .\n<a:s> <a:p> <a://b/y> <a:g> .\n", getOutput());
}

TEST_F(CanonicalCommandTest, keepsOrderAndDuplicatesWithAnyNumberOfThreads) {
    std::string lines;
    for (int number = 0; number < 50000; ++number)
        lines += "<a:" + std::to_string(number % 1000) + "> <a:p> \"text\" .\n";
    add("a.nt", lines);
    add("b.nt.gz", gzip(lines));
    for (const size_t numberOfThreads : {1u, 2u, 7u}) {
        m_options.m_reading.m_numberOfThreads = numberOfThreads;
        m_options.m_reading.m_blockSize = 10000;
        ASSERT_EQ(ExitCode::DONE, run());
        EXPECT_EQ(lines + lines, getOutput());
    }
}

TEST_F(CanonicalCommandTest, documentsDoNotShareBlankNodesUnlessAskedTo) {
    add("a.ttl", "_:b <a:p> [] . _:anon1 <a:p> _:doc2-b .");
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("_:b <a:p> _:anon10 .\n_:anon_1 <a:p> _:doc2-b .\n", getOutput()) << "one document needs no names";
    add("b.trig", "_:b <a:p> [] . _:g { _:b <a:p> 'b' }");
    add("c.nt", "_:b <a:p> _:doc2-b .\n_:doc_2-b <a:p> <<( _:doc <a:p> _:b )>> .\n");
    add("d.nq", "_:b <a:p> _:anon1 _:doc2-g .\n");
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("_:b <a:p> _:anon10 .\n_:anon_1 <a:p> _:doc_2-b .\n"
              "_:doc2-b <a:p> _:doc2-anon10 .\n_:doc2-b <a:p> \"b\" _:doc2-g .\n"
              "_:doc3-b <a:p> _:doc3-doc2-b .\n"
              "_:doc3-doc_2-b <a:p> <<( _:doc3-doc <a:p> _:doc3-b )>> .\n"
              "_:doc4-b <a:p> _:doc4-anon1 _:doc4-doc2-g .\n",
              getOutput());
    m_options.m_blankNodes.m_mode = BlankNodeScope::Mode::SHARED;
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("_:b <a:p> _:anon10 .\n_:anon_1 <a:p> _:doc2-b .\n"
              "_:b <a:p> _:anon10 .\n_:b <a:p> \"b\" _:g .\n"
              "_:b <a:p> _:doc2-b .\n_:doc_2-b <a:p> <<( _:doc <a:p> _:b )>> .\n"
              "_:b <a:p> _:anon1 _:doc2-g .\n",
              getOutput());
}

TEST_F(CanonicalCommandTest, anErrorNamesItsPlaceAndLeavesNoFile) {
    add("a.nt", "<a:s> <a:p> <a:o> .\n<a:s> <a:p> .\n");
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ(m_options.m_files[0].first + ":2:13: expected an object, found '.'\n", m_errorOutput.str());
    m_options.m_files.clear();
    add("a.ttl", "<a:s> <a:p> <a:o> .\n<a:s> <a:p> .\n");
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ(m_options.m_files[0].first + ":2:13: expected an object, found '.'\n", m_errorOutput.str());
    m_options.m_files = {{m_directory.getPathOf("missing.nt"), RdfFormat::N_TRIPLES}};
    EXPECT_EQ(ExitCode::FAILURE, run());
    for (const char* const name : {"out.nq", "out.nq.saving", "out.nq.lock"})
        EXPECT_FALSE(std::filesystem::exists(m_directory.getPathOf(name))) << name;
}

TEST_F(CanonicalCommandTest, anOutputOfTriplesTakesNoNamedGraph) {
    for (const auto& file : {std::pair("a.trig", "<a:s> <a:p> <a:o> .\n<a:g> {\n<a:s> <a:p> <a:o> }"),
                             std::pair("a.nq", "<a:s> <a:p> <a:o> .\n\n<a:s> <a:p> <a:o> <a:g> .\n")}) {
        m_options.m_files.clear();
        add(file.first, file.second);
        EXPECT_EQ(ExitCode::BAD_DATA, run("out.nt"));
        EXPECT_EQ(m_options.m_files[0].first +
                      ":3: the statement is in a named graph, which the output format cannot represent\n",
                  m_errorOutput.str());
        EXPECT_EQ(ExitCode::DONE, run("out"));
    }
}

TEST_F(CanonicalCommandTest, anOutputThatWouldDestroySomethingIsRefused) {
    add("a.nt", "");
    EXPECT_EQ(ExitCode::USAGE, catchException<ToolFailure>([&] { run("a.nt"); }).getExitCode());
}

TEST_F(CanonicalCommandTest, aFullDiskIsAFailureInEverySyntax) {
    const int fileDescriptor = ::open("/dev/full", O_WRONLY);
    for (const char* const name : {"a.nt", "a.ttl"}) {
        m_options.m_files.clear();
        std::string text;
        for (int number = 0; number < 100000; ++number)
            text += "<a:s> <a:p> <a:o> .\n";
        add(name, text);
        m_options.m_output.m_outputName = "-";
        m_options.m_reading.m_numberOfThreads = 3;
        StandardOutput output(fileDescriptor);
        m_errorOutput.str("");
        EXPECT_EQ(ExitCode::FAILURE, runCanonical(m_options, output, m_errorOutput));
        EXPECT_EQ(m_options.m_files[0].first + ": standard output: No space left on device\n", m_errorOutput.str());
    }
    ::close(fileDescriptor);
}

TEST_F(CanonicalCommandTest, isAVerbOfTheTool) {
    add("a.ttl", "<a:s> <a:p> \"x\" .");
    const std::string path = m_options.m_files[0].first;
    const ToolResult result = runToolProcess({"canonical", path, "-o", "-"});
    EXPECT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    EXPECT_EQ("<a:s> <a:p> \"x\" .\n", result.m_output);
    EXPECT_EQ("<a:s> <a:p> \"x\" .\n",
              runToolProcess({"canonical", path, "--format", "nt", "--blank-nodes", "shared", "-o", "-"}).m_output);
    EXPECT_EQ(2, runToolProcess({"canonical", path, "--blank-nodes", "shared", "-o", "-"}).m_exitCode);
    EXPECT_EQ(2, runToolProcess({"canonical", path, "--blank-nodes", "none", "-o", "-"}).m_exitCode);
    EXPECT_EQ(2, runToolProcess({"canonical", path}).m_exitCode);
    EXPECT_EQ(2, runToolProcess({"canonical", path, "-o", "-", "--rdf", "1.3"}).m_exitCode);
}

} // namespace
