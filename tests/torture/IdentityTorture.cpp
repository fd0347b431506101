#include "tests/torture/IdentityTorture.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/RunTogether.h"
#include "tests/torture/Findings.h"
#include "tests/torture/IdentityModel.h"
#include "tests/torture/NumberedTerms.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(512) << 20;
constexpr size_t BATCH_SIZE = 1024;
constexpr size_t SINGLE_OPERATIONS = 128;      // that a thread performs in turn with batches
constexpr uint32_t SMALLEST_MODEL = 1U << 14;  // terms
constexpr uint32_t LARGEST_MODEL = 1U << 20;   // terms
constexpr uint32_t CONTENDED_TERMS = 1U << 12; // that all threads use at about the same time
constexpr size_t TURNS_WITH_THE_SAME_TERMS = 8;
constexpr uint64_t OPERATIONS_PER_TERM = 8; // between two rests

enum class Action { RESOLVE, LOOK_UP, LOOK_UP_COMMITTED, READ, ONE_BY_ONE };

/// Counts what threads have done.
struct Counts {
    uint64_t m_resolved = 0;
    uint64_t m_lookedUp = 0;
    uint64_t m_read = 0;
    uint64_t m_oneByOne = 0; // of all these

    [[nodiscard]] uint64_t sumUp() const noexcept { return m_resolved + m_lookedUp + m_read; }

    void add(const Counts& other) noexcept {
        m_resolved += other.m_resolved;
        m_lookedUp += other.m_lookedUp;
        m_read += other.m_read;
        m_oneByOne += other.m_oneByOne;
    }
};

/// What the threads share.
struct Subject : private Unmovable {
    Subject(const uint32_t numberOfTerms, std::ostream& output, const ChangeAnswers& changeAnswers)
        : m_dictionary({.m_memoryLimit = MEMORY_LIMIT}), m_model(numberOfTerms, 4 * uint64_t(numberOfTerms)),
          m_changeAnswers(changeAnswers), m_findings(output) {}

    Dictionary m_dictionary;
    IdentityModel m_model;
    const ChangeAnswers& m_changeAnswers;
    Findings m_findings;
};

/// The work of one thread between two rests.
class Worker : private Unmovable {
public:
    Worker(Subject& subject, const std::mt19937_64::result_type seed, const uint64_t firstContended)
        : m_subject(subject), m_dictionary(subject.m_dictionary), m_model(subject.m_model), m_thread(m_dictionary),
          m_random(seed), m_firstContended(firstContended), m_commitPoint(m_dictionary.getCommitPoint()) {}

    Counts work(const uint64_t numberOfOperations) {
        while (m_counts.sumUp() < numberOfOperations && !m_subject.m_findings.isEnough()) {
            drawNumbers();
            switch (drawAction()) {
            case Action::RESOLVE:
                resolve();
                break;
            case Action::LOOK_UP:
                lookUp(DictionaryCommitPoint::ALL);
                break;
            case Action::LOOK_UP_COMMITTED:
                lookUp(m_commitPoint);
                break;
            case Action::READ:
                read();
                break;
            case Action::ONE_BY_ONE:
                performOneByOne();
            }
        }
        return m_counts;
    }

private:
    Action drawAction() {
        static constexpr std::array ACTIONS{Action::RESOLVE,
                                            Action::RESOLVE,
                                            Action::RESOLVE,
                                            Action::RESOLVE,
                                            Action::LOOK_UP,
                                            Action::LOOK_UP,
                                            Action::LOOK_UP,
                                            Action::LOOK_UP_COMMITTED,
                                            Action::LOOK_UP_COMMITTED,
                                            Action::LOOK_UP_COMMITTED,
                                            Action::READ,
                                            Action::READ,
                                            Action::READ,
                                            Action::READ,
                                            Action::ONE_BY_ONE,
                                            Action::ONE_BY_ONE};
        return ACTIONS[m_random() % ACTIONS.size()];
    }

    /// Half of the turns use terms that other threads use at about the same time, so that they create them together.
    void drawNumbers() {
        const bool isContended = m_random() % 2 == 0;
        const uint64_t first =
            isContended ? m_firstContended + m_turn / TURNS_WITH_THE_SAME_TERMS * CONTENDED_TERMS : m_random();
        const uint64_t range = isContended ? CONTENDED_TERMS : m_model.getNumberOfTerms();
        m_numbers.resize(BATCH_SIZE);
        for (uint32_t& number : m_numbers)
            number = static_cast<uint32_t>((first + m_random() % range) % m_model.getNumberOfTerms());
        ++m_turn;
    }

    void makeBatch() {
        m_batch.make(m_numbers);
        m_knownIDs.clear();
        for (const uint32_t number : m_numbers)
            m_knownIDs.push_back(m_model.getResourceID(number));
    }

    void requireNoFailure() {
        if (!m_failures.empty())
            m_failures.front().throwException();
    }

    void resolve() {
        makeBatch();
        m_dictionary.resolveResources(m_thread, m_batch.getEntries(), m_failures);
        requireNoFailure();
        change(m_batch.getEntries());
        for (size_t index = 0; index < m_numbers.size(); ++index)
            checkResolved(m_numbers[index], m_batch.getEntries()[index].m_resourceID);
        m_counts.m_resolved += m_numbers.size();
    }

    void lookUp(const DictionaryCommitPoint commitPoint) {
        makeBatch();
        m_dictionary.tryResolveResources(commitPoint, m_batch.getEntries(), m_failures);
        requireNoFailure();
        change(m_batch.getEntries());
        for (size_t index = 0; index < m_numbers.size(); ++index)
            checkFound(m_numbers[index], m_knownIDs[index], commitPoint, m_batch.getEntries()[index].m_resourceID);
        m_counts.m_lookedUp += m_numbers.size();
    }

    /// Reads the known ones of the terms.
    void read() {
        std::erase_if(m_numbers, [this](const uint32_t number) { return m_model.getResourceID(number) == 0; });
        m_entries.clear();
        for (const uint32_t number : m_numbers)
            m_entries.push_back({{}, m_model.getResourceID(number)});
        m_dictionary.getResources(m_entries);
        change(m_entries);
        for (size_t index = 0; index < m_numbers.size(); ++index) {
            m_form.clear();
            m_dictionary.appendLexicalForm(m_entries[index], m_form);
            checkRead(m_numbers[index], m_entries[index].m_resourceID, m_entries[index].m_datatypeID);
        }
        m_counts.m_read += m_numbers.size();
    }

    void performOneByOne() {
        m_numbers.resize(SINGLE_OPERATIONS);
        for (const uint32_t number : m_numbers) {
            m_term.make(number);
            const uint64_t knownID = m_model.getResourceID(number);
            const uint64_t action = m_random() % 4;
            if (action == 0) {
                checkResolved(number, m_dictionary.resolveResource(m_thread, m_term.getForm(), m_term.getDatatypeID()));
                ++m_counts.m_resolved;
            } else if (action == 1 || knownID == 0) {
                const DictionaryCommitPoint commitPoint =
                    m_random() % 2 == 0 ? m_commitPoint : DictionaryCommitPoint::ALL;
                checkFound(number, knownID, commitPoint,
                           m_dictionary.tryResolveResource(commitPoint, m_term.getForm(), m_term.getDatatypeID()));
                ++m_counts.m_lookedUp;
            } else {
                const uint8_t datatypeID = m_dictionary.getResource(knownID, m_form);
                checkRead(number, knownID, datatypeID);
                ++m_counts.m_read;
            }
            ++m_counts.m_oneByOne;
        }
    }

    void change(const std::span<BatchEntry> entries) const {
        if (m_subject.m_changeAnswers != nullptr)
            m_subject.m_changeAnswers(entries);
    }

    void checkResolved(const uint32_t number, const uint64_t resourceID) {
        if (!m_model.agree(number, resourceID))
            add(number, "is resolved to " + std::to_string(resourceID));
    }

    /// A term may be found although its ID was not known before the lookup; but not a committed one.
    void checkFound(const uint32_t number, const uint64_t knownID, const DictionaryCommitPoint commitPoint,
                    const uint64_t resourceID) {
        const bool isCovered = knownID != 0 && knownID < commitPoint.m_resourceID;
        const bool mayBeNew = knownID == 0 && commitPoint == DictionaryCommitPoint::ALL && resourceID != 0;
        if (mayBeNew ? !m_model.agree(number, resourceID) : resourceID != (isCovered ? knownID : 0))
            add(number,
                "is found under " + std::to_string(resourceID) + " as of " + std::to_string(commitPoint.m_resourceID));
    }

    /// Compares a term with that of its ID, which is in m_form.
    void checkRead(const uint32_t number, const uint64_t resourceID, const uint8_t datatypeID) {
        m_term.make(number);
        if (datatypeID != m_term.getDatatypeID() || m_form != m_term.getForm())
            add(number, "has the ID " + std::to_string(resourceID) + ", under which there is '" + m_form + "'");
    }

    void add(const uint32_t number, const std::string& finding) {
        m_term.make(number);
        m_subject.m_findings.add("'" + m_term.getForm() + "' " + finding + "; known is the ID " +
                                 std::to_string(m_model.getResourceID(number)));
    }

    Subject& m_subject;
    Dictionary& m_dictionary;
    IdentityModel& m_model;
    DictionaryThread m_thread;
    std::mt19937_64 m_random;
    const uint64_t m_firstContended;
    const DictionaryCommitPoint m_commitPoint;
    uint64_t m_turn = 0;
    Counts m_counts;

    // Members only to keep their memory.
    std::vector<uint32_t> m_numbers;
    std::vector<uint64_t> m_knownIDs; // by entry, from before the operation
    NumberedBatch m_batch;
    NumberedTerm m_term;
    std::string m_form;
    std::vector<BatchEntry> m_entries;
    std::vector<BatchFailure> m_failures;
};

/// What happens while all threads rest.
class Rests : private Unmovable {
public:
    Rests(Subject& subject, const uint32_t seed)
        : m_dictionary(subject.m_dictionary), m_model(subject.m_model), m_findings(subject.m_findings), m_random(seed) {
    }

    void take() {
        compare();
        ++m_numberOfRests;
        // Between two compactions there are less than three times as many IDs as terms.
        const bool isNearlyFull = m_dictionary.getNextResourceID() > 2 * uint64_t(m_model.getNumberOfTerms());
        switch (isNearlyFull ? 3 : m_numberOfRests < 5 ? m_numberOfRests % 4 : m_random() % 4) {
        case 0:
            break;
        case 1:
            m_dictionary.commit();
            ++m_numberOfCommits;
            break;
        case 2:
            rollBack();
            break;
        default:
            compact();
        }
    }

    [[nodiscard]] std::string describe() const {
        return withCommas(m_numberOfCommits) + " commits, " + withCommas(m_numberOfRollbacks) + " rollbacks of " +
               withCommas(m_numberOfWithdrawn) + " terms, " + withCommas(m_numberOfCompactions) + " compactions";
    }

    [[nodiscard]] bool haveShownSomething() const noexcept {
        return m_numberOfCommits != 0 && m_numberOfWithdrawn != 0 && m_numberOfCompactions != 0;
    }

private:
    void compare() { require(m_model.compare(m_dictionary)); }

    void require(const std::string& difference) {
        if (!difference.empty())
            m_findings.add("at rest " + std::to_string(m_numberOfRests) + ": " + difference);
    }

    void rollBack() {
        m_numberOfWithdrawn +=
            m_model.rollBack(m_dictionary.getCommitPoint().m_resourceID, m_dictionary.getNextResourceID());
        m_dictionary.rollback();
        ++m_numberOfRollbacks;
        compare();
    }

    /// Removes none, or a part of the terms.
    void compact() {
        const uint64_t divisor = m_random() % 5 + 1;
        const auto survives = [divisor](const uint64_t resourceID, const ResourceValue&) {
            return divisor == 1 || resourceID % divisor != 0;
        };
        const std::vector<uint64_t> newResourceIDs = m_dictionary.compact(survives);
        require(m_model.compact(newResourceIDs, m_dictionary.getNextResourceID()));
        ++m_numberOfCompactions;
        compare();
    }

    Dictionary& m_dictionary;
    IdentityModel& m_model;
    Findings& m_findings;
    std::mt19937 m_random;
    size_t m_numberOfRests = 0;
    size_t m_numberOfCommits = 0;
    size_t m_numberOfRollbacks = 0;
    size_t m_numberOfWithdrawn = 0;
    size_t m_numberOfCompactions = 0;
};

} // namespace

bool tortureIdentity(const uint64_t numberOfOperations, const size_t numberOfThreads, const uint32_t seed,
                     std::ostream& output, const ChangeAnswers& changeAnswers) {
    const auto numberOfTerms =
        static_cast<uint32_t>(std::clamp<uint64_t>(numberOfOperations / 64, SMALLEST_MODEL, LARGEST_MODEL));
    const uint64_t operationsPerThread = numberOfTerms * OPERATIONS_PER_TERM / numberOfThreads;
    Subject subject(numberOfTerms, output, changeAnswers);
    Rests rests(subject, seed);
    Counts counts;
    const auto begin = std::chrono::steady_clock::now();
    for (uint64_t phase = 0; counts.sumUp() < numberOfOperations && !subject.m_findings.isEnough(); ++phase) {
        std::vector<Counts> ofThreads(numberOfThreads);
        runTogether(numberOfThreads, [&](const size_t index) {
            std::seed_seq seeds{seed, static_cast<uint32_t>(phase), static_cast<uint32_t>(index)};
            try {
                ofThreads[index] = Worker(subject, std::mt19937_64(seeds)(), phase * 10007 * CONTENDED_TERMS)
                                       .work(operationsPerThread);
            } catch (const std::exception& exception) {
                subject.m_findings.add(exception.what());
            }
        });
        for (const Counts& ofThread : ofThreads)
            counts.add(ofThread);
        rests.take();
    }
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    const bool isRight = subject.m_findings.finish(
        counts.sumUp(), "operations", "no ID meant another term, no term had two IDs",
        " (" + withCommas(counts.m_resolved) + " terms resolved, " + withCommas(counts.m_lookedUp) + " looked up, " +
            withCommas(counts.m_read) + " read, " + withCommas(counts.m_oneByOne) + " of them one by one, by " +
            std::to_string(numberOfThreads) + " threads with " + withCommas(numberOfTerms) + " terms; " +
            rests.describe() + "; " + withCommas(static_cast<size_t>(duration.count())) + " s)");
    if (!rests.haveShownSomething())
        output << "This run has shown too little: it was too short for a commit, a rollback and a compaction.\n";
    return isRight && rests.haveShownSomething();
}
