// Included before each source of a mutated tree: tells which mutant is active, and records which are reached.
#pragma once

#include <cstdlib>
#include <type_traits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace mutants {

constexpr unsigned MAXIMUM_NUMBER = 1U << 16;

inline unsigned char nowhere[MAXIMUM_NUMBER];
inline unsigned char* reached = nowhere;
inline unsigned active = 0;

/// Reads the environment before other objects are made. A file that is mapped outlives _exit and signals, and child
/// processes share it. Makes system calls itself, because the tests count those of the C library and make them fail.
__attribute__((constructor(101))) static void start() {
    const char* const number = std::getenv("MELNAR_MUTANT");
    active = number == nullptr ? 0 : static_cast<unsigned>(std::atoi(number));
    const char* const file = std::getenv("MELNAR_MUTANTS_REACHED");
    if (file == nullptr || reached != nowhere)
        return;
    const long descriptor = ::syscall(SYS_openat, AT_FDCWD, file, O_RDWR);
    const long address =
        ::syscall(SYS_mmap, nullptr, MAXIMUM_NUMBER, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::syscall(SYS_close, descriptor);
    if (descriptor >= 0 && (address > 0 || address < -4095))
        reached = reinterpret_cast<unsigned char*>(address);
}

inline bool is(const unsigned number) noexcept {
    if (__atomic_load_n(reached + number, __ATOMIC_RELAXED) == 0)
        __atomic_store_n(reached + number, 1, __ATOMIC_RELAXED);
    return active == number;
}

/// For constant expressions, in which no mutant is active.
constexpr bool isAtRunTime(const unsigned number) noexcept {
    return !__builtin_is_constant_evaluated() && is(number);
}

} // namespace mutants
