#include "Engine/c/DictionaryHandle.h"

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

namespace {

/// Resolves or looks up a single term.
template<class Operation>
melnar_error answerTerm(uint64_t& resourceID, const Operation& operation) noexcept {
    resourceID = 0;
    try {
        std::vector<BatchFailure> failures;
        operation(std::span(&resourceID, 1), failures);
        if (!failures.empty())
            failures.front().throwException();
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}

} // namespace

melnar_error DictionaryHandle::decode(const std::span<const uint64_t> resourceIDs, Texts& texts) const noexcept {
    try {
        texts.m_entries.resize(resourceIDs.size());
        texts.m_texts.resize(resourceIDs.size());
        texts.m_joined.clear();
        for (size_t index = 0; index < resourceIDs.size(); ++index)
            texts.m_entries[index].m_resourceID = resourceIDs[index];
        m_dictionary->getResources(texts.m_entries);
        for (size_t index = 0; index < resourceIDs.size(); ++index) {
            const BatchEntry& entry = texts.m_entries[index];
            if (entry.m_datatypeID == D_INVALID)
                return makeError(MELNAR_NO_SUCH_RESOURCE, index,
                                 std::string("There is no resource with ID ")
                                     .append(std::to_string(resourceIDs[index]))
                                     .append("."));
            if (entry.m_affixNumber != 0)
                m_dictionary->appendLexicalForm(entry, texts.m_joined);
        }
        size_t joinedBegin = 0;
        for (size_t index = 0; index < resourceIDs.size(); ++index) {
            const BatchEntry& entry = texts.m_entries[index];
            if (entry.m_datatypeID == D_XSD_STRING)
                texts.m_texts[index] = entry.m_lexicalForm;
            else {
                std::string_view lexicalForm = entry.m_lexicalForm;
                if (entry.m_affixNumber != 0) {
                    const size_t size = lexicalForm.size() + m_dictionary->getAffix(entry).size();
                    lexicalForm = std::string_view(texts.m_joined).substr(joinedBegin, size);
                    joinedBegin += size;
                }
                texts.m_texts[index] = Term::parse(entry.m_datatypeID, lexicalForm).m_text;
            }
        }
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}

melnar_error DictionaryHandle::getTerm(const uint64_t resourceID, std::string& lexicalForm, Term& term) const noexcept {
    try {
        term = m_dictionary->getTerm(resourceID, lexicalForm);
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}

melnar_error DictionaryHandle::encodeTerm(const Term& term, uint64_t& resourceID) noexcept {
    return answerTerm(resourceID, [&](const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) {
        const Encoding encoding(*this);
        DictionaryThread thread(*m_dictionary);
        m_dictionary->resolveTerms(thread, {&term, 1}, resourceIDs, failures);
    });
}

melnar_error DictionaryHandle::lookUpTerm(const DictionaryCommitPoint commitPoint, const Term& term,
                                          uint64_t& resourceID) const noexcept {
    return answerTerm(resourceID, [&](const std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) {
        m_dictionary->tryResolveTerms(commitPoint, {&term, 1}, resourceIDs, failures);
    });
}

melnar_error DictionaryHandle::commit(DictionaryCommitPoint& commitPoint) noexcept {
    try {
        const Alone alone(*this);
        commitPoint = m_dictionary->commit();
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}

melnar_error DictionaryHandle::rollback() noexcept {
    try {
        const Alone alone(*this);
        m_dictionary->rollback();
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}

melnar_error DictionaryHandle::save(const char* const fileName) const noexcept {
    try {
        const Alone alone(*this);
        m_dictionary->save(fileName);
        return makeNoError();
    } catch (...) {
        return describeException();
    }
}
