#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/SpilledBytes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr const char* SOURCE_FILE = "tools/melnar-dict/load/SpillFile";

class SpillFileTest : public testing::Test {
protected:
    std::string getContents() const { return TemporaryDirectory::getContentsOf(m_path); }

    static void write(const std::string& text, SpillFile& file) { file.write(text.data(), text.size()); }

    /// Expects that a file is refused, by what continues it and by what only reads it, and stays as it is.
    void expectDamage(const std::string& contents, const SpillPrefix& prefix, const std::string& message,
                      const long line) const {
        m_directory.addFile("file", contents);
        for (const bool isContinued : {false, true}) {
            const auto exception = catchException<MelnarException>([&] {
                if (isContinued)
                    const SpillFile file(m_path, prefix);
                else
                    SpillFile::verify(m_path, prefix);
            });
            EXPECT_EQ("File '" + m_path + message, exception.getMessage());
            EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
            EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
            EXPECT_EQ(line, exception.getSourceLineNumber());
            EXPECT_EQ(contents, getContents());
        }
    }

    /// Expects the next such call to fail with this message at this place.
    template<class Action>
    static void expectFailure(const Call call, const int errorCode, const char* const name, const std::string& message,
                              const long line, const Action& action) {
        SystemCallFaults faults(call);
        faults.failAfter(0, errorCode, Duration::ONCE);
        const auto exception = catchException<SystemCallException>(action);
        EXPECT_EQ(0u, exception.getMessage().find(message)) << exception.getMessage();
        EXPECT_STREQ(name, exception.getSystemCallName());
        EXPECT_EQ(errorCode, exception.getErrorCode());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(line, exception.getSourceLineNumber());
    }

    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("file");
};

TEST_F(SpillFileTest, readsEverythingUpToTheLastFlush) {
    SpillFile file(m_path);
    EXPECT_EQ(m_path, file.getName());
    std::string expected;
    for (int number = 0; number < 30000; ++number) {
        write(std::to_string(number), file);
        expected += std::to_string(number);
        EXPECT_EQ(expected.size(), file.getNumberOfBytes());
    }
    const std::string part = getContents();
    EXPECT_LT(0u, part.size());
    EXPECT_GE(SpillFile::BUFFER_SIZE, expected.size() - part.size());
    EXPECT_TRUE(expected.starts_with(part));
    file.flush();
    EXPECT_EQ(expected, getContents());
    write("more", file);
    file.synchronize();
    EXPECT_EQ(expected + "more", getContents());
}

TEST_F(SpillFileTest, takesPiecesOfAnySizeInTheirOrder) {
    SpillFile file(m_path);
    std::string expected;
    char letter = 'a';
    for (const size_t size :
         {size_t(1), SpillFile::BUFFER_SIZE - 1, SpillFile::BUFFER_SIZE, SpillFile::BUFFER_SIZE + 1, size_t(0),
          3 * SpillFile::BUFFER_SIZE, size_t(2), SpillFile::BUFFER_SIZE - 2, size_t(1)}) {
        expected.append(size, letter);
        write(std::string(size, letter++), file);
    }
    file.flush();
    EXPECT_TRUE(expected == getContents());
    EXPECT_EQ(expected.size(), file.getNumberOfBytes());
}

TEST_F(SpillFileTest, aNewOneEmptiesTheOldOne) {
    m_directory.addFile("file", "old");
    SpillFile file(m_path);
    EXPECT_EQ("", getContents());
    write("new", file);
    file.flush();
    EXPECT_EQ("new", getContents());
}

TEST_F(SpillFileTest, continuesAfterALengthAndTruncatesTheRest) {
    m_directory.addFile("file", "0123456789");
    SpillFile file(m_path, getPrefix("0123"));
    EXPECT_EQ("0123", getContents());
    EXPECT_EQ(4u, file.getNumberOfBytes());
    write("abc", file);
    file.flush();
    EXPECT_EQ("0123abc", getContents());
    EXPECT_EQ(7u, file.getNumberOfBytes());
}

TEST_F(SpillFileTest, continuesAtTheEnd) {
    m_directory.addFile("file", "0123");
    SpillFile file(m_path, getPrefix("0123"));
    write("4", file);
    file.flush();
    EXPECT_EQ("01234", getContents());
}

TEST_F(SpillFileTest, anEmptyPrefixNeedsNoFile) {
    EXPECT_NO_THROW(SpillFile::verify(m_path, {}));
    SpillFile file(m_path, {});
    EXPECT_EQ("", getContents());
    EXPECT_EQ(getPrefix(""), file.synchronize());
    EXPECT_NO_THROW(SpillFile::verify(m_path, getPrefix("")));
}

/// Simulates a kill after each checkpoint but the first, when more had been written.
TEST_F(SpillFileTest, eachCheckpointCoversEverythingSoFar) {
    std::string expected;
    SpillPrefix prefix;
    for (const size_t size : {size_t(3), SpillFile::BUFFER_SIZE - 1, SpillFile::BUFFER_SIZE + 1,
                              size_t(2 * FileInputStream::BUFFER_SIZE), size_t(0), size_t(1)}) {
        SpillFile file(m_path, prefix);
        for (const char letter : {'a', 'b'}) {
            write(std::string(size, letter), file);
            expected.append(size, letter);
            prefix = file.synchronize();
            EXPECT_EQ(getPrefix(expected), prefix);
            EXPECT_NO_THROW(SpillFile::verify(m_path, prefix));
        }
        write("after the checkpoint", file);
        file.flush();
    }
    EXPECT_EQ(0u, getContents().find(expected));
}

TEST_F(SpillFileTest, aFileThatIsTooShortIsRefusedAndStaysAsItIs) {
    const SpillPrefix prefix = getPrefix("01234");
    expectDamage("0123", prefix, "' has 4 bytes, but should have 5.", 34);
    expectDamage("", prefix, "' has 0 bytes, but should have 5.", 34);
}

TEST_F(SpillFileTest, aFlippedBitOfThePrefixIsRefusedAndOneAfterItDoesNotMatter) {
    const std::string sound = "0123456789";
    const SpillPrefix prefix = getPrefix(sound.substr(0, 7));
    for (size_t bit = 0; bit < sound.size() * 8; ++bit) {
        std::string damaged = sound;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        if (bit / 8 < prefix.m_numberOfBytes) {
            expectDamage(damaged, prefix,
                         "' is damaged: its first 7 bytes do not have the checksum that they were written with.", 40);
            continue;
        }
        m_directory.addFile("file", damaged);
        EXPECT_NO_THROW(SpillFile::verify(m_path, prefix));
        SpillFile file(m_path, prefix);
        EXPECT_EQ(prefix, file.synchronize());
        EXPECT_EQ("0123456", getContents());
    }
}

TEST_F(SpillFileTest, aFileThatIsMissingIsDamageAndIsNotMade) {
    const auto exception = catchException<MelnarException>([&] { const SpillFile file(m_path, getPrefix("0")); });
    EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
    EXPECT_EQ("File '" + m_path + "' is missing.", exception.getMessage());
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(SpillFileTest, aFileThatCannotBeReadIsNotTakenForADamagedOne) {
    m_directory.addFile("file", "0123");
    SystemCallFaults faults(Call::READ);
    faults.failAfter(0, EIO, Duration::ONCE);
    EXPECT_THROW(SpillFile(m_path, getPrefix("01")), SystemCallException);
    EXPECT_EQ("0123", getContents());
}

TEST_F(SpillFileTest, aFileThatCannotBeMadeIsNamed) {
    const std::string path = m_directory.getPathOf("missing/file");
    const auto exception = catchException<SystemCallException>([&path] { const SpillFile file(path); });
    EXPECT_EQ("Cannot create file '" + path +
                  "'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_EQ(24, exception.getSourceLineNumber());
    m_directory.addFile("file", "0123");
    const std::string message = "Cannot create file '" + m_path + "'.";
    expectFailure(Call::OPEN, EMFILE, "open", message, 24, [this] { const SpillFile file(m_path); });
    EXPECT_EQ("0123", getContents());
}

TEST_F(SpillFileTest, aFileThatCannotBeTruncatedIsNamed) {
    m_directory.addFile("file", "0123");
    expectFailure(Call::FTRUNCATE, EIO, "ftruncate", "Cannot cut off file '" + m_path + "'.", 31,
                  [this] { const SpillFile file(m_path, getPrefix("01")); });
    EXPECT_EQ("0123", getContents());
}

TEST_F(SpillFileTest, aFullDiskIsReportedByWhatWritesTheBuffer) {
    SpillFile file(m_path);
    const std::string message = "Cannot write file '" + m_path + "'.";
    const auto fail = [&](const auto& action) { expectFailure(Call::WRITE, ENOSPC, "write", message, 47, action); };
    write("x", file);
    fail([&] { file.flush(); });
    fail([&] { file.synchronize(); });
    fail([&] { write(std::string(SpillFile::BUFFER_SIZE, 'y'), file); });
    fail([&] { write(std::string(SpillFile::BUFFER_SIZE + 1, 'y'), file); });
    EXPECT_EQ("", getContents());
}

TEST_F(SpillFileTest, aDiskThatDoesNotTakeItIsReported) {
    SpillFile file(m_path);
    write("x", file);
    expectFailure(Call::FDATASYNC, EIO, "fdatasync", "Cannot write file '" + m_path + "' to the disk.", 56,
                  [&] { file.synchronize(); });
}

TEST_F(SpillFileTest, interruptedAndShortCallsAreContinued) {
    SpillFile file(m_path);
    write("0123456789", file);
    {
        SystemCallFaults writes(Call::WRITE);
        writes.shortenTo(3);
        writes.failAfter(1, EINTR, Duration::ONCE);
        SystemCallFaults synchronizations(Call::FDATASYNC);
        synchronizations.failAfter(0, EINTR, Duration::ONCE);
        file.synchronize();
        EXPECT_EQ(5u, writes.getNumberOfCalls());
        EXPECT_EQ(2u, synchronizations.getNumberOfCalls());
    }
    EXPECT_EQ("0123456789", getContents());
}

} // namespace
