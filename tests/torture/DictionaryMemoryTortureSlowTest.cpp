#include "tests/torture/MemoryTorture.h"

#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// Slow tests do not run under AddressSanitizer, which keeps freed memory. The dictionary is so large that 2 % of the
/// resident memory are more than the pages of code that the kernel may load at any time.
class DictionaryMemoryTortureSlowTest : public testing::Test {
protected:
    bool torture(const std::function<void()>& afterCycle) {
        return tortureMemory({.m_smallestNumberOfCycles = 48, .m_numberOfTerms = 100000, .m_afterCycle = afterCycle},
                             m_directory.getPathOf(""), m_output);
    }

    const TemporaryDirectory m_directory;
    std::ostringstream m_output;
};

TEST_F(DictionaryMemoryTortureSlowTest, memoryStaysTheSame) {
    EXPECT_TRUE(torture(nullptr)) << m_output.str();
    EXPECT_EQ(0u, m_output.str().find("33 measurements of resident memory: none differs from the first by 2 % ("))
        << m_output.str();
}

TEST_F(DictionaryMemoryTortureSlowTest, aLeakOfSomePagesInEachCycleIsNoticed) {
    std::vector<std::string> leaked;
    EXPECT_FALSE(torture([&leaked] { leaked.emplace_back(16 * getVMPageSize(), 'x'); }));
    EXPECT_EQ(0u, m_output.str().find("WRONG: after cycle ")) << m_output.str();
    EXPECT_NE(std::string::npos, m_output.str().find("33 measurements of resident memory: ")) << m_output.str();
}

} // namespace
