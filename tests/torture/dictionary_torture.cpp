/// Kills processes at random moments and checks the files that they leave; checks dictionaries that are too large for a
/// test, or for longer than a test may take:
///
///   dictionary-torture save-kill N FOLDER     N kills of a process that changes and saves a dictionary in a loop
///   dictionary-torture compact-kill N FOLDER  the same with a compaction before each save
///   dictionary-torture lock-kill N FOLDER     N kills among processes that change and save one dictionary in turn
///   dictionary-torture large N FOLDER         a dictionary with N GiB of literals, saved and opened
///   dictionary-torture flips N FOLDER         N random bits of a file of 1 GiB, flipped one at a time
///   dictionary-torture memory MINUTES FOLDER  cycles of changes, compaction and saving, after which memory is the same
///   dictionary-torture mixed MINUTES THREADS  mixed work of threads on small dictionaries, some of which become full
///   dictionary-torture identity N             N operations whose answers are compared with a model of all IDs
///   dictionary-torture linearizability N      N recorded histories of several threads, which must be linearizable
///
/// In the modes with kills, the child reports to its parent, through a pipe, which state it is about to save and which
/// one it has saved. After each kill the file must open, verify, and contain exactly one state: the last one that was
/// completed, or the one that was being saved. The random numbers are those of MELNAR_SEED, or of seed 1.

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TestSeeds.h"
#include "tests/torture/FlipTorture.h"
#include "tests/torture/IdentityTorture.h"
#include "tests/torture/LargeDictionary.h"
#include "tests/torture/LinearizabilityTorture.h"
#include "tests/torture/LockTorture.h"
#include "tests/torture/MemoryTorture.h"
#include "tests/torture/MixedTorture.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 10000000;
constexpr size_t LITERALS_PER_STATE = 3000;

// The number of latest states that a dictionary contains, including the current one.
constexpr uint64_t STATES_HELD = 4;

enum class Mode { SAVE, COMPACT };

/// A report of the child: a state that it starts to save, or one that it has saved.
struct Report {
    uint64_t m_state;
    uint64_t m_isSaved;
};

/// Terms of all families.
uint8_t getDatatypeID(const size_t number) {
    constexpr std::array<uint8_t, 7> DATATYPE_IDS{D_XSD_STRING,    D_RDF_PLAIN_LITERAL,  D_IRI,        D_BLANK_NODE,
                                                  D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM};
    return DATATYPE_IDS[number % DATATYPE_IDS.size()];
}

std::string makeLiteral(const uint64_t state, const size_t number) {
    const std::string text =
        "literal." + std::to_string(number) + ".of.state." + std::to_string(state) + std::string(number % 100, 'x');
    switch (getDatatypeID(number)) {
    case D_RDF_PLAIN_LITERAL:
        return text + "@en";
    case D_IRI:
        return "http://example.org/" + std::to_string(number % 5) + '#' + text;
    case D_BLANK_NODE:
        return "doc" + std::to_string(state) + '-' + text;
    case D_TYPED_LITERAL:
        return text + "^^http://example.org/state/" + std::to_string(state);
    case D_DIRECTIONAL_STRING:
        return text + "@en--ltr";
    case D_TRIPLE_TERM:
        return "<<( _:b <x:p> \"" + text + "\" )>>";
    default:
        return text;
    }
}

/// Returns the oldest state whose literals are in the dictionary of a state.
uint64_t getOldestState(const Mode mode, const uint64_t state) {
    if (mode == Mode::COMPACT)
        return state < STATES_HELD ? 1 : state - STATES_HELD + 1;
    return (state - 1) / STATES_HELD * STATES_HELD + 1; // restarts when it is full
}

void addState(Dictionary& dictionary, const uint64_t state) {
    DictionaryThread thread(dictionary);
    std::vector<std::string> literals;
    for (size_t number = 0; number < LITERALS_PER_STATE; ++number)
        literals.push_back(makeLiteral(state, number));
    std::vector<BatchEntry> entries;
    for (size_t number = 0; number < LITERALS_PER_STATE; ++number)
        entries.push_back({literals[number], 0, getDatatypeID(number)});
    std::vector<BatchFailure> failures;
    dictionary.resolveResources(thread, entries, failures);
    if (!failures.empty())
        failures.front().throwException();
    dictionary.commit();
}

/// Returns the state that a dictionary contains; throws if it contains none.
uint64_t getState(const Mode mode, const Dictionary& dictionary) {
    dictionary.verify();
    const uint64_t numberOfResources = dictionary.getNextResourceID() - 1;
    if (numberOfResources == 0)
        return 0;
    std::string last;
    dictionary.getResource(numberOfResources, last);
    const std::string before = ".of.state.";
    const uint64_t state = std::stoull(last.substr(last.find(before) + before.size()));
    uint64_t expectedID = 0;
    std::string lexicalForm;
    for (uint64_t held = getOldestState(mode, state); held <= state; ++held)
        for (size_t number = 0; number < LITERALS_PER_STATE; ++number)
            if (dictionary.getResource(++expectedID, lexicalForm) != getDatatypeID(number) ||
                lexicalForm != makeLiteral(held, number))
                throw std::runtime_error("resource " + std::to_string(expectedID) + " is not that of state " +
                                         std::to_string(state));
    if (expectedID != numberOfResources || dictionary.getCommitPoint().m_resourceID != expectedID + 1)
        throw std::runtime_error("there are " + std::to_string(numberOfResources) + " resources in state " +
                                 std::to_string(state));
    return state;
}

void tell(const int pipe, const uint64_t state, const bool isSaved) {
    const Report report{state, isSaved};
    if (::write(pipe, &report, sizeof(report)) != ssize_t(sizeof(report)))
        throw std::runtime_error("the parent is gone");
}

/// The child: continues from the state in the file forever.
[[noreturn]] void changeAndSave(const Mode mode, const std::string& fileName, const int pipe) {
    std::unique_ptr<Dictionary> dictionary = Dictionary::open(fileName, {.m_memoryLimit = MEMORY_LIMIT});
    for (uint64_t state = getState(mode, *dictionary) + 1;; ++state) {
        if (mode == Mode::SAVE && getOldestState(mode, state) == state)
            dictionary = std::make_unique<Dictionary>(DictionaryOptions{
                .m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES});
        addState(*dictionary, state);
        tell(pipe, state, false);
        if (mode == Mode::COMPACT) {
            // Every state has the same number of literals, so the oldest one is at the front.
            const uint64_t held = dictionary->getNextResourceID() - 1;
            const uint64_t wanted = (state - getOldestState(mode, state) + 1) * LITERALS_PER_STATE;
            dictionary->compact(
                [=](const uint64_t resourceID, const ResourceValue&) { return resourceID > held - wanted; });
        }
        dictionary->save(fileName);
        tell(pipe, state, true);
    }
}

class Torture {
public:
    Torture(const Mode mode, const std::string& folder, const uint32_t seed)
        : m_mode(mode), m_fileName(folder + "/tortured.dict"), m_random(seed), m_saved(0) {
        std::filesystem::remove(m_fileName);
        Dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES})
            .save(m_fileName);
    }

    void kill() {
        int pipe[2];
        if (::pipe(pipe) != 0)
            throw std::runtime_error("no pipe to be had");
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(pipe[0]);
            try {
                changeAndSave(m_mode, m_fileName, pipe[1]);
            } catch (const std::exception& exception) {
                std::cerr << "dictionary-torture: the child failed: " << exception.what() << '\n';
            }
            ::_exit(1);
        }
        ::close(pipe[1]);
        // Waits until it starts an operation, so that the moment is within a compaction or save, or shortly after it;
        // then for at most the duration of two.
        Report report{0, 0};
        uint64_t begun = 0;
        const auto receive = [&] {
            const bool isReceived = ::read(pipe[0], &report, sizeof(report)) == ssize_t(sizeof(report));
            if (isReceived && report.m_isSaved != 0)
                m_saved = report.m_state;
            else if (isReceived)
                begun = report.m_state;
            return isReceived;
        };
        if (receive()) {
            // The first time it measures the duration for each size.
            auto begin = std::chrono::steady_clock::now();
            for (uint64_t reports = 1; m_kills == 0 && reports < 2 * STATES_HELD && receive(); ++reports) {
                const auto end = std::chrono::steady_clock::now();
                if (report.m_isSaved != 0)
                    m_duration = end - begin;
                begin = end;
            }
            const double share = std::uniform_real_distribution<double>(0, 2)(m_random);
            std::this_thread::sleep_for(m_duration * share);
        }
        ::kill(child, SIGKILL);
        while (receive()) {
        }
        ::close(pipe[0]);
        int status = 0;
        if (::waitpid(child, &status, 0) != child || !WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL)
            throw std::runtime_error("the child ended by itself");
        ++m_kills;
        m_filesLeft += std::filesystem::exists(m_fileName + ".saving");
        m_killsUnderWay += begun > m_saved;
        checkFile(begun);
    }

    void report() const {
        std::cout << (m_mode == Mode::SAVE ? "Saves" : "Compactions with saves") << " killed: " << m_kills
                  << ", of them under way: " << m_killsUnderWay << ", unfinished files left: " << m_filesLeft
                  << "\nFiles opened and verified: " << m_verified << ", with the last completed state: " << m_oldStates
                  << ", with the one under way: " << m_newStates << '\n';
    }

    /// Returns whether a kill has met a save and all files were verified; otherwise the run has shown nothing.
    bool hasShownSomething() const { return m_killsUnderWay != 0 && m_verified == m_kills; }

private:
    void checkFile(const uint64_t begun) {
        const uint64_t state = getState(m_mode, *Dictionary::open(m_fileName, {.m_memoryLimit = MEMORY_LIMIT}));
        ++m_verified;
        if (state == m_saved)
            ++m_oldStates;
        else if (begun > m_saved && state == begun)
            ++m_newStates;
        else
            throw std::runtime_error("the file holds state " + std::to_string(state) + ", but " +
                                     std::to_string(m_saved) + " was saved and " + std::to_string(begun) + " begun");
        m_saved = state;
    }

    const Mode m_mode;
    const std::string m_fileName;
    std::mt19937 m_random;
    uint64_t m_saved; // the last state that is known to be in the file
    std::chrono::duration<double> m_duration{0};
    size_t m_kills = 0;
    size_t m_killsUnderWay = 0;
    size_t m_filesLeft = 0;
    size_t m_verified = 0;
    size_t m_oldStates = 0;
    size_t m_newStates = 0;
};

bool tortureByKills(const Mode mode, const size_t numberOfKills, const std::string& folder, const uint32_t seed) {
    Torture torture(mode, folder, seed);
    for (size_t kill = 0; kill < numberOfKills; ++kill)
        torture.kill();
    torture.report();
    return torture.hasShownSomething();
}

/// What a verb is given. There is either a folder or a number of threads, or neither.
struct Arguments {
    size_t m_number;
    std::string m_folder;
    size_t m_numberOfThreads;
    uint32_t m_seed;
};

/// Its action returns whether nothing was wrong, or throws.
struct Verb {
    const char* m_name;
    std::vector<std::string_view> m_arguments;
    bool (*m_perform)(const Arguments& arguments);
};

constexpr std::string_view FOLDER = "FOLDER"; // every other argument is a number

const std::vector<Verb>& getVerbs() {
    static const std::vector<Verb> VERBS{
        {"save-kill",
         {"N", FOLDER},
         [](const Arguments& a) { return tortureByKills(Mode::SAVE, a.m_number, a.m_folder, a.m_seed); }},
        {"compact-kill",
         {"N", FOLDER},
         [](const Arguments& a) { return tortureByKills(Mode::COMPACT, a.m_number, a.m_folder, a.m_seed); }},
        {"lock-kill",
         {"N", FOLDER},
         [](const Arguments& a) {
             killLockHolders(a.m_number, a.m_folder, a.m_seed);
             return true;
         }},
        {"large",
         {"N", FOLDER},
         [](const Arguments& a) {
             checkLargeDictionary(a.m_number, a.m_folder);
             return true;
         }},
        {"flips",
         {"N", FOLDER},
         [](const Arguments& a) {
             return tortureByFlips({.m_numberOfFlips = a.m_number}, a.m_folder, a.m_seed, std::cout);
         }},
        {"memory",
         {"MINUTES", FOLDER},
         [](const Arguments& a) {
             return tortureMemory({.m_duration = std::chrono::minutes(a.m_number)}, a.m_folder, std::cout);
         }},
        {"mixed",
         {"MINUTES", "THREADS"},
         [](const Arguments& a) {
             return tortureByMixedWork(std::chrono::minutes(a.m_number), a.m_numberOfThreads, a.m_seed, std::cout);
         }},
        {"identity",
         {"N"},
         [](const Arguments& a) {
             return tortureIdentity(a.m_number, std::max(2U, std::thread::hardware_concurrency()), a.m_seed, std::cout);
         }},
        {"linearizability", {"N"}, [](const Arguments& a) {
             return tortureLinearizability(a.m_number, a.m_seed, std::cout);
         }}};
    return VERBS;
}

std::string describeUsage(const Verb& verb) {
    std::string text = std::string("usage: dictionary-torture ") + verb.m_name;
    for (const std::string_view argument : verb.m_arguments)
        text.append(1, ' ').append(argument);
    return text + '\n';
}

/// A wrong command line: the message, and the right one.
class UsageError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

const Verb& findVerb(const std::span<const std::string_view> words) {
    const std::vector<Verb>& verbs = getVerbs();
    const auto verb = words.empty() ? verbs.end() : std::ranges::find(verbs, words[0], &Verb::m_name);
    if (verb != verbs.end())
        return *verb;
    std::string usage;
    for (const Verb& known : verbs)
        usage += describeUsage(known);
    throw UsageError(usage);
}

size_t parseNumber(const Verb& verb, const std::string_view text) {
    size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError("dictionary-torture: '" + std::string(text) + "' is not a number\n" + describeUsage(verb));
    return number;
}

bool run(const std::span<const std::string_view> words) {
    const Verb& verb = findVerb(words);
    if (words.size() != 1 + verb.m_arguments.size())
        throw UsageError(describeUsage(verb));
    Arguments arguments{parseNumber(verb, words[1]), "", 0, getTestSeeds(1).front()};
    if (words.size() == 3 && verb.m_arguments[1] == FOLDER)
        arguments.m_folder = words[2];
    else if (words.size() == 3)
        arguments.m_numberOfThreads = parseNumber(verb, words[2]);
    return verb.m_perform(arguments);
}

} // namespace

int main(const int argumentCount, const char* const* const arguments) {
    try {
        return run(std::vector<std::string_view>(arguments + 1, arguments + argumentCount)) ? 0 : 1;
    } catch (const UsageError& error) {
        std::cerr << error.what();
        return 2;
    } catch (const std::exception& exception) {
        std::cerr << "dictionary-torture: " << exception.what() << '\n';
        return 1;
    }
}
