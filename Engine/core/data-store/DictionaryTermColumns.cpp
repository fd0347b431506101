#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/DictionaryTermColumns";
constexpr long LINE_UNEQUAL_SPANS = 34;

// A chunk of a column has so many terms, and no more text in bytes but for its last term's.
constexpr size_t CHUNK_SIZE = PreparedEntries::CAPACITY;
constexpr size_t MAXIMUM_NUMBER_OF_BYTES = PreparedEntries::MAXIMUM_NUMBER_OF_BYTES;

/// The same failure of a refused entry, with its exception made, so that it refers to no form.
BatchFailure makeException(const BatchFailure& failure) {
    try {
        failure.throwException();
    } catch (const MelnarException&) {
        return {failure.m_entryIndex, failure.m_reason, std::current_exception()};
    }
}

/// Has each chunk of a column answered by `operation(entries, failures)`.
template<class Operation>
void answerChunks(const std::span<const Term> terms, const std::span<uint64_t> resourceIDs,
                  std::vector<BatchFailure>& failures, const Operation& operation) {
    if (terms.size() != resourceIDs.size())
        throw MelnarException(SOURCE_FILE, LINE_UNEQUAL_SPANS, MelnarException::NO_CAUSES, "There are ", terms.size(),
                              " terms, but room for ", resourceIDs.size(), " IDs.");
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
            if (failure.m_reason == BatchFailure::Reason::REFUSED &&
                !terms[begin + failure.m_entryIndex].isTextTheForm())
                failure = makeException(failure); // The next chunk takes the place of its form.
            failure.m_entryIndex += begin;
            failures.push_back(std::move(failure));
        }
    }
}

} // namespace

void Dictionary::resolveTerms(DictionaryThread& thread, const std::span<const Term> terms,
                              const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) {
    answerChunks(terms, resourceIDs, failures,
                 [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                     resolveResources(thread, entries, ofChunk);
                 });
}

void Dictionary::tryResolveTerms(const DictionaryCommitPoint commitPoint, const std::span<const Term> terms,
                                 const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) const {
    answerChunks(terms, resourceIDs, failures,
                 [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                     tryResolveResources(commitPoint, entries, ofChunk);
                 });
}

void Dictionary::getTerms(const std::span<const uint64_t> resourceIDs, TermColumn& column) const {
    column.m_terms.clear();
    column.m_terms.reserve(resourceIDs.size());
    column.m_joinedForms.resize(
        std::max(column.m_joinedForms.size(), (resourceIDs.size() + CHUNK_SIZE - 1) / CHUNK_SIZE));
    std::array<BatchEntry, CHUNK_SIZE> entries;
    std::array<size_t, CHUNK_SIZE> joinedEnds;
    for (size_t begin = 0; begin < resourceIDs.size(); begin += CHUNK_SIZE) {
        const std::span<BatchEntry> chunk = std::span(entries).first(std::min(CHUNK_SIZE, resourceIDs.size() - begin));
        for (size_t index = 0; index < chunk.size(); ++index)
            chunk[index].m_resourceID = resourceIDs[begin + index];
        getResources(chunk);
        std::string& joinedForms = column.m_joinedForms[begin / CHUNK_SIZE];
        joinedForms.clear();
        for (size_t index = 0; index < chunk.size(); ++index) {
            if (chunk[index].m_affixNumber != 0)
                appendLexicalForm(chunk[index], joinedForms);
            joinedEnds[index] = joinedForms.size();
        }
        size_t joinedBegin = 0;
        for (size_t index = 0; index < chunk.size(); ++index) {
            const BatchEntry& entry = chunk[index];
            const size_t joinedEnd = joinedEnds[index];
            column.m_terms.push_back(Term::parse(
                entry.m_datatypeID, entry.m_affixNumber == 0
                                        ? entry.m_lexicalForm
                                        : std::string_view(joinedForms.data() + joinedBegin, joinedEnd - joinedBegin)));
            joinedBegin = joinedEnd;
        }
    }
}
