#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

class Dictionary;

/// Iterates over the resources of a dictionary that exist, committed or not, in ascending order of their IDs:
///
///     for (const auto& [resourceID, literal] : dictionary)
///
/// IDs        Stops before the ID that was the next one when the iteration started.
/// Ownership  Refers to the dictionary, which must outlive it.
/// Addresses  A literal points to what Dictionary::getResource would point to; the rest is a copy.
/// Threads    One at a time; other threads may use the dictionary. Resources that they create concurrently may be
///            missed, and those that a rollback withdraws concurrently may still be found. No iterator may be used
///            after a compaction.
/// Errors     None.
class MELNAR_EXPORT DictionaryIterator {
public:
    /// What the iterator points to.
    struct Resource {
        uint64_t m_resourceID;   ///< as it was given
        ResourceValue m_literal; ///< has two parts for some terms that are no strings
    };

    ///@{
    /// What the standard library wants of an iterator.
    using iterator_concept = std::forward_iterator_tag; // NOLINT(readability-identifier-naming): the library's name
    using iterator_category = std::input_iterator_tag;  // NOLINT(readability-identifier-naming)
    using value_type = Resource;                        // NOLINT(readability-identifier-naming)
    using difference_type = std::ptrdiff_t;             // NOLINT(readability-identifier-naming)
    using reference = Resource;                         // NOLINT(readability-identifier-naming)
    using pointer = void;                               // NOLINT(readability-identifier-naming)
    ///@}

    /// Makes an iterator of no dictionary, which is at its end.
    DictionaryIterator() noexcept = default;

    /// Returns the resource.
    Resource operator*() const;

    ///@{
    /// Moves to the next resource.
    DictionaryIterator& operator++() noexcept {
        ++m_resourceID;
        findResource();
        return *this;
    }

    DictionaryIterator operator++(int) noexcept {
        const DictionaryIterator current = *this;
        ++*this;
        return current;
    }
    ///@}

    /// Compares the places of iterators over one dictionary.
    bool operator==(const DictionaryIterator&) const = default;

    /// Returns whether all resources have been visited.
    bool operator==(std::default_sentinel_t) const noexcept { return m_resourceID == m_endResourceID; }

private:
    friend class Dictionary;

    DictionaryIterator(const Dictionary& dictionary, uint64_t endResourceID) noexcept;

    void findResource() noexcept;

    const Dictionary* m_dictionary = nullptr;
    uint64_t m_resourceID = 0;
    uint64_t m_endResourceID = 0;
    uint8_t m_datatypeID = D_INVALID; // as it was when the resource was found: a rollback removes it
};
