#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"

/// The factory of words of lower-case and of upper-case letters; see WordDatatype. Every dictionary that is made or
/// opened while it exists has their datatypes, too. So a test makes its own factory, which must outlive its
/// dictionaries.
class WordDatatypeFactory final : public DictionaryDatatypeFactory {
public:
    static constexpr const char* SMALL_NAME = "http://example.com/smallWord";
    static constexpr const char* CAPITAL_NAME = "http://example.com/capitalWord";

    WordDatatypeFactory(uint8_t smallID, uint8_t capitalID);
    ~WordDatatypeFactory() override;

    std::unique_ptr<DictionaryDatatype> createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager,
                                                                 std::atomic<uint64_t>& nextResourceID,
                                                                 MemoryRegion<uint64_t>& resourceDataOffsets,
                                                                 MemoryRegion<std::atomic<uint8_t>>& resourceFlags,
                                                                 DataPool& dataPool) const override;
    void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const override;
    void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                            uint8_t datatypeID) const override;
    size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, char* buffer, size_t bufferSize) const override;
    void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                           size_t auxiliaryDataSize, std::string& output) const override;

    /// Appends "word"^^<name>, and the length of the word as a comment if there are auxiliary data.
    void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, const Prefixes& prefixes, std::string& output) const override;
    void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                          size_t auxiliaryDataSize, OutputStream& output) const override;
    void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                            size_t auxiliaryDataSize, const Prefixes& prefixes, OutputStream& output) const override;
    EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                   const uint8_t* auxiliaryData,
                                                   size_t auxiliaryDataSize) const override;
    bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                      std::vector<ResourceValue>& equalValues) const override;

private:
    const uint8_t m_smallID;
    const uint8_t m_capitalID;
};
