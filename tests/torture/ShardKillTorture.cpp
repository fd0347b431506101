#include "tests/torture/ShardKillTorture.h"

#include "tests/torture/LoadKillTorture.h"
#include "tests/torture/StartTool.h"

#include <array>
#include <csignal>

#include <sys/wait.h>

namespace {

constexpr size_t BYTES_OF_INPUT = size_t(5) << 18; // a block and a quarter

class ShardKillTorture final : public LoadKillTorture {
public:
    ShardKillTorture(const uint32_t seed, const std::string& folder, std::ostream& output,
                     const std::string& executable)
        : LoadKillTorture(seed, folder, output, executable,
                          {"loads of shards",
                           "killed-shards",
                           {{"after that", {ROWS, MANIFEST}},
                            {"before both files were replaced", {"d/manifest.saving"}},
                            {"while rows were written, or shards after them", {"T.npy.saving"}},
                            {"while shards resolved spilled terms", {"d/work-ids-"}},
                            {"while an unfinished load was saved", {"d/shard-", UNFINISHED, "d/work-manifest.saving"}},
                            {"while blocks were taken in", {"d/work-"}},
                            {"before anything", {}}},
                           {"d/work-rows", "d/work-terms-", UNFINISHED, "d/work-manifest.saving", "d/work-ids-",
                            "d/work-ids-", "T.npy.saving", "T.npy.saving", "d/manifest.saving", MANIFEST, ROWS}}) {
        write("a.nt", makeTriples(0, BYTES_OF_INPUT));
        write("b.nt", makeTriples(BYTES_OF_INPUT / 100, BYTES_OF_INPUT)); // a part of it is known
        makeLoad({"a load of a new folder", {"load", "a.nt", "b.nt", "--shards", "-o", FOLDER}});
        require(startTool({"load", "a.nt", "--shards", "-o", FOLDER, "--ids", ROWS}));
        makeLoad({"a load that adds to a folder", {"load", "b.nt", "--into", FOLDER}, true});
    }

private:
    pid_t start(const Load& load) override {
        std::vector<std::string> arguments = load.m_arguments;
        const size_t threads = 1 + choose(3);
        // With little memory, terms are spilled from the start; with more, from some point on; with the most, never.
        const size_t megabytes = std::array<size_t, 3>{50 + 24 * threads, 80 + 24 * threads, 1000}[choose(3)];
        for (const std::string& more :
             {std::string("--ids"), std::string(ROWS), std::string("--threads"), std::to_string(threads),
              std::string("--memory-limit"), std::to_string(megabytes) + "M", std::string("--wait"),
              std::string("--checkpoint"), std::to_string(1 + choose(3)) + "b"})
            arguments.push_back(more);
        return startTool(arguments);
    }

    pid_t startUndisturbed(const Load& load, int) override { return start(load); }

    int kill(const pid_t process) override {
        ::kill(process, SIGKILL);
        return waitForTool(process);
    }

    bool isOfKilled(const int status) const override { return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL; }
};

} // namespace

bool tortureShardsByKills(const size_t numberOfKills, const uint32_t seed, const std::string& folder,
                          std::ostream& output, const std::string& executable) {
    return ShardKillTorture(seed, folder, output, executable).run(numberOfKills);
}
