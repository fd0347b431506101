#pragma once

#include <cstdint>
#include <string_view>

/// A literal and its resource ID in a batch: one of the two is the question, the other the answer.
///
/// Ownership  The bytes of the lexical form are the caller's in a question, lie outside the batch and outlive the call; in
///            an answer they are the data pool's, where a zero byte follows them.
/// Threads    One thread at a time.
struct BatchEntry {
    std::string_view m_lexicalForm;
    uint64_t m_resourceID = 0; // as an answer, 0 when the literal is refused, or not there
    uint8_t m_datatypeID = 0;  // as an answer, D_INVALID when there is no such resource

    // As an answer, of the text that the resource shares with others, which is then no part of m_lexicalForm; else 0.
    uint32_t m_affixNumber = 0;
};
