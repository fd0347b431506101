#include "tests/torture/LockTorture.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileLock.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 10000000;
constexpr size_t WRITERS = 3;
constexpr size_t LARGEST_NUMBER_OF_REPORTS_BETWEEN_KILLS = 12;

/// A report of a writer that holds the lock: that it has taken it, or that it has saved its literal of a round.
struct Report {
    uint64_t m_writer;
    uint64_t m_round;
    uint64_t m_isSaved;
};

std::string makeLiteral(const uint64_t writer, const uint64_t round) {
    return "writer " + std::to_string(writer) + " round " + std::to_string(round);
}

void tell(const int pipe, const Report& report) {
    if (::write(pipe, &report, sizeof(report)) != ssize_t(sizeof(report)))
        throw std::runtime_error("the parent is gone");
}

/// The child: adds one literal after another forever.
[[noreturn]] void addLiterals(const std::string& fileName, const uint64_t writer, const int pipe) {
    for (uint64_t round = 1;; ++round) {
        FileLock lock(fileName, [](const std::string&, const std::function<void()>& wait) { wait(); });
        tell(pipe, {writer, round, false});
        const auto dictionary = Dictionary::open(lock.getTarget().getName(), {.m_memoryLimit = MEMORY_LIMIT});
        {
            DictionaryThread thread(*dictionary);
            dictionary->resolveResource(thread, makeLiteral(writer, round), D_XSD_STRING);
        }
        dictionary->commit();
        dictionary->save(lock);
        tell(pipe, {writer, round, true});
    }
}

class LockTorture : private Unmovable {
public:
    LockTorture(const std::string& folder, const uint32_t seed) : m_fileName(folder + "/locked.dict"), m_random(seed) {
        Dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES})
            .save(m_fileName);
        if (::pipe(m_pipe.data()) != 0)
            throw std::runtime_error("no pipe to be had");
        for (Writer& writer : m_writers)
            writer = start();
    }

    ~LockTorture() {
        for (const Writer& writer : m_writers)
            if (writer.m_processID != 0) {
                ::kill(writer.m_processID, SIGKILL);
                ::waitpid(writer.m_processID, nullptr, 0);
            }
        ::close(m_pipe[0]);
        if (m_pipe[1] != -1)
            ::close(m_pipe[1]);
    }

    /// Kills after a random number of reports, so the killed writer may be anywhere in its round. Half of the time it
    /// is the one that has reported last, which holds the lock more often than others.
    void kill() {
        const size_t numberOfReports =
            std::uniform_int_distribution<size_t>(1, LARGEST_NUMBER_OF_REPORTS_BETWEEN_KILLS)(m_random);
        for (size_t reports = 0; reports < numberOfReports; ++reports)
            if (!receive())
                throw std::runtime_error("all writers have ended");
        const auto latest = std::find_if(m_writers.begin(), m_writers.end(),
                                         [this](const Writer& writer) { return writer.m_number == m_latestWriter; });
        const size_t any = std::uniform_int_distribution<size_t>(0, WRITERS - 1)(m_random);
        Writer& writer = latest != m_writers.end() && m_random() % 2 == 0 ? *latest : m_writers[any];
        kill(writer);
        writer = start();
    }

    void check() {
        killAll();
        ::close(m_pipe[1]);
        m_pipe[1] = -1;
        while (receive()) {
        }
        size_t holders = 0;
        for (const auto& [writer, report] : m_latestReports)
            holders += report.m_isSaved == 0;
        const bool isLockFileLeft = std::filesystem::exists(m_fileName + ".lock");
        const FileLock lock(m_fileName); // throws if a killed process holds it
        const auto dictionary = Dictionary::open(m_fileName, {.m_memoryLimit = MEMORY_LIMIT});
        dictionary->verify();
        for (const Report& report : m_saved)
            if (dictionary->tryResolveResource(dictionary->getCommitPoint(),
                                               makeLiteral(report.m_writer, report.m_round), D_XSD_STRING) == 0)
                throw std::runtime_error("'" + makeLiteral(report.m_writer, report.m_round) + "' has been lost");
        const uint64_t numberOfResources = dictionary->getNextResourceID() - 1;
        if (numberOfResources < m_saved.size() || numberOfResources > m_saved.size() + holders)
            throw std::runtime_error("there are " + std::to_string(numberOfResources) + " resources, but " +
                                     std::to_string(m_saved.size()) + " were saved and " + std::to_string(holders) +
                                     " under way");
        std::cout << "Writers killed: " << m_kills << ", of them holding the lock: " << holders
                  << "; the last one left its lock file: " << (isLockFileLeft ? "yes" : "no")
                  << "\nLiterals saved: " << m_saved.size() << ", found in the end: " << m_saved.size()
                  << ", with those that were under way: " << numberOfResources << '\n';
        if (holders == 0)
            throw std::runtime_error("no kill met a holder of the lock");
    }

private:
    struct Writer {
        pid_t m_processID; // 0 when it has been killed
        uint64_t m_number;
    };

    Writer start() {
        const uint64_t writer = ++m_startedWriters;
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(m_pipe[0]);
            try {
                addLiterals(m_fileName, writer, m_pipe[1]);
            } catch (const std::exception& exception) {
                std::cerr << "dictionary-torture: writer " << writer << " failed: " << exception.what() << '\n';
            }
            ::_exit(1);
        }
        return {child, writer};
    }

    bool receive() {
        Report report;
        if (::read(m_pipe[0], &report, sizeof(report)) != ssize_t(sizeof(report)))
            return false;
        m_latestWriter = report.m_writer;
        m_latestReports[report.m_writer] = report;
        if (report.m_isSaved != 0)
            m_saved.push_back(report);
        return true;
    }

    void kill(Writer& writer) {
        int status = 0;
        ::kill(writer.m_processID, SIGKILL);
        if (::waitpid(writer.m_processID, &status, 0) != writer.m_processID || !WIFSIGNALED(status) ||
            WTERMSIG(status) != SIGKILL)
            throw std::runtime_error("a writer ended by itself");
        writer.m_processID = 0;
        ++m_kills;
    }

    void killAll() {
        for (Writer& writer : m_writers)
            kill(writer);
    }

    const std::string m_fileName;
    std::mt19937 m_random;
    std::array<int, 2> m_pipe{};
    std::array<Writer, WRITERS> m_writers{};
    uint64_t m_startedWriters = 0;
    uint64_t m_latestWriter = 0; // that has reported
    size_t m_kills = 0;
    std::map<uint64_t, Report> m_latestReports; // by writer
    std::vector<Report> m_saved;
};

} // namespace

void killLockHolders(const size_t numberOfKills, const std::string& folder, const uint32_t seed) {
    LockTorture torture(folder, seed);
    for (size_t kills = 0; kills < numberOfKills; ++kills)
        torture.kill();
    torture.check();
}
