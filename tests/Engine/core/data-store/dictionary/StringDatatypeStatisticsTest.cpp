#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/DoubleComponentProperty.h"
#include "Engine/core/platform/NumericComponentProperty.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

template<class T>
class StringDatatypeStatisticsTest : public testing::Test {};

using Metric = ComponentInfo::Metric;

/// Returns a node's properties as text, one per line: number of the metric, name, kind and value.
std::string describe(const ComponentInfo& component) {
    std::string text;
    for (const auto& property : component.getProperties()) {
        text += std::to_string(static_cast<unsigned>(property->getMetric())) + " (";
        text += property->getName().value_or("nameless") + ") ";
        if (const auto* const number = dynamic_cast<const NumericComponentProperty*>(property.get()))
            text += "number, width " + std::to_string(number->getMinimumWidth()) + ": ";
        else
            text += dynamic_cast<const DoubleComponentProperty*>(property.get()) != nullptr ? "double: " : "unknown: ";
        text += property->getValueText() + "\n";
    }
    return text;
}

std::string describeTable(const size_t memory, const size_t numberOfBuckets, const size_t usedBuckets,
                          const std::string& loadFactor) {
    return "0 (nameless) number, width 0: " + std::to_string(memory) +
           "\n1 (nameless) number, width 0: " + std::to_string(numberOfBuckets) +
           "\n2 (nameless) number, width 0: " + std::to_string(usedBuckets) +
           (loadFactor.empty() ? "\n" : "\n3 (nameless) double: " + loadFactor + "\n");
}

std::string describeRoot(const size_t memory) {
    return "40 (Aggregate memory consumed (bytes)) number, width 0: " + std::to_string(memory) + "\n";
}

template<class T>
void expectTree(const UninitializedDictionaryFixture<T>& fixture, const std::string& root,
                const std::string& xsdStrings, const std::string& plainLiterals) {
    const std::unique_ptr<ComponentInfo> component = fixture.m_datatype.getComponentInfo();
    EXPECT_EQ("StringDatatype", component->getName());
    EXPECT_EQ(root, describe(*component));
    ASSERT_EQ(2u, component->getChildren().size());
    EXPECT_EQ("xsd:string", component->getChildren()[0]->getName());
    EXPECT_EQ(xsdStrings, describe(*component->getChildren()[0]));
    EXPECT_EQ("rdf:PlainLiteral", component->getChildren()[1]->getName());
    EXPECT_EQ(plainLiterals, describe(*component->getChildren()[1]));
    for (const auto& child : component->getChildren())
        EXPECT_TRUE(child->getChildren().empty());
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeStatisticsTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeStatisticsTest, aDatatypeThatWasNeverInitialisedHasNoLoadFactor) {
    const UninitializedDictionaryFixture<TypeParam> fixture;
    expectTree(fixture, describeRoot(0), describeTable(0, 0, 0, ""), describeTable(0, 0, 0, ""));
}

TYPED_TEST(StringDatatypeStatisticsTest, anEmptyDatatypeConsumesItsBuckets) {
    const DictionaryFixture<TypeParam> fixture;
    const size_t memory = 1024 * sizeof(TypeParam);
    expectTree(fixture, describeRoot(2 * memory), describeTable(memory, 1024, 0, "0"),
               describeTable(memory, 1024, 0, "0"));
}

TYPED_TEST(StringDatatypeStatisticsTest, quotaThatIsNotSpentIsNotCounted) {
    DictionaryFixture<TypeParam> fixture;
    for (const char* const lexicalForm : {"a", "b", "c", "d", "e", "f", "g"})
        fixture.resolve(lexicalForm);
    const size_t memory = 1024 * sizeof(TypeParam);
    expectTree(fixture, describeRoot(2 * memory), describeTable(memory, 1024, 7, "0.68359375"),
               describeTable(memory, 1024, 0, "0"));
}

TYPED_TEST(StringDatatypeStatisticsTest, eachTableReportsItsOwnFigures) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 0; number < 1000; ++number)
        fixture.resolve(std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL);
    for (uint64_t number = 0; number < 256; ++number)
        fixture.resolve(std::to_string(number));
    const size_t bucketMemory = sizeof(TypeParam);
    expectTree(fixture, describeRoot(3 * 1024 * bucketMemory), describeTable(1024 * bucketMemory, 1024, 256, "25"),
               describeTable(2048 * bucketMemory, 2048, 1000, "48.828125"));
}

TYPED_TEST(StringDatatypeStatisticsTest, aDeletedStringCountsUntilTheNextRehash) {
    DictionaryFixture<TypeParam> fixture;
    for (uint64_t number = 1; number <= 700; ++number)
        fixture.resolve(std::to_string(number));
    for (uint64_t number = 1; number <= 600; ++number)
        fixture.m_datatype.deleteUncommittedResourceID(number, D_XSD_STRING);
    const size_t memory = 1024 * sizeof(TypeParam);
    expectTree(fixture, describeRoot(2 * memory), describeTable(memory, 1024, 700, "68.359375"),
               describeTable(memory, 1024, 0, "0"));
    fixture.resolve("new"); // rebuilds the table
    expectTree(fixture, describeRoot(2 * memory), describeTable(memory, 1024, 101, "9.86328125"),
               describeTable(memory, 1024, 0, "0"));
}

TYPED_TEST(StringDatatypeStatisticsTest, theTreePrintsAsText) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    MemoryOutputStream output;
    fixture.m_datatype.getComponentInfo()->printText(output);
    const std::string memory = std::to_string(1024 * sizeof(TypeParam));
    EXPECT_EQ("StringDatatype\n"
              "    Aggregate memory consumed (bytes): " +
                  std::to_string(2 * 1024 * sizeof(TypeParam)) +
                  "\n"
                  "    xsd:string\n"
                  "        Memory consumed (bytes): " +
                  memory +
                  "\n"
                  "        Number of buckets: 1024\n"
                  "        Number of used buckets: 1\n"
                  "        Load factor (%): 0.09765625\n"
                  "    rdf:PlainLiteral\n"
                  "        Memory consumed (bytes): " +
                  memory +
                  "\n"
                  "        Number of buckets: 1024\n"
                  "        Number of used buckets: 0\n"
                  "        Load factor (%): 0\n",
              output.getBytes());
}

TYPED_TEST(StringDatatypeStatisticsTest, anyAllocationThatFailsLeavesTheDatatypeAlone) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("a");
    const std::string bytes = save(fixture.m_datatype);
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        round.attempt([&] { fixture.m_datatype.getComponentInfo(); });
        EXPECT_EQ(round.hasFailed(), round.hasThrown());
        EXPECT_EQ(bytes, save(fixture.m_datatype));
    });
    EXPECT_LE(24u, counts.m_throws) << "three nodes and nine properties at least";
}

TYPED_TEST(StringDatatypeStatisticsTest, detailsTellHowFarEntriesLieFromTheirHomes) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : getFormsWithHome(1022, 1024, 4)) // buckets 1 to 4 of one probe
        fixture.resolve(lexicalForm);
    fixture.resolve(getFormsWithHome(500, 1024, 1)[0]);
    fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
    ComponentInfo dictionary("Dictionary");
    fixture.m_datatype.addDetailedComponentInfo(dictionary);
    EXPECT_EQ("", describe(dictionary));
    ASSERT_EQ(2u, dictionary.getChildren().size());
    const auto& component = dictionary.getChildren()[0];
    EXPECT_EQ("StringDatatype probes", component->getName());
    EXPECT_EQ("", describe(*component));
    ASSERT_EQ(2u, component->getChildren().size());
    const auto getSum = [&component](const size_t child, const Metric metric) {
        return component->getChildren()[child]->getSumOverNumericMetric(metric, std::nullopt);
    };
    EXPECT_EQ("xsd:string", component->getChildren()[0]->getName());
    EXPECT_EQ("rdf:PlainLiteral", component->getChildren()[1]->getName());
    ASSERT_EQ(3u, component->getChildren()[0]->getProperties().size());
    EXPECT_EQ(Metric::AVERAGE_PROBE_LENGTH, component->getChildren()[0]->getProperties()[0]->getMetric());
    EXPECT_EQ("2.25", component->getChildren()[0]->getProperties()[0]->getValueText()) << "(1 + 3 + 4 + 1) / 4";
    EXPECT_EQ(4u, getSum(0, Metric::LONGEST_PROBE_LENGTH));
    EXPECT_EQ(1u, getSum(0, Metric::NUMBER_OF_DELETED_BUCKETS));
    EXPECT_EQ(2u, component->getChildren()[1]->getProperties().size()) << "nothing has no average";
    EXPECT_EQ(0u, getSum(1, Metric::LONGEST_PROBE_LENGTH));
    EXPECT_EQ(0u, getSum(1, Metric::NUMBER_OF_DELETED_BUCKETS));
}

TYPED_TEST(StringDatatypeStatisticsTest, profilesTellWhereEntriesAndTombstonesLie) {
    DictionaryFixture<TypeParam> fixture;
    for (const std::string& lexicalForm : getFormsWithHome(1022, 1024, 4)) // buckets 1022, 1023, 0 and 1
        fixture.resolve(lexicalForm);
    fixture.resolve(getFormsWithHome(500, 1024, 1)[0]);
    fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING); // in bucket 1023
    const std::vector<TableProfile> profiles = fixture.m_datatype.getTableProfiles(4);
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ("xsd:string", profiles[0].m_name);
    EXPECT_EQ(1024u, profiles[0].m_numberOfBuckets);
    EXPECT_EQ((std::vector<size_t>{2, 1, 0, 2}), profiles[0].m_usedBuckets);
    EXPECT_EQ((std::vector<size_t>{2, 0, 1, 1}), profiles[0].m_probeLengths);
    EXPECT_EQ("rdf:PlainLiteral", profiles[1].m_name);
    EXPECT_EQ(1024u, profiles[1].m_numberOfBuckets);
    EXPECT_EQ(std::vector<size_t>(4, 0), profiles[1].m_usedBuckets);
    EXPECT_EQ(std::vector<size_t>(), profiles[1].m_probeLengths);
    std::vector<size_t> ofEachBucket = fixture.m_datatype.getTableProfiles(1024)[0].m_usedBuckets;
    ASSERT_EQ(1024u, ofEachBucket.size());
    for (const size_t index : {0u, 1u, 500u, 1022u, 1023u})
        EXPECT_EQ(1u, std::exchange(ofEachBucket[index], 0)) << index;
    EXPECT_EQ(std::vector<size_t>(1024, 0), ofEachBucket) << "nothing lies elsewhere";
}

TYPED_TEST(StringDatatypeStatisticsTest, detailsTellOfTheLanguagesOfExistingPlainLiterals) {
    DictionaryFixture<TypeParam> fixture;
    for (const char* const lexicalForm : {"one@en", "eins@de", "zwei@de", "un@fr", "a@b@de", "deux@fr", "gone@it"})
        fixture.resolve(lexicalForm, D_RDF_PLAIN_LITERAL);
    fixture.resolve("text@es");
    fixture.m_resourceFlags[7] = D_INVALID; // as the dictionary does when it withdraws a resource
    ComponentInfo dictionary("Dictionary");
    fixture.m_datatype.addDetailedComponentInfo(dictionary);
    const ComponentInfo& languages = *dictionary.getChildren()[1];
    EXPECT_EQ("Languages", languages.getName());
    ASSERT_EQ(3u, languages.getProperties().size());
    const char* const expected[][2] = {{"de", "3"}, {"fr", "2"}, {"en", "1"}};
    for (size_t index = 0; index < 3; ++index) {
        EXPECT_EQ(expected[index][0], languages.getProperties()[index]->getLabel());
        EXPECT_EQ(expected[index][1], languages.getProperties()[index]->getValueText());
        EXPECT_EQ(Metric::NUMBER_OF_RESOURCES, languages.getProperties()[index]->getMetric());
    }
}
