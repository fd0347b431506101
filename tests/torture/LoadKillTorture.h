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

/// Kills loads, and resumes them until they end, each time with other options. A kill comes when some file of the load
/// has changed some number of times, so kills meet every phase. After each kill, manifest and rows must both be old or
/// both new, and the folder must pass `verify`. At the end, folder and rows must be those of an undisturbed load, byte
/// by byte, with no other files.
///
/// A derived class decides what is started, with which options, and what is killed.
class LoadKillTorture : private Unmovable {
public:
    /// Prints each fault, and then a line that counts the kills of each phase. Returns whether there was no fault.
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
        bool m_isAdding = false; // repeated, it makes another folder
        Files m_old{};           // all files before
        Files m_new{};           // and after
    };

    /// The phase of a process when it was killed, and the files that only this phase and later ones change. A name that
    /// ends in '-' means all names that start like this.
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

    /// Starts a load with random options.
    virtual pid_t start(const Load& load) = 0;

    /// Starts it to find out its results: one run after the other.
    virtual pid_t startUndisturbed(const Load& load, int run) = 0;

    /// Kills a process of a load, if it still runs. Returns the status of the started process, when all have ended.
    virtual int kill(pid_t process) = 0;
    virtual bool isOfKilled(int status) const = 0;

    /// Adds a load, and runs it a few times to find out its results.
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
