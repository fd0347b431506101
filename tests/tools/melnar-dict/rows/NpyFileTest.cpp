#include "tools/melnar-dict/rows/NpyFile.h"

#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

class NpyFileTest : public testing::Test {
protected:
    NpyFileTest() { m_history.add(2, {1, 2}); }

    /// Writes IDs from `first` on, in pieces of any size.
    void write(const RowLayout& layout, const size_t rows, const size_t finalWidth, const uint64_t first = 0) {
        std::ostringstream errorOutput;
        OutputLock lock(m_path, false, errorOutput);
        OutputFile file(lock);
        NpyFile npy(file, layout);
        std::vector<uint64_t> ids;
        for (size_t index = 0; index < rows * layout.m_columns; ++index)
            ids.push_back(first + index);
        std::string bytes;
        appendIDs(ids, layout.m_idWidth, bytes);
        for (size_t begin = 0; begin < bytes.size(); begin += 100001)
            npy.getStream().write(bytes.data() + begin, std::min<size_t>(100001, bytes.size() - begin));
        npy.prepare(m_history, finalWidth);
        EXPECT_FALSE(std::filesystem::exists(m_path));
        file.commit();
    }

    /// Returns the expected file with these IDs.
    std::string getExpected(const RowLayout& layout, const size_t rows) const {
        std::string line = DictionaryLine::make(m_history);
        line.pop_back();
        std::string bytes = NpyHeader{layout, false, rows, line}.toBytes();
        std::vector<uint64_t> ids;
        for (size_t index = 0; index < rows * layout.m_columns; ++index)
            ids.push_back(index);
        appendIDs(ids, layout.m_idWidth, bytes);
        return bytes;
    }

    DictionaryHistory m_history;
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("T.npy");
};

TEST_F(NpyFileTest, hasHeaderAndRowsInAnyLayout) {
    for (const size_t columns : {3u, 4u})
        for (const size_t width : {4u, 8u})
            for (const size_t rows : {0u, 1u, 100000u}) {
                write({columns, width}, rows, width);
                EXPECT_TRUE(getExpected({columns, width}, rows) == TemporaryDirectory::getContentsOf(m_path));
                std::filesystem::remove(m_path);
            }
}

TEST_F(NpyFileTest, wideIDsAreNarrowedInTheirPlace) {
    for (const size_t rows : {0u, 1u, 10922u, 10923u, 100000u}) { // one step holds 32768 IDs
        write({3, 8}, rows, 4);
        EXPECT_TRUE(getExpected({3, 4}, rows) == TemporaryDirectory::getContentsOf(m_path)) << rows;
        std::filesystem::remove(m_path);
    }
    write({4, 4}, 10, 8);
    EXPECT_TRUE(getExpected({4, 4}, 10) == TemporaryDirectory::getContentsOf(m_path)) << "nothing is widened";
}

/// Other processes write where the existing rows end, after the bytes of the header.
TEST_F(NpyFileTest, rowsThatOtherProcessesWriteAreCounted) {
    const RowLayout layout{3, 8};
    const std::string expected = getExpected(layout, 5000);
    for (const size_t rowsBefore : {0u, 1u, 2000u})
        for (const size_t rowsOfOthers : {0u, 1u, 3000u}) {
            const size_t rowSize = layout.getRowSize();
            {
                std::ostringstream errorOutput;
                OutputLock lock(m_path, false, errorOutput);
                OutputFile file(lock);
                NpyFile npy(file, layout);
                npy.getStream().write(expected.data() + NpyHeader::SIZE, rowsBefore * rowSize);
                npy.getStream().flush();
                const size_t begin = NpyHeader::SIZE + rowsBefore * rowSize;
                std::fstream(m_path + ".saving", std::ios::binary | std::ios::in | std::ios::out)
                    .seekp(static_cast<std::streamoff>(begin))
                    .write(expected.data() + begin, static_cast<std::streamsize>(rowsOfOthers * rowSize));
                npy.noteRows(rowsOfOthers);
                npy.prepare(m_history);
                file.commit();
            }
            EXPECT_TRUE(getExpected(layout, rowsBefore + rowsOfOthers) == TemporaryDirectory::getContentsOf(m_path))
                << rowsBefore << " and " << rowsOfOthers;
        }
}

TEST_F(NpyFileTest, shortWritesAndReadsAreContinued) {
    SystemCallFaults writes(Call::PWRITE);
    SystemCallFaults reads(Call::PREAD);
    writes.shortenTo(1000);
    reads.shortenTo(999);
    write({3, 8}, 5000, 4);
    EXPECT_TRUE(getExpected({3, 4}, 5000) == TemporaryDirectory::getContentsOf(m_path));
    EXPECT_GT(writes.getNumberOfCalls(), 60u);
    EXPECT_GT(reads.getNumberOfCalls(), 120u);
}

TEST_F(NpyFileTest, anIDThatIsTooLargeAfterAllLeavesTheOldFile) {
    m_directory.addFile("T.npy", "old");
    std::ostringstream errorOutput;
    {
        OutputLock lock(m_path, false, errorOutput);
        OutputFile file(lock);
        NpyFile npy(file, {3, 8});
        std::string bytes;
        appendIDs(std::vector<uint64_t>{1, 2, uint64_t(1) << 32}, 8, bytes);
        npy.getStream().write(bytes.data(), bytes.size());
        EXPECT_EQ(ExitCode::FAILURE, catchException<ToolFailure>([&] { npy.prepare(m_history, 4); }).getExitCode());
    }
    EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
    EXPECT_FALSE(std::filesystem::exists(m_path + ".saving"));
}

TEST_F(NpyFileTest, aRowThatIsNotWholeIsRefused) {
    std::ostringstream errorOutput;
    OutputLock lock(m_path, false, errorOutput);
    OutputFile file(lock);
    NpyFile npy(file, {3, 4});
    npy.getStream().write("12345678", 8);
    EXPECT_THROW(npy.prepare(m_history), std::logic_error);
}

TEST_F(NpyFileTest, eachFailureNamesTheFileAndLeavesTheOldOne) {
    struct Failure {
        Call m_call;
        size_t m_occurrence;
        int m_errorCode;
        long m_line;
    };
    const Failure failures[] = {
        {Call::WRITE, 1, ENOSPC, 58},   {Call::PREAD, 1, EIO, 114},     {Call::PWRITE, 0, ENOSPC, 101},
        {Call::PWRITE, 1, ENOSPC, 101}, {Call::FTRUNCATE, 0, EIO, 128}, {Call::FSYNC, 0, EIO, 68},
    };
    for (const Failure& failure : failures) {
        m_directory.addFile("T.npy", "old");
        SystemCallFaults faults(failure.m_call);
        faults.failAfter(failure.m_occurrence, failure.m_errorCode, Duration::ONCE);
        const auto exception = catchException<SystemCallException>([&] {
            std::ostringstream errorOutput;
            OutputLock lock(m_path, false, errorOutput);
            OutputFile file(lock);
            NpyFile npy(file, {3, 8});
            const std::string rows(100 * 24, '\0');
            npy.getStream().write(rows.data(), rows.size());
            npy.prepare(m_history, 4);
            file.commit();
        });
        EXPECT_EQ(failure.m_errorCode, exception.getErrorCode());
        EXPECT_EQ(failure.m_line, exception.getSourceLineNumber()) << exception.what();
        EXPECT_NE(std::string::npos, exception.getMessage().find(m_path + ".saving")) << exception.getMessage();
        EXPECT_EQ("old", TemporaryDirectory::getContentsOf(m_path));
        EXPECT_FALSE(std::filesystem::exists(m_path + ".saving"));
    }
}

/// Returns the interpreter that has NumPy; empty if there is none.
std::string findPython() {
    for (const std::string python : {"/usr/bin/python3", "python3"})
        if (std::system((python + " -c 'import numpy' 2>/dev/null").c_str()) == 0) // NOLINT(cert-env33-c)
            return python;
    return "";
}

TEST_F(NpyFileTest, numPyReadsRowsFromAPipeAndFromAFile) {
    const std::string python = findPython();
    if (python.empty())
        GTEST_SKIP() << "no Python with NumPy here";
    const std::string program = m_directory.addFile("check.py", R"(import sys, numpy
path = sys.argv[1]
array = numpy.frombuffer(sys.stdin.buffer.read(), '<u4') if path == '-' else numpy.fromfile(path, '<u4')
array = array.reshape(-1, 3)
assert array.tolist() == [[1, 2, 3], [1, 2, 4], [5, 2, 1]], array
)");
    const std::string input =
        m_directory.addFile("in.nt", "<a:s> <a:p> <a:o> .\n<a:s> <a:p> \"x\" .\n_:b <a:p> <a:s> .\n");
    const std::string dictionary = m_directory.getPathOf("d");
    const std::string rows = m_directory.getPathOf("rows");
    const std::string tool = std::string(MELNAR_DICT_EXECUTABLE) + " ";
    for (const std::string& command : {tool + "load --quiet --ids - -o " + dictionary + ' ' + input,
                                       tool + "encode -d " + dictionary + " -o - " + input})
        for (const std::string& whole : {command + " | " + python + ' ' + program + " -",
                                         command + " > " + rows + " && " + python + ' ' + program + ' ' + rows})
            EXPECT_EQ(0, std::system(whole.c_str())) << whole; // NOLINT(cert-env33-c)
}

TEST_F(NpyFileTest, numPyReadsIt) {
    const std::string python = findPython();
    if (python.empty())
        GTEST_SKIP() << "no Python with NumPy here";
    const std::string program = m_directory.addFile("check.py", R"(import sys, numpy
path, dtype, rows, columns = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
for mode in None, 'r':
    array = numpy.load(path, mmap_mode=mode)
    assert array.dtype.str == dtype, array.dtype.str
    assert array.shape == (rows, columns), array.shape
    assert not array.flags.f_contiguous or rows <= 1
    assert (array.reshape(-1) == numpy.arange(rows * columns)).all()
    assert (mode is None) or isinstance(array, numpy.memmap) or rows == 0
)");
    for (const size_t columns : {3u, 4u})
        for (const size_t width : {4u, 8u})
            for (const size_t rows : {1u, 2u, 54321u}) {
                write({columns, 8}, rows, width);
                const std::string command = python + " " + program + " " + m_path + " '<u" + std::to_string(width) +
                                            "' " + std::to_string(rows) + " " + std::to_string(columns);
                EXPECT_EQ(0, std::system(command.c_str())) << command; // NOLINT(cert-env33-c)
                std::filesystem::remove(m_path);
            }
}

} // namespace
