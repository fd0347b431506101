#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"
#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

/// Runs in this process, so that a sanitizer watches the threads.
TEST(RowRewriteConcurrentTest, threadsEncodeAndDecodeInTheOrderOfTheInput) {
    std::string triples;
    for (int number = 0; number < 30000; ++number)
        triples += "<urn:s:" + std::to_string(number / 3) + "> <urn:p:" + std::to_string(number % 5) + "> \"text " +
                   std::to_string(number % 4000) + "\"@en .\n";
    const TemporaryDirectory directory;
    const std::string input = directory.addFile("in.nt", triples);
    StandardOutput output(STDOUT_FILENO);
    std::ostringstream errors;
    RewriteOptions options;
    options.m_dictionaryName = directory.getPathOf("d");
    saveTermDictionary(std::vector{input}, options.m_dictionaryName);
    options.m_numberOfThreads = 4;
    options.m_files = {{input, RdfFormat::N_TRIPLES}};
    options.m_output.m_outputName = directory.getPathOf("T.npy");
    ASSERT_EQ(ExitCode::DONE, runEncode(options, output, errors)) << errors.str();
    options.m_files = {{options.m_output.m_outputName, RdfFormat::N_TRIPLES}};
    options.m_output.m_outputName = directory.getPathOf("out.nt");
    ASSERT_EQ(ExitCode::DONE, runDecode(options, output, errors)) << errors.str();
    EXPECT_TRUE(triples == TemporaryDirectory::getContentsOf(options.m_output.m_outputName));
}

} // namespace
