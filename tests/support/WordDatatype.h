#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Words of lower-case and of upper-case letters, as two datatypes of one object: the smallest datatype that does
/// everything that a dictionary requires. For tests of code that must know datatypes only by their contract.
///
/// It differs from the strings as much as possible: no hash table, but a map under a mutex; no batch operations; chunks
/// with another format: 4 bytes for the length of the word, the word, a zero byte; auxiliary data: the length. A
/// stream: "WordDatatype", the number of words, their IDs in ascending order.
///
/// Threads  As in DictionaryDatatype.
class WordDatatype final : public DictionaryDatatype {
public:
    WordDatatype(uint8_t smallID, uint8_t capitalID, std::atomic<uint64_t>& nextResourceID,
                 MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<std::atomic<uint8_t>>& resourceFlags,
                 DataPool& dataPool) noexcept;
    ~WordDatatype() override;

    /// Throws MelnarException unless the form is a word of the datatype: letters 'a' to 'z' or 'A' to 'Z', at least
    /// one.
    static void checkWord(std::string_view lexicalForm, bool isCapital);

    void initialize(size_t initialSize) override;
    void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) override;
    size_t getNumberOfMappableEntriesInCompaction() override;
    size_t prepareCompact(size_t resourceID, size_t newResourceID, DictionaryCompactionState& state) override;
    void finishCompact(const DictionaryCompactionState& state) override;
    void deleteUncommittedResourceID(uint64_t resourceID, uint8_t datatypeID) override;
    void getResource(uint64_t resourceID, uint8_t datatypeID, ResourceValue& resourceValue) const override;
    void getResource(uint64_t resourceID, uint8_t datatypeID, std::string& lexicalForm) const override;
    uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const ResourceValue& resourceValue) const override;
    uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const char* lexicalForm, size_t lexicalFormLength,
                                uint8_t datatypeID) const override;
    uint64_t resolveResource(DictionaryThreadContext* threadContext, const ResourceValue& resourceValue) override;
    uint64_t resolveResource(DictionaryThreadContext* threadContext, const char* lexicalForm, size_t lexicalFormLength,
                             uint8_t datatypeID) override;
    uint64_t restoreResource(DictionaryThreadContext* threadContext, uint64_t resourceID,
                             const ResourceValue& resourceValue) override;
    void save(OutputStream& outputStream) const override;
    void load(InputStream& inputStream) override;
    std::unique_ptr<ComponentInfo> getComponentInfo() const override;

    /// Adds one child, with the number of words and the length of the longest.
    void addDetailedComponentInfo(ComponentInfo& dictionary) const override;
    size_t getChunkSize(uint64_t resourceID) const noexcept override;
    void loadUntrusted(UntrustedInputStream& inputStream) override;

private:
    using Word = std::pair<uint8_t, std::string>;

    bool isOwn(uint64_t resourceID) const noexcept;
    std::string_view getWord(uint64_t resourceID) const noexcept;
    void addWord(uint64_t resourceID);
    void writeResource(uint64_t resourceID, uint64_t dataOffset, const Word& word) noexcept;

    const uint8_t m_smallID;
    const uint8_t m_capitalID;
    mutable std::mutex m_mutex;
    std::map<Word, uint64_t> m_resourceIDs; // protected by m_mutex
};
