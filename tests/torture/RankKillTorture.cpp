#include "tests/torture/RankKillTorture.h"

#include "tests/tools/melnar-dict-mpi/ProcessTree.h"
#include "tests/tools/melnar-dict-mpi/RankCommand.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/torture/LoadKillTorture.h"
#include "tests/torture/StartTool.h"

#include <csignal>

#include <sys/wait.h>

namespace {

constexpr size_t BYTES_OF_INPUT = size_t(11) << 18; // nearly three slices
constexpr size_t LARGEST_NUMBER_OF_RANKS = 4;

class RankKillTorture final : public LoadKillTorture {
public:
    RankKillTorture(const uint32_t seed, const std::string& folder, std::ostream& output, const std::string& executable)
        : LoadKillTorture(
              seed, folder, output, executable,
              {"loads by ranks",
               "killed-ranks",
               {{"after that", {ROWS, MANIFEST}},
                {"before both files were replaced", {"d/manifest.saving"}},
                {"while rows were written", {"T.npy.saving"}},
                {"while shards were saved", {"d/shard-", UNFINISHED, "d/work-manifest.saving"}},
                {"while pieces were taken in", {"d/work-"}},
                {"before anything", {}}},
               {"d/work-rows-0", "d/work-rows-1", "d/work-rows-3", "d/work-rows-5", UNFINISHED, UNFINISHED,
                "d/work-manifest.saving", "T.npy.saving", "T.npy.saving", "d/manifest.saving", MANIFEST, ROWS}}) {
        write("a.nt", makeTriples(0, BYTES_OF_INPUT));
        write("b.nt.gz", gzip(makeTriples(BYTES_OF_INPUT / 200, BYTES_OF_INPUT)));
        write("c.nt", makeTriples(BYTES_OF_INPUT / 100, BYTES_OF_INPUT)); // a part of it is known
        makeLoad({"a load of a new folder", {"load", "a.nt", "b.nt.gz", "c.nt", "-o", FOLDER, "--ids", ROWS}});
        require(
            ::startTool(MELNAR_DICT_EXECUTABLE, {"load", "a.nt", "--shards", "-o", FOLDER, "--ids", ROWS}, m_folder));
        makeLoad({"a load that adds to a folder", {"load", "c.nt", "b.nt.gz", "--into", FOLDER, "--ids", ROWS}, true});
    }

private:
    pid_t start(const Load& load) override {
        std::vector<std::string> arguments = load.m_arguments;
        for (const std::string& more : {std::string("--resume"), std::string("--wait"), std::string("--checkpoint"),
                                        std::to_string(1 + choose(4)) + "b"})
            arguments.push_back(more);
        return ::startTool(RUNNER_OF_RANKS,
                           makeRankCommand(arguments, {{1 + choose(LARGEST_NUMBER_OF_RANKS)}}, m_executable), m_folder);
    }

    /// The first run is by one process.
    pid_t startUndisturbed(const Load& load, const int run) override {
        if (run != 0)
            return start(load);
        std::vector<std::string> arguments = load.m_arguments;
        if (!load.m_isAdding)
            arguments.emplace_back("--shards");
        return ::startTool(MELNAR_DICT_EXECUTABLE, arguments, m_folder);
    }

    /// Stops the process that starts the ranks, so that none of them is missed.
    int kill(const pid_t process) override {
        ::kill(process, SIGSTOP);
        siginfo_t information{};
        ::waitid(P_PID, static_cast<id_t>(process), &information, WSTOPPED | WEXITED | WNOWAIT);
        const std::vector<pid_t> ranks = getChildren(process);
        const size_t victim = choose(ranks.size() + 1);
        ::kill(victim == ranks.size() ? process : ranks[victim], SIGKILL);
        ::kill(process, SIGCONT);
        const int status = waitForTool(process);
        waitForEnd(ranks);
        return status;
    }

    bool isOfKilled(const int status) const override {
        return WIFSIGNALED(status) ? WTERMSIG(status) == SIGKILL : WEXITSTATUS(status) == 128 + SIGKILL;
    }
};

} // namespace

bool tortureRanksByKills(const size_t numberOfKills, const uint32_t seed, const std::string& folder,
                         std::ostream& output, const std::string& executable) {
    return RankKillTorture(seed, folder, output, executable).run(numberOfKills);
}
