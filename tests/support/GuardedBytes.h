#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/VirtualMemory.h"

#include <cstddef>
#include <new>

/// Zero bytes on separate pages between two pages that fault on every access. So a read outside ends the program, even
/// a read by an instruction that no sanitizer watches. Only the side with which the bytes are aligned is guarded
/// exactly.
class GuardedBytes : private Unmovable {
public:
    enum class FlushWith { START_OF_PAGE, END_OF_PAGE };

    GuardedBytes(const size_t numberOfBytes, const FlushWith flushWith)
        : m_pageSize(getVMPageSize()), m_accessibleBytes((numberOfBytes + m_pageSize - 1) / m_pageSize * m_pageSize),
          m_reservation(static_cast<char*>(melnar::VirtualMemory::reserve(m_accessibleBytes + 2 * m_pageSize))) {
        if (m_reservation == nullptr)
            throw std::bad_alloc();
        if (m_accessibleBytes != 0 && !melnar::VirtualMemory::commit(m_reservation + m_pageSize, m_accessibleBytes)) {
            melnar::VirtualMemory::release(m_reservation, m_accessibleBytes + 2 * m_pageSize);
            throw std::bad_alloc();
        }
        m_begin = m_reservation + m_pageSize +
                  (flushWith == FlushWith::START_OF_PAGE ? 0 : m_accessibleBytes - numberOfBytes);
    }

    ~GuardedBytes() { melnar::VirtualMemory::release(m_reservation, m_accessibleBytes + 2 * m_pageSize); }

    char* get() const noexcept { return m_begin; }

private:
    const size_t m_pageSize;
    const size_t m_accessibleBytes;
    char* const m_reservation;
    char* m_begin = nullptr;
};
