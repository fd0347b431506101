#include "Engine/core/data-store/DictionaryTermColumns.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"

using namespace melnar;

namespace {

using Columns = DictionaryTermColumns<PreparedEntries::CAPACITY, PreparedEntries::MAXIMUM_NUMBER_OF_BYTES>;

} // namespace

void Dictionary::resolveTerms(DictionaryThread& thread, const std::span<const Term> terms,
                              const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) {
    thread.requireUserOf(*this);
    Columns::answer(terms, resourceIDs, failures,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                        resolveResources(thread, entries, ofChunk);
                    });
}

void Dictionary::tryResolveTerms(const DictionaryCommitPoint commitPoint, const std::span<const Term> terms,
                                 const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) const {
    Columns::answer(terms, resourceIDs, failures,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                        tryResolveResources(commitPoint, entries, ofChunk);
                    });
}

void Dictionary::getTerms(const std::span<const uint64_t> resourceIDs, TermColumn& column) const {
    Columns::get(*this, resourceIDs, column);
}
