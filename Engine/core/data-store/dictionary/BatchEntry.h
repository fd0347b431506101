#pragma once

#include <cstdint>
#include <string_view>

/// A literal and its resource ID in a batch: one of the two is the input, the other the result.
///
/// Ownership  The bytes of an input form belong to the caller, lie outside the batch and outlive the call. The bytes of
///            a resulting form belong to the data pool, where a zero byte follows them.
/// Threads    One thread at a time.
struct BatchEntry {
    std::string_view m_lexicalForm; ///< of the literal
    uint64_t m_resourceID = 0;      ///< as a result, 0 if the literal is refused or absent
    uint8_t m_datatypeID = 0;       ///< as a result, D_INVALID if there is no such resource

    /// As a result, the number of the text that the resource shares with others and m_lexicalForm does not contain; 0
    /// if there is none.
    uint32_t m_affixNumber = 0;
};
