#pragma once

#include "tests/support/FolderContents.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

/// Loads as processes, run where their files are: "in.nq" with QUADS, "more.nq" with MORE_QUADS, and "bad.nq" with
/// QUADS and an invalid line.
class LoadProcessTest : public testing::Test {
protected:
    /// Quads in canonical form, with every kind of term.
    static constexpr const char* QUADS = "<urn:s> <urn:p> \"one\" .\n"
                                         "_:b <urn:p> \"one\"@en-GB <urn:g> .\n"
                                         "_:b <urn:p> \"1\"^^<urn:int> _:g .\n"
                                         "_:b <urn:p> \"\xD9\x88\"@ar--rtl .\n"
                                         "<urn:s> <urn:p> <<( _:b <urn:p> \"two\" )>> <urn:g> .\n"
                                         "<urn:s> <urn:p> \"one\" .\n";
    static constexpr const char* MORE_QUADS = "<urn:s> <urn:p> \"three\" <urn:g> .\n";

    LoadProcessTest() {
        m_directory.addFile("in.nq", QUADS);
        m_directory.addFile("more.nq", MORE_QUADS);
        m_directory.addFile("bad.nq", std::string(QUADS) + "no statement\n");
    }

    ToolInput getInput() const {
        ToolInput input;
        input.m_workingDirectory = m_directory.getPathOf("");
        return input;
    }

    ToolResult run(const std::vector<std::string>& arguments) const { return runToolProcess(arguments, getInput()); }

    ToolResult expectSuccess(const std::vector<std::string>& arguments) const {
        const ToolResult result = run(arguments);
        EXPECT_EQ(0, result.m_exitCode) << testing::PrintToString(arguments);
        EXPECT_EQ("", result.m_errorOutput) << testing::PrintToString(arguments);
        return result;
    }

    /// Expects a run to be refused before any work, and to leave the files unchanged.
    void expectRefusal(const std::vector<std::string>& arguments, const std::string& message) const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const auto files = getFiles();
        const ToolResult result = run(arguments);
        EXPECT_EQ(2, result.m_exitCode);
        EXPECT_EQ("melnar-dict: " + message + "\n", result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
        EXPECT_TRUE(files == getFiles());
    }

    std::string getContentsOf(const std::string& fileName) const {
        return TemporaryDirectory::getContentsOf(m_directory.getPathOf(fileName));
    }

    /// Returns the contents of all files, by their names; of one folder or of all.
    std::map<std::string, std::string> getFiles(const std::string& folder = "") const {
        return getContentsOfFolder(m_directory.getPathOf(folder));
    }

    std::string decode(const std::string& rows, const std::string& dictionary) const {
        return expectSuccess({"decode", rows, "-d", dictionary, "-o", "-"}).m_output;
    }

    const TemporaryDirectory m_directory;
};
