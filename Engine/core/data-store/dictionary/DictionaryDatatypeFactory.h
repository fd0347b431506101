#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"
#include "Engine/core/data-store/dictionary/EffectiveBooleanValue.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Creates the datatype objects of a family of datatypes and handles its literals where no dictionary is needed.
///
/// A factory enters itself into the process-wide registry when it is constructed, usually during static initialisation,
/// and takes its own entries out when it is destroyed. The first factory of an ID or a name keeps it. A later factory
/// that claims any taken ID or name, such as a second object of the same class, is not registered at all, also not when
/// the first one goes. Its operations work all the same.
///
/// The five arguments that the formatting operations begin with are those of a ResourceValue: datatype ID, data, data
/// size (with the terminator), auxiliary data, auxiliary data size.
///
/// The engine's own factories are registered before the static objects of an application are initialised.
///
/// Threads  Immutable after construction: any threads concurrently. Factories are constructed and destroyed while no thread
///          looks factories up.
class MELNAR_EXPORT DictionaryDatatypeFactory {
public:
    /// Registers the factory under the given (datatype ID, datatype name) pairs, or under none when an ID or a name is
    /// taken. Throws std::bad_alloc only, and registers nothing then.
    DictionaryDatatypeFactory(std::initializer_list<std::pair<uint8_t, std::string>> supportedDatatypes);

    DictionaryDatatypeFactory(const DictionaryDatatypeFactory&) = delete;
    DictionaryDatatypeFactory& operator=(const DictionaryDatatypeFactory&) = delete;
    virtual ~DictionaryDatatypeFactory();

    /// Creates a datatype with 32-bit buckets, whose resource IDs must stay below 0xFFFFFFFE, or with 64-bit ones. It
    /// must be initialised or loaded before use; the arguments must outlive it.
    virtual std::unique_ptr<DictionaryDatatype>
    createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager, std::atomic<uint64_t>& nextResourceID,
                             MemoryRegion<uint64_t>& resourceDataOffsets,
                             MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) const = 0;

    /// Checks and normalises a value whose (writable) data the caller has put in place already. A value that is refused
    /// with MelnarException is unchanged.
    virtual void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const = 0;

    /// Fills the value with a copy of a literal. A value is unchanged when its literal is refused with MelnarException.
    virtual void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                                    uint8_t datatypeID) const = 0;

    /// Writes as much of the lexical form as fits into `buffer`, always with a terminator unless `bufferSize` is 0.
    /// Returns the length of the whole form: not below `bufferSize` when it was cut.
    virtual size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                     const uint8_t* auxiliaryData, size_t auxiliaryDataSize, char* buffer,
                                     size_t bufferSize) const = 0;

    virtual void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                   const uint8_t* auxiliaryData, size_t auxiliaryDataSize,
                                   std::string& output) const = 0;

    virtual void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                     const uint8_t* auxiliaryData, size_t auxiliaryDataSize, const Prefixes& prefixes,
                                     std::string& output) const = 0;

    virtual void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                  const uint8_t* auxiliaryData, size_t auxiliaryDataSize,
                                  OutputStream& output) const = 0;

    virtual void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                    const uint8_t* auxiliaryData, size_t auxiliaryDataSize, const Prefixes& prefixes,
                                    OutputStream& output) const = 0;

    virtual EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                           const uint8_t* auxiliaryData,
                                                           size_t auxiliaryDataSize) const = 0;

    /// Appends all values that are equal to the given one; false when there are too many to list.
    virtual bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                              std::vector<ResourceValue>& equalValues) const = 0;

    const std::vector<std::pair<uint8_t, std::string>>& getSupportedDatatypes() const noexcept {
        return m_supportedDatatypes;
    }

    /// The factory of a datatype ID, or nullptr.
    static const DictionaryDatatypeFactory* getFactory(uint8_t datatypeID) noexcept;

    /// The factory of a datatype name, or nullptr.
    static const DictionaryDatatypeFactory* getFactory(const std::string& datatypeName) noexcept;

    /// All factories, each once, in ascending order of their first datatype ID.
    static std::vector<const DictionaryDatatypeFactory*> getFactories();

private:
    const std::vector<std::pair<uint8_t, std::string>> m_supportedDatatypes;
};
