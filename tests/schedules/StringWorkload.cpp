#include "tests/schedules/StringWorkload.h"

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "Engine/core/platform/system/TableSizes.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/schedules/ReplacedMemory.h"
#include "tests/schedules/StringModel.h"

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr uint64_t CAPACITY = 64;
constexpr size_t POOL_CAPACITY = size_t(1) << 12;
constexpr size_t MEMORY_LIMIT = size_t(1) << 16;
constexpr size_t NUMBER_OF_SHARED_STRINGS = 3;
constexpr size_t NEW_STRINGS_OF_A_THREAD = 6;
constexpr size_t NUMBER_OF_STRINGS = 32;

/// The slot of the code that runs before and after the threads.
constexpr size_t SLOT_OF_OWNER = TableSizes::NUMBER_OF_SLOTS - 1;
static_assert(Schedule::MAXIMUM_NUMBER_OF_THREADS <= SLOT_OF_OWNER);

/// Strings of which the first, those that threads share, have one home bucket, close to the end of the smallest table.
const std::vector<std::string>& getStrings() {
    static const std::vector<std::string> s_strings = [] {
        std::vector<std::string> strings;
        for (size_t number = 0; strings.size() < NUMBER_OF_STRINGS; ++number) {
            std::string string = "string " + std::to_string(number);
            const bool isShared = strings.size() < NUMBER_OF_SHARED_STRINGS;
            if (!isShared || hashLexicalForm(string.data(), string.size()) % 16 == 14)
                strings.push_back(std::move(string));
        }
        return strings;
    }();
    return s_strings;
}

/// What one thread has done. Nothing in the tests is shared by threads but the dictionary.
struct Journal {
    std::array<std::vector<StringModel::Operation>, NUMBER_OF_STRINGS> m_histories;
    WorkloadFigures m_figures;
    size_t m_nextNewString; // that no other thread resolves
    size_t m_endOfNewStrings;
};

/// One dictionary with a schedule of its threads. T is the width of buckets.
template<class T>
class StringWorkload : private ::Unmovable {
public:
    StringWorkload(Schedule& schedule, const Task first, const Task second, const uint64_t seed,
                   WorkloadFigures& figures)
        : m_schedule(schedule), m_random(seed * 2 + 1), m_figures(figures), m_memoryManager(MEMORY_LIMIT),
          m_nextResourceID(1), m_offsets(m_memoryManager), m_flags(m_memoryManager), m_dataPool(m_memoryManager) {
        m_tasks = {first, second};
        if (decide(2))
            m_tasks.push_back(decide(2) ? first : second);
        m_canFail = first == Task::FAIL || second == Task::FAIL;
        g_currentThreadContextIndex = SLOT_OF_OWNER;
        m_offsets.initialize(CAPACITY);
        m_flags.initialize(CAPACITY);
        m_dataPool.initialize(POOL_CAPACITY);
        m_datatype =
            std::make_unique<StringDatatype<T>>(m_memoryManager, m_nextResourceID, m_offsets, m_flags, m_dataPool);
        if (decide(2))
            m_datatype->enableFingerprints();
        m_datatype->initialize(0);
    }

    void run(const uint64_t seed) {
        fillBefore();
        if (decide(4) == 0) // Now the fingerprints of what is there are unknown.
            m_datatype->enableFingerprints();
        const size_t bucketsBefore = getTable().getNumberOfBuckets();
        std::vector<std::function<void()>> threads;
        for (size_t thread = 0; thread < m_tasks.size(); ++thread) {
            Journal& journal = m_journals[thread];
            journal.m_nextNewString = NUMBER_OF_SHARED_STRINGS + thread * NEW_STRINGS_OF_A_THREAD;
            journal.m_endOfNewStrings = journal.m_nextNewString + NEW_STRINGS_OF_A_THREAD;
            threads.emplace_back(
                [&journal, this, task = m_tasks[thread], seed = m_random()] { runTask(journal, task, seed); });
        }
        m_schedule.run(threads, seed);
        for (const Journal& journal : m_journals) {
            m_figures.m_operations += journal.m_figures.m_operations;
            m_figures.m_failures += journal.m_figures.m_failures;
        }
        m_figures.m_resizes += getTable().getNumberOfBuckets() != bucketsBefore;
        m_figures.m_tombstones += getTable().getNumberOfDeletedBuckets();
        checkAfter();
    }

private:
    using Kind = StringModel::Kind;
    using Table = std::remove_reference_t<decltype(StringDatatypeTestPeer::getTable(std::declval<StringDatatype<T>&>(),
                                                                                    D_XSD_STRING))>;
    using Policy = DatatypePolicy<T>;
    using Peer = ParallelHashTableTestPeer;

    uint64_t decide(const uint64_t limit) { return m_random() % limit; }

    Table& getTable() { return StringDatatypeTestPeer::getTable(*m_datatype, D_XSD_STRING); }

    bool hasTask(const Task task) const { return std::find(m_tasks.begin(), m_tasks.end(), task) != m_tasks.end(); }

    void require(const bool isRight, const char* const finding) {
        if (!isRight)
            m_schedule.fail(finding);
    }

    /// Fills the table so far that a few insertions make it grow, with some tombstones, some of the shared strings, and
    /// in some cases so many tombstones that it is rehashed at its size.
    void fillBefore() {
        Journal& journal = m_journals.back();
        const bool isNearlyFull = hasTask(Task::RESIZE) || hasTask(Task::FAIL) || decide(2) == 0;
        const size_t numberOfStrings = isNearlyFull ? 8 + decide(3) : decide(8);
        const size_t numberOfShared = decide(NUMBER_OF_SHARED_STRINGS + 1);
        const uint64_t tombstonesInTen = decide(3) == 0 ? 10 : decide(4);
        for (size_t number = 0; number < numberOfStrings; ++number) {
            const bool isShared = number < numberOfShared;
            const size_t string = isShared ? number : NUMBER_OF_STRINGS - 1 - number;
            const uint64_t resourceID = resolveOne(journal, string);
            if (!isShared && decide(10) < tombstonesInTen)
                remove(journal, string, resourceID);
        }
    }

    void runTask(Journal& journal, const Task task, const uint64_t seed) {
        std::mt19937_64 random(seed);
        const size_t numberOfOperations = 1 + random() % 3;
        switch (task) {
        case Task::RESOLVE:
            for (size_t number = 0; number < numberOfOperations; ++number)
                resolve(journal, chooseShared(random), random() % 2 == 0);
            return;
        case Task::LOOK_UP:
            for (size_t number = 0; number < numberOfOperations; ++number)
                if (random() % 3 == 0)
                    read(journal, 1 + random() % CAPACITY / 3);
                else
                    lookUp(journal, chooseShared(random), random() % 2 == 0);
            return;
        case Task::DELETE:
            for (size_t number = 0; number < numberOfOperations; ++number) {
                const size_t string = random() % NUMBER_OF_SHARED_STRINGS;
                const uint64_t resourceID =
                    random() % 2 == 0 ? lookUpOne(journal, string) : resolveOne(journal, string);
                if (resourceID != 0)
                    remove(journal, string, resourceID);
            }
            return;
        case Task::RESIZE:
            resolve(journal, takeNew(journal, numberOfOperations), random() % 2 == 0);
            return;
        case Task::FAIL: {
            const bool isSystem = random() % 3 == 0;
            size_t takenBytes = 0;
            if (isSystem)
                ReplacedMemory::failAfter(random() % 3);
            else {
                takenBytes = m_memoryManager.getFreeBytes();
                takenBytes -= std::min<size_t>(takenBytes, 64 * (random() % 4));
                try {
                    m_memoryManager.allocate(takenBytes);
                } catch (const MemoryExhaustedException&) {
                    takenBytes = 0; // another thread was faster
                }
            }
            resolve(journal, takeNew(journal, 1 + random() % 2), random() % 2 == 0);
            resolve(journal, chooseShared(random), random() % 2 == 0);
            if (isSystem)
                ReplacedMemory::stopFailing();
            m_memoryManager.deallocate(takenBytes);
            resolve(journal, takeNew(journal, 1), random() % 2 == 0);
            return;
        }
        case Task::TERM:
        case Task::COMMIT:
        case Task::READ:
            break; // of the other workload
        }
    }

    std::vector<size_t> chooseShared(std::mt19937_64& random) const {
        std::vector<size_t> strings(1 + random() % 2);
        for (size_t& string : strings)
            string = random() % NUMBER_OF_SHARED_STRINGS;
        return strings;
    }

    std::vector<size_t> takeNew(Journal& journal, const size_t numberOfStrings) {
        std::vector<size_t> strings(numberOfStrings);
        for (size_t& string : strings) {
            require(journal.m_nextNewString < journal.m_endOfNewStrings, "a thread needs more new strings");
            string = journal.m_nextNewString++;
        }
        return strings;
    }

    std::vector<BatchEntry> makeBatch(const std::vector<size_t>& strings) const {
        std::vector<BatchEntry> batch(strings.size());
        for (size_t index = 0; index < strings.size(); ++index) {
            batch[index].m_lexicalForm = getStrings()[strings[index]];
            batch[index].m_datatypeID = D_XSD_STRING;
        }
        return batch;
    }

    void resolve(Journal& journal, const std::vector<size_t>& strings, const bool isBatch) {
        if (!isBatch) {
            for (const size_t string : strings)
                resolveOne(journal, string);
            return;
        }
        std::vector<BatchEntry> batch = makeBatch(strings);
        std::vector<BatchFailure> failures;
        const uint64_t invocation = m_schedule.takeTime();
        m_datatype->resolveResources(nullptr, batch, failures);
        require(failures.empty() || m_canFail, "a batch failed although there was memory");
        journal.m_figures.m_failures += failures.size();
        for (const BatchFailure& failure : failures)
            require(failure.m_kind == FailureKind::MEMORY || failure.m_kind == FailureKind::SYSTEM,
                    "a batch failed for a wrong reason");
        note(journal, Kind::RESOLVE, strings, batch, invocation);
        for (size_t index = 0; index < strings.size(); ++index)
            require((batch[index].m_resourceID == 0) ==
                        std::any_of(failures.begin(), failures.end(),
                                    [index](const BatchFailure& failure) { return failure.m_entryIndex == index; }),
                    "an entry of a batch has neither an ID nor a failure, or both");
    }

    uint64_t resolveOne(Journal& journal, const size_t string) {
        const std::string& form = getStrings()[string];
        const uint64_t invocation = m_schedule.takeTime();
        try {
            const uint64_t resourceID = m_datatype->resolveResource(nullptr, form.data(), form.size(), D_XSD_STRING);
            require(resourceID != 0, "a string was resolved to no ID");
            note(journal, Kind::RESOLVE, string, resourceID, invocation);
            return resourceID;
        } catch (const MemoryExhaustedException&) {
            require(m_canFail, "memory was exhausted although there was some");
        } catch (const SystemCallException&) {
            require(m_canFail, "the system refused memory although it did not");
        }
        ++journal.m_figures.m_failures;
        return 0;
    }

    void lookUp(Journal& journal, const std::vector<size_t>& strings, const bool isBatch) {
        if (!isBatch) {
            for (const size_t string : strings)
                lookUpOne(journal, string);
            return;
        }
        std::vector<BatchEntry> batch = makeBatch(strings);
        std::vector<BatchFailure> failures;
        const uint64_t invocation = m_schedule.takeTime();
        m_datatype->tryResolveResources(DictionaryCommitPoint::ALL, batch, failures);
        require(failures.empty(), "a lookup failed");
        note(journal, Kind::LOOK_UP, strings, batch, invocation);
    }

    uint64_t lookUpOne(Journal& journal, const size_t string) {
        const std::string& form = getStrings()[string];
        const uint64_t invocation = m_schedule.takeTime();
        const uint64_t resourceID =
            m_datatype->tryResolveResource(DictionaryCommitPoint::ALL, form.data(), form.size(), D_XSD_STRING);
        note(journal, Kind::LOOK_UP, string, resourceID, invocation);
        return resourceID;
    }

    /// Reads a resource by its ID, if there is one, and looks its string up: a thread that can read it must find it.
    void read(Journal& journal, const uint64_t resourceID) {
        const uint64_t invocation = m_schedule.takeTime();
        if (resourceID >= m_flags.getEnd() || m_flags[resourceID].load(std::memory_order_acquire) != D_XSD_STRING)
            return;
        std::string form;
        m_datatype->getResource(resourceID, D_XSD_STRING, form);
        const auto found = std::find(getStrings().begin(), getStrings().end(), form);
        require(found != getStrings().end(), "an ID means a string that nobody has resolved");
        const auto string = static_cast<size_t>(found - getStrings().begin());
        note(journal, Kind::READ, string, resourceID, invocation);
        lookUpOne(journal, string);
    }

    void remove(Journal& journal, const size_t string, const uint64_t resourceID) {
        const uint64_t invocation = m_schedule.takeTime();
        m_datatype->deleteUncommittedResourceID(resourceID, D_XSD_STRING);
        note(journal, Kind::DELETE, string, resourceID, invocation);
    }

    void note(Journal& journal, const Kind kind, const size_t string, const uint64_t resourceID,
              const uint64_t invocation) {
        ++journal.m_figures.m_operations;
        require(resourceID < m_nextResourceID.load(std::memory_order_relaxed), "an ID was not given yet");
        journal.m_histories[string].push_back({kind, resourceID, invocation, m_schedule.takeTime()});
    }

    /// Entries that failed have had no effect.
    void note(Journal& journal, const Kind kind, const std::vector<size_t>& strings,
              const std::vector<BatchEntry>& batch, const uint64_t invocation) {
        for (size_t index = 0; index < strings.size(); ++index)
            if (kind != Kind::RESOLVE || batch[index].m_resourceID != 0)
                note(journal, kind, strings[index], batch[index].m_resourceID, invocation);
    }

    void checkAfter() {
        std::vector<uint64_t> currentIDs;
        uint64_t createdIDs = 0;
        for (size_t string = 0; string < NUMBER_OF_STRINGS; ++string) {
            std::vector<StringModel::Operation> history;
            for (const Journal& journal : m_journals)
                history.insert(history.end(), journal.m_histories[string].begin(), journal.m_histories[string].end());
            if (history.empty())
                continue;
            Journal last;
            currentIDs.push_back(lookUpOne(last, string));
            history.push_back(last.m_histories[string].front());
            for (const StringModel::Operation& operation : history)
                if (operation.m_kind == Kind::RESOLVE)
                    createdIDs |= uint64_t(1) << operation.m_resourceID;
            StringModel::check(m_schedule, history);
        }
        require(createdIDs + 2 == uint64_t(1) << m_nextResourceID.load(std::memory_order_relaxed),
                "an ID was given to no string");
        std::erase(currentIDs, 0);
        std::sort(currentIDs.begin(), currentIDs.end());
        require(currentIDs == checkTable(), "the table holds other IDs than those that are found");
        const size_t chargedBytes = MEMORY_LIMIT - m_memoryManager.getFreeBytes();
        const Table& other = StringDatatypeTestPeer::getTable(*m_datatype, D_RDF_PLAIN_LITERAL);
        require(chargedBytes == m_offsets.getCommittedBytes() + m_flags.getCommittedBytes() +
                                    m_dataPool.getCommittedBytes() + getTable().getCommittedBytes() +
                                    getTable().getFingerprintBytes() + other.getCommittedBytes() +
                                    other.getFingerprintBytes(),
                "the memory manager has not charged what is in use");
    }

    /// Returns the IDs in the table, in ascending order.
    std::vector<uint64_t> checkTable() {
        Table& table = getTable();
        const size_t numberOfBuckets = table.getNumberOfBuckets();
        size_t numberOfTombstones = 0;
        std::vector<uint64_t> resourceIDs;
        for (size_t index = 0; index < numberOfBuckets; ++index) {
            const T value = table.getBucket(index).load(std::memory_order_relaxed);
            const uint8_t fingerprint = Peer::getFingerprints(table).exist() ? Peer::getFingerprints(table)[index] : 0;
            require(value != Policy::BUCKET_IN_PROGRESS, "a bucket is still in progress");
            if (value == Policy::EMPTY_BUCKET) {
                require(fingerprint == 0, "an empty bucket has a fingerprint");
                continue;
            }
            if (value == Policy::BUCKET_DELETED) {
                ++numberOfTombstones;
                continue;
            }
            resourceIDs.push_back(value);
            require(fingerprint != 0 || !Peer::getFingerprints(table).areComplete(), "an entry has no fingerprint");
            require(fingerprint == 0 || fingerprint == Fingerprints::get(Peer::getPolicy(table).getHash(value)),
                    "an entry has the fingerprint of another one");
        }
        size_t quotas = 0;
        for (const TableThreadContext& slot : Peer::getThreadContexts(table)) {
            quotas += slot.getInsertionQuota();
            require(slot.m_lockCount.load(std::memory_order_relaxed) == 0 && slot.m_wakeUp == 0, "a slot is not free");
        }
        require(Peer::getResizeState(table).load(std::memory_order_relaxed) == Table::NOT_RESIZING,
                "a resize has not ended");
        require(numberOfTombstones == table.getNumberOfDeletedBuckets(), "the tombstones are counted wrongly");
        require(resourceIDs.size() + numberOfTombstones + quotas ==
                    Peer::getNumberOfUsedBuckets(table).load(std::memory_order_relaxed),
                "the used buckets are counted wrongly");
        std::sort(resourceIDs.begin(), resourceIDs.end());
        require(std::adjacent_find(resourceIDs.begin(), resourceIDs.end()) == resourceIDs.end(),
                "an ID is in two buckets");
        return resourceIDs;
    }

    Schedule& m_schedule;
    std::mt19937_64 m_random;
    WorkloadFigures& m_figures;
    std::vector<Task> m_tasks;
    bool m_canFail;
    MemoryManager m_memoryManager;
    Atomic<uint64_t> m_nextResourceID;
    MemoryRegion<uint64_t> m_offsets;
    MemoryRegion<Atomic<uint8_t>> m_flags;
    DataPool m_dataPool;
    std::unique_ptr<StringDatatype<T>> m_datatype;
    std::array<Journal, Schedule::MAXIMUM_NUMBER_OF_THREADS + 1> m_journals; // the last one is the owner's
};

} // namespace

void runStringWorkload(Schedule& schedule, const Task first, const Task second, const uint64_t seed,
                       WorkloadFigures& figures) {
    ReplacedMemory::reset();
    if (seed / 4 % 2 == 0)
        StringWorkload<uint32_t>(schedule, first, second, seed, figures).run(seed);
    else
        StringWorkload<uint64_t>(schedule, first, second, seed, figures).run(seed);
}
