#include "Engine/core/platform/stream/FileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/system/VirtualMemory.h"
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

constexpr const char* SOURCE_FILE = "Engine/core/platform/stream/FileOutputStream";
constexpr size_t BUFFER_SIZE = FileOutputStream::BUFFER_SIZE;

} // namespace

TEST(FileOutputStreamFailureTest, fileThatCannotBeMadeIsNamed) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("missing/file");
    const auto exception = catchException<SystemCallException>([&] { const FileOutputStream output(path); });
    EXPECT_EQ("Cannot create file '" + path +
                  "'.\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
    EXPECT_STREQ("open", exception.getSystemCallName());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(31, exception.getSourceLineNumber());
}

TEST(FileOutputStreamFailureTest, forbiddenFileIsLeftAsItWas) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "old");
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EACCES, Duration::FOR_GOOD);
    const auto exception = catchException<SystemCallException>([&] { const FileOutputStream output(path); });
    EXPECT_EQ(EACCES, exception.getErrorCode());
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamFailureTest, fullDiskIsReportedWithItsPlace) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path);
    output.write("contents", 8);
    SystemCallFaults writes(Call::WRITE);
    writes.failAfter(0, ENOSPC, Duration::FOR_GOOD);
    const auto exception = catchException<SystemCallException>([&] { output.flush(); });
    EXPECT_EQ("Cannot write to file '" + path +
                  "'.\n[Extended information: write reported error code 28 (No space left on device)]",
              exception.getMessage());
    EXPECT_STREQ("write", exception.getSystemCallName());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(58, exception.getSourceLineNumber());
    EXPECT_EQ("", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamFailureTest, largeWriteReportsAFailureToo) {
    const TemporaryDirectory directory;
    FileOutputStream output(directory.getPathOf("file"));
    SystemCallFaults writes(Call::WRITE);
    writes.failAfter(0, EIO, Duration::ONCE);
    const std::string contents(BUFFER_SIZE, 'x');
    EXPECT_EQ(EIO, catchException<SystemCallException>([&] {
                       output.write(contents.data(), contents.size());
                   }).getErrorCode());
}

TEST(FileOutputStreamFailureTest, realFullDiskIsReported) {
    FileOutputStream output("/dev/full");
    output.write("contents", 8);
    EXPECT_EQ(ENOSPC, catchException<SystemCallException>([&] { output.close(); }).getErrorCode());
}

TEST(FileOutputStreamFailureTest, closeReportsThatTheLastBytesCouldNotBeWritten) {
    const TemporaryDirectory directory;
    const SystemCallFaults closes(Call::CLOSE);
    {
        FileOutputStream output(directory.getPathOf("file"));
        output.write("contents", 8);
        SystemCallFaults writes(Call::WRITE);
        writes.failAfter(0, EIO, Duration::FOR_GOOD);
        EXPECT_EQ(EIO, catchException<SystemCallException>([&] { output.close(); }).getErrorCode());
    }
    EXPECT_EQ(1u, closes.getNumberOfCalls()) << "the file is closed all the same";
}

TEST(FileOutputStreamFailureTest, failedCloseIsReportedAndNotRepeated) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    SystemCallFaults closes(Call::CLOSE);
    closes.failAfter(0, EIO, Duration::ONCE);
    {
        FileOutputStream output(path);
        output.write("contents", 8);
        const auto exception = catchException<SystemCallException>([&] { output.close(); });
        EXPECT_EQ("Cannot close file '" + path +
                      "'.\n[Extended information: close reported error code 5 (Input/output error)]",
                  exception.getMessage());
        EXPECT_STREQ("close", exception.getSystemCallName());
        EXPECT_EQ(79, exception.getSourceLineNumber());
    }
    EXPECT_EQ(1u, closes.getNumberOfCalls());
}

TEST(FileOutputStreamFailureTest, streamThatLostBytesNeverCompletes) {
    const std::string large(BUFFER_SIZE, 'x');
    for (const std::string& contents : {std::string("contents"), large}) {
        const TemporaryDirectory directory;
        FileOutputStream output(directory.getPathOf("file"));
        {
            SystemCallFaults writes(Call::WRITE);
            writes.shortenTo(3);
            writes.failAfter(1, ENOSPC, Duration::ONCE);
            catchException<SystemCallException>([&] {
                output.write(contents.data(), contents.size());
                output.flush();
            });
        }
        // There is space again, but it is unknown which bytes of the piece have reached the file.
        EXPECT_THROW(output.close(), SystemCallException) << contents.size() << " bytes";
    }
}

TEST(FileOutputStreamFailureTest, failedSynchronizationIsReportedAndTheStreamNeverCompletes) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const SystemCallFaults closes(Call::CLOSE);
    FileOutputStream output(path);
    output.write("contents", 8);
    SystemCallFaults synchronizations(Call::FSYNC);
    synchronizations.failAfter(0, EIO, Duration::ONCE);
    const auto exception = catchException<SystemCallException>([&] { output.synchronize(); });
    EXPECT_EQ("Cannot write file '" + path +
                  "' to the disk.\n[Extended information: fsync reported error code 5 (Input/output error)]",
              exception.getMessage());
    EXPECT_STREQ("fsync", exception.getSystemCallName());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(68, exception.getSourceLineNumber());
    EXPECT_EQ(1u, closes.getNumberOfCalls()) << "the file is closed immediately";
    EXPECT_THROW(output.synchronize(), SystemCallException);
    EXPECT_THROW(output.close(), SystemCallException);
}

TEST(FileOutputStreamFailureTest, noWriteRequestsMoreThanOneSystemCallWrites) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const size_t size = size_t(0x7FFFF000) + getVMPageSize();
    void* const data = VirtualMemory::reserve(size);
    ASSERT_NE(nullptr, data);
    ASSERT_TRUE(VirtualMemory::commit(data, getVMPageSize()));
    {
        FileOutputStream output(path);
        SystemCallFaults writes(Call::WRITE);
        writes.shortenTo(1);
        writes.failAfter(1, EIO, Duration::FOR_GOOD);
        EXPECT_THROW(output.write(data, size), SystemCallException);
        EXPECT_EQ(size_t(0x7FFFF000), writes.getLargestRequest());
    }
    VirtualMemory::release(data, size);
    EXPECT_EQ(std::string(1, '\0'), TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamFailureTest, failedAllocationLeavesNoFileOpen) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf(std::string(100, 'f'));
    const FailureCounts counts = failEach(ofAllocations(), [&path](FailureRound& round) {
        round.attempt([&path] { const FileOutputStream output(path); });
        EXPECT_EQ(round.hasFailed(), round.hasThrown());
    });
    EXPECT_EQ(2 * 2u, counts.m_throws) << "the path and the buffer";
}

TEST(FileOutputStreamFailureTest, failedRewritesAreReportedWithTheirPlaces) {
    struct Failure {
        Call m_call;
        const char* m_systemCallName;
        const char* m_message;
        long m_line;
        bool m_canGoOn;
    };
    const Failure failures[] = {
        {Call::PWRITE, "pwrite", "Cannot write to file '", 101, false},
        {Call::PREAD, "pread", "Cannot read file '", 114, true},
        {Call::FTRUNCATE, "ftruncate", "Cannot truncate file '", 128, true},
    };
    for (const Failure& failure : failures) {
        const TemporaryDirectory directory;
        const std::string path = directory.getPathOf("file");
        FileOutputStream output(path, O_RDWR);
        output.write("contents", 8);
        SystemCallFaults faults(failure.m_call);
        faults.failAfter(0, EIO, Duration::ONCE);
        char byte = 0;
        const auto exception = catchException<SystemCallException>([&] {
            if (failure.m_call == Call::PWRITE)
                output.overwrite(0, &byte, 1);
            else if (failure.m_call == Call::PREAD)
                output.readBack(0, &byte, 1);
            else
                output.truncate(1);
        });
        EXPECT_EQ(0u, exception.getMessage().find(failure.m_message + path + "'")) << exception.getMessage();
        EXPECT_STREQ(failure.m_systemCallName, exception.getSystemCallName());
        EXPECT_EQ(EIO, exception.getErrorCode());
        EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
        EXPECT_EQ(failure.m_line, exception.getSourceLineNumber());
        if (failure.m_canGoOn) {
            EXPECT_NO_THROW(output.close());
        } else {
            EXPECT_THROW(output.close(), SystemCallException) << "the file is never complete";
        }
    }
}

TEST(FileOutputStreamFailureTest, aFileThatHasBecomeShorterIsReported) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path, O_RDWR);
    output.write("contents", 8);
    char bytes[9];
    const auto exception = catchException<MelnarException>([&] { output.readBack(0, bytes, 9); });
    EXPECT_EQ("File '" + path + "' became shorter while it was being written.", exception.getMessage());
    EXPECT_EQ(SOURCE_FILE, exception.getSourceFileName());
    EXPECT_EQ(117, exception.getSourceLineNumber());
}
