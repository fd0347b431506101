#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Columns of terms, answered by batches: what Dictionary and ShardedDictionary make of their operations on batches. A
/// column is cut into chunks of `CHUNK_SIZE` terms, with no more than `MAXIMUM_NUMBER_OF_BYTES` of text but for the last
/// term's.
///
/// Threads  Has no state: any threads at any time.
/// Errors   As those of Dictionary's operations on columns; and what the operations on batches throw.
template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
class DictionaryTermColumns {
public:
    DictionaryTermColumns() = delete;

    /// Has each chunk of a column answered by `operation(entries, failures)`.
    template<class Operation>
    static void answer(const std::span<const Term> terms, const std::span<uint64_t> resourceIDs,
                       std::vector<BatchFailure>& failures, const Operation& operation) {
        if (terms.size() != resourceIDs.size())
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_UNEQUAL_SPANS, MelnarException::NO_CAUSES,
                                  "There are ", terms.size(), " terms, but room for ", resourceIDs.size(), " IDs.");
        std::ranges::fill(resourceIDs, 0);
        TermBatch batch;
        std::vector<BatchFailure> ofChunk;
        for (size_t begin = 0, end = 0; begin < terms.size(); begin = end) {
            batch.clear();
            ofChunk.clear();
            for (size_t numberOfBytes = 0;
                 end < terms.size() && end - begin < CHUNK_SIZE && numberOfBytes < MAXIMUM_NUMBER_OF_BYTES; ++end) {
                batch.add(terms[end]);
                numberOfBytes += terms[end].m_text.size();
            }
            const std::span<BatchEntry> entries = batch.getEntries();
            operation(entries, ofChunk);
            std::ranges::transform(entries, resourceIDs.subspan(begin).begin(), &BatchEntry::m_resourceID);
            for (BatchFailure& failure : ofChunk) {
                if (failure.m_kind == FailureKind::REFUSED_LITERAL &&
                    !terms[begin + failure.m_entryIndex].isTextTheForm())
                    failure = makeException(failure); // The next chunk takes the place of its form.
                failure.m_entryIndex += begin;
                failures.push_back(std::move(failure));
            }
        }
    }

    /// Reads the terms of resources from a dictionary's batches.
    template<class Host>
    static void get(const Host& dictionary, const std::span<const uint64_t> resourceIDs, TermColumn& column) {
        column.m_terms.clear();
        column.m_terms.reserve(resourceIDs.size());
        column.m_joinedForms.resize(
            std::max(column.m_joinedForms.size(), (resourceIDs.size() + CHUNK_SIZE - 1) / CHUNK_SIZE));
        for (size_t begin = 0; begin < resourceIDs.size(); begin += CHUNK_SIZE) {
            const std::span<const uint64_t> chunk =
                resourceIDs.subspan(begin, std::min(CHUNK_SIZE, resourceIDs.size() - begin));
            column.m_entries.resize(chunk.size());
            for (size_t index = 0; index < chunk.size(); ++index)
                column.m_entries[index].m_resourceID = chunk[index];
            dictionary.getResources(column.m_entries);
            std::string& joinedForms = column.m_joinedForms[begin / CHUNK_SIZE];
            joinedForms.clear();
            column.m_joinedEnds.clear();
            for (const BatchEntry& entry : column.m_entries) {
                if (entry.m_affixNumber != 0)
                    dictionary.appendLexicalForm(entry, joinedForms);
                column.m_joinedEnds.push_back(joinedForms.size());
            }
            size_t joinedBegin = 0;
            for (size_t index = 0; index < chunk.size(); ++index) {
                const BatchEntry& entry = column.m_entries[index];
                const size_t joinedEnd = column.m_joinedEnds[index];
                column.m_terms.push_back(Term::parse(
                    entry.m_datatypeID, entry.m_affixNumber == 0 ? entry.m_lexicalForm
                                                                 : std::string_view(joinedForms.data() + joinedBegin,
                                                                                    joinedEnd - joinedBegin)));
                joinedBegin = joinedEnd;
            }
        }
    }

private:
    static constexpr const char* SOURCE_FILE = "Engine/core/data-store/DictionaryTermColumns";
    static constexpr long LINE_UNEQUAL_SPANS = 34;

    /// The same failure of a refused entry, with its exception made, so that it refers to no form.
    static BatchFailure makeException(const BatchFailure& failure) {
        try {
            failure.throwException();
        } catch (const MelnarException&) {
            return {failure.m_entryIndex, failure.m_kind, std::current_exception()};
        }
    }
};
