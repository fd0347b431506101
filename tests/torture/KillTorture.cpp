#include "tests/torture/KillTorture.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/torture/Findings.h"
#include "tests/torture/StartTool.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/wait.h>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 10000000;
constexpr size_t LITERALS = 20000; // of an input
constexpr size_t KILLS_BEFORE_A_WHOLE_RUN = 20;
constexpr size_t LARGEST_NUMBER_OF_IDLE_RUNS = 1000; // consecutive runs that end before they are killed

using Clock = std::chrono::steady_clock;
using Files = std::map<std::string, std::string>; // contents by names

/// A file that a verb replaces.
struct Output {
    std::string m_name;
    std::optional<std::string> m_old; // its content before; nothing if it did not exist
    std::string m_new{};              // its content when the verb has ended
};

/// A command line that replaces files: one, or rows of IDs and their dictionary.
struct Verb {
    std::string m_name;
    std::vector<std::string> m_arguments;
    std::vector<Output> m_outputs;
    std::chrono::duration<double> m_duration{}; // of the longest of a few runs
    size_t m_kills = 0;
};

/// Returns the contents of a file, or nothing if it does not exist.
std::optional<std::string> readFile(const std::string& path) {
    return std::filesystem::exists(path) ? std::optional(TemporaryDirectory::getContentsOf(path)) : std::nullopt;
}

class KillTorture {
public:
    KillTorture(const uint32_t seed, const std::string& folder, std::ostream& output, const std::string& executable)
        : m_seed(seed), m_executable(executable), m_folder(std::filesystem::absolute(folder) / "killed"),
          m_findings(output), m_random(seed) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
        makeInputs();
        makeVerbs();
    }

    bool run(const size_t numberOfKills) {
        for (Verb& verb : m_verbs)
            prepare(verb);
        size_t idleRuns = 0;
        for (size_t kills = 0; kills < numberOfKills && idleRuns < LARGEST_NUMBER_OF_IDLE_RUNS;) {
            Verb& verb = m_verbs[kills % m_verbs.size()];
            if (!kill(verb)) {
                ++idleRuns;
                continue;
            }
            idleRuns = 0;
            if (++kills % KILLS_BEFORE_A_WHOLE_RUN == 0)
                checkWholeRun(verb);
        }
        std::string verbs;
        size_t kills = 0;
        for (const Verb& verb : m_verbs) {
            verbs += ", " + verb.m_name + " " + std::to_string(verb.m_kills);
            kills += verb.m_kills;
        }
        return m_findings.finish(kills, "kills of the tool", "all files of each old, or all new",
                                 " (" + withCommas(m_oldFiles) + " old, " + withCommas(m_newFiles) + " new, " +
                                     withCommas(m_savingFiles) + " unfinished files left" + verbs + ")") &&
               kills == numberOfKills;
    }

private:
    std::string pathOf(const std::string& name) const { return m_folder + "/" + name; }

    void write(const std::string& name, const std::string& contents) const {
        std::ofstream(pathOf(name), std::ios::binary) << contents;
    }

    std::string makeTriples(const size_t begin) {
        std::string text;
        for (size_t number = begin; number < begin + LITERALS; ++number)
            text += "<urn:s" + std::to_string(number % 100) + "> <urn:p> \"literal " + std::to_string(number) +
                    std::string(m_random() % 60, 'x') + (number % 2 == 0 ? "\" .\n" : "\"@en .\n");
        return text;
    }

    void makeInputs() {
        write("a.nt", makeTriples(0));
        write("b.nt", makeTriples(LITERALS));
        require({"load", "a.nt", "-o", "a.dict", "--ids", "a.npy", "--threads", "1"});
        require({"encode", "--as", "iri", "a.nt", "-d", "a.dict", "-o", "encoded.nt"});
        // With withdrawn IDs, so that a compaction has work to do.
        Dictionary dictionary(
            {.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES});
        {
            DictionaryThread thread(dictionary);
            for (size_t number = 0; number < 2 * LITERALS; ++number) {
                dictionary.resolveResource(thread, "literal " + std::to_string(number), D_XSD_STRING);
                if (number == LITERALS / 2)
                    dictionary.commit();
                if (number == LITERALS)
                    dictionary.rollback();
            }
        }
        dictionary.commit();
        dictionary.save(pathOf("sparse.dict"));
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            m_inputs[entry.path().filename()] = TemporaryDirectory::getContentsOf(entry.path());
    }

    void makeVerbs() {
        const std::string& dictionary = m_inputs.at("a.dict");
        const std::string& rows = m_inputs.at("a.npy");
        const std::string& text = m_inputs.at("b.nt");
        m_verbs = {
            {"load", {"load", "a.nt", "b.nt", "-o", "out.dict", "--threads", "1"}, {{"out.dict", dictionary}}},
            {"load --into", {"load", "b.nt", "--into", "grown.dict", "--threads", "1"}, {{"grown.dict", dictionary}}},
            {"load --ids",
             {"load", "b.nt", "-o", "new.dict", "--ids", "new.npy"},
             {{"new.npy", std::nullopt}, {"new.dict", std::nullopt}}},
            {"load --ids over others",
             {"load", "b.nt", "-o", "other.dict", "--ids", "other.npy"},
             {{"other.npy", rows}, {"other.dict", dictionary}}},
            {"load --into --ids",
             {"load", "b.nt", "--into", "more.dict", "--ids", "more.npy"},
             {{"more.npy", rows}, {"more.dict", dictionary}}},
            {"compact", {"compact", "compacted.dict"}, {{"compacted.dict", m_inputs.at("sparse.dict")}}},
            {"encode", {"encode", "a.nt", "-d", "a.dict", "-o", "out.npy"}, {{"out.npy", text}}},
            {"encode --as iri",
             {"encode", "--as", "iri", "a.nt", "-d", "a.dict", "-o", "out-encoded.nt"},
             {{"out-encoded.nt", text}}},
            {"decode", {"decode", "a.npy", "-d", "a.dict", "-o", "out-decoded.nt"}, {{"out-decoded.nt", text}}},
            {"decode --as iri",
             {"decode", "--as", "iri", "encoded.nt", "-d", "a.dict", "-o", "out-text.nt"},
             {{"out-text.nt", text}}},
            {"canonical", {"canonical", "a.nt", "b.nt", "-o", "out-canonical.nt"}, {{"out-canonical.nt", text}}},
        };
    }

    pid_t start(const std::vector<std::string>& arguments) const {
        return startTool(m_executable, arguments, m_folder);
    }

    void require(const std::vector<std::string>& arguments) const {
        if (waitForTool(start(arguments)) != 0)
            throw std::runtime_error("the tool fails to " + arguments.front());
    }

    /// Restores the old file, or removes it. Temporary files and locks stay for the next process.
    void restore(const Output& output) const {
        if (output.m_old)
            write(output.m_name, *output.m_old);
        else
            std::filesystem::remove(pathOf(output.m_name));
    }

    /// Runs the verb a few times to find out its results and its duration.
    void prepare(Verb& verb) {
        for (int run = 0; run < 3; ++run) {
            for (const Output& output : verb.m_outputs)
                restore(output);
            const auto begin = Clock::now();
            require(verb.m_arguments);
            verb.m_duration = std::max<std::chrono::duration<double>>(verb.m_duration, Clock::now() - begin);
            for (Output& output : verb.m_outputs) {
                const std::string result = readFile(pathOf(output.m_name)).value_or("");
                if (run != 0 && result != output.m_new)
                    m_findings.add(verb.m_name + " does not do the same twice");
                output.m_new = result;
            }
        }
        if (verb.m_outputs.size() == 2 && decode(verb) != m_inputs.at("b.nt"))
            m_findings.add(verb.m_name + " makes rows that are decoded to something else");
        for (const Output& output : verb.m_outputs) {
            if (output.m_new == output.m_old)
                m_findings.add(verb.m_name + " changes nothing, so that kills show nothing");
            restore(output);
        }
    }

    /// Returns the statements of rows of IDs beside their dictionary; nothing if the tool refuses them.
    std::optional<std::string> decode(const Verb& verb) {
        const int status = waitForTool(
            start({"decode", verb.m_outputs.front().m_name, "-d", verb.m_outputs.back().m_name, "-o", "decoded.nt"}));
        const std::optional<std::string> decoded = readFile(pathOf("decoded.nt"));
        std::filesystem::remove(pathOf("decoded.nt"));
        return status == 0 ? decoded : std::nullopt;
    }

    /// Returns false if the verb had ended before.
    bool kill(Verb& verb) {
        const pid_t process = start(verb.m_arguments);
        std::this_thread::sleep_for(verb.m_duration * std::uniform_real_distribution<double>(0, 1.1)(m_random));
        ::kill(process, SIGKILL);
        const int status = waitForTool(process);
        const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        const std::string name =
            "MELNAR_SEED=" + std::to_string(m_seed) + " kill " + std::to_string(verb.m_kills) + " of " + verb.m_name;
        if (!isKilled && status != 0)
            m_findings.add(name + ": it failed before, with status " + std::to_string(status));
        waitForLocks(verb);
        checkFiles(verb, name, true);
        const size_t newFiles = countNewFiles(verb, name);
        if (newFiles != 0 && newFiles != verb.m_outputs.size())
            m_findings.add(name + ": one file is new and the other one old");
        for (const Output& output : verb.m_outputs) {
            m_savingFiles += isKilled && std::filesystem::exists(pathOf(output.m_name + ".saving"));
            restore(output);
        }
        if (!isKilled)
            return false;
        ++verb.m_kills;
        ++(newFiles != 0 ? m_newFiles : m_oldFiles);
        return true;
    }

    /// Waits for the process that replaces two files, which may outlive the killed one and has its locks.
    void waitForLocks(const Verb& verb) const {
        for (const Output& output : verb.m_outputs)
            const FileLock lock(pathOf(output.m_name),
                                [](const std::string&, const std::function<void()>& wait) { wait(); });
    }

    /// Checks that each file is the old one or the new one. Returns how many are new.
    size_t countNewFiles(const Verb& verb, const std::string& name) {
        size_t newFiles = 0;
        for (const Output& output : verb.m_outputs) {
            const std::optional<std::string> result = readFile(pathOf(output.m_name));
            newFiles += result == output.m_new;
            if (result != output.m_old && result != output.m_new)
                m_findings.add(name + ": the file is neither the old nor the new one, but " +
                               (result ? "has " + std::to_string(result->size()) + " bytes" : "gone"));
        }
        return newFiles;
    }

    void checkWholeRun(const Verb& verb) {
        const std::string name = "MELNAR_SEED=" + std::to_string(m_seed) + " a run of " + verb.m_name + " after kills";
        if (waitForTool(start(verb.m_arguments)) != 0)
            m_findings.add(name + " fails");
        if (countNewFiles(verb, name) != verb.m_outputs.size())
            m_findings.add(name + " makes another file");
        checkFiles(verb, name, false);
        for (const Output& output : verb.m_outputs)
            restore(output);
    }

    /// Checks that there are only the unchanged inputs, the outputs, and files that a killed process may leave: of this
    /// verb too, or only of the others, which may have been killed since their last complete run.
    void checkFiles(const Verb& verb, const std::string& name, const bool mayLeaveFiles) {
        std::set<std::string> allowed;
        for (const Verb& other : m_verbs)
            for (const auto& [fileName, oldBytes, newBytes] : other.m_outputs) {
                allowed.insert(fileName);
                if (mayLeaveFiles || &other != &verb)
                    allowed.insert({fileName + ".saving", fileName + ".lock", fileName + ".replaced"});
            }
        size_t inputs = 0;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            const std::string fileName = entry.path().filename();
            const auto input = m_inputs.find(fileName);
            inputs += input != m_inputs.end();
            if (input == m_inputs.end() && allowed.count(fileName) == 0)
                m_findings.add(name + " leaves the file " + fileName);
            else if (input != m_inputs.end() && TemporaryDirectory::getContentsOf(entry.path()) != input->second)
                m_findings.add(name + " changes the input " + fileName);
        }
        if (inputs != m_inputs.size())
            m_findings.add(name + " removes an input");
    }

    const uint32_t m_seed;
    const std::string m_executable;
    const std::string m_folder;
    Findings m_findings;
    std::mt19937 m_random;
    Files m_inputs;
    std::vector<Verb> m_verbs;
    size_t m_oldFiles = 0;
    size_t m_newFiles = 0;
    size_t m_savingFiles = 0;
};

} // namespace

bool tortureByKills(const size_t numberOfKills, const uint32_t seed, const std::string& folder, std::ostream& output,
                    const std::string& executable) {
    return KillTorture(seed, folder, output, executable).run(numberOfKills);
}
