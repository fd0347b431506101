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

/// Terms that getTerms of Dictionary or ShardedDictionary has read together. A column that is filled again with no more
/// terms and no longer texts than before allocates nothing, except the temporary memory of a ShardedDictionary.
///
/// Ownership  Owns the texts of terms whose forms are stored in two parts. All other texts are the dictionary's, which
///            are valid until a compaction, or until the dictionary is destroyed.
/// Addresses  Terms and their texts do not move until the column is filled again or destroyed.
/// Threads    One at a time.
class MELNAR_EXPORT TermColumn : private Unmovable {
public:
    /// Returns one term per ID, in the order of the IDs.
    std::span<const Term> getTerms() const noexcept { return m_terms; }

private:
    template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
    friend class melnar::DictionaryTermColumns;

    std::vector<Term> m_terms;
    std::vector<BatchEntry> m_entries;      // of the chunk that is being read
    std::vector<size_t> m_joinedEnds;       // of the joined forms, by entry
    std::vector<std::string> m_joinedForms; // of each chunk; when a text grows, only the forms of its chunk move
};
