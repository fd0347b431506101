#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/FailureKind.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

/// Why an entry of a batch has no result. The kind is that of the exception, which has the details and is made only on
/// request: REFUSED_LITERAL, or a failure of the dictionary or the system. After FULL or MEMORY, another attempt may
/// succeed with a larger limit.
///
/// Ownership  A failure of kind REFUSED_LITERAL refers to the bytes of the entry's lexical form, which are the
///            caller's, and to the rules of its datatype: its exception may be requested only while they exist, and
///            the bytes are unchanged. Other failures refer to nothing.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc from making an exception.
class MELNAR_EXPORT BatchFailure {
public:
    /// How a datatype refuses entries, which does not depend on the contents of the dictionary.
    struct Refusal {
        void (*m_refuse)(const BatchEntry& entry, const void* rules); ///< throws the reason
        const void* m_rules = nullptr; ///< of the datatype, for the function; they must outlive the failure
    };

    /// Makes the failure of an entry that is refused.
    BatchFailure(const size_t entryIndex, const BatchEntry& entry, const Refusal& refusal) noexcept
        : m_entryIndex(entryIndex), m_kind(FailureKind::REFUSED_LITERAL), m_refusal(refusal), m_entry(entry) {}

    /// Makes a failure of any kind from its exception.
    BatchFailure(const size_t entryIndex, const FailureKind kind, std::exception_ptr exception) noexcept
        : m_entryIndex(entryIndex), m_kind(kind), m_exception(std::move(exception)) {}

    /// Makes the failure of an entry from the exception that is being handled. An exception other than MelnarException
    /// has kind SYSTEM.
    static BatchFailure ofCurrentException(size_t entryIndex) noexcept;

    /// Throws what the operation on the single literal would have thrown.
    [[noreturn]] void throwException() const;

    size_t m_entryIndex; ///< of the entry, counted from 0
    FailureKind m_kind;  ///< that of the exception

private:
    Refusal m_refusal{}; // if there is no exception yet
    BatchEntry m_entry;  // for m_refusal
    std::exception_ptr m_exception;
};
