#include "tests/torture/LinearizabilityTorture.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/support/LinearizabilityChecker.h"
#include "tests/support/RunTogether.h"
#include "tests/torture/Findings.h"
#include "tests/torture/SequentialDictionary.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <shared_mutex>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Model = SequentialDictionary;
using Kind = Model::Kind;
using Operation = Model::Operation;

constexpr size_t MEMORY_LIMIT = size_t(16) << 20;
constexpr uint64_t NARROW = 100000;
constexpr uint64_t WIDE = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1;
constexpr uint64_t EVERYTHING = DictionaryCommitPoint::ALL.m_resourceID;

/// All terms of a history have one datatype, so they are in one table.
struct TermShape {
    uint8_t m_datatypeID;
    const char* m_front;
    const char* m_end;

    [[nodiscard]] std::string makeForm(const std::string& text) const { return m_front + text + m_end; }
};

constexpr std::array<TermShape, 5> SHAPES{{{D_XSD_STRING, "", ""},
                                           {D_RDF_PLAIN_LITERAL, "", "@en"},
                                           {D_IRI, "http://example.org/", ""},
                                           {D_BLANK_NODE, "doc1-", ""},
                                           {D_TYPED_LITERAL, "", "^^http://example.org/type"}}};

uint64_t lookUpInDictionary(const Dictionary& dictionary, const DictionaryCommitPoint commitPoint,
                            const std::string_view form, const uint8_t datatypeID) {
    return dictionary.tryResolveResource(commitPoint, form, datatypeID);
}

/// Orders the operations of all threads.
class Clock {
public:
    uint64_t takeTime() noexcept { return m_time.fetch_add(1, std::memory_order_seq_cst); }

private:
    std::atomic<uint64_t> m_time{1};
};

/// A dictionary and a history of it.
class History : private Unmovable {
public:
    History(const uint32_t seed, const uint32_t number, const LookUpUnderTest& lookUp);

    /// Performs the operations in threads, and then looks at what they have left.
    void record();

    [[nodiscard]] bool isLinearizable() const {
        return LinearizabilityChecker<Model>(m_operations)
            .check({.m_commitPoint = m_firstNewID, .m_firstNewID = m_firstNewID});
    }

    [[nodiscard]] size_t countRefusals() const noexcept { return m_numberOfRefusals.load(); }
    [[nodiscard]] const std::vector<Operation>& getOperations() const noexcept { return m_operations; }

    [[nodiscard]] bool hasGrown() const { return getNumberOfBuckets() > m_numberOfBuckets; }

    [[nodiscard]] std::string describe() const;

private:
    friend class HistoryThread;

    [[nodiscard]] size_t getNumberOfBuckets() const {
        return m_dictionary.getComponentInfo()->getSumOverNumericMetric(ComponentInfo::Metric::NUMBER_OF_BUCKETS,
                                                                        std::nullopt);
    }

    void fill(size_t numberOfTerms);

    const uint32_t m_seed;
    const uint32_t m_number;
    const LookUpUnderTest& m_lookUp;
    std::minstd_rand m_random;
    const size_t m_numberOfThreads;
    const TermShape& m_shape;
    std::array<std::string, Model::NUMBER_OF_TERMS> m_forms;
    MemoryManager m_memory{MEMORY_LIMIT};
    Dictionary m_dictionary;
    uint64_t m_firstNewID = 0;
    size_t m_numberOfBuckets = 0;

    Clock m_clock;
    std::shared_mutex m_changes; // shared by threads that resolve, held alone by one that commits or rolls back
    std::atomic<size_t> m_numberOfRefusals{0};
    std::mutex m_mutex; // protects what follows
    std::vector<Operation> m_operations;
};

std::minstd_rand makeRandom(const uint32_t seed, const uint32_t number, const size_t part) {
    std::seed_seq seeds{seed, number, static_cast<uint32_t>(part)};
    return std::minstd_rand(seeds);
}

History::History(const uint32_t seed, const uint32_t number, const LookUpUnderTest& lookUp)
    : m_seed(seed), m_number(number), m_lookUp(lookUp), m_random(makeRandom(seed, number, ~size_t(0))),
      m_numberOfThreads(2 + m_random() % 3), m_shape(SHAPES[m_random() % SHAPES.size()]),
      m_dictionary({.m_memoryLimit = MEMORY_LIMIT,
                    .m_maximumNumberOfResources = m_random() % 2 == 0 ? NARROW : WIDE,
                    .m_keepFingerprints = m_random() % 2 == 0,
                    .m_sharedMemory = &m_memory}) {
    for (size_t term = 0; term < m_forms.size(); ++term)
        m_forms[term] = m_shape.makeForm(std::string("term-") + char('a' + term));
    // So many that the table must grow when the first thread or the third one reserves quota.
    if (m_random() % 8 != 0)
        fill(500 + m_random() % 200);
    m_firstNewID = m_dictionary.commit().m_resourceID;
    m_numberOfBuckets = getNumberOfBuckets();
}

void History::fill(const size_t numberOfTerms) {
    std::vector<std::string> forms;
    std::vector<BatchEntry> entries;
    for (size_t number = 0; number < numberOfTerms; ++number)
        forms.push_back(m_shape.makeForm(std::to_string(number)));
    for (const std::string& form : forms)
        entries.push_back({form, 0, m_shape.m_datatypeID});
    std::vector<BatchFailure> failures;
    DictionaryThread thread(m_dictionary);
    m_dictionary.resolveResources(thread, entries, failures);
    if (!failures.empty())
        failures.front().throwException();
}

/// Performs the operations of one thread of a history.
class HistoryThread : private Unmovable {
public:
    HistoryThread(History& history, const size_t index)
        : m_history(history), m_index(index), m_random(makeRandom(history.m_seed, history.m_number, index)),
          m_knownID(history.m_firstNewID) {}

    ~HistoryThread() {
        const std::lock_guard lock(m_history.m_mutex);
        m_history.m_operations.insert(m_history.m_operations.end(), m_operations.begin(), m_operations.end());
    }

    void perform(DictionaryThread& thread) {
        for (size_t count = 4 + m_random() % 5; count != 0; --count)
            switch (m_random() % 16) {
            case 0:
            case 1:
            case 2:
            case 3:
                resolve(thread);
                break;
            case 4:
            case 5:
                resolveBatch(thread);
                break;
            case 6:
            case 7:
                lookUp(drawTerm(), EVERYTHING);
                break;
            case 8:
                lookUp(drawTerm(), readCommitPoint());
                break;
            case 9:
                lookUpBatch(m_random() % 2 == 0 ? EVERYTHING : readCommitPoint());
                break;
            case 10:
            case 11:
                read(m_knownID);
                break;
            case 12:
                read(m_history.m_firstNewID + m_random() % (2 * Model::NUMBER_OF_TERMS));
                break;
            case 13:
            case 14:
                commit();
                break;
            default:
                rollBack();
            }
    }

    /// Looks at everything.
    void finish() {
        const uint64_t commitPoint = readCommitPoint();
        for (size_t term = 0; term < Model::NUMBER_OF_TERMS; ++term) {
            lookUp(term, commitPoint);
            lookUp(term, EVERYTHING);
        }
        const uint64_t nextID = m_history.m_dictionary.getNextResourceID();
        for (uint64_t resourceID = m_history.m_firstNewID; resourceID <= nextID; ++resourceID)
            read(resourceID);
    }

private:
    size_t drawTerm() { return m_random() % Model::NUMBER_OF_TERMS; }

    /// Other threads may run between the invocation that is recorded and the call.
    uint64_t start() {
        const uint64_t invocation = m_history.m_clock.takeTime();
        if (m_random() % 4 == 0)
            std::this_thread::yield();
        return invocation;
    }

    void add(const uint64_t invocation, const std::vector<Operation>& operations) {
        const uint64_t response = m_history.m_clock.takeTime();
        for (Operation operation : operations) {
            operation.m_thread = m_index;
            operation.m_invocation = invocation;
            operation.m_response = response;
            m_operations.push_back(operation);
        }
    }

    /// A term that is refused for lack of memory changes nothing, so it is no operation.
    void resolve(DictionaryThread& thread) {
        const size_t term = drawTerm();
        const std::shared_lock lock(m_history.m_changes);
        const uint64_t invocation = start();
        try {
            m_knownID =
                m_history.m_dictionary.resolveResource(thread, m_history.m_forms[term], m_history.m_shape.m_datatypeID);
            add(invocation, {{Kind::RESOLVE, term, m_knownID, 0}});
        } catch (const MemoryExhaustedException&) {
            ++m_history.m_numberOfRefusals;
        }
    }

    std::array<BatchEntry, Model::NUMBER_OF_TERMS> makeBatch() const {
        std::array<BatchEntry, Model::NUMBER_OF_TERMS> entries;
        for (size_t term = 0; term < entries.size(); ++term)
            entries[term] = {m_history.m_forms[term], 0, m_history.m_shape.m_datatypeID};
        return entries;
    }

    void resolveBatch(DictionaryThread& thread) {
        auto entries = makeBatch();
        const size_t size = 2 + m_random() % (entries.size() - 1);
        std::vector<BatchFailure> failures;
        const std::shared_lock lock(m_history.m_changes);
        const uint64_t invocation = start();
        m_history.m_dictionary.resolveResources(thread, std::span(entries).first(size), failures);
        std::vector<Operation> operations;
        for (size_t term = 0; term < size; ++term)
            if (entries[term].m_resourceID != 0)
                operations.push_back({Kind::RESOLVE, term, m_knownID = entries[term].m_resourceID, 0});
        add(invocation, operations);
        for (const BatchFailure& failure : failures)
            if (failure.m_kind != FailureKind::MEMORY)
                failure.throwException();
        if (operations.size() + failures.size() != size)
            throw std::runtime_error("a batch has entries with neither an ID nor a failure");
        m_history.m_numberOfRefusals += failures.size();
    }

    void lookUp(const size_t term, const uint64_t point) {
        const uint64_t invocation = start();
        const uint64_t resourceID = m_history.m_lookUp(m_history.m_dictionary, {point}, m_history.m_forms[term],
                                                       m_history.m_shape.m_datatypeID);
        add(invocation, {{Kind::LOOK_UP, term, resourceID, point}});
        if (resourceID != 0)
            m_knownID = resourceID;
    }

    void lookUpBatch(const uint64_t point) {
        auto entries = makeBatch();
        std::vector<BatchFailure> failures;
        const uint64_t invocation = start();
        m_history.m_dictionary.tryResolveResources({point}, entries, failures);
        std::vector<Operation> operations;
        for (size_t term = 0; term < entries.size(); ++term)
            operations.push_back({Kind::LOOK_UP, term, entries[term].m_resourceID, point});
        add(invocation, operations);
        if (!failures.empty())
            failures.front().throwException();
    }

    void read(const uint64_t resourceID) {
        std::string form;
        size_t term = Model::NO_TERM;
        const uint64_t invocation = start();
        try {
            const uint8_t datatypeID = m_history.m_dictionary.getResource(resourceID, form);
            const auto found = std::ranges::find(m_history.m_forms, form);
            if (found == m_history.m_forms.end() || datatypeID != m_history.m_shape.m_datatypeID)
                throw std::runtime_error("ID " + std::to_string(resourceID) + " means '" + form + "'");
            term = static_cast<size_t>(found - m_history.m_forms.begin());
        } catch (const MelnarException& exception) {
            if (exception.getKind() != FailureKind::NO_SUCH_RESOURCE)
                throw;
        }
        add(invocation, {{Kind::READ, term, resourceID, 0}});
    }

    uint64_t readCommitPoint() {
        const uint64_t invocation = start();
        const uint64_t commitPoint = m_history.m_dictionary.getCommitPoint().m_resourceID;
        add(invocation, {{Kind::READ_COMMIT_POINT, 0, commitPoint, 0}});
        return commitPoint;
    }

    void commit() {
        const std::unique_lock lock(m_history.m_changes);
        const uint64_t invocation = start();
        const uint64_t commitPoint = m_history.m_dictionary.commit().m_resourceID;
        add(invocation, {{Kind::COMMIT, 0, commitPoint, 0}});
    }

    void rollBack() {
        const std::unique_lock lock(m_history.m_changes);
        const uint64_t invocation = start();
        m_history.m_dictionary.rollback();
        std::vector<Operation> operations{{Kind::START_ROLLBACK, 0, m_history.m_dictionary.getNextResourceID(), 0}};
        for (size_t term = 0; term < Model::NUMBER_OF_TERMS; ++term) {
            operations.push_back({Kind::WITHDRAW, term, 0, 0});
            operations.push_back({Kind::FORGET, term, 0, 0});
        }
        add(invocation, operations);
    }

    History& m_history;
    const size_t m_index;
    std::minstd_rand m_random;
    uint64_t m_knownID; // the last one that the thread has seen
    std::vector<Operation> m_operations;
};

void History::record() {
    // A quarter of the histories run out of memory, a few pages before or after the table can grow.
    const size_t withheldBytes = m_random() % 4 == 0 ? m_memory.getFreeBytes() - m_random() % 8 * getVMPageSize() : 0;
    m_memory.allocate(withheldBytes);
    std::exception_ptr failure;
    runTogether(m_numberOfThreads, [&](const size_t index) {
        try {
            DictionaryThread thread(m_dictionary);
            HistoryThread(*this, index).perform(thread);
        } catch (const std::exception&) {
            const std::lock_guard lock(m_mutex);
            failure = std::current_exception();
        }
    });
    if (failure != nullptr)
        std::rethrow_exception(failure);
    HistoryThread(*this, m_numberOfThreads).finish();
    m_memory.deallocate(withheldBytes);
}

std::string History::describe() const {
    std::vector<Operation> operations = m_operations;
    std::ranges::stable_sort(operations, {}, &Operation::m_invocation);
    std::string text = "from ID " + std::to_string(m_firstNewID) + " on:";
    for (const Operation& operation : operations)
        if (operation.m_kind != Kind::WITHDRAW && operation.m_kind != Kind::FORGET)
            text += "\n    " + Model::describe(operation);
    return text;
}

/// Counts operations by kind, and those that ran while one of another thread did.
class Counts {
public:
    void add(const std::vector<Operation>& operations) {
        for (const Operation& operation : operations) {
            ++m_all[size_t(operation.m_kind)];
            m_concurrent[size_t(operation.m_kind)] +=
                std::ranges::any_of(operations, [&operation](const Operation& other) {
                    return other.m_thread != operation.m_thread && other.m_invocation < operation.m_response &&
                           operation.m_invocation < other.m_response;
                });
        }
    }

    [[nodiscard]] size_t getAll(const Kind kind) const noexcept { return m_all[size_t(kind)]; }

    [[nodiscard]] size_t sumUp(const bool ofConcurrent) const noexcept {
        const auto& counts = ofConcurrent ? m_concurrent : m_all;
        return std::accumulate(counts.begin(), counts.end(), size_t(0));
    }

    [[nodiscard]] bool wereAllConcurrent() const noexcept {
        return std::ranges::all_of(m_concurrent, [](const size_t count) { return count != 0; });
    }

private:
    static constexpr size_t NUMBER_OF_KINDS = size_t(Kind::FORGET) + 1;

    std::array<size_t, NUMBER_OF_KINDS> m_all{};
    std::array<size_t, NUMBER_OF_KINDS> m_concurrent{};
};

} // namespace

bool tortureLinearizability(const size_t numberOfHistories, const uint32_t seed, std::ostream& output,
                            const LookUpUnderTest& lookUp) {
    const LookUpUnderTest lookUpUnderTest = lookUp == nullptr ? &lookUpInDictionary : lookUp;
    Findings findings(output);
    Counts counts;
    size_t numberOfRefusals = 0;
    size_t numberOfGrowths = 0;
    for (size_t number = 0; number < numberOfHistories; ++number) {
        const std::string name = "MELNAR_SEED=" + std::to_string(seed) + " history " + std::to_string(number) + ' ';
        History history(seed, static_cast<uint32_t>(number), lookUpUnderTest);
        try {
            history.record();
            if (!history.isLinearizable())
                findings.add(name + "is not linearizable, " + history.describe());
        } catch (const std::exception& exception) {
            findings.add(name + "fails: " + exception.what() + ", " + history.describe());
        }
        counts.add(history.getOperations());
        numberOfRefusals += history.countRefusals();
        numberOfGrowths += history.hasGrown();
    }
    const bool isRight = findings.finish(
        numberOfHistories, "histories", "all linearizable",
        " (" + withCommas(counts.sumUp(false)) + " operations, " + withCommas(counts.sumUp(true)) +
            " of them concurrent with one of another thread; " + withCommas(counts.getAll(Kind::COMMIT)) +
            " commits, " + withCommas(counts.getAll(Kind::START_ROLLBACK)) + " rollbacks; " +
            withCommas(numberOfGrowths) + " tables grew, " + withCommas(numberOfRefusals) + " terms were refused)");
    const bool hasShownSomething = counts.wereAllConcurrent() && numberOfGrowths != 0 && numberOfRefusals != 0;
    if (!hasShownSomething)
        output << "This run has shown too little: not every kind of operation ran concurrently, or no table grew.\n";
    return isRight && hasShownSomething;
}
