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

template<class Exception>
BatchFailure makeFailure(const Exception& exception) {
    try {
        throw exception;
    } catch (...) {
        return BatchFailure::ofCurrentException(7);
    }
}

template<class Exception>
void expectKind(const FailureKind kind, const Exception& exception) {
    const BatchFailure failure = makeFailure(exception);
    EXPECT_EQ(7u, failure.m_entryIndex);
    EXPECT_EQ(kind, failure.m_kind);
    for (size_t time = 0; time < 2; ++time)
        try {
            failure.throwException();
        } catch (const Exception& thrown) {
            EXPECT_STREQ(exception.what(), thrown.what());
        }
}

TEST(BatchFailureTest, theKindIsThatOfTheException) {
    const auto& noCauses = MelnarException::NO_CAUSES;
    expectKind(FailureKind::FULL, MelnarException(FailureKind::FULL, "x", 1, noCauses, "The dictionary is full."));
    expectKind(FailureKind::MEMORY, MemoryExhaustedException("x", 1, noCauses, "No memory is left."));
    expectKind(FailureKind::FULL, HashCollisionException("x", 1, noCauses, 5000, "Too many collide."));
    expectKind(FailureKind::SYSTEM, SystemCallException("x", 1, noCauses, "mmap", ENOMEM, "No memory."));
    expectKind(FailureKind::OTHER, MelnarException("x", 1, noCauses, "Anything else."));
    expectKind(FailureKind::SYSTEM, std::bad_alloc());
    expectKind(FailureKind::SYSTEM, std::runtime_error("anything else"));
}

size_t s_numberOfRefusals;

void refuse(const BatchEntry& entry, const void* const rules) {
    ++s_numberOfRefusals;
    throw MelnarException("x", 1, MelnarException::NO_CAUSES, "Not '", std::string(entry.m_lexicalForm), "' of ",
                          size_t(entry.m_datatypeID), ", by rule ", *static_cast<const size_t*>(rules), ".");
}

TEST(BatchFailureTest, aRefusalMakesItsExceptionOnRequest) {
    s_numberOfRefusals = 0;
    BatchEntry entry{"text", 0, 6};
    const size_t rule = 42;
    const BatchFailure failure(3, entry, {&refuse, &rule});
    entry = {"other", 0, 5};
    EXPECT_EQ(3u, failure.m_entryIndex);
    EXPECT_EQ(FailureKind::REFUSED_LITERAL, failure.m_kind);
    EXPECT_EQ(0u, s_numberOfRefusals);
    for (size_t time = 1; time < 3; ++time) {
        try {
            failure.throwException();
        } catch (const MelnarException& exception) {
            EXPECT_EQ("Not 'text' of 6, by rule 42.", exception.getMessage());
        }
        EXPECT_EQ(time, s_numberOfRefusals);
    }
}

void refuseNothing(const BatchEntry&, const void*) {}

TEST(BatchFailureDeathTest, aRefusalThatIsNoneAnyMoreEndsTheProgram) {
    const BatchFailure failure(3, {"text", 0, 6}, {&refuseNothing});
    EXPECT_DEATH(failure.throwException(), "");
}

} // namespace
