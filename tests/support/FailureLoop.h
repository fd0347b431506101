#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "tests/support/FaultDuration.h"
#include "tests/support/SystemCallFaults.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

/// A way in which an operation can be made to fail.
struct Fault {
    std::optional<SystemCallFaults::Call> m_call; // none: allocations by operator new
    int m_errorCode;
    FaultDuration m_duration;
};

/// Returns the faults of allocations: one fails, or it and all later ones.
std::vector<Fault> ofAllocations();

/// Returns the faults of system calls: one fails, or it and all later ones, with each of the error codes. No call is
/// interrupted (EINTR) for good.
std::vector<Fault> ofCalls(std::initializer_list<SystemCallFaults::Call> calls, std::initializer_list<int> errorCodes);

/// One round of failEach.
class FailureRound : private Unmovable {
public:
    FailureRound(const Fault& fault, size_t allowed) : m_fault(fault), m_allowed(allowed) {}

    /// Performs the operation, in which the round's failure occurs. Returns whether the operation has returned. If not,
    /// it must have thrown the exception of the failure: std::bad_alloc, or MelnarException of kind SYSTEM, which has
    /// the name of the call and the error code if it is a SystemCallException. After any other exception the calling
    /// test fails. The calling thread alone counts for allocations, all threads count for system calls. To be called
    /// once.
    bool attempt(const std::function<void()>& operation);

    const Fault& getFault() const { return m_fault; }

    /// Returns whether something has failed. Otherwise the operation needed no more than was allowed to succeed.
    bool hasFailed() const { return m_numberOfFailures != 0; }
    size_t getNumberOfFailures() const { return m_numberOfFailures; }

    /// Returns whether the operation has thrown.
    bool hasThrown() const { return m_hasThrown; }

    bool isAttempted() const { return m_isAttempted; }

    std::string describe() const;

private:
    void requireOfFailure(const std::exception_ptr& exception) const;

    const Fault m_fault;
    const size_t m_allowed;
    size_t m_numberOfFailures = 0;
    bool m_hasThrown = false;
    bool m_isAttempted = false;
};

/// What happened in all rounds.
struct FailureCounts {
    size_t m_failures = 0;  // allocations or calls that were made to fail
    size_t m_throws = 0;    // attempts that ended with an exception
    size_t m_tolerated = 0; // attempts that returned although something had failed

    FailureCounts& operator+=(const FailureCounts& other);
};

/// Prints them as a figure for docs/verification.md.
std::ostream& operator<<(std::ostream& output, const FailureCounts& counts);

/// Repeats an operation with its first, second, third ... allocation or system call failing, until nothing fails; all
/// this for each of the faults.
///
///     const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
///         ...                                                  // the state before
///         const bool isSaved = round.attempt([&] { dictionary.save(path); });
///         ...                                                  // the state that must hold, and that it works now
///     });
///     EXPECT_LT(3u, counts.m_throws);
///
/// When a round with a failure is over, there must be as many blocks of operator new, as many bytes of mapped address
/// space and as many open files as before. So a round has to destroy what it makes; what outlives it must not grow.
/// The loop ends when a test has failed. A long one takes only each `ordinaryStep`-th failure, from a first one that
/// MELNAR_SEED moves, unless MELNAR_ALL_FAILURES is set.
FailureCounts failEach(const std::vector<Fault>& faults, const std::function<void(FailureRound&)>& perform,
                       size_t ordinaryStep = 1);
