#include "Engine/core/platform/stream/FileInputStream.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr const char* SOURCE_FILE = "Engine/core/platform/stream/FileInputStream";

} // namespace

TEST(FileInputStreamFailureTest, missingFileIsNamed) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("missing");
    const auto exception = catchException<SystemCallException>([&] { const FileInputStream input(path); });
    EXPECT_EQ("Cannot open file '" + path +
                  "'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_STREQ("open", exception.getSystemCallName());
    EXPECT_EQ(ENOENT, exception.getErrorCode());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(27, exception.getSourceLineNumber());
}

TEST(FileInputStreamFailureTest, forbiddenFileIsNamedAndNothingIsClosed) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "contents");
    const SystemCallFaults closes(Call::CLOSE);
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EACCES, Duration::FOR_GOOD);
    const auto exception = catchException<SystemCallException>([&] { const FileInputStream input(path); });
    EXPECT_EQ("Cannot open file '" + path +
                  "'.\n[Extended information: open reported error code 13 (Permission denied)]",
              exception.getMessage());
    EXPECT_EQ(0u, closes.getNumberOfCalls());
}

TEST(FileInputStreamFailureTest, failedReadIsReportedAndMayBeTriedAgain) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "contents");
    for (const size_t bytesPerRead : {size_t(8), FileInputStream::BUFFER_SIZE}) {
        FileInputStream input(path);
        SystemCallFaults reads(Call::READ);
        reads.failAfter(0, EIO, Duration::ONCE);
        std::string data(bytesPerRead, '\0');
        const auto exception = catchException<SystemCallException>([&] { input.read(data.data(), bytesPerRead); });
        EXPECT_EQ("Cannot read file '" + path +
                      "'.\n[Extended information: read reported error code 5 (Input/output error)]",
                  exception.getMessage());
        EXPECT_STREQ("read", exception.getSystemCallName());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(54, exception.getSourceLineNumber());
        EXPECT_EQ(8u, input.read(data.data(), bytesPerRead)) << "the failed read has consumed nothing";
        EXPECT_EQ("contents", data.substr(0, 8));
    }
}

TEST(FileInputStreamFailureTest, directoryCannotBeRead) {
    const TemporaryDirectory directory;
    FileInputStream input(directory.getPathOf("."));
    char byte;
    EXPECT_EQ(EISDIR, catchException<SystemCallException>([&] { input.read(&byte, 1); }).getErrorCode());
}

TEST(FileInputStreamFailureTest, failedReadStillClosesTheFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "contents");
    const SystemCallFaults closes(Call::CLOSE);
    SystemCallFaults reads(Call::READ);
    reads.failAfter(0, EIO, Duration::FOR_GOOD);
    catchException<SystemCallException>([&] {
        FileInputStream input(path);
        input.readUInt64();
    });
    EXPECT_EQ(1u, closes.getNumberOfCalls());
}

TEST(FileInputStreamFailureTest, cutFileEndsPrematurely) {
    const TemporaryDirectory directory;
    FileInputStream input(directory.addFile("file", "1234567"));
    EXPECT_EQ("Premature end of stream.", catchException<MelnarException>([&] { input.readUInt64(); }).getMessage());
}

TEST(FileInputStreamFailureTest, failedAllocationLeavesNoFileOpen) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile(std::string(100, 'f'), "contents");
    const FailureCounts counts = failEach(ofAllocations(), [&path](FailureRound& round) {
        round.attempt([&path] { const FileInputStream input(path); });
        EXPECT_EQ(round.hasFailed(), round.hasThrown());
    });
    EXPECT_EQ(2 * 2u, counts.m_throws) << "the path and the buffer";
}
