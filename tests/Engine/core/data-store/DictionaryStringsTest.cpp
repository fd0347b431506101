#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

// Single strings: texts of a language, and lexical forms that are not copied.

namespace {

constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;

/// A text that must not be read, since no memory is that large.
const std::string_view LONGER_THAN_ANY("a", size_t(1) << 62);

class DictionaryStringsTest : public testing::TestWithParam<uint64_t> {
protected:
    Dictionary m_dictionary{{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}};
    DictionaryThread m_thread{m_dictionary};
};

TEST_P(DictionaryStringsTest, aLangStringIsThePlainLiteralOfItsParts) {
    const uint64_t resourceID = m_dictionary.resolveLangString(m_thread, "Deutschland", "de");
    EXPECT_EQ(resourceID, m_dictionary.tryResolveResource(ALL, "Deutschland@de", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(resourceID, m_dictionary.resolveLangString(m_thread, "Deutschland", "de"));
    EXPECT_EQ(resourceID, m_dictionary.tryResolveLangString(ALL, "Deutschland", "de"));
    EXPECT_EQ(0u, m_dictionary.tryResolveLangString(ALL, "Deutschland", "DE")) << "tags are compared byte for byte";
    EXPECT_EQ(0u, m_dictionary.tryResolveLangString({resourceID}, "Deutschland", "de")) << "it is not committed";
    EXPECT_EQ(1u, m_dictionary.size());
}

TEST_P(DictionaryStringsTest, textsMayBeAnyBytes) {
    for (const std::string& text : {std::string(), std::string("\0", 1), std::string("a\0b", 3), std::string("@"),
                                    std::string("a@en"), std::string("\xff\xfe"), std::string(100000, 'x')}) {
        SCOPED_TRACE(text.substr(0, 10));
        const uint64_t resourceID = m_dictionary.resolveLangString(m_thread, text, "en-GB");
        EXPECT_EQ(resourceID, m_dictionary.tryResolveLangString(ALL, text, "en-GB"));
        EXPECT_EQ(text + "@en-GB", m_dictionary.getLexicalForm(resourceID));
        std::string form;
        const Term term = m_dictionary.getTerm(resourceID, form);
        EXPECT_EQ(text, term.m_text);
        EXPECT_EQ("en-GB", term.m_language);
    }
    EXPECT_EQ(7u, m_dictionary.size());
}

TEST_P(DictionaryStringsTest, anEmptyTagMakesAString) {
    const uint64_t resourceID = m_dictionary.resolveLangString(m_thread, "a@en", "");
    EXPECT_EQ(resourceID, m_dictionary.tryResolveResource(ALL, "a@en", D_XSD_STRING));
    EXPECT_EQ(resourceID, m_dictionary.tryResolveLangString(ALL, "a@en", ""));
    EXPECT_EQ(0u, m_dictionary.tryResolveLangString(ALL, "a", "en"));
}

TEST_P(DictionaryStringsTest, malformedTagsAndTextsLongerThanAnyAreRefused) {
    for (const std::string tag : {"@", "a@b", "e n", "1", "-", "en-", "en--GB", "\xc3\xa4"}) {
        const std::string message = "'" + tag + "' is not a language tag.";
        const auto refusal =
            catchException<MelnarException>([&] { m_dictionary.resolveLangString(m_thread, "a", tag); });
        EXPECT_EQ(message, refusal.getMessage());
        EXPECT_EQ(FailureKind::REFUSED_LITERAL, refusal.getKind());
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               static_cast<void>(m_dictionary.tryResolveLangString(ALL, "a", tag));
                           }).getMessage());
    }
    EXPECT_THROW(m_dictionary.resolveLangString(m_thread, LONGER_THAN_ANY, "en"), MelnarException);
    EXPECT_THROW(static_cast<void>(m_dictionary.tryResolveLangString(ALL, LONGER_THAN_ANY, "en")), MelnarException);
    EXPECT_EQ(0u, m_dictionary.size());
}

TEST_P(DictionaryStringsTest, theFormOfAStringIsTheDictionarysOwn) {
    const std::string text("b\0@", 3);
    const uint64_t string = m_dictionary.resolveResource(m_thread, text, D_XSD_STRING);
    const uint64_t langString = m_dictionary.resolveLangString(m_thread, text, "x");
    const std::string_view form = m_dictionary.getLexicalForm(string);
    EXPECT_EQ(text, form);
    EXPECT_EQ(0, form.data()[form.size()]);
    EXPECT_EQ(text + "@x", m_dictionary.getLexicalForm(langString));
    std::string joined = "untouched";
    EXPECT_EQ(form.data(), m_dictionary.getLexicalForm(string, joined).data());
    EXPECT_EQ("untouched", joined);
    for (size_t number = 0; number < 50000; ++number)
        m_dictionary.resolveResource(m_thread, std::to_string(number), D_XSD_STRING);
    EXPECT_EQ(form.data(), m_dictionary.getLexicalForm(string).data()) << "it stays where it is";
}

TEST_P(DictionaryStringsTest, formsOfOtherTermsAreJoined) {
    for (uint32_t number = 0; number < 1000; ++number) {
        const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number).getStored();
        const uint64_t resourceID = m_dictionary.resolveResource(m_thread, literal.m_lexicalForm, literal.m_datatypeID);
        std::string joined = "content of before";
        ASSERT_EQ(literal.m_lexicalForm, m_dictionary.getLexicalForm(resourceID, joined));
        if (isOfStrings(literal.m_datatypeID)) {
            ASSERT_EQ(literal.m_lexicalForm, m_dictionary.getLexicalForm(resourceID));
        } else {
            ASSERT_EQ("Resource " + std::to_string(resourceID) +
                          " is no string, and its lexical form may be stored in two parts.",
                      catchException<MelnarException>([&] {
                          static_cast<void>(m_dictionary.getLexicalForm(resourceID));
                      }).getMessage());
        }
    }
}

TEST_P(DictionaryStringsTest, whatIsNoResourceHasNoForm) {
    m_dictionary.resolveResource(m_thread, "withdrawn", D_XSD_STRING);
    m_dictionary.rollback();
    std::string joined = "untouched";
    for (const uint64_t resourceID : {uint64_t(0), uint64_t(1), uint64_t(2), GetParam() + 1, ~uint64_t(0)}) {
        const std::string message = "There is no resource with ID " + std::to_string(resourceID) + ".";
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               static_cast<void>(m_dictionary.getLexicalForm(resourceID));
                           }).getMessage());
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               static_cast<void>(m_dictionary.getLexicalForm(resourceID, joined));
                           }).getMessage());
    }
    EXPECT_EQ("untouched", joined);
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryStringsTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

} // namespace
