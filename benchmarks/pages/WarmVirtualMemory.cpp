#include "benchmarks/pages/WarmVirtualMemory.h"

#include "benchmarks/pages/PagePool.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>

// While the page pool is warm, these functions replace those of Engine/core/platform/system/VirtualMemory.h, by the
// linker's option --wrap, and give the dictionary pages that were touched before. They still make the engine's system
// calls, on a twin: a reservation of the same size that is never written to. So measurements include the cost of the
// calls, and exclude only the first touch.

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's names

extern "C" {
void* __real__ZN6melnar13VirtualMemory7reserveEm(size_t numberOfBytes) noexcept;
bool __real__ZN6melnar13VirtualMemory6commitEPvm(void* begin, size_t numberOfBytes) noexcept;
void __real__ZN6melnar13VirtualMemory8decommitEPvm(void* begin, size_t numberOfBytes) noexcept;
void __real__ZN6melnar13VirtualMemory7releaseEPvm(void* begin, size_t numberOfBytes) noexcept;

void* __wrap__ZN6melnar13VirtualMemory7reserveEm(size_t numberOfBytes) noexcept;
bool __wrap__ZN6melnar13VirtualMemory6commitEPvm(void* begin, size_t numberOfBytes) noexcept;
void __wrap__ZN6melnar13VirtualMemory8decommitEPvm(void* begin, size_t numberOfBytes) noexcept;
void __wrap__ZN6melnar13VirtualMemory7releaseEPvm(void* begin, size_t numberOfBytes) noexcept;
}

namespace {

std::mutex s_mutex;
std::map<uint8_t*, uint8_t*> s_twins; // by the start of the reservation
std::atomic<size_t> s_numberOfReservations;

/// Returns the byte of the twin that corresponds to a byte of a reservation; null if it is not the pool's.
uint8_t* getTwin(void* const byte) {
    const std::lock_guard lock(s_mutex);
    const auto after = s_twins.upper_bound(static_cast<uint8_t*>(byte));
    if (after == s_twins.begin())
        return nullptr;
    const auto [begin, twin] = *std::prev(after);
    return twin + (static_cast<uint8_t*>(byte) - begin);
}

} // namespace

size_t getNumberOfWarmReservations() noexcept {
    return s_numberOfReservations.load(std::memory_order_relaxed);
}

void* __wrap__ZN6melnar13VirtualMemory7reserveEm(const size_t numberOfBytes) noexcept {
    void* const twin = __real__ZN6melnar13VirtualMemory7reserveEm(numberOfBytes);
    if (twin == nullptr || !PagePool::get().isWarm())
        return twin;
    uint8_t* const begin = static_cast<uint8_t*>(PagePool::get().reserve(numberOfBytes));
    const std::lock_guard lock(s_mutex);
    s_twins.emplace(begin, static_cast<uint8_t*>(twin));
    s_numberOfReservations.fetch_add(1, std::memory_order_relaxed);
    return begin;
}

bool __wrap__ZN6melnar13VirtualMemory6commitEPvm(void* const begin, const size_t numberOfBytes) noexcept {
    uint8_t* const twin = getTwin(begin);
    if (twin == nullptr)
        return __real__ZN6melnar13VirtualMemory6commitEPvm(begin, numberOfBytes);
    PagePool::get().use(begin, numberOfBytes);
    return __real__ZN6melnar13VirtualMemory6commitEPvm(twin, numberOfBytes);
}

void __wrap__ZN6melnar13VirtualMemory8decommitEPvm(void* const begin, const size_t numberOfBytes) noexcept {
    uint8_t* const twin = getTwin(begin);
    if (twin == nullptr) {
        __real__ZN6melnar13VirtualMemory8decommitEPvm(begin, numberOfBytes);
        return;
    }
    std::memset(begin, 0, numberOfBytes); // the next commit reads zeros
    __real__ZN6melnar13VirtualMemory8decommitEPvm(twin, numberOfBytes);
}

void __wrap__ZN6melnar13VirtualMemory7releaseEPvm(void* const begin, const size_t numberOfBytes) noexcept {
    uint8_t* const twin = getTwin(begin);
    if (twin != nullptr) {
        const std::lock_guard lock(s_mutex);
        s_twins.erase(static_cast<uint8_t*>(begin));
        PagePool::get().free(begin);
    }
    __real__ZN6melnar13VirtualMemory7releaseEPvm(twin != nullptr ? twin : begin, numberOfBytes);
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
