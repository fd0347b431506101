#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/DictionaryStrings";
constexpr long LINE_NO_STRING = 41;

/// The term of a text that is not longer than any, which must not be read, and of a tag that is none or well-formed.
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
        throw MelnarException(SOURCE_FILE, LINE_NO_STRING, MelnarException::NO_CAUSES, "Resource ", resourceID,
                              " is no string, and its lexical form may come in two parts.");
    std::string joined;
    return getLexicalForm(resourceID, joined);
}

std::string_view Dictionary::getLexicalForm(const uint64_t resourceID, std::string& joined) const {
    BatchEntry entry{{}, resourceID, getDatatypeIDOrThrow(resourceID)};
    getServer(entry.m_datatypeID).m_datatype->getResources({&entry, 1});
    if (entry.m_affixNumber == 0)
        return entry.m_lexicalForm;
    joined.clear();
    appendLexicalForm(entry, joined);
    return joined;
}
