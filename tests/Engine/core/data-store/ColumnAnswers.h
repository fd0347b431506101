#pragma once

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <vector>

/// The results for a column of terms, whether it was processed as a column or term by term.
struct ColumnAnswers {
    bool operator==(const ColumnAnswers&) const = default;

    std::vector<uint64_t> m_resourceIDs;
    std::vector<size_t> m_failedIndexes;
    std::vector<std::string> m_exceptions;
};

/// Collects the results of `answer(term)` for each term.
template<class Answer>
ColumnAnswers answerOneByOne(const std::vector<Term>& terms, const Answer& answer) {
    ColumnAnswers answers;
    for (const Term& term : terms)
        try {
            answers.m_resourceIDs.push_back(answer(term));
        } catch (const MelnarException&) {
            answers.m_failedIndexes.push_back(answers.m_resourceIDs.size());
            answers.m_exceptions.push_back(describeException(std::current_exception()));
            answers.m_resourceIDs.push_back(0);
        }
    return answers;
}

/// Collects the results of `answer(resourceIDs, failures)` for all terms, except failures that existed before.
template<class Answer>
ColumnAnswers answerTogether(const std::vector<Term>& terms, const Answer& answer) {
    ColumnAnswers answers{std::vector<uint64_t>(terms.size(), STALE_RESOURCE_ID), {}, {}};
    std::vector<BatchFailure> failures{{7, FailureKind::FULL, nullptr}};
    answer(std::span<uint64_t>(answers.m_resourceIDs), failures);
    EXPECT_EQ(7u, failures.front().m_entryIndex);
    for (size_t index = 1; index < failures.size(); ++index) {
        EXPECT_EQ(FailureKind::REFUSED_LITERAL, failures[index].m_kind);
        answers.m_failedIndexes.push_back(failures[index].m_entryIndex);
        answers.m_exceptions.push_back(describeFailure(failures[index]));
    }
    return answers;
}
