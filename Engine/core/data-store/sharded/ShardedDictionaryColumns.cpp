#include "Engine/core/data-store/DictionaryTermColumns.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"

using namespace melnar;

namespace {

// Smaller than the blocks of a batch, since a chunk of a column also contains its forms.
using Columns = DictionaryTermColumns<(size_t(1) << 14), (size_t(1) << 22)>;

} // namespace

void ShardedDictionary::resolveTerms(ShardedDictionaryThread& thread, const std::span<const Term> terms,
                                     const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) {
    Columns::answer(terms, resourceIDs, failures,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                        resolveResources(thread, entries, ofChunk);
                    });
}

void ShardedDictionary::tryResolveTerms(const std::span<const Term> terms, const std::span<uint64_t> resourceIDs,
                                        std::vector<BatchFailure>& failures) const {
    Columns::answer(terms, resourceIDs, failures,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& ofChunk) {
                        tryResolveResources(entries, ofChunk);
                    });
}

void ShardedDictionary::getTerms(const std::span<const uint64_t> resourceIDs, TermColumn& column) const {
    Columns::get(*this, resourceIDs, column);
}

void ShardedDictionary::encode(ShardedDictionaryThread& thread, const std::span<const std::string_view> texts,
                               const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        resolveResources(thread, entries, failures);
                    });
}

template<ArrowOffset Offset>
void ShardedDictionary::encode(ShardedDictionaryThread& thread, const ArrowStrings<Offset>& texts,
                               const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        resolveResources(thread, entries, failures);
                    });
}

void ShardedDictionary::lookUp(const std::span<const std::string_view> texts, const std::span<uint64_t> resourceIDs,
                               const std::string_view languageTag) const {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        tryResolveResources(entries, failures);
                    });
}

template<ArrowOffset Offset>
void ShardedDictionary::lookUp(const ArrowStrings<Offset>& texts, const std::span<uint64_t> resourceIDs,
                               const std::string_view languageTag) const {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        tryResolveResources(entries, failures);
                    });
}

void ShardedDictionary::decode(const std::span<const uint64_t> resourceIDs, const std::span<std::string_view> texts,
                               const std::span<std::string_view> languageTags) const {
    Columns::decode(*this, resourceIDs, texts, languageTags);
}

template<ArrowOffset Offset>
void ShardedDictionary::decode(const std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                               ArrowColumn<Offset>* const languageTags) const {
    Columns::decode(*this, resourceIDs, texts, languageTags);
}

template void ShardedDictionary::encode(ShardedDictionaryThread&, const ArrowStrings<int32_t>&, std::span<uint64_t>,
                                        std::string_view);
template void ShardedDictionary::lookUp(const ArrowStrings<int32_t>&, std::span<uint64_t>, std::string_view) const;
template void ShardedDictionary::decode(std::span<const uint64_t>, ArrowColumn<int32_t>&, ArrowColumn<int32_t>*) const;
template void ShardedDictionary::encode(ShardedDictionaryThread&, const ArrowStrings<int64_t>&, std::span<uint64_t>,
                                        std::string_view);
template void ShardedDictionary::lookUp(const ArrowStrings<int64_t>&, std::span<uint64_t>, std::string_view) const;
template void ShardedDictionary::decode(std::span<const uint64_t>, ArrowColumn<int64_t>&, ArrowColumn<int64_t>*) const;
