#include "tools/melnar-dict/input/InputFile.h"

#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <initializer_list>

namespace {

/// More than the buffers hold, and nothing that zlib could shorten to nothing.
std::string makeLongText() {
    std::string text;
    for (unsigned number = 0; number < 200000; ++number)
        text += std::to_string(number * 2654435761u) + '\n';
    return text;
}

std::string readAll(ByteSource& source, const size_t bytesAtOnce) {
    std::string text;
    std::string buffer(bytesAtOnce, '\0');
    while (const size_t numberOfBytes = source.read(buffer.data(), buffer.size()))
        text.append(buffer, 0, numberOfBytes);
    EXPECT_EQ(0u, source.read(buffer.data(), buffer.size())) << "the end stays the end";
    return text;
}

class InputFileTest : public testing::Test {
protected:
    std::string read(const std::string& fileName, const std::string& contents, const size_t bytesAtOnce = 4096) const {
        return readAll(*openInputFile(m_directory.addFile(fileName, contents)), bytesAtOnce);
    }

    std::string messageOfReading(const std::string& fileName, const std::string& contents) const {
        const auto failure = catchException<ToolFailure>([&] { read(fileName, contents); });
        EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
        return failure.what();
    }

    const TemporaryDirectory m_directory;
};

TEST_F(InputFileTest, deliversPlainFilesOfEverySize) {
    for (const std::string text : {"", "a", "ab", "abc", "abcdefgh"})
        for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 2, 3, 100})
            EXPECT_EQ(text, read("plain.nt", text, bytesAtOnce));
    const std::string text = makeLongText();
    EXPECT_EQ(text, read("plain.nt", text));
}

TEST_F(InputFileTest, unpacksWhatStartsAsGzipWhateverItsName) {
    const std::string text = makeLongText();
    EXPECT_EQ(text, read("packed.nt.gz", gzip(text)));
    EXPECT_EQ(text, read("packed.nt", gzip(text)));
    EXPECT_EQ(text.substr(0, 1000), read("packed.nt", gzip(text.substr(0, 1000)), 1));
    EXPECT_EQ("", read("empty.nt.gz", gzip("")));
}

TEST_F(InputFileTest, unpacksAllMembersOfAGzipFile) {
    const std::string text = makeLongText();
    EXPECT_EQ("ab" + text + "c", read("a.gz", gzip("a") + gzip("") + gzip("b") + gzip(text) + gzip("c")));
}

TEST_F(InputFileTest, takesZeroBytesBehindAGzipFileForPadding) {
    EXPECT_EQ("ab", read("a.gz", gzip("a") + gzip("b") + std::string(300000, '\0')));
}

TEST_F(InputFileTest, refusesOtherBytesBehindAGzipFile) {
    const std::string message = "not a sound gzip file: something else follows the packed data";
    EXPECT_EQ(message, messageOfReading("a.gz", gzip("a") + "x"));
    EXPECT_EQ(message, messageOfReading("a.gz", gzip("a") + std::string(3, '\0') + gzip("b")));
}

TEST_F(InputFileTest, refusesEveryWrongByteOfTheChecksumAndTheLength) {
    for (size_t fromEnd = 1; fromEnd <= 8; ++fromEnd) {
        std::string packed = gzip("some text");
        packed[packed.size() - fromEnd] = static_cast<char>(packed[packed.size() - fromEnd] ^ 1);
        EXPECT_EQ(fromEnd > 4 ? "not a sound gzip file: incorrect data check"
                              : "not a sound gzip file: incorrect length check",
                  messageOfReading("a.gz", packed));
    }
}

TEST_F(InputFileTest, refusesAGzipFileThatIsCutShortAnywhere) {
    const std::string packed = gzip("some text") + gzip("more text");
    const size_t lengthOfFirst = gzip("some text").size();
    for (size_t length = 2; length < packed.size(); ++length)
        if (length == lengthOfFirst)
            EXPECT_EQ("some text", read("a.gz", packed.substr(0, length)));
        else
            EXPECT_EQ("not a sound gzip file: it ends early", messageOfReading("a.gz", packed.substr(0, length)))
                << length;
}

TEST_F(InputFileTest, refusesDamagedPackedData) {
    std::string packed = gzip(makeLongText());
    for (size_t index = packed.size() / 2; index < packed.size() / 2 + 64; ++index)
        packed[index] = '\xFF';
    EXPECT_EQ("not a sound gzip file: ", messageOfReading("a.gz", packed).substr(0, 23));
}

TEST_F(InputFileTest, holdsANameThatSaysGzipToIt) {
    const std::string message = "not a sound gzip file: its first bytes are not those of gzip";
    for (const char* const contents : {"", "\x1f", "plain text"})
        EXPECT_EQ(message, messageOfReading("plain.nt.gz", contents));
}

TEST_F(InputFileTest, tellsWhyAFileCannotBeRead) {
    const auto messageOf = [](const std::string& path) {
        return std::string(catchException<ToolFailure>([&] { openInputFile(path); }).what());
    };
    EXPECT_EQ("No such file or directory", messageOf(m_directory.getPathOf("absent.nt")));
    EXPECT_EQ("Is a directory", messageOf(m_directory.getPathOf("")));
}

TEST_F(InputFileTest, tellsWhyReadingFailedLater) {
    const auto source = openInputFile(m_directory.addFile("a.nt", makeLongText()));
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(1, EIO, SystemCallFaults::Duration::ONCE);
    const auto failure = catchException<ToolFailure>([&] { readAll(*source, 1000); });
    EXPECT_STREQ("Input/output error", failure.what());
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
}

TEST_F(InputFileTest, readsOnAfterAnInterruption) {
    const auto source = openInputFile(m_directory.addFile("a.nt", "text"));
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(0, EINTR, SystemCallFaults::Duration::ONCE);
    EXPECT_EQ("text", readAll(*source, 1000));
    EXPECT_EQ(1u, faults.getNumberOfFailures());
}

TEST_F(InputFileTest, closesWhatItOpened) {
    const SystemCallFaults opened(SystemCallFaults::Call::OPEN);
    const SystemCallFaults closed(SystemCallFaults::Call::CLOSE);
    read("a.nt", "text");
    read("a.nt.gz", gzip("text"));
    EXPECT_GT(closed.getNumberOfCalls(), 0u);
    EXPECT_EQ(opened.getNumberOfCalls(), closed.getNumberOfCalls());
}

} // namespace
