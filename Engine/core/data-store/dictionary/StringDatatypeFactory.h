#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/system/Atomic.h"

/// The factory of xsd:string (datatype ID 5) and rdf:PlainLiteral (6).
///
/// The value of a plain literal is its whole lexical form: text, '@' and language tag. A form that ends in '@' means
/// the xsd:string before the '@'. The data of a value ends with a zero byte, which its size includes.
///
/// Threads  Stateless: any threads concurrently.
class MELNAR_EXPORT StringDatatypeFactory : public DictionaryDatatypeFactory {
public:
    StringDatatypeFactory();
    ~StringDatatypeFactory() override;

    /// Returns the instance that serves both datatypes. It is constructed before the static objects of an application,
    /// and destroyed after them.
    static const StringDatatypeFactory& getInstance() noexcept;

    std::unique_ptr<DictionaryDatatype> createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager,
                                                                 melnar::Atomic<uint64_t>& nextResourceID,
                                                                 MemoryRegion<uint64_t>& resourceDataOffsets,
                                                                 MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags,
                                                                 DataPool& dataPool) const override;

    void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const override;

    void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                            uint8_t datatypeID) const override;

    size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, char* buffer, size_t bufferSize) const override;

    void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                           size_t auxiliaryDataSize, std::string& output) const override;

    void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, const Prefixes& prefixes, std::string& output) const override;

    void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                          size_t auxiliaryDataSize, OutputStream& output) const override;

    void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                            size_t auxiliaryDataSize, const Prefixes& prefixes, OutputStream& output) const override;

    /// Returns EBV_TRUE for every stored xsd:string, including the empty one, since its data size includes the
    /// terminator; queries depend on this. Returns EBV_FALSE for an xsd:string without any data, EBV_ERROR for a plain
    /// literal.
    EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                   const uint8_t* auxiliaryData,
                                                   size_t auxiliaryDataSize) const override;

    /// A string is equal only to itself.
    bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                      std::vector<ResourceValue>& equalValues) const override;
};
