#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/LockObserver.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <vector>

/// Logs when a thread enters and leaves its slots in the two tables of a string datatype.
///
/// Entering and leaving a slot without a wait makes no call that could be observed. So each slot gets a phantom: a
/// waiter that gets the slot in a hand-over and never takes it. Every entry then takes the hand-over, under the slot's
/// mutex, and every exit makes it again.
///
/// Threads  The slots are those of the thread that makes the log. No other thread resizes the tables.
template<class T>
class SlotLog : public LockObserver {
public:
    /// The contents of the tables at a step, by table: strings first, plain literals second.
    struct Contents {
        bool operator==(const Contents&) const = default;

        std::array<size_t, 2> m_entries{};
        std::array<size_t, 2> m_buckets{};
    };

    struct Step {
        bool m_isEntry;
        uint8_t m_datatypeID;
        uint64_t m_nextResourceID;
        Contents m_contents;
    };

    explicit SlotLog(UninitializedDictionaryFixture<T>& fixture) : m_fixture(fixture) {
        m_steps.reserve(10000); // the observed thread makes the same allocations as without the log
        for (const uint8_t datatypeID : DATATYPE_IDS) {
            melnar::TableThreadContext& slot = getSlot(datatypeID);
            slot.m_lockCount.store(1, std::memory_order_relaxed);
            slot.m_wakeUp = 1;
        }
    }

    /// Ends the phantoms. A slot that is still held stays held.
    ~SlotLog() override {
        for (const uint8_t datatypeID : DATATYPE_IDS) {
            melnar::TableThreadContext& slot = getSlot(datatypeID);
            slot.m_lockCount.fetch_sub(1, std::memory_order_relaxed);
            slot.m_wakeUp = 0;
        }
    }

    void notice(const Event event, const void* const object) override {
        for (const uint8_t datatypeID : DATATYPE_IDS) {
            melnar::TableThreadContext& slot = getSlot(datatypeID);
            if (event == Event::MUTEX_UNLOCKING && object == &slot.m_mutex)
                m_steps.push_back({slot.m_wakeUp == 0, datatypeID, m_fixture.m_nextResourceID.load(), getContents()});
            else if (event == Event::CONDITION_WAITING && object == &slot.m_condition) {
                std::cerr << "A thread hangs: it waits for a slot that it holds itself.\n";
                std::abort();
            }
        }
    }

    /// Returns the log so far, and clears it.
    std::vector<Step> takeSteps() {
        std::vector<Step> steps = m_steps;
        m_steps.clear();
        return steps;
    }

    Contents getContents() {
        Contents contents;
        for (size_t table = 0; table < DATATYPE_IDS.size(); ++table) {
            contents.m_entries[table] = getTable(m_fixture, DATATYPE_IDS[table]).getNumberOfNonEmptyBuckets();
            contents.m_buckets[table] = getTable(m_fixture, DATATYPE_IDS[table]).getNumberOfBuckets();
        }
        return contents;
    }

private:
    static constexpr std::array<uint8_t, 2> DATATYPE_IDS{D_XSD_STRING, D_RDF_PLAIN_LITERAL};

    melnar::TableThreadContext& getSlot(const uint8_t datatypeID) {
        return getTable(m_fixture, datatypeID).getCurrentThreadContext();
    }

    UninitializedDictionaryFixture<T>& m_fixture;
    std::vector<Step> m_steps;
};
