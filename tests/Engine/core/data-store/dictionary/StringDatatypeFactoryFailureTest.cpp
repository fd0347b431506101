#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr size_t MAXIMUM_SIZE = 0x1FFFFFFFFFFFFFFF;

const DictionaryDatatypeFactory& getStringFactory() {
    return *DictionaryDatatypeFactory::getFactory(D_XSD_STRING);
}

void parse(ResourceValue& value, const std::string_view lexicalForm, const uint8_t datatypeID) {
    getStringFactory().parseResourceValue(value, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

/// Returns all bytes of a value: a refused literal changes none of them.
std::string getImage(const ResourceValue& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof(value)) +
           std::string(reinterpret_cast<const char*>(value.m_heapBuffer), value.m_heapBufferSize);
}

void expectFailure(const MelnarException& exception, const std::string& message, const std::string& sourceFileName,
                   const long sourceLineNumber) {
    EXPECT_EQ(message, exception.getMessage());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_EQ(sourceFileName, exception.getSourceFileName());
    EXPECT_EQ(sourceLineNumber, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
}

void expectParseRefusal(const std::string& lexicalForm, const uint8_t datatypeID, const std::string& reason,
                        const long sourceLineNumber) {
    SCOPED_TRACE(lexicalForm);
    StringValue value(std::string(200, 'x'), D_XSD_STRING);
    const std::string image = getImage(value);
    expectFailure(catchException<MelnarException>([&] { parse(value, lexicalForm, datatypeID); }),
                  "Lexical form '" + lexicalForm + "' is invalid for datatype rdf:PlainLiteral because " + reason,
                  "Engine/core/data-store/dictionary/StringDatatype", sourceLineNumber);
    EXPECT_EQ(image, getImage(value));
}

void expectInPlaceRefusal(const std::string& lexicalForm, const std::string& quotedForm, const uint8_t datatypeID,
                          const std::string& reason, const long sourceLineNumber) {
    SCOPED_TRACE(lexicalForm);
    const std::string messageEnd = quotedForm + "' is invalid for datatype rdf:PlainLiteral because " + reason;
    for (const std::string& padding : {std::string(), std::string(200, 'x')}) {
        std::string message = "Lexical form '";
        message.append(padding).append(messageEnd);
        StringValue value(std::string(padding).append(lexicalForm), 77);
        const std::string image = getImage(value);
        expectFailure(
            catchException<MelnarException>([&] { getStringFactory().inPlaceParseResourceValue(value, datatypeID); }),
            message, "Engine/core/data-store/dictionary/StringDatatype", sourceLineNumber);
        EXPECT_EQ(image, getImage(value));
    }
}

constexpr const char* const WITHOUT_AT_SIGN = "it does not contain the '@' character.";
constexpr const char* const WITH_MALFORMED_TAG = " it its language tag is malformed.";

} // namespace

TEST(StringDatatypeFactoryFailureTest, parsingAFormWithoutAtSignLeavesTheValueAlone) {
    for (const std::string& lexicalForm : {std::string("abc"), std::string(), std::string("a\0b", 3)})
        expectParseRefusal(lexicalForm, D_RDF_PLAIN_LITERAL, WITHOUT_AT_SIGN, 323);
    expectParseRefusal("abc", 42, WITHOUT_AT_SIGN, 323);
}

TEST(StringDatatypeFactoryFailureTest, parsingAMalformedTagLeavesTheValueAlone) {
    for (const std::string& lexicalForm : {std::string("abc@en-"), std::string("abc@1en"), std::string("abc@en--x"),
                                           std::string("a@b c"), std::string("a\0b@-", 5)})
        expectParseRefusal(lexicalForm, D_RDF_PLAIN_LITERAL, WITH_MALFORMED_TAG, 329);
    expectParseRefusal("abc@en-", 42, WITH_MALFORMED_TAG, 329);
}

TEST(StringDatatypeFactoryFailureTest, inPlaceAFormWithoutAtSignLeavesTheValueAlone) {
    expectInPlaceRefusal("abc", "abc", D_RDF_PLAIN_LITERAL, WITHOUT_AT_SIGN, 302);
    expectInPlaceRefusal("abc", "abc", 42, WITHOUT_AT_SIGN, 302);
    expectInPlaceRefusal("", "", D_RDF_PLAIN_LITERAL, WITHOUT_AT_SIGN, 302);
}

TEST(StringDatatypeFactoryFailureTest, inPlaceAMalformedTagLeavesTheValueAlone) {
    expectInPlaceRefusal("abc@en-", "abc@en-", D_RDF_PLAIN_LITERAL, WITH_MALFORMED_TAG, 311);
    expectInPlaceRefusal("abc@1en", "abc@1en", 42, WITH_MALFORMED_TAG, 311);
}

TEST(StringDatatypeFactoryFailureTest, inPlaceFormsAreQuotedUpToTheirFirstZeroByte) {
    expectInPlaceRefusal(std::string("ab\0c", 4), "ab", D_RDF_PLAIN_LITERAL, WITHOUT_AT_SIGN, 302);
    expectInPlaceRefusal(std::string("ab\0c@1", 6), "ab", D_RDF_PLAIN_LITERAL, WITH_MALFORMED_TAG, 311);
}

TEST(StringDatatypeFactoryFailureTest, theSizeThatParsingChecksIsTheOneTheValueHadBefore) {
    for (const size_t dataSize : {MAXIMUM_SIZE, std::numeric_limits<size_t>::max()})
        for (const char* const lexicalForm : {"abc", "abc@en", "abc@en-"}) // this check comes first
            for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
                StringValue value("previous", D_XSD_STRING);
                value.m_dataSize = dataSize;
                const std::string image = getImage(value);
                expectFailure(catchException<MelnarException>([&] { parse(value, lexicalForm, datatypeID); }),
                              "The resource is larger than the largest resource supported by Melnar.",
                              "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding", 37);
                EXPECT_EQ(image, getImage(value));
            }
    ResourceValue value;
    value.m_dataSize = MAXIMUM_SIZE - 1;
    parse(value, "abc", D_XSD_STRING);
    EXPECT_EQ(4u, value.m_dataSize);
}

TEST(StringDatatypeFactoryFailureTest, aLiteralThatMemoryCannotHoldLeavesTheValueAlone) {
    StringValue value(std::string(200, 'x'), D_RDF_PLAIN_LITERAL);
    const std::string image = getImage(value);
    EXPECT_THROW(getStringFactory().parseResourceValue(value, "abc", MAXIMUM_SIZE, D_XSD_STRING), std::bad_alloc)
        << "its length is not checked, only that there is room";
    EXPECT_EQ(image, getImage(value));
}
