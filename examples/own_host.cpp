// A host of its own: a store that has memory, IDs and threads already, and uses the datatype of strings without a
// Dictionary. The host owns what all datatypes share. docs/guides/writing-a-host.md lists its duties.

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h" // and all that datatypes share with their host

#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

class Host {
public:
    Host() {
        m_dataOffsets.initialize(MAXIMUM + 1); // Index 0 belongs to no resource.
        m_datatypeBytes.initialize(MAXIMUM + 1);
        m_dataPool.initialize(m_memory.getReservedBytes());
        m_strings = StringDatatypeFactory::getInstance().createDictionaryDatatype(
            MAXIMUM < 0xFFFFFFFE, m_memory, m_nextID, m_dataOffsets, m_datatypeBytes, m_dataPool);
        m_strings->initialize(MAXIMUM);
    }

    /// Gives an ID to each text that has none. Any threads concurrently.
    void add(const std::vector<std::string>& texts) {
        DictionaryThreadContext context(m_dataPool); // the thread's private part of the pool
        for (const std::string& text : texts)
            m_strings->resolveResource(&context, text.data(), text.size(), D_XSD_STRING);
    }

    /// Returns the ID of a text that was there at the last commit, or 0. Any threads concurrently.
    uint64_t find(const std::string_view text) const {
        return m_strings->tryResolveResource({m_commitPoint}, text.data(), text.size(), D_XSD_STRING);
    }

    /// The datatype byte tells whether the resource exists, and makes its text visible. Any threads concurrently.
    std::string read(const uint64_t id) const {
        std::string text = "nothing";
        if (id < m_datatypeBytes.getEnd() && m_datatypeBytes[id].load(std::memory_order_acquire) != D_INVALID)
            m_strings->getResource(id, D_XSD_STRING, text);
        return text;
    }

    /// While no thread adds. Lookups go on: a thread that sees the new commit point finds everything before it.
    void commit() { m_commitPoint = m_nextID.load(); }

    /// While no thread adds. The datatype forgets the text; the host clears the byte.
    void rollback() {
        for (uint64_t id = m_commitPoint; id < m_nextID; ++id)
            if (m_datatypeBytes[id] != D_INVALID) { // An earlier rollback has withdrawn the others.
                m_strings->deleteUncommittedResourceID(id, D_XSD_STRING);
                m_datatypeBytes[id].store(D_INVALID, std::memory_order_release);
            }
    }

    /// Makes IDs and texts dense, and commits. While no other thread does anything.
    void compact() {
        DictionaryCompactionState state(m_memory); // a record of each resource that survives
        state.m_entries.initialize(m_nextID);
        state.m_entries.ensureEndAtLeast(m_nextID);
        uint64_t newID = 1;
        for (uint64_t id = 1; id < m_nextID; ++id)
            if (m_datatypeBytes[id] != D_INVALID)
                m_strings->prepareCompact(id, newID++, state);
        DataPool dataPool(m_memory);
        state.copyChunks(m_dataPool, dataPool);
        m_dataPool.swapContents(dataPool); // From here on nothing fails.
        m_strings->finishCompact(state);   // stores offsets and bytes of the new IDs, and fills its tables anew
        m_dataOffsets.truncate(newID);
        m_datatypeBytes.truncate(newID);
        m_commitPoint = m_nextID = newID;
    }

private:
    static constexpr uint64_t MAXIMUM = 1'000'000; // resources; so a hash table's bucket has 4 bytes, not 8

    MemoryManager m_memory{size_t(1) << 30};
    std::atomic<uint64_t> m_nextID{1};
    MemoryRegion<uint64_t> m_dataOffsets{m_memory};
    MemoryRegion<std::atomic<uint8_t>> m_datatypeBytes{m_memory};
    DataPool m_dataPool{m_memory};
    std::unique_ptr<DictionaryDatatype> m_strings; // refers to what stands above, and is destroyed before it
    std::atomic<uint64_t> m_commitPoint{1};        // the first ID that is not committed
};

int main() {
    Host host;
    const std::vector<std::string> cities{"Berlin", "Paris", "Rome"};
    std::thread other([&] { host.add(cities); });
    host.add(cities); // Each city gets one ID, from either thread.
    other.join();
    host.commit();
    host.add({"Atlantis"});
    host.rollback();
    host.add({"Madrid"});
    std::cout << "4: " << host.read(4) << ", 5: " << host.read(5) << ", Madrid: " << host.find("Madrid") << '\n';
    host.compact();
    std::cout << "4: " << host.read(4) << ", 5: " << host.read(5) << ", Madrid: " << host.find("Madrid") << '\n';
}
