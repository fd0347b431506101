#pragma once

#include "tests/tools/melnar-dict-mpi/RankCommand.h"
#include "tests/tools/melnar-dict/load/LoadProcessTest.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

inline std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Loads by ranks as processes, compared with those by one process, run where their files are.
class RankProcessTest : public LoadProcessTest {
protected:
    /// Returns the input of a process that runs ranks and that a test can supervise.
    ToolInput getRankInput() const {
        ToolInput input = getInput();
        input.m_executable = RUNNER_OF_RANKS;
        return input;
    }

    ToolResult runRanks(const std::vector<RankGroup>& groups, const std::vector<std::string>& arguments) const {
        return runToolProcess(makeRankCommand(arguments, groups), getRankInput());
    }

    ToolResult runRanks(const size_t numberOfRanks, const std::vector<std::string>& arguments) const {
        return runRanks({{numberOfRanks}}, arguments);
    }

    ToolResult expectRanksSucceed(const size_t numberOfRanks, const std::vector<std::string>& arguments) const {
        const ToolResult result = runRanks(numberOfRanks, arguments);
        EXPECT_EQ(0, result.m_exitCode) << testing::PrintToString(arguments);
        EXPECT_EQ("", result.m_errorOutput) << testing::PrintToString(arguments);
        return result;
    }

    /// Expects that ranks end with the message of the first one, once, and leave the files unchanged. The rank names
    /// itself, except for a wrong command line, which is the same on all ranks.
    void expectRanksFail(const size_t numberOfRanks, const std::vector<std::string>& arguments, const int exitCode,
                         const std::string& message) const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const auto files = getFilesButLocks();
        const ToolResult result = runRanks(numberOfRanks, arguments);
        EXPECT_EQ(exitCode, result.m_exitCode);
        EXPECT_EQ(numberOfRanks == 1 || exitCode == 2 ? "melnar-dict-mpi: " + message + "\n"
                                                      : nameRank(0) + message + "\n",
                  result.m_errorOutput);
        EXPECT_EQ("", result.m_output);
        EXPECT_TRUE(files == getFilesButLocks());
    }

    static std::string getNameOfMachine() {
        std::array<char, 256> name{};
        ::gethostname(name.data(), name.size() - 1);
        return name.data();
    }

    /// Returns the start of the message of a rank.
    static std::string nameRank(const size_t rank) {
        return "melnar-dict-mpi: rank " + std::to_string(rank) + " on " + getNameOfMachine() + ": ";
    }

    /// Loads into e, with the rows beside it, and expects the same as one process has made: d.
    void expectSame(const size_t numberOfRanks, const std::vector<std::string>& arguments) const {
        SCOPED_TRACE(std::to_string(numberOfRanks) + " ranks, " + testing::PrintToString(arguments));
        expectRanksSucceed(numberOfRanks, std::vector<std::string>{"load", "-o", "e", "--ids", "e.npy"} + arguments);
        EXPECT_TRUE(getFiles("d") == getFiles("e"));
        EXPECT_TRUE(getContentsOf("d.npy") == getContentsOf("e.npy"));
        remove("e");
    }

    void loadByOneProcess(const std::vector<std::string>& arguments) const {
        remove("d");
        expectSuccess(std::vector<std::string>{"load", "--shards", "-o", "d", "--ids", "d.npy"} + arguments);
    }

    /// Returns the message of several ranks that corresponds to a message and exit code of one process: a failure other
    /// than an error in the data may be that of the rank that reads the file, which is named after the file.
    static std::string nameReader(const std::string& message, const int exitCode, const size_t numberOfRanks,
                                  const size_t reader = 0) {
        const size_t end = message.find(": ");
        if (exitCode != 3 || numberOfRanks == 1 || end == std::string::npos)
            return message;
        return message.substr(0, end + 2) + "rank " + std::to_string(reader) + " on " + getNameOfMachine() +
               message.substr(end);
    }

    /// Removes a folder and the rows beside it.
    void remove(const std::string& folder) const {
        std::filesystem::remove_all(m_directory.getPathOf(folder));
        std::filesystem::remove(m_directory.getPathOf(folder + ".npy"));
    }

    bool exists(const std::string& fileName) const { return std::filesystem::exists(m_directory.getPathOf(fileName)); }

    /// Makes triples of `numberOfSlices` slices. The texts repeat after `numberOfTexts`.
    static std::string makeTriples(const size_t numberOfSlices, const size_t numberOfTexts = 50) {
        std::string text;
        for (size_t number = 0; text.size() < numberOfSlices * SlicePlan::SLICE_SIZE; ++number)
            text += "<http://example.org/subject/" + std::to_string(number % 10) + "> <urn:p> \"text " +
                    std::to_string(number % numberOfTexts) + " " + std::string(200, 'x') + "\"" +
                    (number % numberOfTexts % 3 == 0 ? "@en .\n" : " .\n");
        return text;
    }

private:
    /// Locks that killed processes leave are removed by the next process.
    std::map<std::string, std::string> getFilesButLocks() const {
        std::map<std::string, std::string> files = getFiles();
        std::erase_if(files, [](const auto& file) { return file.first.ends_with(".lock"); });
        return files;
    }
};
