#include "Engine/core/data-store/terms/TermDatatypeFactory.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermDatatype.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/StringEscaping.h"

#include <algorithm>
#include <cstring>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/terms/TermDatatypeFactory";
constexpr long LINE_INVALID_ID = 18;

const TermFamily& check(const TermFamily& family) {
    if (family.m_datatypeID == D_INVALID)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_INVALID_ID, MelnarException::NO_CAUSES,
                              "The family of terms '", family.m_name, "' has the datatype ID that no resource has.");
    return family;
}

} // namespace

TermDatatypeFactory::TermDatatypeFactory(const TermFamily& family)
    : DictionaryDatatypeFactory({{check(family).m_datatypeID, family.m_name}}), m_family(family) {}

TermDatatypeFactory::~TermDatatypeFactory() = default;

std::unique_ptr<DictionaryDatatype>
TermDatatypeFactory::createDictionaryDatatype(const bool useNarrowBuckets, MemoryManager& memoryManager,
                                              Atomic<uint64_t>& nextResourceID,
                                              MemoryRegion<uint64_t>& resourceDataOffsets,
                                              MemoryRegion<Atomic<uint8_t>>& resourceFlags, DataPool& dataPool) const {
    if (useNarrowBuckets)
        return std::make_unique<TermDatatype<uint32_t>>(m_family, memoryManager, nextResourceID, resourceDataOffsets,
                                                        resourceFlags, dataPool);
    return std::make_unique<TermDatatype<uint64_t>>(m_family, memoryManager, nextResourceID, resourceDataOffsets,
                                                    resourceFlags, dataPool);
}

void TermDatatypeFactory::inPlaceParseResourceValue(ResourceValue& resourceValue, const uint8_t datatypeID) const {
    m_family.check({reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1});
    resourceValue.m_datatypeID = datatypeID;
    resourceValue.m_auxiliaryData = nullptr;
    resourceValue.m_auxiliaryDataSize = 0;
}

void TermDatatypeFactory::parseResourceValue(ResourceValue& resourceValue, const char* const lexicalForm,
                                             const size_t lexicalFormLength, const uint8_t datatypeID) const {
    m_family.check({lexicalForm, lexicalFormLength});
    uint8_t* const data = resourceValue.useOwnStorage(lexicalFormLength + 1);
    std::memcpy(data, lexicalForm, lexicalFormLength);
    data[lexicalFormLength] = 0;
    resourceValue.m_datatypeID = datatypeID;
}

size_t TermDatatypeFactory::appendLexicalForm(const uint8_t datatypeID, const uint8_t* const data,
                                              const size_t dataSize, const uint8_t* const auxiliaryData,
                                              const size_t auxiliaryDataSize, char* const buffer,
                                              const size_t bufferSize) const {
    if (bufferSize != 0) {
        std::string form;
        appendLexicalForm(datatypeID, data, dataSize, auxiliaryData, auxiliaryDataSize, form);
        buffer[form.copy(buffer, bufferSize - 1)] = 0;
    }
    return dataSize - 1 + auxiliaryDataSize;
}

void TermDatatypeFactory::appendLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize,
                                            const uint8_t* const auxiliaryData, const size_t auxiliaryDataSize,
                                            std::string& output) const {
    m_family.appendJoined({reinterpret_cast<const char*>(data), dataSize - 1},
                          {reinterpret_cast<const char*>(auxiliaryData), auxiliaryDataSize}, output);
}

void TermDatatypeFactory::appendTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data,
                                              const size_t dataSize, const uint8_t* const auxiliaryData,
                                              const size_t auxiliaryDataSize, const Prefixes&,
                                              std::string& output) const {
    std::string form;
    appendLexicalForm(datatypeID, data, dataSize, auxiliaryData, auxiliaryDataSize, form);
    if (m_family.m_isWellFormed(form))
        m_family.m_appendTurtle(form, output);
    else {
        output += '"';
        appendStringEscaped(output, form.data(), form.data() + form.size());
        output += '"';
    }
}

void TermDatatypeFactory::printLexicalForm(const uint8_t datatypeID, const uint8_t* const data, const size_t dataSize,
                                           const uint8_t* const auxiliaryData, const size_t auxiliaryDataSize,
                                           OutputStream& output) const {
    std::string form;
    appendLexicalForm(datatypeID, data, dataSize, auxiliaryData, auxiliaryDataSize, form);
    output.write(form.data(), form.size());
}

void TermDatatypeFactory::printTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data, const size_t dataSize,
                                             const uint8_t* const auxiliaryData, const size_t auxiliaryDataSize,
                                             const Prefixes& prefixes, OutputStream& output) const {
    std::string text;
    appendTurtleLiteral(datatypeID, data, dataSize, auxiliaryData, auxiliaryDataSize, prefixes, text);
    output.write(text.data(), text.size());
}

EffectiveBooleanValue TermDatatypeFactory::getEffectiveBooleanValue(uint8_t, const uint8_t*, size_t, const uint8_t*,
                                                                    size_t) const {
    return EBV_ERROR;
}

bool TermDatatypeFactory::enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                                       std::vector<ResourceValue>& equalValues) const {
    equalValues.push_back(resourceValue);
    return true;
}
