#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tools/melnar-dict/saved/DictionaryPage.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<uint64_t>;

class DictionaryPortraitTest : public testing::Test {
protected:
    void resolve(const std::string& lexicalForm, const uint8_t datatypeID) {
        DictionaryThread thread(m_dictionary);
        m_dictionary.resolveResource(thread, lexicalForm, datatypeID);
    }

    DictionaryPortrait portray() const { return DictionaryPortrait::of(m_dictionary, "name"); }

    Dictionary m_dictionary{{.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000000}};
};

TEST_F(DictionaryPortraitTest, anEmptyDictionaryHasPartsAndNoStrings) {
    const DictionaryPortrait portrait = portray();
    EXPECT_EQ("name", portrait.m_name);
    EXPECT_EQ(6u, portrait.m_parts.size());
    EXPECT_EQ(0u, portrait.getNumberOfTerms());
    EXPECT_EQ(0u, portrait.getTextBytes());
    EXPECT_EQ(0u, portrait.m_numberOfIDs);
    EXPECT_TRUE(portrait.m_languages.empty());
    ASSERT_EQ(2u, portrait.m_lengths.size());
    EXPECT_EQ(Strings(), portrait.m_lengths[0].m_terms);
}

TEST_F(DictionaryPortraitTest, partsAddUpToTheMemoryInUse) {
    for (int number = 0; number < 5000; ++number)
        resolve(std::to_string(number), D_XSD_STRING);
    const DictionaryPortrait portrait = portray();
    EXPECT_EQ(m_dictionary.getMemoryInUse(), portrait.getMemoryBytes());
    EXPECT_EQ("Data pool", portrait.m_parts[0].m_name);
    EXPECT_EQ("Hash table of xsd:string", portrait.m_parts[4].m_name);
    EXPECT_EQ("Hash table of rdf:PlainLiteral", portrait.m_parts[5].m_name);
    EXPECT_EQ(portrait.m_parts[0].m_bytes, portrait.m_poolBytes);
    EXPECT_EQ(5000u, std::accumulate(portrait.m_tables[0].m_usedBuckets.begin(),
                                     portrait.m_tables[0].m_usedBuckets.end(), size_t(0)));
    EXPECT_EQ(DictionaryPortrait::NUMBER_OF_SEGMENTS, portrait.m_tables[0].m_usedBuckets.size());
}

TEST_F(DictionaryPortraitTest, lengthsAreClassifiedByTheirBinaryDigits) {
    for (const size_t length : {0u, 1u, 2u, 3u, 4u, 7u, 8u, 1000u})
        resolve(std::string(length, 'x'), D_XSD_STRING);
    resolve("a@en", D_RDF_PLAIN_LITERAL);
    resolve("bcde@de", D_RDF_PLAIN_LITERAL);
    resolve("fgh@de", D_RDF_PLAIN_LITERAL);
    const DictionaryPortrait portrait = portray();
    const DictionaryPortrait::Lengths& strings = portrait.m_lengths[0];
    EXPECT_EQ("xsd:string", strings.m_datatypeName);
    EXPECT_EQ((Strings{1, 1, 2, 2, 1, 0, 0, 0, 0, 0, 1}), strings.m_terms);
    EXPECT_EQ(8u, strings.m_numberOfTerms);
    EXPECT_EQ(1025u, strings.m_bytes);
    EXPECT_EQ(0u, strings.m_shortest);
    EXPECT_EQ(1000u, strings.m_longest);
    const DictionaryPortrait::Lengths& plainLiterals = portrait.m_lengths[1];
    EXPECT_EQ("rdf:PlainLiteral", plainLiterals.m_datatypeName);
    EXPECT_EQ((Strings{0, 0, 0, 3}), plainLiterals.m_terms);
    EXPECT_EQ(4u, plainLiterals.m_shortest);
    EXPECT_EQ(7u, plainLiterals.m_longest);
    EXPECT_EQ(1025u + 17u, portrait.getTextBytes());
    ASSERT_EQ(2u, portrait.m_languages.size());
    EXPECT_EQ("de", portrait.m_languages[0].m_tag);
    EXPECT_EQ(2u, portrait.m_languages[0].m_numberOfStrings);
    EXPECT_EQ("en", portrait.m_languages[1].m_tag);
}

TEST_F(DictionaryPortraitTest, familiesOfTermsHavePartsTablesAndLengthsAsSoonAsThereAreAny) {
    resolve("a", D_XSD_STRING);
    EXPECT_FALSE(portray().hasOtherTerms());
    for (int number = 0; number < 10; ++number)
        resolve("http://example.org/" + std::to_string(number), D_IRI);
    resolve("5^^a:t", D_TYPED_LITERAL);
    resolve("<<( _:s <a:p> _:o )>>", D_TRIPLE_TERM);
    const DictionaryPortrait portrait = portray();
    EXPECT_TRUE(portrait.hasOtherTerms());
    EXPECT_EQ(m_dictionary.getMemoryInUse(), portrait.getMemoryBytes());
    std::vector<std::string> names;
    for (const DictionaryPortrait::Part& part : portrait.m_parts)
        names.push_back(part.m_name);
    EXPECT_EQ((std::vector<std::string>{"Data pool", "Data offsets", "Datatype bytes", "Fingerprints",
                                        "Hash table of xsd:string", "Hash table of rdf:PlainLiteral",
                                        "Hash table of IRIs", "Shared texts of IRIs", "Hash table of typed literals",
                                        "Shared texts of typed literals", "Hash table of triple terms"}),
              names);
    EXPECT_EQ(5u, portrait.m_tables.size());
    ASSERT_EQ(5u, portrait.m_lengths.size());
    const DictionaryPortrait::Lengths& iris = portrait.m_lengths[2];
    EXPECT_EQ("IRIs", iris.m_datatypeName);
    EXPECT_EQ(10u, iris.m_numberOfTerms);
    EXPECT_EQ(200u, iris.m_bytes) << "shared or not";
    EXPECT_EQ(20u, iris.m_shortest);
    EXPECT_EQ(20u, iris.m_longest);
    EXPECT_EQ("typed literals", portrait.m_lengths[3].m_datatypeName);
    EXPECT_EQ(6u, portrait.m_lengths[3].m_bytes);
    EXPECT_EQ("triple terms", portrait.m_lengths[4].m_datatypeName);
    EXPECT_EQ(13u, portrait.getNumberOfTerms());
    EXPECT_EQ(1u + 200u + 6u + 21u, portrait.getTextBytes());
}

TEST_F(DictionaryPortraitTest, shardsAddUp) {
    Dictionary other({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000000});
    {
        DictionaryThread thread(other);
        for (int number = 0; number < 2000; ++number)
            other.resolveResource(thread, std::to_string(number), D_XSD_STRING);
        other.resolveResource(thread, "x@fr", D_RDF_PLAIN_LITERAL);
        other.resolveResource(thread, "x@de", D_RDF_PLAIN_LITERAL);
        other.resolveResource(thread, "_:b", D_BLANK_NODE);
    }
    resolve("a longer text", D_XSD_STRING);
    resolve("y@fr", D_RDF_PLAIN_LITERAL);
    resolve("y@en", D_RDF_PLAIN_LITERAL);
    resolve("a:b", D_IRI);
    const DictionaryPortrait first = portray();
    const DictionaryPortrait second = DictionaryPortrait::of(other, "other");
    DictionaryPortrait sum;
    sum.addShard(first);
    sum.addShard(second);
    EXPECT_EQ(2u, sum.m_numberOfShards);
    EXPECT_EQ("", sum.m_name);
    EXPECT_EQ(first.getMemoryBytes() + second.getMemoryBytes(), sum.getMemoryBytes());
    EXPECT_EQ(first.getTextBytes() + second.getTextBytes(), sum.getTextBytes());
    EXPECT_EQ(2007u, sum.getNumberOfTerms());
    EXPECT_EQ(2007u, sum.m_numberOfIDs);
    EXPECT_EQ(first.m_poolBytes + second.m_poolBytes, sum.m_poolBytes);
    EXPECT_EQ(first.m_unusedPoolBytes + second.m_unusedPoolBytes, sum.m_unusedPoolBytes);
    ASSERT_EQ(4u, sum.m_tables.size());
    EXPECT_EQ("xsd:string", sum.m_tables[0].m_name);
    EXPECT_EQ(first.m_tables[0].m_numberOfBuckets + second.m_tables[0].m_numberOfBuckets,
              sum.m_tables[0].m_numberOfBuckets);
    EXPECT_EQ(DictionaryPortrait::NUMBER_OF_SEGMENTS, sum.m_tables[0].m_usedBuckets.size());
    EXPECT_EQ(2001u,
              std::accumulate(sum.m_tables[0].m_usedBuckets.begin(), sum.m_tables[0].m_usedBuckets.end(), size_t(0)));
    EXPECT_EQ(2001u,
              std::accumulate(sum.m_tables[0].m_probeLengths.begin(), sum.m_tables[0].m_probeLengths.end(), size_t(0)));
    EXPECT_EQ(4u, sum.m_lengths.size());
    EXPECT_EQ(1u, sum.m_lengths[0].m_shortest);
    EXPECT_EQ(13u, sum.m_lengths[0].m_longest);
    EXPECT_EQ(2001u, sum.m_lengths[0].m_numberOfTerms);
    EXPECT_EQ((Strings{0, 10, 990, 1000, 1}), sum.m_lengths[0].m_terms);
    std::vector<std::string> tags;
    for (const DictionaryPortrait::Language& language : sum.m_languages)
        tags.push_back(language.m_tag + std::to_string(language.m_numberOfStrings));
    EXPECT_EQ((std::vector<std::string>{"fr2", "de1", "en1"}), tags);
}

TEST_F(DictionaryPortraitTest, theSumOfOneIsThatOne) {
    for (const size_t length : {0u, 1u, 1000u})
        resolve(std::string(length, 'x'), D_XSD_STRING);
    resolve("x@fr", D_RDF_PLAIN_LITERAL);
    resolve("x@de", D_RDF_PLAIN_LITERAL);
    resolve("5^^a:t", D_TYPED_LITERAL);
    DictionaryPortrait sum;
    sum.m_name = "name";
    sum.addShard(portray());
    EXPECT_EQ(toDictionaryPage(portray()), toDictionaryPage(sum));
}

TEST_F(DictionaryPortraitTest, withdrawnStringsLeaveUnusedBytesIdsAndBuckets) {
    resolve("stays", D_XSD_STRING);
    m_dictionary.commit();
    resolve("goes", D_XSD_STRING);
    m_dictionary.rollback();
    const DictionaryPortrait portrait = portray();
    EXPECT_EQ(1u, portrait.getNumberOfTerms());
    EXPECT_EQ(2u, portrait.m_numberOfIDs);
    EXPECT_EQ(m_dictionary.getUnusedDataPoolBytes(), portrait.m_unusedPoolBytes);
    EXPECT_LT(0u, portrait.m_unusedPoolBytes);
    const TableProfile& table = portrait.m_tables[0];
    EXPECT_EQ(2u, std::accumulate(table.m_usedBuckets.begin(), table.m_usedBuckets.end(), size_t(0)));
    EXPECT_EQ(1u, std::accumulate(table.m_probeLengths.begin(), table.m_probeLengths.end(), size_t(0)));
}

} // namespace
