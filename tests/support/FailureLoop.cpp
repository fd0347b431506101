#include "tests/support/FailureLoop.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

/// Returns the number of open files, and of the one that lists them.
size_t countOpenFiles() {
    size_t numberOfFiles = 0;
    DIR* const folder = ::opendir("/proc/self/fd");
    if (folder == nullptr)
        throw std::runtime_error("Cannot list the open files.");
    while (::readdir(folder) != nullptr) // NOLINT(concurrency-mt-unsafe): the stream is not shared
        ++numberOfFiles;
    ::closedir(folder);
    return numberOfFiles;
}

/// Returns whether the round was the last one of its fault.
bool performRound(const Fault& fault, const size_t allowed, const std::function<void(FailureRound&)>& perform,
                  FailureCounts& counts) {
    FailureRound round(fault, allowed);
    SCOPED_TRACE(round.describe());
    const size_t openFiles = countOpenFiles();
    const ptrdiff_t mappedBytes = SystemCallFaults::getMappedBytes();
    const BlockCounter blocks;
    perform(round);
    if (!round.isAttempted())
        throw std::logic_error("Nothing was attempted.");
    if (round.hasFailed()) {
        EXPECT_EQ(0, blocks.getGrowth()) << "blocks of operator new";
        EXPECT_EQ(mappedBytes, SystemCallFaults::getMappedBytes()) << "bytes of address space";
        EXPECT_EQ(openFiles, countOpenFiles()) << "open files";
    }
    counts += {round.getNumberOfFailures(), round.hasThrown(), round.hasFailed() && !round.hasThrown()};
    return !round.hasFailed() || testing::Test::HasFailure();
}

/// Returns whether an exception that names a call names that of the fault, and its error code.
bool isOfFault(const SystemCallException* const exception, const Fault& fault) {
    return exception == nullptr ||
           (exception->getErrorCode() == fault.m_errorCode &&
            std::string_view(exception->getSystemCallName()) == SystemCallFaults::getName(*fault.m_call));
}

/// More failures than any operation of the tests has.
constexpr size_t LARGEST_NUMBER_OF_ROUNDS = 1000000;

} // namespace

std::vector<Fault> ofAllocations() {
    return {{std::nullopt, 0, FaultDuration::ONCE}, {std::nullopt, 0, FaultDuration::FOR_GOOD}};
}

std::vector<Fault> ofCalls(const std::initializer_list<SystemCallFaults::Call> calls,
                           const std::initializer_list<int> errorCodes) {
    std::vector<Fault> faults;
    for (const SystemCallFaults::Call call : calls)
        for (const int errorCode : errorCodes) {
            faults.push_back({call, errorCode, FaultDuration::ONCE});
            if (errorCode != EINTR)
                faults.push_back({call, errorCode, FaultDuration::FOR_GOOD});
        }
    return faults;
}

bool FailureRound::attempt(const std::function<void()>& operation) {
    if (m_isAttempted)
        throw std::logic_error("A round attempts once.");
    m_isAttempted = true;
    std::exception_ptr exception;
    const auto run = [&](const auto& faults) {
        try {
            operation();
        } catch (...) {
            exception = std::current_exception();
        }
        m_numberOfFailures = faults.getNumberOfFailures();
    };
    if (m_fault.m_call) {
        SystemCallFaults faults(*m_fault.m_call);
        faults.failAfter(m_allowed, m_fault.m_errorCode, m_fault.m_duration);
        run(faults);
    } else
        run(AllocationFaults::failAfter(m_allowed, m_fault.m_duration));
    m_hasThrown = exception != nullptr;
    if (m_hasThrown)
        requireOfFailure(exception);
    return !m_hasThrown;
}

/// Throws an exception that fails the test unless this one is that of the failure.
void FailureRound::requireOfFailure(const std::exception_ptr& exception) const {
    try {
        std::rethrow_exception(exception);
    } catch (const std::bad_alloc&) {
        if (!hasFailed() || m_fault.m_call)
            throw std::logic_error("No memory, but " + describe());
    } catch (const MelnarException& melnarException) {
        if (!hasFailed() || !m_fault.m_call || melnarException.getKind() != FailureKind::SYSTEM ||
            !isOfFault(dynamic_cast<const SystemCallException*>(&melnarException), m_fault))
            throw std::logic_error(describe() + ": " + melnarException.what());
    } catch (const std::exception& other) {
        throw std::logic_error(describe() + ": " + other.what());
    }
}

std::string FailureRound::describe() const {
    std::string text = m_fault.m_call ? SystemCallFaults::getName(*m_fault.m_call) : "allocation";
    if (m_fault.m_call)
        text += " with error " + std::to_string(m_fault.m_errorCode);
    text += m_fault.m_duration == FaultDuration::ONCE ? " fails once" : " fails for good";
    return text + " after " + std::to_string(m_allowed);
}

FailureCounts& FailureCounts::operator+=(const FailureCounts& other) {
    m_failures += other.m_failures;
    m_throws += other.m_throws;
    m_tolerated += other.m_tolerated;
    return *this;
}

std::ostream& operator<<(std::ostream& output, const FailureCounts& counts) {
    return output << counts.m_failures << " failures; " << counts.m_throws << " attempts ended, " << counts.m_tolerated
                  << " did not";
}

FailureCounts failEach(const std::vector<Fault>& faults, const std::function<void(FailureRound&)>& perform,
                       const size_t ordinaryStep) {
    FailureCounts counts;
    const size_t step = std::getenv("MELNAR_ALL_FAILURES") == nullptr ? ordinaryStep : 1;
    const size_t first = (getTestSeeds(1).front() - 1) % step; // without MELNAR_SEED the first one
    for (const Fault& fault : faults) {
        for (size_t allowed = first; !performRound(fault, allowed, perform, counts); allowed += step)
            if (allowed > LARGEST_NUMBER_OF_ROUNDS)
                throw std::logic_error("The operation fails without an end.");
        if (testing::Test::HasFailure())
            break;
    }
    return counts;
}
