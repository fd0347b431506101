#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/BuiltInFactoryPriority.h"
#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"
#include "Engine/core/platform/StringEscaping.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr PlainLiteralFailureLines IN_PLACE_PARSE_FAILURE_LINES{LINE_IN_PLACE_PARSE_MISSING_AT_SIGN,
                                                                LINE_IN_PLACE_PARSE_MALFORMED_TAG};
constexpr PlainLiteralFailureLines PARSE_FAILURE_LINES{LINE_PARSE_MISSING_AT_SIGN, LINE_PARSE_MALFORMED_TAG};

// The order matters: the names exist before the factory copies them, and are destroyed after it. The priority
// initialises them before the static objects of an application, one of which may be a Dictionary.
[[gnu::init_priority(melnar::BUILT_IN_FACTORY_PRIORITY)]] const std::string s_xsdStringDatatypeName(XSD_STRING);
[[gnu::init_priority(melnar::BUILT_IN_FACTORY_PRIORITY)]] const std::string
    s_plainLiteralDatatypeName(RDF_PLAIN_LITERAL);
[[gnu::init_priority(melnar::BUILT_IN_FACTORY_PRIORITY)]] const StringDatatypeFactory s_stringDatatypeFactory;

struct TurtleParts {
    const char* m_begin;
    const char* m_split; // where the '@' of the language tag is, or the end
    const char* m_end;
};

TurtleParts splitForTurtle(const uint8_t datatypeID, const uint8_t* const data, const size_t dataSize) noexcept {
    const char* const begin = reinterpret_cast<const char*>(data);
    const char* const end = begin + dataSize - 1;
    if (datatypeID == D_XSD_STRING)
        return {begin, end, end};
    const char* split = end;
    while (split != begin)
        if (*--split == '@')
            return {begin, split, end};
    return {begin, end, end};
}

} // namespace

StringDatatypeFactory::StringDatatypeFactory()
    : DictionaryDatatypeFactory(
          {{D_XSD_STRING, s_xsdStringDatatypeName}, {D_RDF_PLAIN_LITERAL, s_plainLiteralDatatypeName}}) {}

StringDatatypeFactory::~StringDatatypeFactory() = default;

const StringDatatypeFactory& StringDatatypeFactory::getInstance() noexcept {
    return s_stringDatatypeFactory;
}

std::unique_ptr<DictionaryDatatype> StringDatatypeFactory::createDictionaryDatatype(
    const bool useNarrowBuckets, MemoryManager& memoryManager, melnar::Atomic<uint64_t>& nextResourceID,
    MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags,
    DataPool& dataPool) const {
    if (useNarrowBuckets)
        return std::make_unique<StringDatatype<uint32_t>>(memoryManager, nextResourceID, resourceDataOffsets,
                                                          resourceFlags, dataPool);
    return std::make_unique<StringDatatype<uint64_t>>(memoryManager, nextResourceID, resourceDataOffsets, resourceFlags,
                                                      dataPool);
}

void StringDatatypeFactory::inPlaceParseResourceValue(ResourceValue& resourceValue, const uint8_t datatypeID) const {
    if (datatypeID == D_XSD_STRING) {
        resourceValue.m_datatypeID = D_XSD_STRING;
        return;
    }
    const char* const lexicalForm = reinterpret_cast<const char*>(resourceValue.m_data);
    const size_t lexicalFormLength = resourceValue.m_dataSize - 1;
    switch (const PlainLiteralKind kind = classifyPlainLiteral(lexicalForm, lexicalFormLength)) {
    case PlainLiteralKind::WITH_TAG:
        resourceValue.m_datatypeID = D_RDF_PLAIN_LITERAL;
        break;
    case PlainLiteralKind::EMPTY_TAG:
        const_cast<uint8_t*>(resourceValue.m_data)[lexicalFormLength - 1] = 0;
        resourceValue.m_datatypeID = D_XSD_STRING;
        --resourceValue.m_dataSize;
        break;
    default:
        refusePlainLiteral(kind, std::string(lexicalForm), IN_PLACE_PARSE_FAILURE_LINES);
    }
}

void StringDatatypeFactory::parseResourceValue(ResourceValue& resourceValue, const char* const lexicalForm,
                                               size_t lexicalFormLength, uint8_t datatypeID) const {
    // Checks the size that the value had before, since callers rely on this failure.
    AdaptiveResourceSizeEncoding::checkLength(resourceValue.m_dataSize);
    validatePlainLiteral(lexicalForm, lexicalFormLength, datatypeID, PARSE_FAILURE_LINES);
    uint8_t* const data = resourceValue.useOwnStorage(lexicalFormLength + 1);
    if (lexicalFormLength != 0)
        std::memcpy(data, lexicalForm, lexicalFormLength);
    data[lexicalFormLength] = 0;
    resourceValue.m_datatypeID = datatypeID == D_XSD_STRING ? D_XSD_STRING : D_RDF_PLAIN_LITERAL;
}

size_t StringDatatypeFactory::appendLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize,
                                                const uint8_t*, size_t, char* const buffer,
                                                const size_t bufferSize) const {
    const size_t lexicalFormLength = dataSize - 1;
    if (bufferSize != 0) {
        const size_t copiedLength = std::min(lexicalFormLength, bufferSize - 1);
        std::memcpy(buffer, data, copiedLength);
        buffer[copiedLength] = 0;
    }
    return lexicalFormLength;
}

void StringDatatypeFactory::appendLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize, const uint8_t*,
                                              size_t, std::string& output) const {
    output.append(reinterpret_cast<const char*>(data), dataSize - 1);
}

void StringDatatypeFactory::printLexicalForm(uint8_t, const uint8_t* const data, const size_t dataSize, const uint8_t*,
                                             size_t, OutputStream& output) const {
    output.write(data, dataSize - 1);
}

void StringDatatypeFactory::appendTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data,
                                                const size_t dataSize, const uint8_t*, size_t, const Prefixes&,
                                                std::string& output) const {
    const TurtleParts parts = splitForTurtle(datatypeID, data, dataSize);
    output.push_back('"');
    appendStringEscaped(output, parts.m_begin, parts.m_split);
    output.push_back('"');
    output.append(parts.m_split, parts.m_end);
}

void StringDatatypeFactory::printTurtleLiteral(const uint8_t datatypeID, const uint8_t* const data,
                                               const size_t dataSize, const uint8_t*, size_t, const Prefixes&,
                                               OutputStream& output) const {
    const TurtleParts parts = splitForTurtle(datatypeID, data, dataSize);
    output.write("\"", 1);
    printStringEscaped(output, parts.m_begin, parts.m_split);
    output.write("\"", 1);
    if (parts.m_split != parts.m_end)
        output.write(parts.m_split, static_cast<size_t>(parts.m_end - parts.m_split));
}

EffectiveBooleanValue StringDatatypeFactory::getEffectiveBooleanValue(const uint8_t datatypeID, const uint8_t*,
                                                                      const size_t dataSize, const uint8_t*,
                                                                      size_t) const {
    if (datatypeID != D_XSD_STRING)
        return EBV_ERROR;
    return dataSize != 0 ? EBV_TRUE : EBV_FALSE;
}

bool StringDatatypeFactory::enumerateEqualResourceValues(const ResourceValue& resourceValue,
                                                         std::vector<ResourceValue>& equalValues) const {
    equalValues.push_back(resourceValue);
    return true;
}
