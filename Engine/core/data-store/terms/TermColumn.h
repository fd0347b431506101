#pragma once

#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Unmovable.h"

#include <span>
#include <string>
#include <vector>

/// Terms that have been read together, by Dictionary::getTerms. A column that is filled again, with no more terms and no
/// longer texts than before, allocates nothing.
///
/// Ownership  Owns the texts of the terms whose forms come in two parts. The others refer to the dictionary's, which stay
///            until a compaction or its end.
/// Addresses  Terms and their texts stay where they are until the column is filled again, or its end.
/// Threads    One at a time.
class TermColumn : private Unmovable {
public:
    /// A term for each ID, in the order of the IDs.
    std::span<const Term> getTerms() const noexcept { return m_terms; }

private:
    friend class Dictionary;

    std::vector<Term> m_terms;
    std::vector<std::string> m_joinedForms; // of each chunk; a text that grows moves the forms of its chunk alone
};
