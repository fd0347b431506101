#pragma once

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "tests/support/FingerprintsUnderTest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The bucket widths with which every test of a string datatype runs.
using DatatypeWidths = testing::Types<uint32_t, uint64_t>;

struct DatatypeWidthNames {
    template<class T>
    static std::string GetName(int) { // NOLINT(readability-identifier-naming): GoogleTest's name
        return sizeof(T) == 4 ? "Narrow" : "Wide";
    }
};

/// A short name, since most lookups in tests use it.
constexpr DictionaryCommitPoint EVERYTHING = DictionaryCommitPoint::ALL;

/// The parts that a dictionary shares with its datatypes, ready for use. Resource IDs start at 1.
struct DictionaryParts : private Unmovable {
    static constexpr size_t MEMORY_LIMIT = size_t(1) << 30;
    static constexpr size_t CAPACITY = size_t(1) << 20;
    static constexpr size_t POOL_CAPACITY = size_t(1) << 28;

    explicit DictionaryParts(const size_t memoryLimit = MEMORY_LIMIT, const size_t capacity = CAPACITY,
                             const size_t poolCapacity = POOL_CAPACITY)
        : m_memoryManager(memoryLimit), m_nextResourceID(1), m_resourceDataOffsets(m_memoryManager),
          m_resourceFlags(m_memoryManager), m_dataPool(m_memoryManager) {
        m_resourceDataOffsets.initialize(capacity);
        m_resourceFlags.initialize(capacity);
        m_dataPool.initialize(poolCapacity);
    }

    size_t getBytesInUse() const { return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes(); }

    MemoryManager m_memoryManager;
    std::atomic<uint64_t> m_nextResourceID;
    MemoryRegion<uint64_t> m_resourceDataOffsets;
    MemoryRegion<std::atomic<uint8_t>> m_resourceFlags;
    DataPool m_dataPool;
};

/// Takes all memory of a manager except `bytesLeft` until it ends, as another user of the same limit would.
class MemoryShortage : private Unmovable {
public:
    MemoryShortage(MemoryManager& memoryManager, const size_t bytesLeft)
        : m_memoryManager(memoryManager), m_takenBytes(0) {
        // Reclaimable memory is released first, so only the bytes left can be allocated.
        EXPECT_THROW(
            m_memoryManager.withReclaim([&] { m_memoryManager.allocate(m_memoryManager.getReservedBytes() + 1); }),
            MemoryExhaustedException);
        m_takenBytes = memoryManager.getFreeBytes() - bytesLeft;
        m_memoryManager.allocate(m_takenBytes);
    }

    ~MemoryShortage() { end(); }

    void end() noexcept {
        m_memoryManager.deallocate(m_takenBytes);
        m_takenBytes = 0;
    }

private:
    MemoryManager& m_memoryManager;
    size_t m_takenBytes;
};

/// A string datatype of bucket width T with its own parts, constructed but not initialised, with short forms of the
/// operations that tests use most. They pass no thread context, so chunks are in the pool without gaps.
template<class T>
struct UninitializedDictionaryFixture : public DictionaryParts {
    explicit UninitializedDictionaryFixture(const size_t memoryLimit = MEMORY_LIMIT, const size_t capacity = CAPACITY,
                                            const size_t poolCapacity = POOL_CAPACITY)
        : DictionaryParts(memoryLimit, capacity, poolCapacity),
          m_datatype(m_memoryManager, m_nextResourceID, m_resourceDataOffsets, m_resourceFlags, m_dataPool) {
        if (areFingerprintsUnderTest())
            m_datatype.enableFingerprints();
    }

    uint64_t resolve(const std::string_view lexicalForm, const uint8_t datatypeID = D_XSD_STRING) {
        return m_datatype.resolveResource(nullptr, lexicalForm.data(), lexicalForm.size(), datatypeID);
    }

    uint64_t tryResolve(const std::string_view lexicalForm, const uint8_t datatypeID = D_XSD_STRING,
                        const DictionaryCommitPoint commitPoint = EVERYTHING) const {
        return m_datatype.tryResolveResource(commitPoint, lexicalForm.data(), lexicalForm.size(), datatypeID);
    }

    uint64_t restore(const uint64_t resourceID, const std::string_view lexicalForm,
                     const uint8_t datatypeID = D_XSD_STRING);

    std::string getLexicalForm(const uint64_t resourceID) const {
        std::string lexicalForm;
        m_datatype.getResource(resourceID, D_XSD_STRING, lexicalForm);
        return lexicalForm;
    }

    uint8_t getDatatypeID(const uint64_t resourceID) const { return m_resourceFlags[resourceID].load(); }

    StringDatatype<T> m_datatype;
};

/// The same, initialised.
template<class T>
struct DictionaryFixture : public UninitializedDictionaryFixture<T> {
    explicit DictionaryFixture(const size_t memoryLimit = DictionaryParts::MEMORY_LIMIT,
                               const size_t capacity = DictionaryParts::CAPACITY,
                               const size_t poolCapacity = DictionaryParts::POOL_CAPACITY)
        : UninitializedDictionaryFixture<T>(memoryLimit, capacity, poolCapacity) {
        this->m_datatype.initialize(0);
    }
};

/// A value as a factory would make it, without checks.
class StringValue : public ResourceValue {
public:
    StringValue(const std::string_view lexicalForm, const uint8_t datatypeID) {
        uint8_t* const data = useOwnStorage(lexicalForm.size() + 1);
        lexicalForm.copy(reinterpret_cast<char*>(data), lexicalForm.size());
        data[lexicalForm.size()] = 0;
        m_datatypeID = datatypeID;
    }
};

template<class T>
uint64_t UninitializedDictionaryFixture<T>::restore(const uint64_t resourceID, const std::string_view lexicalForm,
                                                    const uint8_t datatypeID) {
    return m_datatype.restoreResource(nullptr, resourceID, StringValue(lexicalForm, datatypeID));
}
