#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

/// Counts the operations that run on a dictionary, by kind. A library that is compiled with MELNAR_CHECKED refuses an
/// operation that the contract excludes while others run, whichever thread started them. Otherwise nothing is counted.
/// The layout is the same, so a program can be linked with either library.
///
/// Threads  Any threads at any time. If two operations exclude each other, at least one is refused: both count
///          themselves before they check, and the additions to one atomic have an order. Relaxed, since they order
///          nothing else.
class RunningOperations : private Unmovable {
public:
    enum class Kind : uint8_t {
        READ,    // lookups, and reads by ID
        RESOLVE, // operations that create resources
        COMMIT,  // commit and rollback; saves of shards, and changes of their manifest
        SAVE,    // save, verify, and statistics that read the whole tables
        ALONE,   // compact and destruction; what replaces data that others may hold a reference to
    };

    /// Counts an operation while this object exists. An operation within another one of the same thread is counted,
    /// too; but an operation of kind ALONE may read.
    ///
    /// Errors  MelnarException of kind MISUSE if the operation is not allowed while others run; never without
    ///         MELNAR_CHECKED.
    class Operation;

#ifdef MELNAR_CHECKED
    static constexpr bool IS_CHECKED = true;
#else
    static constexpr bool IS_CHECKED = false;
#endif

    /// Refuses a batch with a lexical form that starts inside the batch itself, where results are written; and a column
    /// whose results overlap its inputs, or the texts to which these refer. Does nothing without MELNAR_CHECKED.
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
    const RunningOperations* const m_outerAlone; // the other object that this thread uses alone
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
