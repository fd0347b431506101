#include "tests/torture/ShardKillTorture.h"

#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/FolderContents.h"
#include "tests/torture/Findings.h"
#include "tests/torture/StartTool.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/wait.h>

namespace {

constexpr size_t BYTES_OF_INPUT = size_t(5) << 18;    // a block and a quarter
constexpr size_t STATEMENTS_OF_A_LITERAL = 400;       // so that a block has new terms for some shards, not for all
constexpr size_t LARGEST_NUMBER_OF_KILLS_OF_LOAD = 8; // so that it ends, however early they come

constexpr const char* FOLDER = "d";
constexpr const char* MANIFEST = "d/manifest";
constexpr const char* UNFINISHED = "d/work-manifest";
constexpr const char* ROWS = "T.npy";

using Files = std::map<std::string, std::string>; // contents by names
using Times = std::map<std::string, std::filesystem::file_time_type>;

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

std::vector<Phase> makePhases() {
    return {{"after that", {ROWS, MANIFEST}},
            {"before both files were replaced", {"d/manifest.saving"}},
            {"while rows were written, or shards after them", {"T.npy.saving"}},
            {"while shards resolved what was put aside", {"d/work-ids-"}},
            {"while an unfinished load was saved", {"d/shard-", UNFINISHED, "d/work-manifest.saving"}},
            {"while blocks were taken in", {"d/work-"}},
            {"before anything", {}}};
}

/// Files whose change a kill awaits; where the name ends in '-' the number of a shard follows.
const std::vector<std::string> AWAITED{
    "d/work-rows", "d/work-terms-", UNFINISHED,     "d/work-manifest.saving", "d/work-ids-",
    "d/work-ids-", "T.npy.saving",  "T.npy.saving", "d/manifest.saving",      MANIFEST,
    ROWS};

std::string makeTriples(const size_t begin) {
    std::string text;
    for (size_t number = begin; text.size() < BYTES_OF_INPUT; ++number)
        text += "<urn:s" + std::to_string(number % 50) + "> <urn:p> \"literal " +
                std::to_string(number / STATEMENTS_OF_A_LITERAL) + "\"@en .\n_:b" + std::to_string(number % 70) +
                " <urn:p" + std::to_string(number % 7) + "> <urn:o" + std::to_string(number / STATEMENTS_OF_A_LITERAL) +
                "> .\n";
    return text;
}

class ShardKillTorture {
public:
    ShardKillTorture(const uint32_t seed, const std::string& folder, std::ostream& output,
                     const std::string& executable)
        : m_seed(seed), m_executable(executable), m_folder(std::filesystem::absolute(folder) / "killed-shards"),
          m_findings(output), m_random(seed), m_phases(makePhases()) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
        write("a.nt", makeTriples(0));
        write("b.nt", makeTriples(BYTES_OF_INPUT / 100)); // a part of which is known
        makeLoad({"a load of a new folder", {"load", "a.nt", "b.nt", "--shards", "-o", FOLDER}});
        require({"load", "a.nt", "--shards", "-o", FOLDER, "--ids", ROWS});
        makeLoad({"a load that adds to a folder", {"load", "b.nt", "--into", FOLDER}, true});
    }

    bool run(const size_t numberOfKills) {
        for (size_t number = 0; m_kills < numberOfKills; ++number)
            if (!disturb(m_loads[number % m_loads.size()], numberOfKills))
                break;
        std::string phases;
        for (auto phase = m_phases.rbegin(); phase != m_phases.rend(); ++phase)
            phases += withCommas(phase->m_kills) + ' ' + phase->m_name + ", ";
        return m_findings.finish(m_kills, "kills of loads of shards", "each went on to what an undisturbed load makes",
                                 " (" + phases + withCommas(m_goingOn) + " starts went on, " + withCommas(m_loadsDone) +
                                     " loads done)") &&
               m_kills >= numberOfKills;
    }

private:
    std::string pathOf(const std::string& name) const { return m_folder + "/" + name; }

    void write(const std::string& name, const std::string& contents) const {
        std::ofstream(pathOf(name), std::ios::binary) << contents;
    }

    pid_t start(const std::vector<std::string>& arguments) const {
        return startTool(m_executable, arguments, m_folder);
    }

    void require(const std::vector<std::string>& arguments) const {
        if (waitForTool(start(arguments)) != 0)
            throw std::runtime_error("the tool fails to " + arguments.front());
    }

    Times readTimes() const {
        Times times;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder))
            times[entry.path().lexically_relative(m_folder)] = entry.last_write_time();
        return times;
    }

    /// Leaves what lies beside the files, such as temporary ones, for the next process.
    void restore(const Load& load) const {
        std::filesystem::remove_all(pathOf(FOLDER));
        std::filesystem::remove(pathOf(ROWS));
        if (load.m_old.contains(MANIFEST))
            std::filesystem::create_directory(pathOf(FOLDER));
        for (const auto& [name, contents] : load.m_old)
            if (name != FOLDER)
                write(name, contents);
    }

    size_t choose(const size_t end) { return m_random() % end; }

    std::vector<std::string> getArguments(const Load& load) {
        std::vector<std::string> arguments = load.m_arguments;
        const size_t threads = 1 + choose(3);
        // With the least memory terms are put aside from the start, with more from somewhere on, with the most none are.
        const size_t megabytes = std::array<size_t, 3>{50 + 24 * threads, 80 + 24 * threads, 1000}[choose(3)];
        for (const std::string& more :
             {std::string("--ids"), std::string(ROWS), std::string("--threads"), std::to_string(threads),
              std::string("--memory-limit"), std::to_string(megabytes) + "M", std::string("--wait"),
              std::string("--checkpoint"), std::to_string(1 + choose(3)) + "b"})
            arguments.push_back(more);
        return arguments;
    }

    /// Runs a load a few times to know what it makes.
    void makeLoad(Load load) {
        load.m_old = getContentsOfFolder(m_folder);
        for (int run = 0; run < 3; ++run) {
            restore(load);
            require(getArguments(load));
            Files files = getContentsOfFolder(m_folder);
            if (run != 0 && files != load.m_new)
                m_findings.add(load.m_name + " makes other files with other threads and memory");
            load.m_new = std::move(files);
        }
        restore(load);
        m_loads.push_back(std::move(load));
    }

    /// Kills a load, and gives its command again, until it is done. Returns false if it fails.
    bool disturb(const Load& load, const size_t numberOfKills) {
        restore(load);
        const size_t mostKills = 1 + choose(LARGEST_NUMBER_OF_KILLS_OF_LOAD);
        for (size_t kills = 0;; ++kills) {
            const std::string name = "MELNAR_SEED=" + std::to_string(m_seed) + " load " + std::to_string(m_loadsDone) +
                                     ", " + load.m_name + ", after " + std::to_string(kills) + " kills";
            m_goingOn += std::filesystem::exists(pathOf(UNFINISHED));
            const Times times = readTimes();
            const pid_t process = start(getArguments(load));
            if (kills < mostKills && m_kills < numberOfKills) {
                awaitMoment(process);
                ::kill(process, SIGKILL);
            }
            const int status = waitForTool(process);
            waitForLocks();
            if (status == 0) {
                ++m_loadsDone;
                if (const std::string file = findDifference(getContentsOfFolder(m_folder), load.m_new); !file.empty())
                    m_findings.add(name + ": it leaves another file " + file);
                return true;
            }
            if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
                m_findings.add(name + ": it fails with status " + std::to_string(status));
                return false;
            }
            ++m_kills;
            ++getPhase(times).m_kills;
            if (checkKilled(load, name + " and one more") && load.m_isAdding) {
                ++m_loadsDone;
                return true;
            }
        }
    }

    /// Waits until a file that chance chooses has changed a few times, if it does before the process ends.
    void awaitMoment(const pid_t process) {
        const size_t choice = choose(AWAITED.size() + 1);
        if (choice == AWAITED.size())
            return;
        std::string path = pathOf(AWAITED[choice]);
        if (path.ends_with('-')) {
            std::array<char, 3> number{};
            std::snprintf(number.data(), number.size(), "%02x", static_cast<unsigned>(choose(256)));
            path += number.data();
        }
        const auto readTime = [&path] {
            std::error_code error; // gives a time of its own
            return std::filesystem::last_write_time(path, error);
        };
        size_t changes = 1 + choose(3);
        for (auto time = readTime(); changes != 0 && !hasToolEnded(process);) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            if (const auto newTime = readTime(); newTime != time) {
                time = newTime;
                --changes;
            }
        }
    }

    /// What replaces both files may outlive the killed process, and has its locks meanwhile.
    void waitForLocks() const {
        const auto wait = [](const std::string&, const std::function<void()>& waitForHolder) { waitForHolder(); };
        const FileLock lockOfRows(pathOf(ROWS), wait);
        if (std::filesystem::exists(pathOf(FOLDER)))
            const FileLock lockOfFolder(pathOf(MANIFEST), wait);
    }

    /// The last phase whose files the killed process has changed.
    Phase& getPhase(const Times& before) {
        const Times times = readTimes();
        const auto isChanged = [&](const std::string& file) {
            return std::ranges::any_of(times, [&](const auto& entry) {
                const auto& [name, time] = entry;
                const auto old = before.find(name);
                return (file.ends_with('-') ? name.starts_with(file) : name == file) &&
                       (old == before.end() || old->second != time);
            });
        };
        for (Phase& phase : m_phases)
            if (std::ranges::any_of(phase.m_files, isChanged))
                return phase;
        return m_phases.back();
    }

    /// Returns the name of a file that is missing, that is another one, or that should not be there; empty if there is none.
    static std::string findDifference(const Files& files, const Files& expected) {
        for (const auto& [name, contents] : files)
            if (const auto file = expected.find(name); file == expected.end() || file->second != contents)
                return name;
        for (const auto& [name, contents] : expected)
            if (!files.contains(name))
                return name;
        return "";
    }

    /// Checks what a killed process leaves. Returns whether the load is done nevertheless.
    bool checkKilled(const Load& load, const std::string& name) {
        const Files files = getContentsOfFolder(m_folder);
        const auto getContents = [](const Files& ofFiles, const char* const fileName) {
            const auto file = ofFiles.find(fileName);
            return file == ofFiles.end() ? std::string() : file->second;
        };
        const auto isOf = [&](const Files& state) {
            return getContents(files, MANIFEST) == getContents(state, MANIFEST) &&
                   getContents(files, ROWS) == getContents(state, ROWS);
        };
        const bool isNew = isOf(load.m_new);
        if (!isNew && !isOf(load.m_old))
            m_findings.add(name + ": manifest and rows are neither both old nor both new");
        for (const auto& [fileName, contents] : isNew ? load.m_new : load.m_old)
            if (getContents(files, fileName.c_str()) != contents)
                m_findings.add(name + ": the file " + fileName + " is gone, or another one");
        if (files.contains(MANIFEST) && waitForTool(start({"verify", FOLDER})) != 0)
            m_findings.add(name + ": the folder cannot be read");
        return isNew;
    }

    const uint32_t m_seed;
    const std::string m_executable;
    const std::string m_folder;
    Findings m_findings;
    std::mt19937 m_random;
    std::vector<Phase> m_phases; // the last one first
    std::vector<Load> m_loads;
    size_t m_kills = 0;
    size_t m_goingOn = 0;
    size_t m_loadsDone = 0;
};

} // namespace

bool tortureShardsByKills(const size_t numberOfKills, const uint32_t seed, const std::string& folder,
                          std::ostream& output, const std::string& executable) {
    return ShardKillTorture(seed, folder, output, executable).run(numberOfKills);
}
