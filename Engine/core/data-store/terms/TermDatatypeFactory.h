#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/terms/TermFamily.h"

namespace melnar {

/// The factory of a family of terms.
///
/// A value may come in two parts, as TermDatatype gives it: the term's own in the data, and what it shares with others in
/// the auxiliary data. Values that are parsed come in one.
///
/// Threads  Stateless: any threads concurrently.
class TermDatatypeFactory : public DictionaryDatatypeFactory {
public:
    /// The family must outlive the factory.
    explicit TermDatatypeFactory(const TermFamily& family);
    ~TermDatatypeFactory() override;

    std::unique_ptr<DictionaryDatatype> createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager,
                                                                 std::atomic<uint64_t>& nextResourceID,
                                                                 MemoryRegion<uint64_t>& resourceDataOffsets,
                                                                 MemoryRegion<std::atomic<uint8_t>>& resourceFlags,
                                                                 DataPool& dataPool) const override;

    /// The data is the whole form.
    void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const override;

    void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                            uint8_t datatypeID) const override;

    size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, char* buffer, size_t bufferSize) const override;

    void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                           size_t auxiliaryDataSize, std::string& output) const override;

    /// Prefixes are not used. A form that is none of the family, as a damaged file may have, is printed as a string, so
    /// that it cannot be taken for other terms or statements.
    void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, const Prefixes& prefixes, std::string& output) const override;

    void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                          size_t auxiliaryDataSize, OutputStream& output) const override;

    void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                            size_t auxiliaryDataSize, const Prefixes& prefixes, OutputStream& output) const override;

    /// EBV_ERROR: the values of literals are not looked at.
    EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                   const uint8_t* auxiliaryData,
                                                   size_t auxiliaryDataSize) const override;

    /// A term is equal to itself only.
    bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                      std::vector<ResourceValue>& equalValues) const override;

private:
    const TermFamily& m_family;
};

} // namespace melnar
