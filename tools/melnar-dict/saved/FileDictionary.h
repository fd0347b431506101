#pragma once

#include "tools/melnar-dict/saved/SavedDictionary.h"

#include "Engine/core/data-store/Dictionary.h"

#include <utility>

/// The dictionary of a file.
class FileDictionary final : public SavedDictionary {
public:
    explicit FileDictionary(std::unique_ptr<const Dictionary> dictionary) : m_dictionary(std::move(dictionary)) {}

    void tryResolveResources(const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const override {
        m_dictionary->tryResolveResources(m_dictionary->getCommitPoint(), entries, failures);
    }
    void getResources(const std::span<BatchEntry> entries) const override { m_dictionary->getResources(entries); }
    std::string_view getAffix(const BatchEntry& entry) const noexcept override { return m_dictionary->getAffix(entry); }
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const override {
        m_dictionary->appendLexicalForm(entry, output);
    }
    const DictionaryHistory& getHistory() const noexcept override { return m_dictionary->getHistory(); }
    void requireWholeState() const override {} // A file has no other state.
    uint64_t getLargestResourceID() const noexcept override { return m_dictionary->getNextResourceID() - 1; }
    void forEachPart(const std::function<void(const Part& part)>& visitor) const override { visitor({*m_dictionary}); }
    void verify(const Part&) const override { m_dictionary->verify(); }
    std::unique_ptr<ComponentInfo> getDetailedComponentInfo() const override {
        return m_dictionary->getDetailedComponentInfo();
    }

private:
    const std::unique_ptr<const Dictionary> m_dictionary;
};
