// The files of a host of its own: what the host shares with its datatype is saved, and then the datatype. The host is
// that of own_host.cpp; docs/guides/writing-a-host.md tells what else a file needs.

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h" // and all that datatypes share with their host
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <iostream>
#include <string>
#include <string_view>

namespace {

constexpr uint64_t MAXIMUM = 1'000'000; // resources
constexpr bool HAS_NARROW_BUCKETS = MAXIMUM < 0xFFFFFFFE;

class Host {
public:
    Host() {
        m_dataOffsets.initialize(MAXIMUM + 1);
        m_datatypeBytes.initialize(MAXIMUM + 1);
        m_dataPool.initialize(m_memory.getReservedBytes());
        m_strings->initialize(MAXIMUM);
    }

    uint64_t resolve(const std::string_view text) {
        return m_strings->resolveResource(nullptr, text.data(), text.size(), D_XSD_STRING);
    }

    /// While no thread resolves.
    void commit() { m_commitPoint = m_nextID.load(); }

    /// While no thread resolves. The stream of a datatype does not tell the width of its buckets, so the file does.
    void save(OutputStream& output) const {
        const uint64_t numberOfResources = m_nextID - 1;
        output.writeUInt64(HAS_NARROW_BUCKETS);
        output.writeUInt64(m_commitPoint);
        output.writeUInt64(numberOfResources);
        output.write(m_dataOffsets.getData() + 1, numberOfResources * sizeof(uint64_t));
        output.write(m_datatypeBytes.getData() + 1, numberOfResources);
        output.writeUInt64(m_dataPool.getEnd());
        output.write(m_dataPool.getData(), m_dataPool.getEnd());
        m_strings->save(output);
    }

    /// For a host that has nothing yet, while no other thread does anything. Trusts the file: the checks of dictionary
    /// files are a part of Dictionary. Returns false for a file with buckets of another width or too many resources.
    bool load(InputStream& input) {
        if (input.readUInt64() != HAS_NARROW_BUCKETS)
            return false;
        const uint64_t commitPoint = input.readUInt64();
        const uint64_t numberOfResources = input.readUInt64();
        if (numberOfResources > MAXIMUM || commitPoint > numberOfResources + 1)
            return false;
        m_dataOffsets.ensureEndAtLeast(numberOfResources + 1);
        m_datatypeBytes.ensureEndAtLeast(numberOfResources + 1);
        input.readExactly(m_dataOffsets.getData() + 1, numberOfResources * sizeof(uint64_t));
        input.readExactly(m_datatypeBytes.getData() + 1, numberOfResources);
        const uint64_t dataPoolSize = input.readUInt64();
        m_dataPool.initialize(m_dataPool.getCapacity(), dataPoolSize);
        input.readExactly(m_dataPool.getData(), dataPoolSize);
        m_nextID = numberOfResources + 1; // before the datatype: loadUntrusted compares its IDs with it
        m_commitPoint = commitPoint;
        m_strings->load(input);
        return true;
    }

private:
    MemoryManager m_memory{size_t(1) << 30};
    std::atomic<uint64_t> m_nextID{1};
    std::atomic<uint64_t> m_commitPoint{1}; // the first ID that is not committed
    MemoryRegion<uint64_t> m_dataOffsets{m_memory};
    MemoryRegion<std::atomic<uint8_t>> m_datatypeBytes{m_memory};
    DataPool m_dataPool{m_memory};
    std::unique_ptr<DictionaryDatatype> m_strings = StringDatatypeFactory::getInstance().createDictionaryDatatype(
        HAS_NARROW_BUCKETS, m_memory, m_nextID, m_dataOffsets, m_datatypeBytes, m_dataPool);
};

} // namespace

int main() {
    Host saved;
    for (const char* const city : {"Berlin", "Paris", "Rome"})
        saved.resolve(city);
    saved.commit();
    melnar::MemoryOutputStream output; // melnar::FileOutputStream writes to a file.
    saved.save(output);

    Host loaded;
    melnar::MemoryInputStream input(output.getBytes());
    if (!loaded.load(input))
        return 1;
    std::cout << "Paris: " << loaded.resolve("Paris") << ", Madrid: " << loaded.resolve("Madrid") << '\n';
}
