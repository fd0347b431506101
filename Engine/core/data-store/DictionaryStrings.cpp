#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryTermColumns.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/DictionaryStrings";
constexpr long LINE_NO_STRING = 41;

// Each chunk has several groups of a batch, so that the texts of the next group are prefetched during a probe.
using Columns = DictionaryTermColumns<2048, (size_t(1) << 18)>;

/// Returns the term of a text and a language tag. Throws for a text that is too long for any string, which must not be
/// read, and for a malformed tag.
Term makeLangString(const std::string_view text, const std::string_view languageTag) {
    AdaptiveResourceSizeEncoding::checkLength(text.size());
    checkLanguageTag(languageTag);
    return {.m_kind = Term::Kind::LITERAL, .m_text = text, .m_language = languageTag};
}

} // namespace

uint64_t Dictionary::resolveLangString(DictionaryThread& thread, const std::string_view text,
                                       const std::string_view languageTag) {
    return resolveTerm(thread, makeLangString(text, languageTag));
}

uint64_t Dictionary::tryResolveLangString(const DictionaryCommitPoint commitPoint, const std::string_view text,
                                          const std::string_view languageTag) const {
    return tryResolveTerm(commitPoint, makeLangString(text, languageTag));
}

std::string_view Dictionary::getLexicalForm(const uint64_t resourceID) const {
    if (const uint8_t datatypeID = getDatatypeIDOrThrow(resourceID); !isOfStrings(datatypeID))
        throw MelnarException(FailureKind::NO_SUCH_RESOURCE, SOURCE_FILE, LINE_NO_STRING, MelnarException::NO_CAUSES,
                              "Resource ", resourceID,
                              " is no string, and its lexical form may be stored in two parts.");
    std::string joined;
    return getLexicalForm(resourceID, joined);
}

std::string_view Dictionary::getLexicalForm(const uint64_t resourceID, std::string& joined) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    BatchEntry entry{{}, resourceID, getDatatypeIDOrThrow(resourceID)};
    getServer(entry.m_datatypeID).m_datatype->getResources({&entry, 1});
    if (entry.m_affixNumber == 0)
        return entry.m_lexicalForm;
    joined.clear();
    appendLexicalForm(entry, joined);
    return joined;
}

void Dictionary::encode(DictionaryThread& thread, const std::span<const std::string_view> texts,
                        const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
    thread.requireUserOf(*this);
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        resolveResources(thread, entries, failures);
                    });
}

template<ArrowOffset Offset>
void Dictionary::encode(DictionaryThread& thread, const ArrowStrings<Offset>& texts,
                        const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
    thread.requireUserOf(*this);
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        resolveResources(thread, entries, failures);
                    });
}

void Dictionary::lookUp(const DictionaryCommitPoint commitPoint, const std::span<const std::string_view> texts,
                        const std::span<uint64_t> resourceIDs, const std::string_view languageTag) const {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        tryResolveResources(commitPoint, entries, failures);
                    });
}

template<ArrowOffset Offset>
void Dictionary::lookUp(const DictionaryCommitPoint commitPoint, const ArrowStrings<Offset>& texts,
                        const std::span<uint64_t> resourceIDs, const std::string_view languageTag) const {
    Columns::answer(texts, languageTag, resourceIDs,
                    [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
                        tryResolveResources(commitPoint, entries, failures);
                    });
}

void Dictionary::decode(const std::span<const uint64_t> resourceIDs, const std::span<std::string_view> texts,
                        const std::span<std::string_view> languageTags) const {
    Columns::decode(*this, resourceIDs, texts, languageTags);
}

template<ArrowOffset Offset>
void Dictionary::decode(const std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                        ArrowColumn<Offset>* const languageTags) const {
    Columns::decode(*this, resourceIDs, texts, languageTags);
}

template void Dictionary::encode(DictionaryThread&, const ArrowStrings<int32_t>&, std::span<uint64_t>,
                                 std::string_view);
template void Dictionary::encode(DictionaryThread&, const ArrowStrings<int64_t>&, std::span<uint64_t>,
                                 std::string_view);
template void Dictionary::lookUp(DictionaryCommitPoint, const ArrowStrings<int32_t>&, std::span<uint64_t>,
                                 std::string_view) const;
template void Dictionary::lookUp(DictionaryCommitPoint, const ArrowStrings<int64_t>&, std::span<uint64_t>,
                                 std::string_view) const;
template void Dictionary::decode(std::span<const uint64_t>, ArrowColumn<int32_t>&, ArrowColumn<int32_t>*) const;
template void Dictionary::decode(std::span<const uint64_t>, ArrowColumn<int64_t>&, ArrowColumn<int64_t>*) const;
