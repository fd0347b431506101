#include "Engine/core/data-store/sharded/ShardLayout.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

/// Saved folders depend on this: a term that moves to another shard would no longer be found.
TEST(ShardLayoutTest, knownTermsAreWhereTheyHaveAlwaysBeen) {
    const std::string longText(1000, 'x');
    const auto getShard = [](const std::string_view form, const uint8_t datatypeID) {
        return ShardLayout::getShard(form, datatypeID);
    };
    EXPECT_EQ(149u, getShard("", D_XSD_STRING));
    EXPECT_EQ(149u, getShard({}, D_XSD_STRING)) << "a view of nothing points nowhere";
    EXPECT_EQ(11u, getShard("abc", D_XSD_STRING));
    EXPECT_EQ(30u, getShard("abc@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(201u, getShard("abc@en", D_XSD_STRING));
    EXPECT_EQ(183u, getShard("http://example.org/", D_IRI));
    EXPECT_EQ(229u, getShard("b0", D_BLANK_NODE));
    EXPECT_EQ(150u, getShard("5^^http://www.w3.org/2001/XMLSchema#integer", D_TYPED_LITERAL));
    EXPECT_EQ(93u, getShard("abc@he--rtl", D_DIRECTIONAL_STRING));
    EXPECT_EQ(181u, getShard("<<( <x:s> <x:p> \"o\" )>>", D_TRIPLE_TERM));
    EXPECT_EQ(108u, getShard(longText, D_XSD_STRING));
    EXPECT_EQ(16u, getShard(longText, D_IRI));
}

TEST(ShardLayoutTest, aPlainLiteralWithAnEmptyTagIsWhereItsStringIs) {
    for (uint32_t number = 0; number < 1000; ++number) {
        const std::string text = std::to_string(number);
        EXPECT_EQ(ShardLayout::getShard(text, D_XSD_STRING), ShardLayout::getShard(text + "@", D_RDF_PLAIN_LITERAL));
    }
    EXPECT_EQ(ShardLayout::getShard("", D_XSD_STRING), ShardLayout::getShard("@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(ShardLayout::getShard("a@en@", D_XSD_STRING), ShardLayout::getShard("a@en@@", D_RDF_PLAIN_LITERAL));
    EXPECT_NE(ShardLayout::getShard("abc", D_XSD_STRING), ShardLayout::getShard("abc@", D_XSD_STRING));
}

TEST(ShardLayoutTest, aFormThatIsLongerThanAnyIsNotRead) {
    for (const size_t length : {size_t(0x1FFFFFFFFFFFFFFF), std::numeric_limits<size_t>::max()})
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL, D_IRI})
            EXPECT_EQ(0u, ShardLayout::getShard({"", length}, datatypeID));
}

TEST(ShardLayoutTest, termsAreSpreadEvenly) {
    std::vector<size_t> sizes(ShardLayout::NUMBER_OF_SHARDS);
    for (uint32_t number = 0; number < 100000; ++number) {
        const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number);
        const uint32_t shard = ShardLayout::getShard(literal.m_lexicalForm, literal.m_datatypeID);
        ASSERT_LT(shard, sizes.size());
        ++sizes[shard];
    }
    for (const size_t size : sizes) {
        EXPECT_LT(290u, size);
        EXPECT_GT(490u, size);
    }
}

TEST(ShardLayoutTest, noResourceIsNoneEverywhere) {
    EXPECT_EQ(0u, ShardLayout::NO_RESOURCE);
    EXPECT_EQ(0u, ShardLayout::toLocal(0));
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        EXPECT_EQ(0u, ShardLayout::toGlobal(0, shard));
}

TEST(ShardLayoutTest, theFirstIDsOfAllShardsComeFirst) {
    uint64_t resourceID = 0;
    for (uint64_t localID = 1; localID < 5; ++localID)
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
            ++resourceID;
            EXPECT_EQ(resourceID, ShardLayout::toGlobal(localID, shard));
            EXPECT_EQ(localID, ShardLayout::toLocal(resourceID));
            EXPECT_EQ(shard, ShardLayout::getShard(resourceID));
        }
}

TEST(ShardLayoutTest, anyIDComesBack) {
    constexpr uint64_t LARGEST = std::numeric_limits<uint64_t>::max();
    for (uint64_t distance = 0; distance < 1000; ++distance)
        for (const uint64_t resourceID : {LARGEST - distance, LARGEST / 2 - distance, (uint64_t(1) << 38) - distance})
            EXPECT_EQ(resourceID,
                      ShardLayout::toGlobal(ShardLayout::toLocal(resourceID), ShardLayout::getShard(resourceID)));
    for (const uint64_t localID : {uint64_t(1) << 30, uint64_t(1) << 43, (uint64_t(1) << 56) - 1})
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
            const uint64_t resourceID = ShardLayout::toGlobal(localID, shard);
            EXPECT_EQ(localID, ShardLayout::toLocal(resourceID));
            EXPECT_EQ(shard, ShardLayout::getShard(resourceID));
        }
}

} // namespace
