#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

/// Why an entry of a batch has no answer. The reason tells whose fault it is; the exception, which says more, is made
/// only when somebody asks for it.
///
/// Ownership  A REFUSED failure refers to the bytes of the entry's lexical form, which are the caller's: it may be asked
///            for its exception only while they are there and unchanged. Other failures refer to nothing.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc from making an exception.
class BatchFailure {
public:
    enum class Reason : uint8_t {
        REFUSED, // the literal's: it is none of its datatype, or longer than any, or there is no such datatype
        LIMIT,   // the dictionary's: of memory, of resources or of collisions; it may go well with another limit
        SYSTEM,  // the system's or the process's: it has no memory, or something else has failed
    };

    /// Throws why an entry is refused, whatever the dictionary holds.
    using Refuse = void (*)(const BatchEntry& entry);

    BatchFailure(const size_t entryIndex, const BatchEntry& entry, const Refuse refuse) noexcept
        : m_entryIndex(entryIndex), m_reason(Reason::REFUSED), m_refuse(refuse), m_entry(entry) {}

    BatchFailure(const size_t entryIndex, const Reason reason, std::exception_ptr exception) noexcept
        : m_entryIndex(entryIndex), m_reason(reason), m_exception(std::move(exception)) {}

    /// The failure that the exception being handled is for an entry that is not refused.
    static BatchFailure ofCurrentException(size_t entryIndex) noexcept;

    /// Throws what the operation on the single literal would have thrown.
    [[noreturn]] void throwException() const;

    size_t m_entryIndex;
    Reason m_reason;

private:
    Refuse m_refuse = nullptr; // instead of an exception that has been made
    BatchEntry m_entry;        // for m_refuse
    std::exception_ptr m_exception;
};
