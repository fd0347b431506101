#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr PlainLiteralFailureLines FAILURE_LINES{11, 22};

PlainLiteralKind classify(const std::string_view lexicalForm) {
    return classifyPlainLiteral(lexicalForm.data(), lexicalForm.size());
}

bool isASCIILetter(const unsigned byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

bool isASCIIDigit(const unsigned byte) {
    return byte >= '0' && byte <= '9';
}

/// Returns all bytes except '@', since another '@' would start another tag.
std::vector<unsigned> getAllBytesButAtSign() {
    std::vector<unsigned> bytes;
    for (unsigned byte = 0; byte < 256; ++byte)
        if (byte != '@')
            bytes.push_back(byte);
    return bytes;
}

PlainLiteralKind toKind(const bool isAccepted) {
    return isAccepted ? PlainLiteralKind::WITH_TAG : PlainLiteralKind::WITH_MALFORMED_TAG;
}

struct Validation {
    size_t m_length;
    uint8_t m_datatypeID;

    bool operator==(const Validation&) const = default;
};

std::ostream& operator<<(std::ostream& output, const Validation& validation) {
    return output << "length " << validation.m_length << ", datatype ID " << unsigned(validation.m_datatypeID);
}

Validation validate(const std::string_view lexicalForm, const uint8_t datatypeID) {
    Validation validation{lexicalForm.size(), datatypeID};
    validatePlainLiteral(lexicalForm.data(), validation.m_length, validation.m_datatypeID, FAILURE_LINES);
    return validation;
}

} // namespace

TEST(PlainLiteralTest, tagsAreLettersAndThenGroupsOfLettersAndDigits) {
    for (const char* const lexicalForm : {"@a", "a@b", "a@en", "a@EN", "a@en-GB", "a@b-1", "a@x-0-0", "a@b-c-d-e-f",
                                          "a@b-123456789a", "a@abcdefghijklmnop", "a@zh-Hant-TW", "a b@c"})
        EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify(lexicalForm)) << lexicalForm;
}

TEST(PlainLiteralTest, everyOtherTagIsMalformed) {
    for (const char* const lexicalForm :
         {"a@b-",  "a@-b",       "a@1b",        "a@b--c", "a@b c",     "a@-",     "a@1",
          "a@ ",   "a@b ",       "a@ b",        "a@b1",   "a@b_c",     "a@b-c-",  "a@b-c--d",
          "a@b.c", "a@\xC3\xA9", "a@e\xC3\xA9", "@-",     "abc@en--x", "abc@1en", "abc@en-"})
        EXPECT_EQ(PlainLiteralKind::WITH_MALFORMED_TAG, classify(lexicalForm)) << lexicalForm;
    EXPECT_EQ(PlainLiteralKind::WITH_MALFORMED_TAG, classify(std::string_view("a@b\0", 4)));
    EXPECT_EQ(PlainLiteralKind::WITH_MALFORMED_TAG, classify(std::string_view("a@b\0c", 5)));
}

TEST(PlainLiteralTest, onlyLettersStartATag) {
    for (const unsigned byte : getAllBytesButAtSign())
        EXPECT_EQ(toKind(isASCIILetter(byte)), classify(std::string("a@") + static_cast<char>(byte))) << byte;
}

TEST(PlainLiteralTest, onlyLettersContinueTheFirstSubtag) {
    for (const unsigned byte : getAllBytesButAtSign())
        EXPECT_EQ(toKind(isASCIILetter(byte)), classify(std::string("a@b") + static_cast<char>(byte))) << byte;
}

TEST(PlainLiteralTest, lettersAndDigitsMakeUpLaterSubtags) {
    for (const unsigned byte : getAllBytesButAtSign()) {
        const bool isAccepted = isASCIILetter(byte) || isASCIIDigit(byte);
        EXPECT_EQ(toKind(isAccepted), classify(std::string("a@b-") + static_cast<char>(byte))) << byte;
        EXPECT_EQ(toKind(isAccepted), classify(std::string("a@b-c") + static_cast<char>(byte))) << byte;
    }
}

TEST(PlainLiteralTest, subtagsHaveNoLengthLimit) {
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify("a@" + std::string(100000, 'b')));
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify("a@b-" + std::string(100000, '9')));
}

TEST(PlainLiteralTest, theLastAtSignSeparatesTextAndTag) {
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify("a@b@en"));
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify("@@en"));
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify("a@b-@en")) << "everything before it is text";
    EXPECT_EQ(PlainLiteralKind::WITH_MALFORMED_TAG, classify("a@en@1"));
}

TEST(PlainLiteralTest, theTextMayHoldAnyByte) {
    std::string text;
    for (unsigned byte = 0; byte < 256; ++byte)
        text.push_back(static_cast<char>(byte));
    EXPECT_EQ(PlainLiteralKind::WITH_TAG, classify(text + "@en"));
}

TEST(PlainLiteralTest, anAtSignAtTheEndIsAnEmptyTag) {
    EXPECT_EQ(PlainLiteralKind::EMPTY_TAG, classify("@"));
    EXPECT_EQ(PlainLiteralKind::EMPTY_TAG, classify("abc@"));
    EXPECT_EQ(PlainLiteralKind::EMPTY_TAG, classify("a@en@"));
    EXPECT_EQ(PlainLiteralKind::EMPTY_TAG, classify("a@@"));
}

TEST(PlainLiteralTest, aFormWithoutAtSignHasNoTag) {
    EXPECT_EQ(PlainLiteralKind::WITHOUT_AT_SIGN, classify(""));
    EXPECT_EQ(PlainLiteralKind::WITHOUT_AT_SIGN, classifyPlainLiteral(nullptr, 0));
    EXPECT_EQ(PlainLiteralKind::WITHOUT_AT_SIGN, classify("abc"));
    EXPECT_EQ(PlainLiteralKind::WITHOUT_AT_SIGN, classifyPlainLiteral("abc@en", 3)) << "read beyond the length";
}

TEST(PlainLiteralTest, acceptedFormsKeepLengthAndTheGivenDatatypeID) {
    EXPECT_EQ((Validation{4, D_RDF_PLAIN_LITERAL}), validate("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ((Validation{4, 42}), validate("a@en", 42));
}

TEST(PlainLiteralTest, anEmptyTagMakesAStringOfTheBytesBeforeIt) {
    EXPECT_EQ((Validation{3, D_XSD_STRING}), validate("abc@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ((Validation{4, D_XSD_STRING}), validate("a@en@", 0));
    EXPECT_EQ((Validation{0, D_XSD_STRING}), validate("@", D_RDF_PLAIN_LITERAL));
}

TEST(PlainLiteralTest, anXsdStringIsAnySequenceOfBytes) {
    for (const std::string_view lexicalForm : {"", "abc", "@", "abc@", "a@1"})
        EXPECT_EQ((Validation{lexicalForm.size(), D_XSD_STRING}), validate(lexicalForm, D_XSD_STRING));
}

TEST(PlainLiteralFailureTest, aFormWithoutAtSignIsQuotedInFullAndLeftAlone) {
    const std::string lexicalForm("a\0b", 3);
    size_t length = lexicalForm.size();
    uint8_t datatypeID = D_RDF_PLAIN_LITERAL;
    const auto exception = catchException<MelnarException>(
        [&] { validatePlainLiteral(lexicalForm.data(), length, datatypeID, FAILURE_LINES); });
    EXPECT_EQ("Lexical form '" + lexicalForm +
                  "' is invalid for datatype rdf:PlainLiteral because it does not contain the '@' character.",
              exception.getMessage());
    EXPECT_EQ("Engine/core/data-store/dictionary/StringDatatype", exception.getSourceFileName());
    EXPECT_EQ(11, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ(3u, length);
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, datatypeID);
}

TEST(PlainLiteralFailureTest, aMalformedTagIsReportedWithTheTextThatProgramsExpect) {
    const std::string lexicalForm("a\0b@c-", 6);
    size_t length = lexicalForm.size();
    uint8_t datatypeID = 42;
    const auto exception = catchException<MelnarException>(
        [&] { validatePlainLiteral(lexicalForm.data(), length, datatypeID, FAILURE_LINES); });
    EXPECT_EQ("Lexical form '" + lexicalForm +
                  "' is invalid for datatype rdf:PlainLiteral because  it its language tag is malformed.",
              exception.getMessage());
    EXPECT_EQ("Engine/core/data-store/dictionary/StringDatatype", exception.getSourceFileName());
    EXPECT_EQ(22, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ(6u, length);
    EXPECT_EQ(42, datatypeID);
}
