#include "tools/melnar-dict/rewrite/CheckCommand.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

class CheckCommandTest : public testing::Test {
protected:
    CheckCommandTest()
        : m_outputPath(m_directory.addFile("output", "")), m_output(::open(m_outputPath.c_str(), O_WRONLY)) {}
    ~CheckCommandTest() override { ::close(m_output); }

    void add(const std::string& name, const std::string& text) {
        m_options.m_files.emplace_back(m_directory.addFile(name, text), *formatOfFile(name));
    }

    ExitCode run() {
        EXPECT_EQ(0, ::ftruncate(m_output, 0));
        EXPECT_EQ(0, ::lseek(m_output, 0, SEEK_SET));
        m_errorOutput.str("");
        StandardOutput output(m_output);
        return runCheck(m_options, output, m_errorOutput);
    }

    std::string getOutput() const { return TemporaryDirectory::getContentsOf(m_outputPath); }

    const TemporaryDirectory m_directory;
    const std::string m_outputPath;
    const int m_output;
    CheckOptions m_options;
    std::ostringstream m_errorOutput;
};

TEST_F(CheckCommandTest, countsValidStatements) {
    add("a.nt", "<a:s> <a:p> <a:o> .\n<a:s> <a:p> <a:o> .\n");
    add("a.trig", "<a:g> { <a:s> <a:p> <x>, ( 1 2 ) }");
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("files 2, statements 8, errors 0\n", getOutput());
    EXPECT_EQ("", m_errorOutput.str());
    m_options.m_asksForJson = true;
    ASSERT_EQ(ExitCode::DONE, run());
    EXPECT_EQ("{\n  \"files\": 2,\n  \"statements\": 8,\n  \"errors\": 0\n}\n", getOutput());
}

TEST_F(CheckCommandTest, endsAtTheFirstErrorUnlessLenient) {
    add("a.nt", "<a:s> <a:p> .\n<a:s> <a:p> <a:o> .\n<a:s> .\n");
    add("b.ttl", "<a:s> <a:p> <a:o> .\n<a:s> x .\n");
    const std::string first = m_options.m_files[0].first + ":1:13: expected an object, found '.'\n";
    ASSERT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ("", getOutput());
    EXPECT_EQ(first, m_errorOutput.str());
    m_options.m_reading.m_isLenient = true;
    ASSERT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ("files 2, statements 2, errors 3\n", getOutput());
    EXPECT_EQ(first + m_options.m_files[0].first + ":3:7: expected a predicate, found '.'\n" +
                  m_options.m_files[1].first + ":2:7: expected a predicate, found 'x'\n",
              m_errorOutput.str());
}

TEST_F(CheckCommandTest, reportsTheErrorThatEndsItAsJson) {
    add("a.nt", "<a:s> <a:p> .\n");
    m_options.m_asksForJson = true;
    ASSERT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ("{\n  \"error\": \"" + m_options.m_files[0].first +
                  ":1:13: expected an object, found '.'\",\n  \"exitCode\": 1\n}\n",
              getOutput());
    m_options.m_reading.m_isLenient = true;
    ASSERT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ("{\n  \"files\": 1,\n  \"statements\": 0,\n  \"errors\": 1\n}\n", getOutput());
}

TEST_F(CheckCommandTest, isQuietOnDemandAboutErrorsThatStopNothing) {
    add("a.nt", "<a:s> <a:p> .\n");
    m_options.m_feedback.m_isQuiet = true;
    m_options.m_reading.m_isLenient = true;
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ("files 1, statements 0, errors 1\n", getOutput());
    EXPECT_EQ("", m_errorOutput.str());
    m_options.m_reading.m_isLenient = false;
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    EXPECT_EQ(m_options.m_files[0].first + ":1:13: expected an object, found '.'\n", m_errorOutput.str());
}

TEST_F(CheckCommandTest, readsAsTheSettingsSay) {
    add("a.nt", "<a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> .\n");
    EXPECT_EQ(ExitCode::DONE, run());
    m_options.m_reading.m_version = Rdf::Version::RDF_1_1;
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    m_options.m_files.clear();
    add("a.ttl", "<a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> .\n");
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    m_options.m_reading.m_version = Rdf::Version::RDF_1_2;
    EXPECT_EQ(ExitCode::DONE, run());
    m_options.m_reading.m_maximumLine = 20;
    EXPECT_EQ(ExitCode::BAD_DATA, run());
    m_options.m_files = {{m_directory.getPathOf("missing.nt"), RdfFormat::N_TRIPLES}};
    m_options.m_reading.m_isLenient = true;
    EXPECT_EQ(ExitCode::FAILURE, run());
    EXPECT_EQ("", getOutput());
}

TEST_F(CheckCommandTest, versionsOfRdfAreAnOptionOfAllVerbsThatRead) {
    const std::string path = m_directory.addFile("a.nt", "<a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> .\n");
    const std::string dictionary = m_directory.getPathOf("d");
    ASSERT_EQ(0, runToolProcess({"load", path, "-o", dictionary}).m_exitCode);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"load", path},
                                                      {"check", path},
                                                      {"canonical", path, "-o", "-"},
                                                      {"encode", "--as", "iri", path, "-d", dictionary, "-o", "-"},
                                                      {"decode", "--as", "iri", path, "-d", dictionary, "-o", "-"}})
        for (const auto& [version, exitCode] : {std::pair("1.1", 1), std::pair("1.2", 0)}) {
            std::vector<std::string> all = arguments;
            all.insert(all.end(), {"--rdf", version});
            EXPECT_EQ(exitCode, runToolProcess(all).m_exitCode) << arguments.front() << version;
        }
}

} // namespace
