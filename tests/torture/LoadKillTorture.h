#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "tests/torture/Findings.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <sys/types.h>

/// Kills loads, and goes on with them until they end, each time with other options. A kill comes when some file of the load
/// has changed some number of times, so that it meets every phase. After each kill manifest and rows must both be old or both
/// new, and the folder must pass `verify`. In the end folder and rows must be those of a load that nobody disturbed, byte by
/// byte, with no other files.
///
/// Who derives from it says what is started, with which options, and what is killed of it.
class LoadKillTorture : private Unmovable {
public:
    /// Prints what is not so, and then a line that counts the kills of each phase. Returns whether all is so.
    bool run(size_t numberOfKills);

protected:
    static constexpr const char* FOLDER = "d";
    static constexpr const char* MANIFEST = "d/manifest";
    static constexpr const char* UNFINISHED = "d/work-manifest";
    static constexpr const char* ROWS = "T.npy";

    using Files = std::map<std::string, std::string>; // contents by names

    /// A command line that makes a folder and rows.
    struct Load {
        std::string m_name;
        std::vector<std::string> m_arguments;
        bool m_isAdding = false; // so that, given once more, it makes another folder
        Files m_old{};           // all files before
        Files m_new{};           // and after
    };

    /// What a process was at when it was killed, and the files that only it and later phases change. Where the name ends in '-'
    /// all are meant that begin so.
    struct Phase {
        const char* m_name;
        std::vector<std::string> m_files;
        size_t m_kills = 0;
    };

    struct Kind {
        std::string m_name;
        std::string m_folderName;
        std::vector<Phase> m_phases;        // the last one first
        std::vector<std::string> m_awaited; // files whose change a kill awaits; after '-' comes the number of a shard
    };

    LoadKillTorture(uint32_t seed, const std::string& folder, std::ostream& output, const std::string& executable,
                    Kind kind);
    virtual ~LoadKillTorture() = default;

    /// Starts a load with options that chance chooses.
    virtual pid_t start(const Load& load) = 0;

    /// Starts it to know what it makes: one run after the other.
    virtual pid_t startUndisturbed(const Load& load, int run) = 0;

    /// Kills something of a load, if it still runs. Returns the status of what was started, when all has ended.
    virtual int kill(pid_t process) = 0;
    virtual bool isOfKilled(int status) const = 0;

    /// Adds a load, and runs it a few times to know what it makes.
    void makeLoad(Load load);

    static std::string makeTriples(size_t begin, size_t numberOfBytes);
    void write(const std::string& name, const std::string& contents) const;
    void require(pid_t process) const;
    pid_t startTool(const std::vector<std::string>& arguments) const;
    size_t choose(const size_t end) { return m_random() % end; }

    const uint32_t m_seed;
    const std::string m_executable;
    const std::string m_folder;

private:
    using Times = std::map<std::string, std::filesystem::file_time_type>;

    std::string pathOf(const std::string& name) const { return m_folder + "/" + name; }
    Times readTimes() const;
    void restore(const Load& load) const;
    bool disturb(const Load& load, size_t numberOfKills);
    void awaitMoment(pid_t process);
    void waitForLocks() const;
    Phase& getPhase(const Times& before);
    bool checkKilled(const Load& load, const std::string& name);

    Kind m_kind;
    Findings m_findings;
    std::mt19937 m_random;
    std::vector<Load> m_loads;
    size_t m_kills = 0;
    size_t m_goingOn = 0;
    size_t m_loadsDone = 0;
};
