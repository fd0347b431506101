#pragma once

#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"
#include "Engine/core/data-store/dictionary/EffectiveBooleanValue.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Creates the datatype objects of a family of datatypes, and handles its literals where no dictionary is needed.
///
/// A factory adds itself to the process-wide registry when it is constructed, usually during static initialisation, and
/// removes its own entries when it is destroyed. The first factory of an ID or a name keeps it. A later factory that
/// claims an ID or a name that is taken, such as a second object of the same class, is not registered at all, not even
/// after the first one is destroyed. Its operations work nevertheless.
///
/// The first five arguments of the formatting operations are those of a ResourceValue: datatype ID, data, data size
/// (including the terminator), auxiliary data, auxiliary data size.
///
/// The engine's factories are registered before the static objects of an application are initialised.
///
/// Threads  Immutable after construction: any threads concurrently. Factories are constructed and destroyed while no
///          thread looks up factories.
class MELNAR_EXPORT DictionaryDatatypeFactory {
public:
    /// Registers the factory under the given (datatype ID, datatype name) pairs, or under none if an ID or a name is
    /// taken. Throws only std::bad_alloc, and registers nothing then.
    DictionaryDatatypeFactory(std::initializer_list<std::pair<uint8_t, std::string>> supportedDatatypes);

    DictionaryDatatypeFactory(const DictionaryDatatypeFactory&) = delete;
    DictionaryDatatypeFactory& operator=(const DictionaryDatatypeFactory&) = delete;
    virtual ~DictionaryDatatypeFactory();

    /// Creates a datatype with 32-bit buckets, whose resource IDs must be below 0xFFFFFFFE, or with 64-bit buckets. It
    /// must be initialised or loaded before use. The arguments must outlive it.
    virtual std::unique_ptr<DictionaryDatatype>
    createDictionaryDatatype(bool useNarrowBuckets, MemoryManager& memoryManager,
                             melnar::Atomic<uint64_t>& nextResourceID, MemoryRegion<uint64_t>& resourceDataOffsets,
                             MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags, DataPool& dataPool) const = 0;

    /// Checks and normalises a value whose data is already in place, and writable. If it refuses the value with
    /// MelnarException, the value is unchanged.
    virtual void inPlaceParseResourceValue(ResourceValue& resourceValue, uint8_t datatypeID) const = 0;

    /// Fills the value with a copy of a literal. If it refuses the literal with MelnarException, the value is
    /// unchanged.
    virtual void parseResourceValue(ResourceValue& resourceValue, const char* lexicalForm, size_t lexicalFormLength,
                                    uint8_t datatypeID) const = 0;

    /// Writes as much of the lexical form as fits into `buffer`, with a terminator unless `bufferSize` is 0. Returns
    /// the length of the whole form; if that is not below `bufferSize`, the form was cut.
    virtual size_t appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                     const uint8_t* auxiliaryData, size_t auxiliaryDataSize, char* buffer,
                                     size_t bufferSize) const = 0;

    /// Appends the lexical form.
    virtual void appendLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                   const uint8_t* auxiliaryData, size_t auxiliaryDataSize,
                                   std::string& output) const = 0;

    /// Appends the literal in Turtle syntax.
    virtual void appendTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                     const uint8_t* auxiliaryData, size_t auxiliaryDataSize, const Prefixes& prefixes,
                                     std::string& output) const = 0;

    /// Writes the lexical form.
    virtual void printLexicalForm(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                  const uint8_t* auxiliaryData, size_t auxiliaryDataSize,
                                  OutputStream& output) const = 0;

    /// Writes the literal in Turtle syntax.
    virtual void printTurtleLiteral(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                    const uint8_t* auxiliaryData, size_t auxiliaryDataSize, const Prefixes& prefixes,
                                    OutputStream& output) const = 0;

    /// Returns the truth value that a query takes the literal for.
    virtual EffectiveBooleanValue getEffectiveBooleanValue(uint8_t datatypeID, const uint8_t* data, size_t dataSize,
                                                           const uint8_t* auxiliaryData,
                                                           size_t auxiliaryDataSize) const = 0;

    /// Appends all values that are equal to the given one. Returns false if there are too many to list.
    virtual bool enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                              std::vector<ResourceValue>& equalValues) const = 0;

    /// Returns the (datatype ID, datatype name) pairs that were given, registered or not.
    const std::vector<std::pair<uint8_t, std::string>>& getSupportedDatatypes() const noexcept {
        return m_supportedDatatypes;
    }

    /// Returns the factory of a datatype ID, or nullptr.
    static const DictionaryDatatypeFactory* getFactory(uint8_t datatypeID) noexcept;

    /// Returns the factory of a datatype name, or nullptr.
    static const DictionaryDatatypeFactory* getFactory(const std::string& datatypeName) noexcept;

    /// Returns all factories, each once, in ascending order of their first datatype ID.
    static std::vector<const DictionaryDatatypeFactory*> getFactories();

private:
    const std::vector<std::pair<uint8_t, std::string>> m_supportedDatatypes;
};
