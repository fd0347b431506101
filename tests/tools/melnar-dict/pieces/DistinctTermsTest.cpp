#include "tools/melnar-dict/pieces/DistinctTerms.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(DistinctTermsTest, aTermIsAppendedOnce) {
    DistinctTerms terms;
    FormBatch batch;
    EXPECT_EQ(0u, terms.add("a", D_XSD_STRING, 1, batch));
    EXPECT_EQ(1u, terms.add("b", D_XSD_STRING, 2, batch));
    EXPECT_EQ(0u, terms.add("a", D_XSD_STRING, 3, batch));
    EXPECT_EQ(2u, terms.add("", D_XSD_STRING, 4, batch));
    EXPECT_EQ(2u, terms.add({}, D_XSD_STRING, 5, batch));
    ASSERT_EQ(3u, batch.getEntries().size());
    EXPECT_EQ("a", batch.getEntries()[0].m_lexicalForm);
    EXPECT_EQ(1u, batch.getLine(0)) << "where it was met first";
}

TEST(DistinctTermsTest, equalFormsOfTwoDatatypesAreTwoTerms) {
    DistinctTerms terms;
    FormBatch batch;
    std::set<uint32_t> indexes;
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL, D_IRI, D_BLANK_NODE, D_TYPED_LITERAL,
                                     D_DIRECTIONAL_STRING, D_TRIPLE_TERM}) {
        const uint32_t index = terms.add("a", datatypeID, 1, batch);
        indexes.insert(index);
        EXPECT_EQ(datatypeID, batch.getEntries()[index].m_datatypeID);
    }
    EXPECT_EQ(7u, indexes.size());
}

TEST(DistinctTermsTest, nothingIsLeftAfterClear) {
    DistinctTerms terms;
    FormBatch batch;
    terms.add("a", D_IRI, 1, batch);
    terms.add("b", D_IRI, 1, batch);
    terms.clear();
    batch.clear();
    EXPECT_EQ(0u, terms.add("b", D_IRI, 1, batch));
    EXPECT_EQ(1u, terms.add("a", D_IRI, 1, batch));
}

TEST(DistinctTermsTest, manyTermsAreFoundWhereTheyWereAppended) {
    constexpr uint32_t TERMS = 100'000;
    DistinctTerms terms;
    FormBatch batch;
    for (int round = 0; round < 2; ++round) {
        for (int pass = 0; pass < 2; ++pass)
            for (uint32_t number = 0; number < TERMS; ++number)
                ASSERT_EQ(number, terms.add("term " + std::to_string(number), D_IRI, number, batch));
        EXPECT_EQ(TERMS, batch.getEntries().size());
        terms.clear();
        batch.clear();
    }
}

// If a hash can be computed, an attacker can make thousands of terms that collide.
TEST(DistinctTermsTest, aTermThatCollidesWithManyIsAppendedWithoutALongLook) {
    std::vector<std::string> colliding;
    constexpr uint32_t MASK = (1 << 12) - 1; // as long as there are few terms
    for (size_t number = 0; colliding.size() < 3 * DistinctTerms::LONGEST_PROBE; ++number)
        if (std::string form = "term " + std::to_string(number); (DistinctTerms::hash(form, D_IRI) & MASK) == 17)
            colliding.push_back(std::move(form));
    DistinctTerms terms;
    FormBatch batch;
    for (const std::string& form : colliding) {
        const uint32_t index = terms.add(form, D_IRI, 1, batch);
        EXPECT_EQ(form, batch.getEntries()[index].m_lexicalForm);
    }
    EXPECT_EQ(colliding.size(), batch.getEntries().size());
    for (const std::string& form : colliding) {
        const uint32_t index = terms.add(form, D_IRI, 1, batch);
        EXPECT_EQ(form, batch.getEntries()[index].m_lexicalForm);
    }
    EXPECT_LT(colliding.size() + DistinctTerms::LONGEST_PROBE, batch.getEntries().size()) << "some are there twice";
    EXPECT_GT(2 * colliding.size(), batch.getEntries().size()) << "and some are not";
}

} // namespace
