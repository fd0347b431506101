#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/rewrite/CanonicalCommand.h"
#include "tools/melnar-dict/rewrite/CheckCommand.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Blocks of a few bytes, most of which start within a string, so most guesses are wrong and are discarded.
class CanonicalConcurrentTest : public testing::Test {
protected:
    CanonicalConcurrentTest() {
        std::string text = "@prefix : <a:> .\n";
        for (int number = 0; number < 300; ++number)
            text += ":s :p '''x .\n:no :no " + std::to_string(number) + " .\n''', [ :q " + std::to_string(number) +
                    " ] .\n:t :p 'y' .\n";
        m_fileName = m_directory.addFile("a.ttl", text);
    }

    std::string makeCanonical(const size_t numberOfThreads, const size_t blockSize) const {
        CanonicalOptions options;
        options.m_files = {{m_fileName, RdfFormat::TURTLE}};
        options.m_output.m_outputName = m_directory.getPathOf("out.nt");
        options.m_reading.m_numberOfThreads = numberOfThreads;
        options.m_reading.m_blockSize = blockSize;
        StandardOutput output(STDOUT_FILENO);
        std::ostringstream errorOutput;
        EXPECT_EQ(ExitCode::DONE, runCanonical(options, output, errorOutput)) << errorOutput.str();
        return TemporaryDirectory::getContentsOf(options.m_output.m_outputName);
    }

    TemporaryDirectory m_directory;
    std::string m_fileName;
};

TEST_F(CanonicalConcurrentTest, isTheSameWhereverBlocksEnd) {
    const std::string whole = makeCanonical(1, 1 << 20);
    EXPECT_EQ(0u, whole.find("<a:s> <a:p> \"x .\\n:no :no 0 .\\n\" .\n"));
    EXPECT_EQ(std::string::npos, whole.find("<a:no>"));
    for (const size_t numberOfThreads : {1u, 2u, 5u})
        for (const size_t blockSize : {16u, 37u, 300u})
            EXPECT_EQ(whole, makeCanonical(numberOfThreads, blockSize)) << numberOfThreads << ' ' << blockSize;
}

TEST_F(CanonicalConcurrentTest, checkCountsTheSameWhereverBlocksEnd) {
    for (const size_t numberOfThreads : {1u, 4u}) {
        CheckOptions options;
        options.m_files = {{m_fileName, RdfFormat::TURTLE}};
        options.m_reading.m_numberOfThreads = numberOfThreads;
        options.m_reading.m_blockSize = 37;
        const std::string name = m_directory.addFile("output", "");
        const int fileDescriptor = ::open(name.c_str(), O_WRONLY);
        StandardOutput output(fileDescriptor);
        std::ostringstream errorOutput;
        EXPECT_EQ(ExitCode::DONE, runCheck(options, output, errorOutput)) << errorOutput.str();
        ::close(fileDescriptor);
        EXPECT_EQ("files 1, statements 1200, errors 0\n", TemporaryDirectory::getContentsOf(name));
    }
}

} // namespace
