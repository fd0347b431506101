#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>

/// Returns the slot of a virtual function in the virtual table of its class, counted from 0. A virtual destructor takes
/// two slots: one for itself, and one for the version that also deletes. Cast an overloaded function to the wanted
/// type.
///
/// The C++ ABI in use, that of Itanium, stores in a pointer to a virtual member function its offset in the table, in
/// the first of two words. To mark the member as virtual, 1 is added to that word or, on ARM, to the second one.
template<class PointerToMember>
size_t getVirtualSlot(const PointerToMember pointerToMember) {
    ptrdiff_t words[2];
    static_assert(sizeof(words) == sizeof(pointerToMember));
    std::memcpy(words, &pointerToMember, sizeof(words));
#if defined(__aarch64__) || defined(__arm__)
    const ptrdiff_t mark = words[1] & 1;
    const ptrdiff_t offset = words[0];
#else
    const ptrdiff_t mark = words[0] & 1;
    const ptrdiff_t offset = words[0] - mark;
#endif
    if (mark == 0)
        throw std::logic_error("The member is not virtual.");
    return static_cast<size_t>(offset) / sizeof(void*);
}
