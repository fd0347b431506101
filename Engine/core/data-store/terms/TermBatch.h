#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

/// Terms that are resolved or looked up together: the entries of a batch, and the lexical forms that had to be made.
///
///     TermBatch batch;
///     batch.add(subject);
///     batch.add(object);
///     dictionary.resolveResources(thread, batch.getEntries(), failures);
///
/// Ownership  Of an IRI, a blank node, a triple term and an xsd:string the entry refers to the term's own bytes. Failures
///            refer to the batch.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc.
class TermBatch : private Unmovable {
public:
    /// A term of kind NONE becomes an entry that every operation refuses.
    void add(const Term& term);

    /// As many as terms were added. Valid until the next one is.
    std::span<BatchEntry> getEntries() noexcept;

    void clear() noexcept;

private:
    /// An entry whose form lies in m_forms.
    struct MadeForm {
        size_t m_entryIndex;
        size_t m_begin;
        size_t m_length;
    };

    std::vector<BatchEntry> m_entries;
    std::vector<MadeForm> m_madeForms;
    std::string m_forms;
};
