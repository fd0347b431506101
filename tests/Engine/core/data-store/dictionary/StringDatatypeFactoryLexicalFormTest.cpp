#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include "tests/Engine/core/data-store/dictionary/RecordingOutputStream.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

const DictionaryDatatypeFactory& getStringFactory() {
    return *DictionaryDatatypeFactory::getFactory(D_XSD_STRING);
}

void parse(ResourceValue& value, const std::string_view lexicalForm, const uint8_t datatypeID) {
    getStringFactory().parseResourceValue(value, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

void expectValue(const ResourceValue& value, const uint8_t datatypeID, const std::string_view lexicalForm) {
    EXPECT_EQ(datatypeID, value.m_datatypeID);
    ASSERT_EQ(lexicalForm.size() + 1, value.m_dataSize);
    EXPECT_EQ(lexicalForm, std::string_view(reinterpret_cast<const char*>(value.m_data), lexicalForm.size()));
    EXPECT_EQ(0, value.m_data[lexicalForm.size()]);
    EXPECT_EQ(nullptr, value.m_auxiliaryData);
    EXPECT_EQ(0u, value.m_auxiliaryDataSize);
}

void expectParsed(const std::string_view lexicalForm, const uint8_t givenID, const uint8_t datatypeID,
                  const std::string_view expectedForm) {
    SCOPED_TRACE(std::string(lexicalForm));
    ResourceValue value;
    const uint8_t auxiliaryData = 0;
    value.m_auxiliaryData = &auxiliaryData;
    value.m_auxiliaryDataSize = 1;
    parse(value, lexicalForm, givenID);
    expectValue(value, datatypeID, expectedForm);
}

void expectParsedInPlace(const std::string_view lexicalForm, const uint8_t givenID, const uint8_t datatypeID,
                         const std::string_view expectedForm) {
    SCOPED_TRACE(std::string(lexicalForm));
    StringValue value(lexicalForm, D_INVALID);
    const uint8_t* const data = value.m_data;
    getStringFactory().inPlaceParseResourceValue(value, givenID);
    expectValue(value, datatypeID, expectedForm);
    EXPECT_EQ(data, value.m_data) << "in place";
}

size_t appendToBuffer(const std::string_view lexicalForm, char* const buffer, const size_t bufferSize) {
    const StringValue value(lexicalForm, D_XSD_STRING);
    return getStringFactory().appendLexicalForm(D_XSD_STRING, value.m_data, value.m_dataSize, nullptr, 0, buffer,
                                                bufferSize);
}

} // namespace

TEST(StringDatatypeFactoryLexicalFormTest, anXsdStringIsCopiedWithoutALookAtItsBytes) {
    for (const std::string_view lexicalForm :
         {std::string_view(""), std::string_view("a"), std::string_view("abc"), std::string_view("abc@"),
          std::string_view("a@1"), std::string_view("a\0b", 3), std::string_view("\xFF\xFE")})
        expectParsed(lexicalForm, D_XSD_STRING, D_XSD_STRING, lexicalForm);
    ResourceValue value;
    getStringFactory().parseResourceValue(value, nullptr, 0, D_XSD_STRING);
    expectValue(value, D_XSD_STRING, "");
}

TEST(StringDatatypeFactoryLexicalFormTest, aPlainLiteralIsCopiedWhole) {
    expectParsed("abc@en", D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL, "abc@en");
    expectParsed("a@b@en-GB", D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL, "a@b@en-GB");
    expectParsed("@en", D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL, "@en");
    expectParsed(std::string_view("a\0b@en", 6), D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL,
                 std::string_view("a\0b@en", 6));
}

TEST(StringDatatypeFactoryLexicalFormTest, aPlainLiteralsValueIsOfDatatypeSixWhateverWasGiven) {
    for (const unsigned datatypeID : {0u, 1u, 4u, 7u, 42u, 255u})
        expectParsed("abc@en", static_cast<uint8_t>(datatypeID), D_RDF_PLAIN_LITERAL, "abc@en");
}

TEST(StringDatatypeFactoryLexicalFormTest, anEmptyTagMakesAnXsdString) {
    expectParsed("abc@", D_RDF_PLAIN_LITERAL, D_XSD_STRING, "abc");
    expectParsed("@", D_RDF_PLAIN_LITERAL, D_XSD_STRING, "");
    expectParsed("abc@en@", 42, D_XSD_STRING, "abc@en");
}

TEST(StringDatatypeFactoryLexicalFormTest, upTo127BytesFitTheValueItself) {
    ResourceValue value;
    parse(value, std::string(127, 'x'), D_XSD_STRING);
    EXPECT_EQ(128u, value.m_dataSize);
    EXPECT_EQ(value.m_inlineBuffer, value.m_data);
    EXPECT_EQ(nullptr, value.m_heapBuffer);
    parse(value, std::string(127, 'x') + "@", D_RDF_PLAIN_LITERAL);
    EXPECT_EQ(128u, value.m_dataSize);
    EXPECT_EQ(value.m_inlineBuffer, value.m_data) << "the '@' needs no room";
    parse(value, std::string(128, 'x'), D_XSD_STRING);
    EXPECT_EQ(129u, value.m_dataSize);
    EXPECT_EQ(value.m_heapBuffer, value.m_data);
    expectValue(value, D_XSD_STRING, std::string(128, 'x'));
}

TEST(StringDatatypeFactoryLexicalFormTest, aValueIsUsedAgain) {
    ResourceValue value;
    parse(value, std::string(500, 'x'), D_XSD_STRING);
    const uint8_t* const block = value.m_heapBuffer;
    parse(value, "short@en", D_RDF_PLAIN_LITERAL);
    expectValue(value, D_RDF_PLAIN_LITERAL, "short@en");
    EXPECT_EQ(value.m_inlineBuffer, value.m_data);
    parse(value, std::string(400, 'y'), D_XSD_STRING);
    expectValue(value, D_XSD_STRING, std::string(400, 'y'));
    EXPECT_EQ(block, value.m_data);
    parse(value, std::string(100000, 'z'), D_XSD_STRING);
    expectValue(value, D_XSD_STRING, std::string(100000, 'z'));
}

TEST(StringDatatypeFactoryLexicalFormTest, anXsdStringInPlaceIsLeftAsItIs) {
    for (const std::string_view lexicalForm : {"", "abc", "abc@", "a@1"})
        expectParsedInPlace(lexicalForm, D_XSD_STRING, D_XSD_STRING, lexicalForm);
}

TEST(StringDatatypeFactoryLexicalFormTest, aPlainLiteralInPlaceIsLeftAsItIs) {
    expectParsedInPlace("abc@en", D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL, "abc@en");
    expectParsedInPlace("a@b@en-GB", 42, D_RDF_PLAIN_LITERAL, "a@b@en-GB");
    expectParsedInPlace(std::string(500, 'x') + "@en", D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL,
                        std::string(500, 'x') + "@en");
    expectParsedInPlace(std::string_view("a\0b@en", 6), D_RDF_PLAIN_LITERAL, D_RDF_PLAIN_LITERAL,
                        std::string_view("a\0b@en", 6));
}

TEST(StringDatatypeFactoryLexicalFormTest, anEmptyTagInPlaceIsOverwritten) {
    expectParsedInPlace("abc@", D_RDF_PLAIN_LITERAL, D_XSD_STRING, "abc");
    expectParsedInPlace("@", D_RDF_PLAIN_LITERAL, D_XSD_STRING, "");
    StringValue value("abc@", D_INVALID);
    value.m_inlineBuffer[5] = 'Z';
    getStringFactory().inPlaceParseResourceValue(value, D_RDF_PLAIN_LITERAL);
    EXPECT_EQ(0, std::memcmp("abc\0\0Z", value.m_data, 6)) << "nothing after it is touched";
}

TEST(StringDatatypeFactoryLexicalFormTest, inPlaceParsingSetsNothingButDatatypeAndSize) {
    const uint8_t auxiliaryData = 0;
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        StringValue value("abc@en", D_INVALID);
        value.m_auxiliaryData = &auxiliaryData;
        value.m_auxiliaryDataSize = 1;
        getStringFactory().inPlaceParseResourceValue(value, datatypeID);
        EXPECT_EQ(datatypeID, value.m_datatypeID);
        EXPECT_EQ(7u, value.m_dataSize);
        EXPECT_EQ(&auxiliaryData, value.m_auxiliaryData);
        EXPECT_EQ(1u, value.m_auxiliaryDataSize);
    }
}

TEST(StringDatatypeFactoryLexicalFormTest, aBufferGetsAsMuchAsFitsAndATerminator) {
    for (size_t bufferSize = 1; bufferSize <= 8; ++bufferSize) {
        std::string buffer(10, '-');
        EXPECT_EQ(5u, appendToBuffer("hello", buffer.data(), bufferSize));
        std::string expected = std::string("hello").substr(0, bufferSize - 1) + '\0';
        expected.resize(10, '-');
        EXPECT_EQ(expected, buffer) << bufferSize;
    }
}

TEST(StringDatatypeFactoryLexicalFormTest, aBufferWithoutRoomIsLeftAlone) {
    char byte = '-';
    EXPECT_EQ(5u, appendToBuffer("hello", &byte, 0));
    EXPECT_EQ('-', byte);
    EXPECT_EQ(5u, appendToBuffer("hello", nullptr, 0));
    EXPECT_EQ(0u, appendToBuffer("", &byte, 1));
    EXPECT_EQ('\0', byte);
}

TEST(StringDatatypeFactoryLexicalFormTest, zeroBytesAreCopiedToBuffers) {
    std::string buffer(6, '-');
    EXPECT_EQ(3u, appendToBuffer(std::string_view("a\0b", 3), buffer.data(), buffer.size()));
    EXPECT_EQ(std::string("a\0b\0--", 6), buffer);
}

TEST(StringDatatypeFactoryLexicalFormTest, lexicalFormsOfEitherDatatypeComeOutWhole) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL, uint8_t(42)})
        for (const std::string_view lexicalForm :
             {std::string_view("abc@en"), std::string_view(""), std::string_view("a\0b", 3)}) {
            const StringValue value(lexicalForm, datatypeID);
            std::string text = "before ";
            getStringFactory().appendLexicalForm(datatypeID, value.m_data, value.m_dataSize, nullptr, 0, text);
            EXPECT_EQ("before " + std::string(lexicalForm), text);
            RecordingOutputStream output;
            getStringFactory().printLexicalForm(datatypeID, value.m_data, value.m_dataSize, nullptr, 0, output);
            EXPECT_EQ((std::vector<std::string>{std::string(lexicalForm)}), output.getWrites()) << "in one write";
            std::string buffer(20, '-');
            EXPECT_EQ(lexicalForm.size(),
                      getStringFactory().appendLexicalForm(datatypeID, value.m_data, value.m_dataSize, nullptr, 0,
                                                           buffer.data(), buffer.size()));
            EXPECT_EQ(lexicalForm, buffer.substr(0, lexicalForm.size()));
        }
}

TEST(StringDatatypeFactoryLexicalFormTest, auxiliaryDataIsIgnored) {
    const uint8_t auxiliaryData[] = {'x', 0};
    const StringValue value("abc", D_XSD_STRING);
    std::string text;
    getStringFactory().appendLexicalForm(D_XSD_STRING, value.m_data, value.m_dataSize, auxiliaryData, 2, text);
    EXPECT_EQ("abc", text);
}

TEST(StringDatatypeFactoryLexicalFormTest, everyStoredXsdStringIsTrueEvenTheEmptyOne) {
    const auto getTruth = [](const uint8_t datatypeID, const std::string_view lexicalForm) {
        const StringValue value(lexicalForm, datatypeID);
        return getStringFactory().getEffectiveBooleanValue(datatypeID, value.m_data, value.m_dataSize, nullptr, 0);
    };
    EXPECT_EQ(EBV_TRUE, getTruth(D_XSD_STRING, "abc"));
    EXPECT_EQ(EBV_TRUE, getTruth(D_XSD_STRING, "")) << "its size counts the terminator";
    EXPECT_EQ(EBV_TRUE, getTruth(D_XSD_STRING, "false"));
    EXPECT_EQ(EBV_ERROR, getTruth(D_RDF_PLAIN_LITERAL, "abc@en"));
    EXPECT_EQ(EBV_ERROR, getTruth(D_RDF_PLAIN_LITERAL, ""));
    EXPECT_EQ(EBV_ERROR, getTruth(42, "abc"));
    EXPECT_EQ(EBV_FALSE, getStringFactory().getEffectiveBooleanValue(D_XSD_STRING, nullptr, 0, nullptr, 0));
    EXPECT_EQ(EBV_ERROR, getStringFactory().getEffectiveBooleanValue(D_RDF_PLAIN_LITERAL, nullptr, 0, nullptr, 0));
}

TEST(StringDatatypeFactoryLexicalFormTest, truthValuesHaveTheirNumbers) {
    EXPECT_EQ(0, EBV_FALSE);
    EXPECT_EQ(1, EBV_TRUE);
    EXPECT_EQ(2, EBV_ERROR);
}

TEST(StringDatatypeFactoryLexicalFormTest, aStringIsEqualToItselfOnly) {
    std::vector<ResourceValue> equalValues;
    EXPECT_TRUE(getStringFactory().enumerateEqualResourceValues(StringValue("a@en", D_RDF_PLAIN_LITERAL), equalValues));
    EXPECT_TRUE(
        getStringFactory().enumerateEqualResourceValues(StringValue(std::string(500, 'x'), D_XSD_STRING), equalValues));
    ASSERT_EQ(2u, equalValues.size());
    expectValue(equalValues[0], D_RDF_PLAIN_LITERAL, "a@en");
    expectValue(equalValues[1], D_XSD_STRING, std::string(500, 'x'));
    EXPECT_EQ(equalValues[0].m_inlineBuffer, equalValues[0].m_data) << "a copy of its own";
}
