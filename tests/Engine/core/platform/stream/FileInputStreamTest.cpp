#include "Engine/core/platform/stream/FileInputStream.h"

#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t BUFFER_SIZE = FileInputStream::BUFFER_SIZE;

/// Makes bytes in which no two ranges of the same length are equal.
std::string makeContents(const size_t size) {
    std::string contents(size, '\0');
    uint32_t state = 1;
    for (char& character : contents) {
        state = state * 1664525 + 1013904223;
        character = static_cast<char>(state >> 24);
    }
    return contents;
}

/// Reads to the end, `bytesPerRead` at a time.
std::string readAll(FileInputStream& input, const size_t bytesPerRead) {
    std::string contents;
    std::vector<char> data(bytesPerRead);
    while (const size_t delivered = input.read(data.data(), bytesPerRead))
        contents.append(data.data(), delivered);
    return contents;
}

} // namespace

TEST(FileInputStreamTest, readsWhatTheFileHolds) {
    const TemporaryDirectory directory;
    const std::string contents = makeContents(3 * BUFFER_SIZE + 12345);
    const std::string path = directory.addFile("file", contents);
    for (const size_t bytesPerRead :
         {size_t(7), size_t(4096), BUFFER_SIZE - 1, BUFFER_SIZE, BUFFER_SIZE + 1, size_t(1) << 22}) {
        FileInputStream input(path);
        EXPECT_TRUE(contents == readAll(input, bytesPerRead)) << bytesPerRead << " bytes a read";
    }
}

TEST(FileInputStreamTest, nameIsThePath) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "");
    EXPECT_EQ(path, FileInputStream(path).getName());
}

TEST(FileInputStreamTest, emptyFileIsAtItsEnd) {
    const TemporaryDirectory directory;
    FileInputStream input(directory.addFile("file", ""));
    char byte;
    EXPECT_EQ(0u, input.read(&byte, 1));
    EXPECT_EQ(0u, input.read(&byte, 1));
}

TEST(FileInputStreamTest, smallReadsShareOneSystemCall) {
    const TemporaryDirectory directory;
    FileInputStream input(directory.addFile("file", makeContents(1000)));
    const SystemCallFaults reads(SystemCallFaults::Call::READ);
    std::string data(10, '\0');
    for (int read = 0; read < 100; ++read)
        EXPECT_EQ(10u, input.read(data.data(), 10));
    EXPECT_EQ(1u, reads.getNumberOfCalls());
    EXPECT_EQ(BUFFER_SIZE, reads.getLargestRequest());
}

TEST(FileInputStreamTest, largeReadGoesPastTheBuffer) {
    const TemporaryDirectory directory;
    const std::string contents = makeContents(2 * BUFFER_SIZE);
    FileInputStream input(directory.addFile("file", contents));
    const SystemCallFaults reads(SystemCallFaults::Call::READ);
    std::string data(2 * BUFFER_SIZE, '\0');
    EXPECT_EQ(data.size(), input.read(data.data(), data.size()));
    EXPECT_TRUE(contents == data);
    EXPECT_EQ(2 * BUFFER_SIZE, reads.getLargestRequest());
}

TEST(FileInputStreamTest, largeReadFirstDeliversBufferedBytes) {
    const TemporaryDirectory directory;
    const std::string contents = makeContents(3 * BUFFER_SIZE);
    FileInputStream input(directory.addFile("file", contents));
    std::string data(contents.size(), '\0');
    input.readExactly(data.data(), 1);
    EXPECT_EQ(BUFFER_SIZE - 1, input.read(data.data() + 1, contents.size() - 1));
    input.readExactly(data.data() + BUFFER_SIZE, contents.size() - BUFFER_SIZE);
    EXPECT_TRUE(contents == data);
}

TEST(FileInputStreamTest, shortSystemReadsLoseNothing) {
    const TemporaryDirectory directory;
    const std::string contents = makeContents(BUFFER_SIZE + 1000);
    const std::string path = directory.addFile("file", contents);
    for (const size_t bytesPerRead : {size_t(64), BUFFER_SIZE + 1000}) {
        FileInputStream input(path);
        SystemCallFaults reads(SystemCallFaults::Call::READ);
        reads.shortenTo(1000);
        std::string data(contents.size(), '\0');
        for (size_t position = 0; position < data.size(); position += bytesPerRead)
            input.readExactly(data.data() + position, std::min(bytesPerRead, data.size() - position));
        EXPECT_TRUE(contents == data) << bytesPerRead << " bytes a read";
        EXPECT_LE(contents.size() / 1000, reads.getNumberOfCalls());
    }
}

TEST(FileInputStreamTest, interruptedCallsAreRepeated) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "contents");
    SystemCallFaults opens(SystemCallFaults::Call::OPEN);
    opens.failAfter(0, EINTR, SystemCallFaults::Duration::ONCE);
    FileInputStream input(path);
    EXPECT_EQ(2u, opens.getNumberOfCalls());
    SystemCallFaults reads(SystemCallFaults::Call::READ);
    reads.failAfter(0, EINTR, SystemCallFaults::Duration::ONCE);
    EXPECT_EQ("contents", readAll(input, 100));
    EXPECT_EQ(1u, reads.getNumberOfFailures());
    EXPECT_EQ(3u, reads.getNumberOfCalls()) << "interrupted, repeated, end of file";
}

TEST(FileInputStreamTest, destructionClosesTheFileOnce) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "contents");
    const SystemCallFaults closes(SystemCallFaults::Call::CLOSE);
    {
        const FileInputStream input(path);
        EXPECT_EQ(0u, closes.getNumberOfCalls());
    }
    EXPECT_EQ(1u, closes.getNumberOfCalls());
}

TEST(FileInputStreamTest, noReadRequestsMoreThanOneSystemCallReads) {
    const TemporaryDirectory directory;
    FileInputStream input(directory.addFile("file", "contents"));
    const SystemCallFaults reads(SystemCallFaults::Call::READ);
    // On the heap: on the stack, so many bytes might extend beyond the address space, which the system checks.
    std::vector<char> data(8);
    // The file ends after eight bytes, so nothing is written after them, whatever size the read is given.
    EXPECT_EQ(8u, input.read(data.data(), size_t(1) << 40));
    EXPECT_EQ(size_t(0x7FFFF000), reads.getLargestRequest());
}
