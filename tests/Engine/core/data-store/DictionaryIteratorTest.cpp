#include "Engine/core/data-store/DictionaryIterator.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

namespace {

static_assert(std::forward_iterator<DictionaryIterator>);
static_assert(std::sentinel_for<std::default_sentinel_t, DictionaryIterator>);
static_assert(std::ranges::forward_range<const Dictionary>);

using Visited = std::vector<std::pair<uint64_t, std::string>>;

class DictionaryIteratorTest : public testing::TestWithParam<uint64_t> {
protected:
    uint64_t resolve(const std::string& lexicalForm, const uint8_t datatypeID = D_XSD_STRING) {
        return m_dictionary.resolveResource(m_thread, lexicalForm, datatypeID);
    }

    Visited visitAll() const {
        Visited visited;
        for (const auto& [resourceID, literal] : m_dictionary)
            visited.emplace_back(resourceID, DictionaryModel::getForm(literal));
        return visited;
    }

    Dictionary m_dictionary{{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}};
    DictionaryThread m_thread{m_dictionary};
};

TEST_P(DictionaryIteratorTest, anEmptyDictionaryHasNothingToVisit) {
    EXPECT_TRUE(m_dictionary.begin() == m_dictionary.end());
    EXPECT_EQ(Visited(), visitAll());
    EXPECT_EQ(0u, m_dictionary.size());
}

TEST_P(DictionaryIteratorTest, theIteratorOfNoDictionaryIsAtItsEnd) {
    EXPECT_TRUE(DictionaryIterator() == std::default_sentinel);
    EXPECT_TRUE(DictionaryIterator() == DictionaryIterator());
}

TEST_P(DictionaryIteratorTest, withdrawnResourcesArePassedWhereverTheyLie) {
    resolve("withdrawn first");
    m_dictionary.rollback();
    EXPECT_EQ(Visited(), visitAll());
    EXPECT_EQ(0u, m_dictionary.size());
    resolve("a");
    resolve(std::string("b\0b", 3));
    m_dictionary.commit();
    for (const char* const form : {"in", "the", "middle"})
        resolve(form);
    m_dictionary.rollback();
    resolve("c@en", D_RDF_PLAIN_LITERAL);
    resolve("http://example.org/of/two/parts", D_IRI);
    const Visited expected{{2, "a"}, {3, std::string("b\0b", 3)}, {7, "c@en"}, {8, "http://example.org/of/two/parts"}};
    EXPECT_EQ(expected, visitAll());
    EXPECT_EQ(4u, m_dictionary.size());
    m_dictionary.commit();
    resolve("withdrawn last");
    m_dictionary.rollback();
    EXPECT_EQ(expected, visitAll());
    EXPECT_EQ(4u, m_dictionary.size());
}

TEST_P(DictionaryIteratorTest, aWalkEndsWhereTheDictionaryEndedWhenItBegan) {
    resolve("1");
    resolve("2");
    size_t visited = 0;
    for (const auto& [resourceID, literal] : m_dictionary)
        resolve("new " + std::to_string(++visited) + DictionaryModel::getForm(literal));
    EXPECT_EQ(2u, visited);
    EXPECT_EQ(4u, m_dictionary.size());
}

TEST_P(DictionaryIteratorTest, whatIsWithdrawnAfterItWasFoundIsStillRead) {
    resolve("1");
    resolve("2");
    auto iterator = m_dictionary.begin();
    m_dictionary.rollback();
    EXPECT_EQ("1", DictionaryModel::getForm((*iterator).m_literal));
    EXPECT_EQ(D_XSD_STRING, (*iterator).m_literal.m_datatypeID);
    EXPECT_TRUE(++iterator == m_dictionary.end());
}

TEST_P(DictionaryIteratorTest, copiesWalkOnTheirOwn) {
    resolve("1");
    resolve("2");
    DictionaryIterator iterator = m_dictionary.begin();
    const DictionaryIterator first = iterator++;
    EXPECT_TRUE(first == m_dictionary.begin());
    EXPECT_FALSE(first == iterator);
    EXPECT_EQ(1u, (*first).m_resourceID);
    EXPECT_EQ(2u, (*iterator).m_resourceID);
    EXPECT_TRUE(++DictionaryIterator(first) == iterator);
}

TEST_P(DictionaryIteratorTest, servesAlgorithmsOnRanges) {
    for (size_t number = 0; number < 100; ++number)
        resolve(std::to_string(number) + (number % 2 == 0 ? "" : "@en"),
                number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL);
    EXPECT_EQ(50, std::ranges::count_if(m_dictionary, [](const DictionaryIterator::Resource& resource) {
                  return resource.m_literal.m_datatypeID == D_RDF_PLAIN_LITERAL;
              }));
    EXPECT_EQ(100, std::ranges::distance(m_dictionary));
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryIteratorTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

} // namespace
