#include "tests/torture/LoadKillTorture.h"

#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/FolderContents.h"
#include "tests/torture/StartTool.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace {

constexpr size_t STATEMENTS_OF_A_LITERAL = 400;       // so a block has new terms for some shards, not for all
constexpr size_t LARGEST_NUMBER_OF_KILLS_OF_LOAD = 8; // so that it ends even if they come early

/// Returns the name of a file that is missing, that is another one, or that should not be there; empty if there is
/// none.
std::string findDifference(const std::map<std::string, std::string>& files,
                           const std::map<std::string, std::string>& expected) {
    for (const auto& [name, contents] : files)
        if (const auto file = expected.find(name); file == expected.end() || file->second != contents)
            return name;
    for (const auto& [name, contents] : expected)
        if (!files.contains(name))
            return name;
    return "";
}

} // namespace

LoadKillTorture::LoadKillTorture(const uint32_t seed, const std::string& folder, std::ostream& output,
                                 const std::string& executable, Kind kind)
    : m_seed(seed), m_executable(executable), m_folder(std::filesystem::absolute(folder) / kind.m_folderName),
      m_kind(std::move(kind)), m_findings(output), m_random(seed) {
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directory(m_folder);
}

bool LoadKillTorture::run(const size_t numberOfKills) {
    for (size_t number = 0; m_kills < numberOfKills; ++number)
        if (!disturb(m_loads[number % m_loads.size()], numberOfKills))
            break;
    std::string phases;
    for (auto phase = m_kind.m_phases.rbegin(); phase != m_kind.m_phases.rend(); ++phase)
        phases += withCommas(phase->m_kills) + ' ' + phase->m_name + ", ";
    return m_findings.finish(m_kills, "kills of " + m_kind.m_name, "each went on to what an undisturbed load makes",
                             " (" + phases + withCommas(m_goingOn) + " starts went on, " + withCommas(m_loadsDone) +
                                 " loads done)") &&
           m_kills >= numberOfKills;
}

std::string LoadKillTorture::makeTriples(const size_t begin, const size_t numberOfBytes) {
    std::string text;
    for (size_t number = begin; text.size() < numberOfBytes; ++number)
        text += "<urn:s" + std::to_string(number % 50) + "> <urn:p> \"literal " +
                std::to_string(number / STATEMENTS_OF_A_LITERAL) + "\"@en .\n_:b" + std::to_string(number % 70) +
                " <urn:p" + std::to_string(number % 7) + "> <urn:o" + std::to_string(number / STATEMENTS_OF_A_LITERAL) +
                "> .\n";
    return text;
}

void LoadKillTorture::write(const std::string& name, const std::string& contents) const {
    std::ofstream(pathOf(name), std::ios::binary) << contents;
}

void LoadKillTorture::require(const pid_t process) const {
    if (waitForTool(process) != 0)
        throw std::runtime_error("the tool fails");
}

pid_t LoadKillTorture::startTool(const std::vector<std::string>& arguments) const {
    return ::startTool(m_executable, arguments, m_folder);
}

LoadKillTorture::Times LoadKillTorture::readTimes() const {
    Times times;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder))
        times[entry.path().lexically_relative(m_folder)] = entry.last_write_time();
    return times;
}

/// Leaves other files, such as temporary ones, for the next process.
void LoadKillTorture::restore(const Load& load) const {
    std::filesystem::remove_all(pathOf(FOLDER));
    std::filesystem::remove(pathOf(ROWS));
    if (load.m_old.contains(MANIFEST))
        std::filesystem::create_directory(pathOf(FOLDER));
    for (const auto& [name, contents] : load.m_old)
        if (name != FOLDER)
            write(name, contents);
}

void LoadKillTorture::makeLoad(Load load) {
    load.m_old = getContentsOfFolder(m_folder);
    for (int run = 0; run < 3; ++run) {
        restore(load);
        require(startUndisturbed(load, run));
        Files files = getContentsOfFolder(m_folder);
        if (run != 0 && files != load.m_new)
            m_findings.add(load.m_name + " does not always make the same files");
        load.m_new = std::move(files);
    }
    restore(load);
    m_loads.push_back(std::move(load));
}

bool LoadKillTorture::disturb(const Load& load, const size_t numberOfKills) {
    restore(load);
    const size_t mostKills = 1 + choose(LARGEST_NUMBER_OF_KILLS_OF_LOAD);
    for (size_t kills = 0;; ++kills) {
        const std::string name = "MELNAR_SEED=" + std::to_string(m_seed) + " load " + std::to_string(m_loadsDone) +
                                 ", " + load.m_name + ", after " + std::to_string(kills) + " kills";
        m_goingOn += std::filesystem::exists(pathOf(UNFINISHED));
        const Times times = readTimes();
        const pid_t process = start(load);
        const bool isToBeKilled = kills < mostKills && m_kills < numberOfKills;
        if (isToBeKilled)
            awaitMoment(process);
        const int status = isToBeKilled ? kill(process) : waitForTool(process);
        waitForLocks();
        if (status == 0) {
            ++m_loadsDone;
            if (const std::string file = findDifference(getContentsOfFolder(m_folder), load.m_new); !file.empty())
                m_findings.add(name + ": it leaves another file " + file);
            return true;
        }
        if (!isToBeKilled || !isOfKilled(status)) {
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

void LoadKillTorture::awaitMoment(const pid_t process) {
    const size_t choice = choose(m_kind.m_awaited.size() + 1);
    if (choice == m_kind.m_awaited.size())
        return;
    std::string path = pathOf(m_kind.m_awaited[choice]);
    if (path.ends_with('-')) {
        std::array<char, 3> number{};
        std::snprintf(number.data(), number.size(), "%02x", static_cast<unsigned>(choose(256)));
        path += number.data();
    }
    const auto readTime = [&path] {
        std::error_code error; // gives a special time
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

/// Waits for the process that replaces both files, which may outlive the killed one and has its locks.
void LoadKillTorture::waitForLocks() const {
    const auto wait = [](const std::string&, const std::function<void()>& waitForHolder) { waitForHolder(); };
    const FileLock lockOfRows(pathOf(ROWS), wait);
    if (std::filesystem::exists(pathOf(FOLDER)))
        const FileLock lockOfFolder(pathOf(MANIFEST), wait);
}

/// A file name that ends in '-' means all names that start like this.
LoadKillTorture::Phase& LoadKillTorture::getPhase(const Times& before) {
    const Times times = readTimes();
    const auto isChanged = [&](const std::string& file) {
        return std::ranges::any_of(times, [&](const auto& entry) {
            const auto& [name, time] = entry;
            const auto old = before.find(name);
            return (file.ends_with('-') ? name.starts_with(file) : name == file) &&
                   (old == before.end() || old->second != time);
        });
    };
    for (Phase& phase : m_kind.m_phases)
        if (std::ranges::any_of(phase.m_files, isChanged))
            return phase;
    return m_kind.m_phases.back();
}

/// Checks the files after a kill. Returns whether the load is done nevertheless.
bool LoadKillTorture::checkKilled(const Load& load, const std::string& name) {
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
    if (files.contains(MANIFEST) && waitForTool(::startTool(MELNAR_DICT_EXECUTABLE, {"verify", FOLDER}, m_folder)) != 0)
        m_findings.add(name + ": the folder cannot be read");
    return isNew;
}
