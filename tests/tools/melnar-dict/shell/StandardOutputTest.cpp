#include "tools/melnar-dict/shell/StandardOutput.h"

#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

class StandardOutputTest : public testing::Test {
protected:
    StandardOutputTest()
        : m_path(m_directory.addFile("output", "")), m_fileDescriptor(::open(m_path.c_str(), O_WRONLY)),
          m_output(m_fileDescriptor) {}

    ~StandardOutputTest() override { ::close(m_fileDescriptor); }

    std::string getWritten() const { return TemporaryDirectory::getContentsOf(m_path); }

    const TemporaryDirectory m_directory;
    const std::string m_path;
    const int m_fileDescriptor;
    StandardOutput m_output;
};

TEST_F(StandardOutputTest, writesNothingBeforeItIsFlushed) {
    m_output.write("one ");
    m_output.write("two");
    EXPECT_EQ("", getWritten());
    m_output.flush();
    EXPECT_EQ("one two", getWritten());
    m_output.flush();
    EXPECT_EQ("one two", getWritten());
}

TEST_F(StandardOutputTest, doesNotCollectWithoutBounds) {
    const std::string line(1000, 'x');
    for (int count = 0; count < 1000; ++count)
        m_output.write(line);
    EXPECT_GT(getWritten().size(), 900000u);
    m_output.flush();
    EXPECT_EQ(std::string(1000000, 'x'), getWritten());
}

TEST_F(StandardOutputTest, writesOnAfterShortWritesAndInterruptions) {
    SystemCallFaults faults(SystemCallFaults::Call::WRITE);
    faults.shortenTo(3);
    faults.failAfter(1, EINTR, SystemCallFaults::Duration::ONCE);
    m_output.write("12345678");
    m_output.flush();
    EXPECT_EQ("12345678", getWritten());
    EXPECT_EQ(4u, faults.getNumberOfCalls());
}

TEST_F(StandardOutputTest, reportsThatNothingCanBeWritten) {
    SystemCallFaults faults(SystemCallFaults::Call::WRITE);
    faults.failAfter(0, ENOSPC, SystemCallFaults::Duration::FOR_GOOD);
    m_output.write("text");
    const auto failure = catchException<ToolFailure>([&] { m_output.flush(); });
    EXPECT_STREQ("standard output: No space left on device", failure.what());
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
    EXPECT_EQ("", getWritten());
}

TEST_F(StandardOutputTest, writesNothingTwiceAfterAFailure) {
    SystemCallFaults faults(SystemCallFaults::Call::WRITE);
    faults.shortenTo(3);
    faults.failAfter(1, EAGAIN, SystemCallFaults::Duration::ONCE);
    m_output.write("12345678");
    EXPECT_THROW(m_output.flush(), ToolFailure);
    m_output.write("9");
    m_output.flush();
    EXPECT_EQ("1239", getWritten());
}

} // namespace
