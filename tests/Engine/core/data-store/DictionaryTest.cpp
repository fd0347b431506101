#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;

/// Every behaviour holds for both bucket widths: the parameter is the largest number of resources, which chooses one.
class DictionaryTest : public testing::TestWithParam<uint64_t> {
protected:
    DictionaryTest()
        : m_dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}),
          m_thread(m_dictionary) {}

    uint64_t resolve(const std::string& lexicalForm, const uint8_t datatypeID = D_XSD_STRING) {
        return m_dictionary.resolveResource(m_thread, lexicalForm, datatypeID);
    }

    uint64_t find(const std::string& lexicalForm, const uint8_t datatypeID = D_XSD_STRING) const {
        return m_dictionary.tryResolveResource({m_dictionary.getNextResourceID()}, lexicalForm, datatypeID);
    }

    std::string getMessageOfGet(const uint64_t resourceID) const {
        std::string lexicalForm = "untouched";
        try {
            m_dictionary.getResource(resourceID, lexicalForm);
        } catch (const MelnarException& exception) {
            EXPECT_EQ("untouched", lexicalForm);
            return exception.getMessage();
        }
        return "nothing thrown";
    }

    Dictionary m_dictionary;
    DictionaryThread m_thread;
};

TEST_P(DictionaryTest, countsIDsFromOneInOrderOfCreation) {
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
    EXPECT_EQ(1u, resolve("first"));
    EXPECT_EQ(2u, resolve("second@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(3u, resolve(""));
    EXPECT_EQ(1u, resolve("first"));
    EXPECT_EQ(4u, m_dictionary.getNextResourceID());
}

TEST_P(DictionaryTest, keepsTheTwoDatatypesApart) {
    EXPECT_EQ(1u, resolve("a@en", D_XSD_STRING));
    EXPECT_EQ(2u, resolve("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, find("a@en", D_XSD_STRING));
    EXPECT_EQ(2u, find("a@en", D_RDF_PLAIN_LITERAL));
}

TEST_P(DictionaryTest, turnsAnEmptyTagIntoAString) {
    EXPECT_EQ(1u, resolve("abc@", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(1u, resolve("abc", D_XSD_STRING));
    std::string lexicalForm;
    EXPECT_EQ(D_XSD_STRING, m_dictionary.getResource(1, lexicalForm));
    EXPECT_EQ("abc", lexicalForm);
}

TEST_P(DictionaryTest, givesTheLiteralOfAnID) {
    const std::string withZero("zero\0inside", 11);
    resolve(withZero);
    resolve("gr\xC3\xBC\xC3\x9F@de", D_RDF_PLAIN_LITERAL);
    std::string lexicalForm = "to be replaced";
    EXPECT_EQ(D_XSD_STRING, m_dictionary.getResource(1, lexicalForm));
    EXPECT_EQ(withZero, lexicalForm);
    ResourceValue resourceValue;
    m_dictionary.getResource(2, resourceValue);
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, resourceValue.m_datatypeID);
    EXPECT_EQ("gr\xC3\xBC\xC3\x9F@de", std::string(reinterpret_cast<const char*>(resourceValue.m_data)));
    EXPECT_EQ(10u, resourceValue.m_dataSize);
}

TEST_P(DictionaryTest, writesLiteralsInTurtle) {
    resolve("say \"hi\"\n");
    resolve("a@b@en", D_RDF_PLAIN_LITERAL);
    std::string output = "literals: ";
    m_dictionary.appendTurtleLiteral(1, output);
    output += ' ';
    m_dictionary.appendTurtleLiteral(2, output);
    EXPECT_EQ("literals: \"say \\\"hi\\\"\\n\" \"a@b\"@en", output);
}

TEST_P(DictionaryTest, refusesUnknownIDs) {
    resolve("only");
    EXPECT_EQ("There is no resource with ID 0.", getMessageOfGet(0));
    EXPECT_EQ("There is no resource with ID 2.", getMessageOfGet(2));
    EXPECT_EQ("There is no resource with ID 18446744073709551615.", getMessageOfGet(~uint64_t(0)));
    std::string output;
    EXPECT_THROW(m_dictionary.appendTurtleLiteral(2, output), MelnarException);
    EXPECT_EQ("", output);
}

TEST_P(DictionaryTest, refusesUnknownDatatypes) {
    for (const uint8_t datatypeID : {D_INVALID, uint8_t(4), uint8_t(7), uint8_t(255)}) {
        EXPECT_THROW(resolve("text", datatypeID), MelnarException);
        EXPECT_THROW(find("text", datatypeID), MelnarException);
    }
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
    try {
        resolve("text", 7);
    } catch (const MelnarException& exception) {
        EXPECT_EQ("There is no datatype with ID 7.", exception.getMessage());
    }
}

TEST_P(DictionaryTest, refusesMalformedTagsAndTakesNoIDForThem) {
    for (const char* const lexicalForm : {"no tag", "", "a@b-", "a@-b", "a@1b", "a@b--c", "a@b c", "a@\xC3\xA9"}) {
        EXPECT_THROW(resolve(lexicalForm, D_RDF_PLAIN_LITERAL), MelnarException) << lexicalForm;
        EXPECT_THROW(find(lexicalForm, D_RDF_PLAIN_LITERAL), MelnarException) << lexicalForm;
    }
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
}

TEST_P(DictionaryTest, lookupSeesWhatItsCommitPointCovers) {
    resolve("committed");
    const DictionaryCommitPoint beforeCommit = m_dictionary.getCommitPoint();
    const DictionaryCommitPoint afterCommit = m_dictionary.commit();
    resolve("not committed");
    EXPECT_EQ(1u, beforeCommit.m_resourceID);
    EXPECT_EQ(2u, afterCommit.m_resourceID);
    EXPECT_EQ(2u, m_dictionary.getCommitPoint().m_resourceID);
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(beforeCommit, "committed", D_XSD_STRING));
    EXPECT_EQ(1u, m_dictionary.tryResolveResource(afterCommit, "committed", D_XSD_STRING));
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(afterCommit, "not committed", D_XSD_STRING));
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(afterCommit, "never seen", D_XSD_STRING));
}

TEST_P(DictionaryTest, rollbackWithdrawsWhatIsNotCommitted) {
    resolve("committed");
    m_dictionary.commit();
    resolve("withdrawn");
    resolve("withdrawn@en", D_RDF_PLAIN_LITERAL);
    m_dictionary.rollback();
    EXPECT_EQ(1u, find("committed"));
    EXPECT_EQ(0u, find("withdrawn"));
    EXPECT_EQ(0u, find("withdrawn@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ("There is no resource with ID 2.", getMessageOfGet(2));
    EXPECT_EQ("There is no resource with ID 3.", getMessageOfGet(3));
    EXPECT_EQ(1u, m_dictionary.getNumberOfResources(D_XSD_STRING));
    EXPECT_EQ(0u, m_dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL));
}

TEST_P(DictionaryTest, withdrawnStringsComeBackUnderNewIDs) {
    resolve("again");
    m_dictionary.rollback();
    EXPECT_EQ(2u, resolve("again"));
    m_dictionary.rollback();
    m_dictionary.rollback();
    EXPECT_EQ(3u, resolve("again"));
    m_dictionary.commit();
    m_dictionary.rollback();
    EXPECT_EQ(3u, find("again"));
    EXPECT_EQ("There is no resource with ID 2.", getMessageOfGet(2));
}

TEST_P(DictionaryTest, laterCommitsNeverReviveWhatWasWithdrawn) {
    resolve("gone");
    m_dictionary.rollback();
    resolve("kept");
    const DictionaryCommitPoint commitPoint = m_dictionary.commit();
    EXPECT_EQ(3u, commitPoint.m_resourceID);
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(commitPoint, "gone", D_XSD_STRING));
    EXPECT_EQ(2u, m_dictionary.tryResolveResource(commitPoint, "kept", D_XSD_STRING));
}

TEST_P(DictionaryTest, visitsResourcesInAscendingOrder) {
    resolve("a");
    resolve("gone");
    m_dictionary.commit();
    resolve("b@en", D_RDF_PLAIN_LITERAL);
    m_dictionary.rollback();
    resolve("c@en", D_RDF_PLAIN_LITERAL);
    std::vector<std::pair<uint64_t, std::string>> visited;
    for (const auto& [resourceID, literal] : m_dictionary)
        visited.emplace_back(resourceID, reinterpret_cast<const char*>(literal.m_data));
    const std::vector<std::pair<uint64_t, std::string>> expected = {{1, "a"}, {2, "gone"}, {4, "c@en"}};
    EXPECT_EQ(expected, visited);
    EXPECT_EQ(5u, m_dictionary.getTextBytes(D_XSD_STRING));
    EXPECT_EQ(4u, m_dictionary.getTextBytes(D_RDF_PLAIN_LITERAL));
}

TEST_P(DictionaryTest, worksForThreadsThatAreNotRegisteredToo) {
    resolve("known");
    std::optional<uint64_t> found;
    std::thread([this, &found] { found = find("known"); }).join();
    EXPECT_EQ(1u, found);
}

TEST_P(DictionaryTest, aThreadThatWorkedAloneLeavesNoBytesOfThePoolUnused) {
    {
        DictionaryThread thread(m_dictionary);
        for (unsigned number = 0; number < 20000; ++number)
            m_dictionary.resolveResource(thread, "a string that fills blocks, number " + std::to_string(number),
                                         D_XSD_STRING);
        EXPECT_GT(m_dictionary.getUnusedDataPoolBytes(), 0u) << "the rest of its block";
    }
    EXPECT_EQ(0u, m_dictionary.getUnusedDataPoolBytes());
}

TEST_P(DictionaryTest, withdrawnLiteralsLeaveTheirBytesUnused) {
    {
        DictionaryThread thread(m_dictionary);
        m_dictionary.resolveResource(thread, "123456789", D_XSD_STRING);
    }
    m_dictionary.rollback();
    EXPECT_EQ(11u, m_dictionary.getUnusedDataPoolBytes()) << "size header, text and terminator";
}

TEST_P(DictionaryTest, statisticsDescribeAllParts) {
    resolve("one");
    resolve("two@en", D_RDF_PLAIN_LITERAL);
    resolve("three@en", D_RDF_PLAIN_LITERAL);
    const std::unique_ptr<ComponentInfo> componentInfo = m_dictionary.getComponentInfo();
    EXPECT_EQ("Dictionary", componentInfo->getName());
    ASSERT_EQ(5u, componentInfo->getChildren().size());
    EXPECT_EQ("Data pool", componentInfo->getChildren()[0]->getName());
    EXPECT_EQ("Data offsets", componentInfo->getChildren()[1]->getName());
    EXPECT_EQ("Datatype bytes", componentInfo->getChildren()[2]->getName());
    EXPECT_EQ("Fingerprints", componentInfo->getChildren()[3]->getName());
    EXPECT_EQ("StringDatatype", componentInfo->getChildren()[4]->getName());
    using Metric = ComponentInfo::Metric;
    EXPECT_EQ(3u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_RESOURCES, std::nullopt));
    EXPECT_EQ(3u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_USED_BUCKETS, std::nullopt));
    EXPECT_EQ(m_dictionary.getMemoryInUse(),
              componentInfo->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt));
    EXPECT_EQ(MEMORY_LIMIT, componentInfo->getSumOverNumericMetric(Metric::MEMORY_LIMIT, std::nullopt));
}

TEST_P(DictionaryTest, detailedStatisticsTellOfLanguagesProbesAndText) {
    resolve("text");
    resolve("one@en", D_RDF_PLAIN_LITERAL);
    resolve("eins@de", D_RDF_PLAIN_LITERAL);
    resolve("zwei@de", D_RDF_PLAIN_LITERAL);
    const std::unique_ptr<ComponentInfo> componentInfo = m_dictionary.getDetailedComponentInfo();
    ASSERT_EQ(7u, componentInfo->getChildren().size());
    using Metric = ComponentInfo::Metric;
    EXPECT_EQ(24u, componentInfo->getSumOverNumericMetric(Metric::BYTES_OF_TEXT, std::nullopt));

    const ComponentInfo& probes = *componentInfo->getChildren()[5];
    EXPECT_EQ("StringDatatype probes", probes.getName());
    ASSERT_EQ(2u, probes.getChildren().size());
    EXPECT_EQ("xsd:string", probes.getChildren()[0]->getName());
    EXPECT_EQ("Average probe length (buckets)", probes.getChildren()[0]->getProperties()[0]->getLabel());
    EXPECT_EQ("1", probes.getChildren()[0]->getProperties()[0]->getValueText());

    const ComponentInfo& languages = *componentInfo->getChildren()[6];
    ASSERT_EQ(2u, languages.getProperties().size());
    EXPECT_EQ("de", languages.getProperties()[0]->getLabel());
    EXPECT_EQ("2", languages.getProperties()[0]->getValueText());
    EXPECT_EQ("en", languages.getProperties()[1]->getLabel());
    EXPECT_EQ("1", languages.getProperties()[1]->getValueText());
}

TEST_P(DictionaryTest, detailedStatisticsOfAnEmptyDictionaryHaveNoAverages) {
    const std::unique_ptr<ComponentInfo> componentInfo = m_dictionary.getDetailedComponentInfo();
    for (const std::unique_ptr<ComponentInfo>& table : componentInfo->getChildren()[5]->getChildren()) {
        ASSERT_EQ(2u, table->getProperties().size());
        EXPECT_EQ("Longest probe length (buckets)", table->getProperties()[0]->getLabel());
        EXPECT_EQ("0", table->getProperties()[0]->getValueText());
    }
    EXPECT_TRUE(componentInfo->getChildren()[6]->getProperties().empty());
}

INSTANTIATE_TEST_SUITE_P(BucketWidths, DictionaryTest,
                         testing::Values(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS,
                                         Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1),
                         [](const testing::TestParamInfo<uint64_t>& parameterInfo) {
                             return parameterInfo.index == 0 ? "narrow" : "wide";
                         });

/// Returns the bytes per bucket, computed from the memory of the two empty tables of 1024 buckets.
size_t getBucketWidth(const uint64_t maximumNumberOfResources) {
    const Dictionary dictionary(
        {.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    const std::unique_ptr<ComponentInfo> componentInfo = dictionary.getComponentInfo();
    const ComponentInfo& stringDatatype = *componentInfo->getChildren().back();
    return stringDatatype.getSumOverNumericMetric(ComponentInfo::Metric::MEMORY_CONSUMED, std::nullopt) / (2 * 1024);
}

TEST(DictionaryBucketWidthTest, isNarrowWhileNoIDCanBeAMarker) {
    EXPECT_EQ(4u, getBucketWidth(1000));
    EXPECT_EQ(4u, getBucketWidth(0xFFFFFFFD));
    EXPECT_EQ(8u, getBucketWidth(0xFFFFFFFE));
    EXPECT_EQ(8u, getBucketWidth(uint64_t(1) << 33));
}

} // namespace
