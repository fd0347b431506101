#pragma once

#include "tools/melnar-dict/saved/SavedDictionary.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"

/// The dictionary of a folder, in the state in which it was opened, possibly with terms that a writer has added to a
/// shard before that was first needed.
class FolderDictionary final : public SavedDictionary {
public:
    FolderDictionary(const std::string& folderName, size_t memoryLimit);

    /// Returns the name if it is that of a folder with a manifest; otherwise throws ToolFailure.
    static const std::string& requireFolder(const std::string& name);

    /// Does not find terms that a writer has added since, as the history does not cover them.
    void tryResolveResources(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const override;
    void getResources(const std::span<BatchEntry> entries) const override { m_dictionary->getResources(entries); }
    std::string_view getAffix(const BatchEntry& entry) const noexcept override { return m_dictionary->getAffix(entry); }
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const override {
        m_dictionary->appendLexicalForm(entry, output);
    }
    const DictionaryHistory& getHistory() const noexcept override { return m_dictionary->getHistory(); }
    void requireWholeState() const override;
    const ShardManifest& getManifest() const { return m_dictionary->getManifest(); }
    uint64_t getLargestResourceID() const noexcept override { return m_dictionary->getEndOfResourceIDs() - 1; }
    void forEachPart(const std::function<void(const Part& part)>& visitor) const override;
    void verify(const Part& part) const override {
        m_dictionary->verifyShard(ShardLayout::getShard(part.m_firstID), part.m_dictionary);
    }
    std::unique_ptr<ComponentInfo> getDetailedComponentInfo() const override;

private:
    const std::string m_folderName;
    const std::unique_ptr<const ShardedDictionary> m_dictionary;
};
