#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

/// A literal that owns its bytes.
struct OwnedLiteral {
    std::string m_lexicalForm;
    uint8_t m_datatypeID = D_XSD_STRING;
};

using OwnedLiterals = std::vector<OwnedLiteral>;

/// The resource ID of an entry before it gets its result: nothing may use it as a result.
constexpr uint64_t STALE_RESOURCE_ID = 0x123456789ABCDEF0;

/// Makes a batch of literals, which must outlive it.
inline std::vector<BatchEntry> makeBatch(const OwnedLiterals& literals) {
    std::vector<BatchEntry> entries;
    entries.reserve(literals.size());
    for (const OwnedLiteral& literal : literals)
        entries.push_back({literal.m_lexicalForm, STALE_RESOURCE_ID, literal.m_datatypeID});
    return entries;
}

/// Describes everything that a caller can see of an exception.
inline std::string describeException(const std::exception_ptr& exceptionPointer) {
    try {
        std::rethrow_exception(exceptionPointer);
    } catch (const MelnarException& exception) {
        return std::string(typeid(exception).name()) + " " + exception.getExceptionName() + " " +
               exception.getSourceFileName() + ":" + std::to_string(exception.getSourceLineNumber()) + " " +
               std::to_string(exception.getCauses().size()) + " " + exception.getMessage();
    } catch (const std::bad_alloc&) {
        return "std::bad_alloc";
    }
}

/// Describes the exception of a failure.
inline std::string describeFailure(const BatchFailure& failure) {
    try {
        failure.throwException();
    } catch (...) {
        return describeException(std::current_exception());
    }
}

/// The results for some literals: IDs, and the numbers of those that failed, with the reasons.
struct BatchAnswers {
    bool operator==(const BatchAnswers&) const = default;

    std::vector<uint64_t> m_resourceIDs{};
    std::vector<std::pair<size_t, std::string>> m_failures{};
};

/// Prints them for GoogleTest.
inline void PrintTo(const BatchAnswers& answers, std::ostream* const output) { // NOLINT(readability-identifier-naming)
    *output << testing::PrintToString(answers.m_resourceIDs) << " with failures "
            << testing::PrintToString(answers.m_failures);
}

/// Collects the results of `resolveOne(lexicalForm, datatypeID)` for one literal after the other.
template<class ResolveOne>
BatchAnswers answerOneByOne(const OwnedLiterals& literals, const ResolveOne resolveOne) {
    BatchAnswers answers;
    for (const auto& [lexicalForm, datatypeID] : literals)
        try {
            answers.m_resourceIDs.push_back(resolveOne(std::string_view(lexicalForm), datatypeID));
        } catch (...) {
            answers.m_failures.emplace_back(answers.m_resourceIDs.size(), describeException(std::current_exception()));
            answers.m_resourceIDs.push_back(0);
        }
    return answers;
}

/// Collects the results of `resolveMany(entries, failures)` for all of them together.
template<class ResolveMany>
BatchAnswers answerAtOnce(const OwnedLiterals& literals, const ResolveMany resolveMany) {
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<BatchFailure> failures;
    resolveMany(entries, failures);
    BatchAnswers answers;
    for (const BatchEntry& entry : entries)
        answers.m_resourceIDs.push_back(entry.m_resourceID);
    for (const BatchFailure& failure : failures)
        answers.m_failures.emplace_back(failure.m_entryIndex, describeFailure(failure));
    return answers;
}

/// Does the same for a datatype, or with a commit point for its lookups.
template<class Fixture>
BatchAnswers resolveOneByOne(Fixture& fixture, const OwnedLiterals& literals) {
    return answerOneByOne(literals, [&fixture](const std::string_view lexicalForm, const uint8_t datatypeID) {
        return fixture.resolve(lexicalForm, datatypeID);
    });
}

template<class Fixture>
BatchAnswers resolveAtOnce(Fixture& fixture, const OwnedLiterals& literals) {
    return answerAtOnce(literals, [&fixture](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
        fixture.m_datatype.resolveResources(nullptr, entries, failures);
    });
}

template<class Fixture, class CommitPoint>
BatchAnswers lookUpOneByOne(const Fixture& fixture, const OwnedLiterals& literals, const CommitPoint commitPoint) {
    return answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
        return fixture.tryResolve(lexicalForm, datatypeID, commitPoint);
    });
}

template<class Fixture, class CommitPoint>
BatchAnswers lookUpAtOnce(const Fixture& fixture, const OwnedLiterals& literals, const CommitPoint commitPoint) {
    return answerAtOnce(literals, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
        fixture.m_datatype.tryResolveResources(commitPoint, entries, failures);
    });
}
