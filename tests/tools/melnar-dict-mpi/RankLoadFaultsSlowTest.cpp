#include "tools/melnar-dict-mpi/RankLoadCommand.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/platform/Unmovable.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/FolderContents.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict-mpi/OnlyRank.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

// This process is the only rank of a run. So all that a load does can be made to fail, except what MPI does itself, and
// the allocations of the thread that reads.

namespace {

using Call = SystemCallFaults::Call;

/// The end of a whole run by MPI_Abort, which ends only the load here.
struct Abort {
    int m_exitCode;
};

} // namespace

/// The linker replaces MPI_Abort by this function. The first parameter is a pointer in Open MPI.
extern "C" int __wrap_MPI_Abort(void* communicator, int exitCode);

int __wrap_MPI_Abort(void*, const int exitCode) {
    throw Abort{exitCode};
}

namespace {

/// Takes what is written to std::cerr, while it exists.
class CapturedErrors : private Unmovable {
public:
    explicit CapturedErrors(const std::ostringstream& output) : m_before(std::cerr.rdbuf(output.rdbuf())) {}
    ~CapturedErrors() { std::cerr.rdbuf(m_before); }

private:
    std::streambuf* const m_before;
};

/// Ends what --memory-limit does to the whole process, so that later tests have all memory.
class KeptDataLimit : private Unmovable {
public:
    KeptDataLimit() { EXPECT_EQ(0, ::getrlimit(RLIMIT_DATA, &m_before)); }
    ~KeptDataLimit() { EXPECT_EQ(0, ::setrlimit(RLIMIT_DATA, &m_before)); }

private:
    struct rlimit m_before;
};

class RankLoadFaultsSlowTest : public testing::Test {
protected:
    using Contents = std::map<std::string, std::string>; // of files
    using Outcome = std::pair<ExitCode, std::string>;    // with the messages

    /// MPI starts before anything is counted.
    static void SetUpTestSuite() { static_cast<void>(getOnlyRank()); }

    RankLoadFaultsSlowTest() {
        std::string lines;
        std::string turtle = "@prefix e: <http://example.org/> .\n";
        for (int number = 0; number < 40; ++number) {
            const std::string text = std::to_string(number);
            lines += "<http://example.org/" + text + "> <a:p> \"text " + text + "\"@en .\n";
            turtle += "e:" + text + " a e:Thing ; e:next _:b" + text + " .\n";
        }
        m_directory.addFile("a.nt", lines);
        m_directory.addFile("b.ttl", turtle);
        EXPECT_EQ(Request::WORK, readCommandLine(describeRankLoad(m_options),
                                                 {getPath("a.nt"), getPath("b.ttl"), "-o", getPath("out/shards"),
                                                  "--ids", getPath("out/rows.npy"), "--memory-limit", "128M",
                                                  "--checkpoint", "1b", "--resume", "--quiet"}));
        m_options.m_load.m_base = "http://example.org/"; // else the path, which differs each time
    }

    ~RankLoadFaultsSlowTest() override { ::close(m_null); }

    std::string getPath(const std::string& name) const { return m_directory.getPathOf(name); }

    void removeOutputs() const {
        std::filesystem::remove_all(getPath("out"));
        std::filesystem::create_directory(getPath("out"));
    }

    Contents getOutputs() const { return getContentsOfFolder(getPath("out")); }

    Outcome load() {
        StandardOutput output(m_null);
        std::ostringstream errorOutput;
        const CapturedErrors errors(errorOutput);
        ExitCode exitCode = ExitCode::FAILURE;
        try {
            exitCode = runRankLoad(m_options, getOnlyRank(), output, errorOutput);
        } catch (const RankEnd& end) {
            exitCode = end.m_exitCode;
        } catch (const Abort& abort) {
            exitCode = static_cast<ExitCode>(abort.m_exitCode);
        }
        return {exitCode, errorOutput.str()};
    }

    /// Loads into a new folder, and again after each failure.
    FailureCounts loadWithFailures(const std::vector<Fault>& faults, const size_t step) {
        removeOutputs();
        EXPECT_EQ(Outcome(ExitCode::DONE, ""), load());
        const Contents expected = getOutputs();
        EXPECT_LT(2u, expected.size());
        size_t reports = 0;
        const FailureCounts counts = failEach(
            faults,
            [&](FailureRound& round) {
                removeOutputs();
                Outcome outcome;
                const bool isOver = round.attempt([&] { outcome = load(); });
                const bool isDone = isOver && outcome.first == ExitCode::DONE;
                EXPECT_EQ(isOver && !isDone, !outcome.second.empty()) << outcome.second;
                reports += isOver && !isDone;
                if (!isDone) {
                    const Contents left = getOutputs();
                    EXPECT_EQ(left.contains(std::string("shards/") + ShardManifest::FILE_NAME),
                              left.contains("rows.npy"))
                        << "both are old, or both are new";
                    EXPECT_EQ(Outcome(ExitCode::DONE, ""), load());
                }
                const Contents outputs = getOutputs();
                EXPECT_TRUE(std::ranges::includes(outputs, expected));
                EXPECT_TRUE(outputs.size() == expected.size() || (isDone && round.getFault().m_call == Call::UNLINK));
            },
            step);
        std::cout << "Loading by ranks: " << counts << ", of which " << reports << " were reported\n";
        return counts;
    }

    const KeptDataLimit m_dataLimit;
    const TemporaryDirectory m_directory;
    const int m_null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    RankLoadOptions m_options;
};

TEST_F(RankLoadFaultsSlowTest, anyCallOfALoadMayFail) {
    FailureCounts counts =
        loadWithFailures(ofCalls({Call::OPEN, Call::READ, Call::PREAD, Call::WRITE, Call::PWRITE, Call::FSTAT,
                                  Call::STAT, Call::FSYNC, Call::FDATASYNC, Call::RENAME, Call::FLOCK, Call::UNLINK},
                                 {EIO}),
                         97);
    counts += loadWithFailures(ofCalls({Call::MMAP, Call::MPROTECT}, {ENOMEM}), 1999);
    EXPECT_LT(10u, counts.m_failures);
}

/// Another rank may wait until this one has told its failure and ended the run.
TEST_F(RankLoadFaultsSlowTest, aFailureIsToldWithoutMemory) {
    const std::string cause = "a cause that is too long for a string without memory of its own";
    const std::exception_ptr failure = std::make_exception_ptr(ToolFailure(ExitCode::BAD_DATA, cause));
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        std::ostringstream errorOutput(std::string(1000, ' ')); // which has all memory that it needs
        ExitCode exitCode = ExitCode::DONE;
        {
            const CapturedErrors errors(errorOutput);
            EXPECT_TRUE(round.attempt([&] {
                try {
                    std::rethrow_exception(failure);
                } catch (...) {
                    exitCode = getOnlyRank().tellCurrentException();
                }
            }));
        }
        const bool isTold = exitCode == ExitCode::BAD_DATA;
        const std::string expected =
            "melnar-dict-mpi: " + (isTold ? cause : getOnlyRank().getName() + ": out of memory") + '\n';
        EXPECT_EQ(expected, errorOutput.str().substr(0, expected.size()));
        EXPECT_TRUE(isTold || exitCode == ExitCode::FAILURE);
        EXPECT_EQ(round.hasFailed(), !isTold);
    });
    EXPECT_LT(2u, counts.m_tolerated);
}

TEST_F(RankLoadFaultsSlowTest, anyAllocationOfALoadMayFail) {
    EXPECT_LT(10u, loadWithFailures(ofAllocations(), 1999).m_failures);
}

} // namespace
