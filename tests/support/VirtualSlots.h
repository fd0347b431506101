#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>

/// The slot of a virtual operation in its class's table of virtual operations, counted from 0. A virtual destructor
/// takes two slots: it and the one that also deletes. Overloads are told apart by a cast to the wanted type.
///
/// The C++ ABI in use here, Itanium's, stores a slot in a pointer to a virtual member: its offset in the table in the
/// first of two words. What marks the member as virtual is a 1 added to that word or, on ARM, to the second.
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
