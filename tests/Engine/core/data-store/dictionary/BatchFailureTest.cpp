#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>

namespace {

using Reason = BatchFailure::Reason;

template<class Exception>
BatchFailure makeFailure(const Exception& exception) {
    try {
        throw exception;
    } catch (...) {
        return BatchFailure::ofCurrentException(7);
    }
}

template<class Exception>
void expectReason(const Reason reason, const Exception& exception) {
    const BatchFailure failure = makeFailure(exception);
    EXPECT_EQ(7u, failure.m_entryIndex);
    EXPECT_EQ(reason, failure.m_reason);
    for (size_t time = 0; time < 2; ++time)
        try {
            failure.throwException();
        } catch (const Exception& thrown) {
            EXPECT_STREQ(exception.what(), thrown.what());
        }
}

TEST(BatchFailureTest, theReasonIsThatOfTheException) {
    const auto& noCauses = MelnarException::NO_CAUSES;
    expectReason(Reason::LIMIT, MelnarException("x", 1, noCauses, "The dictionary is full."));
    expectReason(Reason::LIMIT, MemoryExhaustedException("x", 1, noCauses, "No memory is left."));
    expectReason(Reason::LIMIT, HashCollisionException("x", 1, noCauses, 5000, "Too many collide."));
    expectReason(Reason::SYSTEM, SystemCallException("x", 1, noCauses, "mmap", ENOMEM, "No memory."));
    expectReason(Reason::SYSTEM, std::bad_alloc());
    expectReason(Reason::SYSTEM, std::runtime_error("anything else"));
}

size_t s_numberOfRefusals;

void refuse(const BatchEntry& entry) {
    ++s_numberOfRefusals;
    throw MelnarException("x", 1, MelnarException::NO_CAUSES, "Not '", std::string(entry.m_lexicalForm), "' of ",
                          size_t(entry.m_datatypeID), ".");
}

TEST(BatchFailureTest, aRefusalMakesItsExceptionWhenItIsAskedFor) {
    s_numberOfRefusals = 0;
    BatchEntry entry{"text", 0, 6};
    const BatchFailure failure(3, entry, &refuse);
    entry = {"other", 0, 5};
    EXPECT_EQ(3u, failure.m_entryIndex);
    EXPECT_EQ(Reason::REFUSED, failure.m_reason);
    EXPECT_EQ(0u, s_numberOfRefusals);
    for (size_t time = 1; time < 3; ++time) {
        try {
            failure.throwException();
        } catch (const MelnarException& exception) {
            EXPECT_EQ("Not 'text' of 6.", exception.getMessage());
        }
        EXPECT_EQ(time, s_numberOfRefusals);
    }
}

void refuseNothing(const BatchEntry&) {}

TEST(BatchFailureDeathTest, aRefusalThatIsNoneAnyMoreEndsTheProgram) {
    const BatchFailure failure(3, {"text", 0, 6}, &refuseNothing);
    EXPECT_DEATH(failure.throwException(), "");
}

} // namespace
