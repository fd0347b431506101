#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/MemoryOfTheProcess.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <string>
#include <tuple>

namespace {

constexpr size_t MEBIBYTE = size_t(1) << 20;

/// The memory that a load needs in addition to the dictionary, for the program and the input in its threads.
constexpr size_t LARGEST_REMAINDER = 32 * MEBIBYTE;

/// Loads about 50 MB of literals, in a syntax and with a number of threads.
class LoadMemoryTest : public testing::TestWithParam<std::tuple<const char*, const char*>> {
protected:
    void SetUp() override {
        if (const char* const reason = findWhyMemoryTellsNothing(TEXT_BYTES); reason != nullptr)
            GTEST_SKIP() << reason;
    }

    /// Writes the file, which is never completely in this process.
    std::string addFile(const std::string& name, const bool isTurtle) const {
        std::ofstream file(m_directory.getPathOf(name), std::ios::binary);
        const std::string filler(LITERAL_BYTES - 10, 'x');
        if (isTurtle)
            file << "@prefix : <urn:> .\n";
        for (size_t number = 1'000'000'000; number < 1'000'000'000 + TEXT_BYTES / LITERAL_BYTES; ++number)
            file << (isTurtle ? ":s :p \"" : "<urn:s> <urn:p> \"") << number << filler << "\" .\n";
        return m_directory.getPathOf(name);
    }

    static constexpr size_t TEXT_BYTES = 50'000'000;
    static constexpr size_t LITERAL_BYTES = 100;

    const TemporaryDirectory m_directory;
};

TEST_P(LoadMemoryTest, aLoadTakesLittleMoreThanItsDictionary) {
    const auto& [extension, threads] = GetParam();
    const std::string file = addFile(std::string("in.") + extension, extension == std::string("ttl"));
    const ToolResult result =
        runToolProcess({"load", file, "--threads", threads, "-o", m_directory.getPathOf("d"), "--json"});
    ASSERT_EQ(0, result.m_exitCode) << result.m_errorOutput;
    const nlohmann::json report = nlohmann::json::parse(result.m_output);
    EXPECT_EQ(TEXT_BYTES / LITERAL_BYTES, report["distinctXsdString"]);
    const size_t dictionaryBytes = report["memoryBytes"];
    EXPECT_LT(TEXT_BYTES, dictionaryBytes);
    EXPECT_GT(dictionaryBytes + LARGEST_REMAINDER, result.m_peakMemory);
    std::cout << "Bytes beside the dictionary: " << result.m_peakMemory - dictionaryBytes << '\n';
}

INSTANTIATE_TEST_SUITE_P(SyntaxesAndThreads, LoadMemoryTest,
                         testing::Combine(testing::Values("nt", "ttl"), testing::Values("1", "2")));

} // namespace
