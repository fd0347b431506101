#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Terms that are resolved or looked up together: the entries of a batch, and the lexical forms that had to be joined.
///
///     TermBatch batch;
///     batch.add(subject);
///     batch.add(object);
///     dictionary.resolveResources(thread, batch.getEntries(), failures);
///
/// Ownership  The entries of IRIs, blank nodes, triple terms and xsd:strings refer to the bytes of the terms. Failures
///            refer to the batch.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc.
class MELNAR_EXPORT TermBatch : private Unmovable {
public:
    /// Adds a term. One of kind NONE becomes an entry that every operation refuses.
    void add(const Term& term);

    /// Adds the xsd:string of a text, or, if the language tag is not empty, the string of that language. The tag must
    /// be well-formed.
    void add(const std::string_view text, const std::string_view languageTag) {
        if (languageTag.empty())
            m_entries.push_back({text, 0, D_XSD_STRING}); // inline, which is faster than a call
        else
            addPlainLiteral(text, languageTag);
    }

    /// Returns one entry for each term that was added. Valid until the next one is added.
    std::span<BatchEntry> getEntries() noexcept;

    /// Removes all terms.
    void clear() noexcept;

    /// Returns how many terms were added.
    size_t getSize() const noexcept { return m_entries.size(); }

private:
    /// An entry whose form is in m_forms.
    struct MadeForm {
        size_t m_entryIndex;
        size_t m_begin;
        size_t m_length;
    };

    void addPlainLiteral(std::string_view text, std::string_view languageTag);
    void add(std::string_view text, uint8_t datatypeID, size_t formBegin);

    std::vector<BatchEntry> m_entries;
    std::vector<MadeForm> m_madeForms;
    std::string m_forms;
};
