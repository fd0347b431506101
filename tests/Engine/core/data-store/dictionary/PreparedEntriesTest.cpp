#include "Engine/core/data-store/dictionary/PreparedEntries.h"

#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t GROUP = PreparedEntries::CAPACITY;
constexpr size_t GROUP_BYTES = PreparedEntries::MAXIMUM_NUMBER_OF_BYTES;

/// Returns the ends of all groups in a batch of literals of these lengths.
std::vector<size_t> getGroupEnds(const std::vector<size_t>& lengths) {
    OwnedLiterals literals;
    for (const size_t length : lengths)
        literals.push_back({std::string(length, 'x'), D_XSD_STRING});
    const std::vector<BatchEntry> batch = makeBatch(literals);
    PreparedEntries prepared;
    std::vector<size_t> ends;
    for (size_t begin = 0; begin < batch.size(); begin = ends.back()) {
        prepared.prepare(std::span(batch).subspan(begin), &acceptPlainLiteral);
        ends.push_back(begin + prepared.getSize());
    }
    return ends;
}

TEST(PreparedEntriesTest, formsAndDatatypesAreThoseThatAreStored) {
    const OwnedLiterals literals{{"text", D_XSD_STRING},
                                 {"text@", D_XSD_STRING},
                                 {"text@", D_RDF_PLAIN_LITERAL},
                                 {"text@en", D_RDF_PLAIN_LITERAL},
                                 {"text@en", 42},
                                 {"@", 42},
                                 {"", D_XSD_STRING},
                                 {std::string("a\0@en", 5), D_RDF_PLAIN_LITERAL}};
    const OwnedLiterals expected{{"text", D_XSD_STRING}, {"text@", D_XSD_STRING},
                                 {"text", D_XSD_STRING}, {"text@en", D_RDF_PLAIN_LITERAL},
                                 {"text@en", 42},        {"", D_XSD_STRING},
                                 {"", D_XSD_STRING},     {std::string("a\0@en", 5), D_RDF_PLAIN_LITERAL}};
    PreparedEntries prepared;
    prepared.prepare(makeBatch(literals), &acceptPlainLiteral);
    ASSERT_EQ(literals.size(), prepared.getSize());
    for (size_t index = 0; index < literals.size(); ++index) {
        EXPECT_EQ(expected[index].m_lexicalForm, prepared.getForm(index));
        EXPECT_EQ(expected[index].m_datatypeID, prepared.getDatatypeID(index));
        EXPECT_FALSE(prepared.isRefused(index)) << literals[index].m_lexicalForm;
    }
}

TEST(PreparedEntriesTest, whatIsNoLiteralIsMarkedAndHasNoForm) {
    PreparedEntries prepared;
    for (const char* const lexicalForm : {"", "text", "text@en-", "text@1", "text@ "}) {
        const OwnedLiterals literals{{lexicalForm, D_RDF_PLAIN_LITERAL}, {lexicalForm, D_XSD_STRING}};
        prepared.prepare(makeBatch(literals), &acceptPlainLiteral);
        EXPECT_TRUE(prepared.isRefused(0)) << lexicalForm;
        EXPECT_EQ("", prepared.getForm(0));
        EXPECT_FALSE(prepared.isRefused(1)) << lexicalForm;
        EXPECT_EQ(lexicalForm, prepared.getForm(1));
    }
}

TEST(PreparedEntriesTest, aFormThatNoHeaderCanDescribeIsRefusedUnread) {
    for (const size_t length : {AdaptiveResourceSizeEncoding::MAXIMUM_SIZE, std::numeric_limits<size_t>::max()})
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            std::vector<BatchEntry> entries(2);
            entries[0] = {{"text", length}, 0, datatypeID};
            entries[1] = {"text", 0, D_XSD_STRING};
            PreparedEntries prepared;
            prepared.prepare(entries, &acceptPlainLiteral);
            EXPECT_TRUE(prepared.isRefused(0));
            EXPECT_FALSE(prepared.isRefused(1));
            EXPECT_EQ(2u, prepared.getSize()) << "its length counts for nothing";
        }
}

TEST(PreparedEntriesTest, anyNumberOfFormsIsHashedAndPutInOrderOfLength) {
    PreparedEntries prepared;
    for (const size_t size : {size_t(1), size_t(2), size_t(31), GROUP - 1, GROUP, size_t(3)}) {
        OwnedLiterals literals;
        for (size_t number = 0; number < size; ++number)
            literals.push_back({std::string(number % 90, 'x') + std::to_string(number) + "@",
                                number % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING});
        const std::vector<BatchEntry> entries = makeBatch(literals);
        prepared.prepare(entries, &acceptPlainLiteral);
        ASSERT_EQ(size, prepared.getSize());
        for (size_t index = 0; index < size; ++index) {
            const std::string_view form = prepared.getForm(index);
            ASSERT_EQ(literals[index].m_lexicalForm.size() - (index % 3 == 0), form.size());
            ASSERT_EQ(hashLexicalForm(form.data(), form.size()), prepared.getHash(index));
        }
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            const std::span<const uint16_t> order = prepared.getOrder(datatypeID);
            const auto hasDatatype = [&](const size_t place) { return prepared.getDatatypeID(place) == datatypeID; };
            EXPECT_TRUE(std::all_of(order.begin(), order.end(), hasDatatype));
            EXPECT_EQ(order.size(), std::set<uint16_t>(order.begin(), order.end()).size()) << "each once";
            EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), [&](const size_t first, const size_t second) {
                return prepared.getForm(first).size() / 8 < prepared.getForm(second).size() / 8;
            }));
        }
        EXPECT_EQ(size, prepared.getOrder(D_XSD_STRING).size() + prepared.getOrder(D_RDF_PLAIN_LITERAL).size());
    }
}

TEST(PreparedEntriesTest, aGroupEndsAtItsLargestSize) {
    EXPECT_EQ((std::vector<size_t>{1}), getGroupEnds({5}));
    EXPECT_EQ((std::vector<size_t>{GROUP}), getGroupEnds(std::vector<size_t>(GROUP, 5)));
    EXPECT_EQ((std::vector<size_t>{GROUP, GROUP + 1}), getGroupEnds(std::vector<size_t>(GROUP + 1, 5)));
    EXPECT_EQ((std::vector<size_t>{GROUP, 2 * GROUP, 3 * GROUP - 1}),
              getGroupEnds(std::vector<size_t>(3 * GROUP - 1, 0)));
}

TEST(PreparedEntriesTest, aGroupEndsBeforeItHasTooMuchText) {
    EXPECT_EQ((std::vector<size_t>{2}), getGroupEnds({GROUP_BYTES - 1, 1}));
    EXPECT_EQ((std::vector<size_t>{1, 2}), getGroupEnds({GROUP_BYTES, 1}));
    EXPECT_EQ((std::vector<size_t>{2, 3}), getGroupEnds({GROUP_BYTES, 0, 1}));
    EXPECT_EQ((std::vector<size_t>{1, 2}), getGroupEnds({1, GROUP_BYTES}));
    EXPECT_EQ((std::vector<size_t>{2, 4, 5}),
              getGroupEnds({GROUP_BYTES / 2, GROUP_BYTES / 2, GROUP_BYTES / 2, GROUP_BYTES / 2, GROUP_BYTES / 2}));
}

TEST(PreparedEntriesTest, aLongerLiteralIsAGroupOfItsOwn) {
    EXPECT_EQ((std::vector<size_t>{1, 2, 3}), getGroupEnds({10, 3 * GROUP_BYTES, 10}));
    EXPECT_EQ((std::vector<size_t>{1, 2}), getGroupEnds({GROUP_BYTES + 1, GROUP_BYTES + 1}));
}

} // namespace
