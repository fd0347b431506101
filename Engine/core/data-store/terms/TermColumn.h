#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace melnar {
template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
class DictionaryTermColumns;
} // namespace melnar

/// Terms that have been read together, by getTerms of Dictionary or ShardedDictionary. A column that is filled again, with
/// no more terms and no longer texts than before, allocates nothing, but for what a ShardedDictionary needs for a while.
///
/// Ownership  Owns the texts of the terms whose forms come in two parts. The others refer to the dictionary's, which stay
///            until a compaction or its end.
/// Addresses  Terms and their texts stay where they are until the column is filled again, or its end.
/// Threads    One at a time.
class MELNAR_EXPORT TermColumn : private Unmovable {
public:
    /// A term for each ID, in the order of the IDs.
    std::span<const Term> getTerms() const noexcept { return m_terms; }

private:
    template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
    friend class melnar::DictionaryTermColumns;

    std::vector<Term> m_terms;
    std::vector<BatchEntry> m_entries;      // of the chunk that is being read
    std::vector<size_t> m_joinedEnds;       // of the joined forms, by entry
    std::vector<std::string> m_joinedForms; // of each chunk; a text that grows moves the forms of its chunk alone
};
