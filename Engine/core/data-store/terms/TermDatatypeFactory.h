#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/system/Atomic.h"

/// The factory of a family of terms. One for a family of a program's own adds a datatype to all dictionaries that are
/// made or opened after the factory, and to all shards of a ShardedDictionary that is made after it:
///
///     constexpr TermFamily ISBNS{100, "http://example.org/isbn", "ISBNs", ...};
///     const TermDatatypeFactory s_isbnFactory(ISBNS);
///
/// A value may have two parts, as TermDatatype returns it: the term's own part in the data, and the shared one in the
/// auxiliary data. Parsed values have one part.
///
/// Ownership  Refers to the family. Factory and family must outlive every dictionary that was made or opened while the
///            factory existed, and every BatchFailure of these dictionaries.
/// Threads    Stateless: any threads concurrently. Construction and destruction: while no thread makes or opens a
///            dictionary or uses a ShardedDictionary, which may make shards at any time.
/// Errors     The constructor throws MelnarException of kind MISUSE for a family with ID D_INVALID.
class MELNAR_EXPORT TermDatatypeFactory : public DictionaryDatatypeFactory {
public:
    /// Makes the factory and registers it, unless another one has the family's ID or name.
    explicit TermDatatypeFactory(const TermFamily& family);
    ~TermDatatypeFactory() override;

    std::unique_ptr<DictionaryDatatype> createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager,
                                                                 melnar::Atomic<uint64_t>& nextResourceID,
                                                                 MemoryRegion<uint64_t>& resourceDataOffsets,
                                                                 MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags,
                                                                 DataPool& dataPool) const override;

    /// The data must be the whole form.
    void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const override;

    void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                            uint8_t datatypeID) const override;

    size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, char* buffer, size_t bufferSize) const override;

    void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                           size_t auxiliaryDataSize, std::string& output) const override;

    /// Does not use prefixes. A form that the family does not allow, as a damaged file may contain, is printed as a
    /// string, so that it cannot be mistaken for other terms or statements.
    void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                             size_t auxiliaryDataSize, const Prefixes& prefixes, std::string& output) const override;

    void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                          size_t auxiliaryDataSize, OutputStream& output) const override;

    void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize, const uint8_t* auxiliaryData,
                            size_t auxiliaryDataSize, const Prefixes& prefixes, OutputStream& output) const override;

    /// Returns EBV_ERROR: the values of literals are not interpreted.
    EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                   const uint8_t* auxiliaryData,
                                                   size_t auxiliaryDataSize) const override;

    /// A term is equal only to itself.
    bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                      std::vector<ResourceValue>& equalValues) const override;

private:
    const TermFamily& m_family;
};
