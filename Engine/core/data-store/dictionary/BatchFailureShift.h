#pragma once

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <vector>

/// While it lives, a part of a batch is worked on, whose failures count their entries from the part's begin. At its end
/// they count them from the batch's begin, also when the work was ended by an exception.
class BatchFailureShift : private Unmovable {
public:
    BatchFailureShift(std::vector<BatchFailure>& failures, const size_t partBegin) noexcept
        : m_failures(failures), m_numberOfEarlierFailures(failures.size()), m_partBegin(partBegin) {}

    ~BatchFailureShift() {
        for (size_t index = m_numberOfEarlierFailures; index < m_failures.size(); ++index)
            m_failures[index].m_entryIndex += m_partBegin;
    }

private:
    std::vector<BatchFailure>& m_failures;
    const size_t m_numberOfEarlierFailures;
    const size_t m_partBegin;
};
