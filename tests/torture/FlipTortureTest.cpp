#include "tests/torture/FlipTorture.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

namespace {

/// A short run, and faults that it must find.
class FlipTortureTest : public testing::Test {
protected:
    bool torture(const DictionaryReaders& readers) {
        const bool isRight = tortureByFlips({.m_numberOfFlips = 60, .m_numberOfTerms = 2000, .m_flipsPerFile = 20},
                                            m_directory.getPathOf(""), 5, m_output, readers);
        EXPECT_TRUE(std::filesystem::is_empty(m_directory.getPathOf("")));
        return isRight;
    }

    void expectFinding(const std::string& finding, const DictionaryReaders& readers) {
        EXPECT_FALSE(torture(readers));
        EXPECT_EQ(0u, m_output.str().find("WRONG: MELNAR_SEED=5 byte ")) << m_output.str();
        EXPECT_NE(std::string::npos, m_output.str().find(finding)) << m_output.str();
        EXPECT_NE(std::string::npos, m_output.str().find(" WRONG (3 of them also in the file on the disk)"))
            << m_output.str();
    }

    /// Readers that do something else when a stream is damaged.
    DictionaryReaders onDamage(const std::function<void()>& fail) const {
        return {[this, fail](InputStream& input) {
                    try {
                        return m_library.m_read(input);
                    } catch (const MelnarException&) {
                        fail();
                        return std::unique_ptr<Dictionary>();
                    }
                },
                m_library.m_open};
    }

    const DictionaryReaders m_library = getDictionaryReaders();
    const TemporaryDirectory m_directory;
    std::ostringstream m_output;
};

TEST_F(FlipTortureTest, everyFlippedBitIsFound) {
    EXPECT_TRUE(torture(m_library)) << m_output.str();
    EXPECT_EQ(0u, m_output.str().find("60 flipped bits of a file of ")) << m_output.str();
    EXPECT_NE(std::string::npos, m_output.str().find(" bytes: all found (3 of them also in the file on the disk)"))
        << m_output.str();
}

TEST_F(FlipTortureTest, aFlippedBitThatIsAcceptedIsNoticed) {
    expectFinding(": opened\n", onDamage([] {}));
}

TEST_F(FlipTortureTest, anotherKindOfFailureIsNoticed) {
    expectFinding(": another kind of failure: ",
                  onDamage([] { throw MelnarException("file", 1, MelnarException::NO_CAUSES, "It is damaged."); }));
}

TEST_F(FlipTortureTest, aCrashIsNoticed) {
    expectFinding(": ended by signal 9\n", onDamage([] { ::raise(SIGKILL); }));
}

TEST_F(FlipTortureTest, aFileThatIsAcceptedIsNoticed) {
    size_t numberOfFiles = 0;
    expectFinding(": opened\n", {m_library.m_read, [&](const std::string& fileName) {
                                     if (++numberOfFiles == 2)
                                         return std::unique_ptr<Dictionary>();
                                     return m_library.m_open(fileName);
                                 }});
}

TEST_F(FlipTortureTest, aFileThatIsRefusedWithAnotherMessageIsNoticed) {
    expectFinding(", but in memory: damaged file: ",
                  {m_library.m_read, [](const std::string&) -> std::unique_ptr<Dictionary> {
                       throw MelnarException(FailureKind::DAMAGED_FILE, "file", 1, MelnarException::NO_CAUSES,
                                             "It is damaged.");
                   }});
}

} // namespace
