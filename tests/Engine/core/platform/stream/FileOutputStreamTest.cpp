#include "Engine/core/platform/stream/FileOutputStream.h"

#include "Engine/core/platform/stream/FileInputStream.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr size_t BUFFER_SIZE = FileOutputStream::BUFFER_SIZE;

std::string makeContents(const size_t size) {
    std::string contents(size, '\0');
    uint32_t state = 1;
    for (char& character : contents) {
        state = state * 1664525 + 1013904223;
        character = static_cast<char>(state >> 24);
    }
    return contents;
}

void writePieces(FileOutputStream& output, const std::string& contents, const size_t bytesPerWrite) {
    for (size_t position = 0; position < contents.size(); position += bytesPerWrite)
        output.write(contents.data() + position, std::min(bytesPerWrite, contents.size() - position));
}

} // namespace

TEST(FileOutputStreamTest, fileHoldsWhatWasWritten) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const std::string contents = makeContents(3 * BUFFER_SIZE + 12345);
    for (const size_t bytesPerWrite :
         {size_t(7), size_t(4096), BUFFER_SIZE - 1, BUFFER_SIZE, BUFFER_SIZE + 1, size_t(1) << 22}) {
        FileOutputStream output(path);
        writePieces(output, contents, bytesPerWrite);
        output.close();
        EXPECT_TRUE(contents == TemporaryDirectory::getContentsOf(path)) << bytesPerWrite << " bytes a write";
    }
}

TEST(FileOutputStreamTest, smallAndLargeWritesKeepTheirOrder) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const std::string large = makeContents(2 * BUFFER_SIZE);
    FileOutputStream output(path);
    output.write("small", 5);
    output.write(large.data(), large.size());
    output.write("end", 3);
    output.close();
    EXPECT_TRUE("small" + large + "end" == TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, oldContentsAreReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "something longer");
    FileOutputStream output(path);
    output.write("new", 3);
    output.close();
    EXPECT_EQ("new", TemporaryDirectory::getContentsOf(path));
    EXPECT_EQ(path, output.getName());
}

TEST(FileOutputStreamTest, smallWritesShareOneSystemCall) {
    const TemporaryDirectory directory;
    FileOutputStream output(directory.getPathOf("file"));
    const SystemCallFaults writes(Call::WRITE);
    for (uint64_t number = 0; number < BUFFER_SIZE / 8; ++number)
        output.writeUInt64(number);
    EXPECT_EQ(0u, writes.getNumberOfCalls()) << "the buffer is full, but holds it all";
    output.writeUInt64(0);
    EXPECT_EQ(1u, writes.getNumberOfCalls());
    EXPECT_EQ(BUFFER_SIZE, writes.getLargestRequest());
    output.close();
}

TEST(FileOutputStreamTest, flushHandsTheBytesOn) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path);
    output.write("early", 5);
    EXPECT_EQ("", TemporaryDirectory::getContentsOf(path));
    output.flush();
    EXPECT_EQ("early", TemporaryDirectory::getContentsOf(path));
    output.flush();
    output.write(" late", 5);
    output.close();
    EXPECT_EQ("early late", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, shortSystemWritesAreContinued) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const std::string contents = makeContents(BUFFER_SIZE + 1000);
    for (const size_t bytesPerWrite : {size_t(64), contents.size()}) {
        FileOutputStream output(path);
        SystemCallFaults writes(Call::WRITE);
        writes.shortenTo(1000);
        writePieces(output, contents, bytesPerWrite);
        output.close();
        EXPECT_LE(contents.size() / 1000, writes.getNumberOfCalls());
        EXPECT_TRUE(contents == TemporaryDirectory::getContentsOf(path)) << bytesPerWrite << " bytes a write";
    }
}

TEST(FileOutputStreamTest, interruptedCallsAreRepeated) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    SystemCallFaults opens(Call::OPEN);
    opens.failAfter(0, EINTR, Duration::ONCE);
    FileOutputStream output(path);
    EXPECT_EQ(2u, opens.getNumberOfCalls());
    SystemCallFaults writes(Call::WRITE);
    writes.failAfter(0, EINTR, Duration::ONCE);
    output.write("contents", 8);
    output.close();
    EXPECT_EQ(2u, writes.getNumberOfCalls());
    EXPECT_EQ("contents", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, synchronizationFlushesAndIsRepeatedWhenInterrupted) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path);
    SystemCallFaults synchronizations(Call::FSYNC);
    synchronizations.failAfter(0, EINTR, Duration::ONCE);
    output.write("contents", 8);
    output.synchronize();
    EXPECT_EQ(2u, synchronizations.getNumberOfCalls());
    EXPECT_EQ("contents", TemporaryDirectory::getContentsOf(path));
    output.close();
}

TEST(FileOutputStreamTest, shortWriteThatIsThenInterruptedLosesNothing) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path);
    SystemCallFaults writes(Call::WRITE);
    writes.shortenTo(3);
    writes.failAfter(1, EINTR, Duration::ONCE);
    output.write("contents", 8);
    output.close();
    EXPECT_EQ(4u, writes.getNumberOfCalls()) << "con, interrupted, ten, ts";
    EXPECT_EQ("contents", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, closeClosesAndDestructionDoesNotCloseAgain) {
    const TemporaryDirectory directory;
    const SystemCallFaults closes(Call::CLOSE);
    {
        FileOutputStream output(directory.getPathOf("file"));
        output.close();
        EXPECT_EQ(1u, closes.getNumberOfCalls());
    }
    EXPECT_EQ(1u, closes.getNumberOfCalls());
}

TEST(FileOutputStreamTest, destructionWithoutCloseDiscardsBufferedBytes) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    const SystemCallFaults closes(Call::CLOSE);
    {
        FileOutputStream output(path);
        output.write("kept", 4);
        output.flush();
        output.write("dropped", 7);
    }
    EXPECT_EQ(1u, closes.getNumberOfCalls());
    EXPECT_EQ("kept", TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, writtenFileReadsBack) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path);
    output.writeUInt64(1);
    output.writeUInt32(2);
    output.writeString("text");
    output.close();
    FileInputStream input(path);
    EXPECT_EQ(1u, input.readUInt64());
    EXPECT_EQ(2u, input.readUInt32());
    EXPECT_TRUE(input.readsString("text"));
}

TEST(FileOutputStreamTest, writtenBytesCanBeReadBackOverwrittenAndTruncated) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    std::string contents = makeContents(BUFFER_SIZE + 1000);
    SystemCallFaults writes(Call::PWRITE);
    writes.shortenTo(50000);
    SystemCallFaults reads(Call::PREAD);
    reads.shortenTo(70000);
    FileOutputStream output(path, O_RDWR);
    output.write(contents.data(), contents.size());
    std::string read(contents.size() - 5, '\0');
    output.readBack(5, read.data(), read.size());
    EXPECT_TRUE(contents.substr(5) == read) << "what is still buffered too";
    const std::string other(200000, 'x');
    output.overwrite(100, other.data(), other.size());
    contents.replace(100, other.size(), other);
    output.overwrite(contents.size() - 2, "behind", 6);
    contents.replace(contents.size() - 2, 6, "behind");
    output.overwrite(0, nullptr, 0);
    output.synchronize();
    EXPECT_TRUE(contents == TemporaryDirectory::getContentsOf(path));
    output.truncate(300);
    output.close();
    EXPECT_EQ(contents.substr(0, 300), TemporaryDirectory::getContentsOf(path));
}

TEST(FileOutputStreamTest, interruptedRewritesAreRepeated) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    FileOutputStream output(path, O_RDWR);
    output.write("contents", 8);
    SystemCallFaults writes(Call::PWRITE);
    SystemCallFaults reads(Call::PREAD);
    SystemCallFaults cuts(Call::FTRUNCATE);
    for (SystemCallFaults* const faults : {&writes, &reads, &cuts})
        faults->failAfter(0, EINTR, Duration::ONCE);
    output.overwrite(0, "C", 1);
    std::string read(8, '\0');
    output.readBack(0, read.data(), read.size());
    output.truncate(3);
    output.close();
    EXPECT_EQ("Contents", read);
    EXPECT_EQ("Con", TemporaryDirectory::getContentsOf(path));
    for (const SystemCallFaults* const faults : {&writes, &reads, &cuts})
        EXPECT_EQ(1u, faults->getNumberOfFailures());
}
