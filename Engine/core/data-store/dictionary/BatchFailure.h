#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/FailureKind.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

/// Why an entry of a batch has no answer. The kind is that of the exception, which says more and is made only when
/// somebody asks for it: REFUSED_LITERAL, or what the dictionary or the system fail with. With FULL and MEMORY it may go
/// well with another limit.
///
/// Ownership  A failure of kind REFUSED_LITERAL refers to the bytes of the entry's lexical form, which are the caller's: it
///            may be asked for its exception only while they are there and unchanged. Other failures refer to nothing.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc from making an exception.
class MELNAR_EXPORT BatchFailure {
public:
    /// Throws why an entry is refused, whatever the dictionary holds.
    using Refuse = void (*)(const BatchEntry& entry);

    BatchFailure(const size_t entryIndex, const BatchEntry& entry, const Refuse refuse) noexcept
        : m_entryIndex(entryIndex), m_kind(FailureKind::REFUSED_LITERAL), m_refuse(refuse), m_entry(entry) {}

    BatchFailure(const size_t entryIndex, const FailureKind kind, std::exception_ptr exception) noexcept
        : m_entryIndex(entryIndex), m_kind(kind), m_exception(std::move(exception)) {}

    /// The failure that the exception being handled is for an entry. What is no MelnarException counts as SYSTEM.
    static BatchFailure ofCurrentException(size_t entryIndex) noexcept;

    /// Throws what the operation on the single literal would have thrown.
    [[noreturn]] void throwException() const;

    size_t m_entryIndex;
    FailureKind m_kind;

private:
    Refuse m_refuse = nullptr; // instead of an exception that has been made
    BatchEntry m_entry;        // for m_refuse
    std::exception_ptr m_exception;
};
