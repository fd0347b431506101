#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

/// Counts the operations that run on a dictionary, by kind. A library that is compiled with MELNAR_CHECKED refuses an
/// operation that the contract does not allow beside those that run, whatever thread began them. Otherwise nothing is
/// counted. The layout is the same, so a program can be linked with either library.
///
/// Threads  Any threads at any time. Of two operations that exclude each other, one at least is refused: both count
///          themselves before they look, and the additions to one atomic have an order. Relaxed, as nothing else is
///          ordered by it.
class RunningOperations : private Unmovable {
public:
    enum class Kind : uint8_t {
        READ,    // lookups, and reads by ID
        RESOLVE, // what creates resources
        COMMIT,  // commit and rollback
        SAVE,    // save, verify, and statistics that walk the tables
        ALONE,   // compact and destruction
    };

    /// An operation, as long as it lives. One within another of the same thread is counted, too; but what runs alone may
    /// read.
    ///
    /// Errors  MelnarException of kind MISUSE if the operation is not allowed beside another; never without MELNAR_CHECKED.
    class Operation;

    /// Refuses a batch of questions in which a lexical form begins in the batch itself, where answers are written; and a
    /// column whose answers overlap its questions. Never without MELNAR_CHECKED.
    static void requireApart(std::span<const BatchEntry> entries);
    static void requireApart(std::span<const std::byte> questions, std::span<const std::byte> answers);

private:
    std::atomic<uint64_t> m_running{0}; // BITS_OF_KIND bits for each kind, the first in the lowest
};

#ifdef MELNAR_CHECKED

class RunningOperations::Operation : private Unmovable {
public:
    Operation(RunningOperations& operations, Kind kind);
    ~Operation();

private:
    RunningOperations& m_operations;
    const Kind m_kind;
    const RunningOperations* const m_outerAlone; // what this thread uses alone besides
};

#else

class RunningOperations::Operation : private Unmovable {
public:
    Operation(RunningOperations&, Kind) noexcept {}
    ~Operation() {} // NOLINT(modernize-use-equals-default): or its objects would count as unused
};

inline void RunningOperations::requireApart(std::span<const BatchEntry>) {}
inline void RunningOperations::requireApart(std::span<const std::byte>, std::span<const std::byte>) {}

#endif
