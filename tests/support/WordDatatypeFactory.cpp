#include "tests/support/WordDatatypeFactory.h"

#include "tests/support/WordDatatype.h"

#include <algorithm>
#include <cstring>

WordDatatypeFactory::WordDatatypeFactory(const uint8_t smallID, const uint8_t capitalID)
    : DictionaryDatatypeFactory({{smallID, SMALL_NAME}, {capitalID, CAPITAL_NAME}}), m_smallID(smallID),
      m_capitalID(capitalID) {}

WordDatatypeFactory::~WordDatatypeFactory() = default;

std::unique_ptr<DictionaryDatatype> WordDatatypeFactory::createDictionaryDatatype(
    bool, MemoryManager&, std::atomic<uint64_t>& nextResourceID, MemoryRegion<uint64_t>& resourceDataOffsets,
    MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) const {
    return std::make_unique<WordDatatype>(m_smallID, m_capitalID, nextResourceID, resourceDataOffsets, resourceFlags,
                                          dataPool);
}

void WordDatatypeFactory::inPlaceParseResourceValue(ResourceValue& resourceValue, const uint8_t datatypeID) const {
    WordDatatype::checkWord({reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1},
                            datatypeID == m_capitalID);
    resourceValue.m_datatypeID = datatypeID;
}

void WordDatatypeFactory::parseResourceValue(ResourceValue& resourceValue, const char* const lexicalForm,
                                             const size_t lexicalFormLength, const uint8_t datatypeID) const {
    WordDatatype::checkWord({lexicalForm, lexicalFormLength}, datatypeID == m_capitalID);
    uint8_t* const data = resourceValue.useOwnStorage(lexicalFormLength + 1);
    std::memcpy(data, lexicalForm, lexicalFormLength);
    data[lexicalFormLength] = 0;
    resourceValue.m_datatypeID = datatypeID;
}

size_t WordDatatypeFactory::appendLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize, const uint8_t*,
                                              size_t, char* const buffer, const size_t bufferSize) const {
    if (bufferSize != 0) {
        const size_t length = std::min(dataSize - 1, bufferSize - 1);
        std::memcpy(buffer, data, length);
        buffer[length] = 0;
    }
    return dataSize - 1;
}

void WordDatatypeFactory::appendLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize, const uint8_t*,
                                            size_t, std::string& output) const {
    output.append(reinterpret_cast<const char*>(data), dataSize - 1);
}

void WordDatatypeFactory::appendTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data,
                                              const size_t dataSize, const uint8_t* const auxiliaryData,
                                              const size_t auxiliaryDataSize, const Prefixes&,
                                              std::string& output) const {
    output += '"';
    output.append(reinterpret_cast<const char*>(data), dataSize - 1);
    output += "\"^^<";
    output += datatypeID == m_capitalID ? CAPITAL_NAME : SMALL_NAME;
    output += '>';
    if (auxiliaryDataSize != 0) {
        uint32_t length;
        std::memcpy(&length, auxiliaryData, sizeof(length));
        output += " # " + std::to_string(length);
    }
}

void WordDatatypeFactory::printLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize, const uint8_t*,
                                           size_t, OutputStream& output) const {
    output.write(data, dataSize - 1);
}

void WordDatatypeFactory::printTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data, const size_t dataSize,
                                             const uint8_t* const auxiliaryData, const size_t auxiliaryDataSize,
                                             const Prefixes& prefixes, OutputStream& output) const {
    std::string text;
    appendTurtleLiteral(datatypeID, data, dataSize, auxiliaryData, auxiliaryDataSize, prefixes, text);
    output.write(text.data(), text.size());
}

EffectiveBooleanValue WordDatatypeFactory::getEffectiveBooleanValue(uint8_t, const uint8_t*, size_t, const uint8_t*,
                                                                    size_t) const {
    return EBV_ERROR;
}

bool WordDatatypeFactory::enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                                       std::vector<ResourceValue>& equalValues) const {
    equalValues.push_back(resourceValue);
    return true;
}
