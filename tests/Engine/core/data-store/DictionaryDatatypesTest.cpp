#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/TwoDatatypesFixture.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

using Forged = ForgedDictionaryFile;

class DictionaryDatatypesTest : public TwoDatatypesFixture {};

TEST_P(DictionaryDatatypesTest, literalsOfBothObjectsShareTheIDs) {
    const Resources resources = resolveNew(0, 4000);
    EXPECT_EQ(4001u, m_dictionary->getNextResourceID());
    expectExactly(resources);
    DictionaryThread thread(*m_dictionary);
    for (const auto& [resourceID, literal] : resources)
        EXPECT_EQ(resourceID, resolve(thread, literal)) << "found, not created again";
}

TEST_P(DictionaryDatatypesTest, theSameFormIsAnotherLiteralInEachDatatype) {
    DictionaryThread thread(*m_dictionary);
    EXPECT_EQ(1u, resolve(thread, {m_small, "word"}));
    EXPECT_EQ(2u, resolve(thread, {D_XSD_STRING, "word"}));
    EXPECT_EQ(1u, find({m_small, "word"}));
    EXPECT_EQ(2u, find({D_XSD_STRING, "word"}));
    EXPECT_EQ(0u, find({m_capital, "WORD"}));
}

TEST_P(DictionaryDatatypesTest, eachObjectRefusesByItsOwnRules) {
    DictionaryThread thread(*m_dictionary);
    EXPECT_EQ("'Word' is not a word of small letters.", catchException<MelnarException>([&] {
                                                            resolve(thread, {m_small, "Word"});
                                                        }).getMessage());
    EXPECT_EQ("'' is not a word of capital letters.", catchException<MelnarException>([&] {
                                                          find({m_capital, ""});
                                                      }).getMessage());
    EXPECT_THROW(resolve(thread, {D_RDF_PLAIN_LITERAL, "word"}), MelnarException);
    EXPECT_EQ(1u, m_dictionary->getNextResourceID());
}

TEST_P(DictionaryDatatypesTest, turtleLiteralsAreTheFactorysWithAllPartsOfTheValue) {
    DictionaryThread thread(*m_dictionary);
    resolve(thread, {m_small, "word"});
    resolve(thread, {D_RDF_PLAIN_LITERAL, "text@en"});
    std::string output;
    m_dictionary->appendTurtleLiteral(1, output);
    EXPECT_EQ("\"word\"^^<http://example.com/smallWord> # 4", output);
    output.clear();
    m_dictionary->appendTurtleLiteral("WORD", m_capital, output);
    EXPECT_EQ("\"WORD\"^^<http://example.com/capitalWord>", output);
    output.clear();
    m_dictionary->appendTurtleLiteral(2, output);
    EXPECT_EQ("\"text\"@en", output);
}

TEST_P(DictionaryDatatypesTest, batchesOfMixedRunsAreAnsweredAsOneAfterTheOther) {
    const Resources known = resolveNew(0, 50);
    const std::vector<Literal> literals = {{m_small, "new"},
                                           {m_small, "newer"},
                                           {D_XSD_STRING, "new"},
                                           makeLiteral(3),
                                           {m_capital, "small"},
                                           {D_XSD_STRING, "0"},
                                           {D_RDF_PLAIN_LITERAL, "x"},
                                           {m_small, "newest"},
                                           {77, "nobody's"},
                                           {m_capital, "NEW"},
                                           {m_small, "new"},
                                           makeLiteral(2),
                                           {D_XSD_STRING, "new"},
                                           {D_XSD_STRING, "other"},
                                           {m_capital, ""},
                                           {m_capital, "OTHER"},
                                           {78, "nobody's"},
                                           {D_RDF_PLAIN_LITERAL, ""},
                                           {D_XSD_STRING, "last"},
                                           makeLiteral(1)};
    std::vector<uint64_t> expected;
    std::vector<size_t> expectedFailures;
    Dictionary model({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = m_maximum});
    DictionaryThread modelThread(model);
    for (const auto& [resourceID, literal] : known)
        model.resolveResource(modelThread, literal.second, literal.first);
    for (size_t index = 0; index < literals.size(); ++index)
        try {
            expected.push_back(model.resolveResource(modelThread, literals[index].second, literals[index].first));
        } catch (const MelnarException&) {
            expected.push_back(0);
            expectedFailures.push_back(index);
        }
    EXPECT_EQ((std::vector<size_t>{4, 6, 8, 14, 16, 17}), expectedFailures);

    std::vector<BatchEntry> entries;
    for (const auto& [datatypeID, lexicalForm] : literals)
        entries.push_back({lexicalForm, 12345, datatypeID});
    const auto expectAnswers = [&](const std::vector<BatchFailure>& failures) {
        std::vector<uint64_t> answers;
        for (const BatchEntry& entry : entries)
            answers.push_back(entry.m_resourceID);
        EXPECT_EQ(expected, answers);
        std::vector<size_t> failedEntries;
        for (const BatchFailure& failure : failures)
            failedEntries.push_back(failure.m_entryIndex);
        EXPECT_EQ(expectedFailures, failedEntries);
    };
    std::vector<BatchFailure> failures;
    DictionaryThread thread(*m_dictionary);
    m_dictionary->resolveResources(thread, entries, failures);
    expectAnswers(failures);
    EXPECT_EQ(getResources(model), getResources(*m_dictionary));

    failures.clear();
    m_dictionary->tryResolveResources(DictionaryCommitPoint::ALL, entries, failures);
    expectAnswers(failures);

    failures.clear();
    m_dictionary->tryResolveResources({51}, entries, failures);
    for (size_t index = 0; index < entries.size(); ++index)
        EXPECT_EQ(expected[index] < 51 ? expected[index] : 0, entries[index].m_resourceID) << index;
    EXPECT_EQ(expectedFailures.size(), failures.size());
}

TEST_P(DictionaryDatatypesTest, batchesOfIDsAreReadWhateverDatatypesTheyMix) {
    const Resources resources = resolveNew(0, 300);
    std::vector<BatchEntry> entries;
    for (uint64_t resourceID = 302; resourceID-- != 0;) // from an invalid ID to an invalid ID
        entries.push_back({"to be replaced", resourceID, 99});
    m_dictionary->getResources(entries);
    for (const BatchEntry& entry : entries) {
        const auto resource = resources.find(entry.m_resourceID);
        EXPECT_EQ(resource == resources.end() ? Literal(D_INVALID, "") : resource->second,
                  Literal(entry.m_datatypeID, entry.m_lexicalForm))
            << entry.m_resourceID;
    }
}

TEST_P(DictionaryDatatypesTest, rollbackWithdrawsWhatNeitherObjectHasCommitted) {
    const Resources committed = resolveNew(0, 100);
    const DictionaryCommitPoint commitPoint = m_dictionary->commit();
    const Resources withdrawn = resolveNew(100, 200);
    for (const auto& [resourceID, literal] : withdrawn) {
        EXPECT_EQ(resourceID, find(literal));
        EXPECT_EQ(0u, find(literal, commitPoint)) << "not yet committed";
    }
    m_dictionary->rollback();
    for (const auto& [resourceID, literal] : withdrawn) {
        EXPECT_EQ(0u, find(literal));
        EXPECT_FALSE(m_dictionary->hasResource(resourceID));
    }
    expectExactly(committed);
    Resources all = committed;
    all.merge(resolveNew(150, 250));
    EXPECT_EQ(301u, m_dictionary->getNextResourceID()) << "under new IDs";
    expectExactly(all);
}

TEST_P(DictionaryDatatypesTest, compactionKeepsBothObjectsDense) {
    Resources before = resolveNew(0, 2000);
    m_dictionary->commit();
    resolveNew(2000, 2100);
    m_dictionary->rollback();
    before.merge(resolveNew(2050, 2150));
    const std::vector<Dictionary::SurvivesCompaction> predicates = {
        nullptr, [](const uint64_t resourceID, const ResourceValue&) { return resourceID % 7 != 3; },
        [this](uint64_t, const ResourceValue& value) {
            return value.m_datatypeID == m_capital || value.m_datatypeID == D_XSD_STRING;
        },
        [this](uint64_t, const ResourceValue& value) { return value.m_datatypeID == m_capital; },
        [](uint64_t, const ResourceValue&) { return false; }};
    for (const Dictionary::SurvivesCompaction& survives : predicates) {
        Resources expected;
        std::vector<uint64_t> expectedIDs(m_dictionary->getNextResourceID(), 0);
        for (const auto& [resourceID, literal] : before) {
            ResourceValue value;
            value.m_datatypeID = literal.first;
            if (survives == nullptr || survives(resourceID, value)) {
                expectedIDs[resourceID] = expected.size() + 1;
                expected[expectedIDs[resourceID]] = literal;
            }
        }
        EXPECT_EQ(expectedIDs, m_dictionary->compact(survives));
        expectExactly(expected);
        EXPECT_EQ(expected.size() + 1, m_dictionary->getNextResourceID());
        EXPECT_EQ(0u, m_dictionary->getUnusedDataPoolBytes());
        for (const auto& [resourceID, literal] : before)
            if (expectedIDs[resourceID] == 0) {
                EXPECT_EQ(0u, find(literal)) << literal.second;
            }
        before = expected;
    }
    before.merge(resolveNew(5000, 5100));
    expectExactly(before);
}

TEST_P(DictionaryDatatypesTest, aFileBringsBothObjectsBack) {
    Resources resources = resolveNew(0, 1500);
    m_dictionary->commit();
    resolveNew(1500, 1600);
    m_dictionary->rollback();
    resources.merge(resolveNew(1550, 1650));
    const std::string bytes = writeToMemory(*m_dictionary);
    const uint64_t nextResourceID = m_dictionary->getNextResourceID();
    const size_t unusedBytes = m_dictionary->getUnusedDataPoolBytes();
    m_dictionary = readFromMemory(bytes);
    EXPECT_EQ(nextResourceID, m_dictionary->getNextResourceID());
    EXPECT_EQ(1501u, m_dictionary->getCommitPoint().m_resourceID);
    EXPECT_EQ(unusedBytes, m_dictionary->getUnusedDataPoolBytes());
    expectExactly(resources);
    EXPECT_EQ(bytes, writeToMemory(*m_dictionary));
    resources.merge(resolveNew(3000, 3100));
    expectExactly(resources);
    m_dictionary->rollback();
    EXPECT_EQ(1500u, getResources(*m_dictionary).size());
}

TEST_P(DictionaryDatatypesTest, unusedBytesAreCountedByEachObjectsOwnChunks) {
    {
        DictionaryThread thread(*m_dictionary);
        resolve(thread, {m_small, "word"});
        resolve(thread, {D_XSD_STRING, "text"});
    }
    EXPECT_EQ(0u, m_dictionary->getUnusedDataPoolBytes());
    EXPECT_EQ(9u + 6u, Forged(*m_dictionary).m_sections[Forged::DATA_POOL].size());
    m_dictionary->commit();
    {
        DictionaryThread thread(*m_dictionary);
        resolve(thread, {m_capital, "WITHDRAWN"});
    }
    m_dictionary->rollback();
    EXPECT_EQ(4u + 9 + 1, m_dictionary->getUnusedDataPoolBytes());
}

TEST_P(DictionaryDatatypesTest, tablesAreThoseOfTheObjectsThatKnowSome) {
    resolveNew(0, 40);
    const std::vector<TableProfile> profiles = m_dictionary->getTableProfiles(8);
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ("xsd:string", profiles[0].m_name);
    EXPECT_EQ("rdf:PlainLiteral", profiles[1].m_name);
    for (const TableProfile& profile : profiles) {
        ASSERT_EQ(8u, profile.m_usedBuckets.size());
        EXPECT_EQ(10u, std::accumulate(profile.m_usedBuckets.begin(), profile.m_usedBuckets.end(), size_t(0)));
    }
}

TEST_P(DictionaryDatatypesTest, statisticsTellOfBothObjects) {
    resolveNew(0, 40);
    using Metric = ComponentInfo::Metric;
    const std::unique_ptr<ComponentInfo> componentInfo = m_dictionary->getDetailedComponentInfo();
    std::vector<std::string> names;
    for (const std::unique_ptr<ComponentInfo>& child : componentInfo->getChildren())
        names.push_back(child->getName());
    EXPECT_EQ(
        (m_small < D_XSD_STRING
             ? std::vector<std::string>{"Data pool", "Data offsets", "Datatype bytes", "Fingerprints", "WordDatatype",
                                        "StringDatatype", "Words", "StringDatatype probes", "Languages"}
             : std::vector<std::string>{"Data pool", "Data offsets", "Datatype bytes", "Fingerprints", "StringDatatype",
                                        "WordDatatype", "StringDatatype probes", "Languages", "Words"}),
        names);
    for (const char* const name :
         {"http://www.w3.org/2001/XMLSchema#string", "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral",
          WordDatatypeFactory::SMALL_NAME, WordDatatypeFactory::CAPITAL_NAME}) {
        const std::string label = std::string("Number of resources of ") + name;
        EXPECT_EQ(10u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_RESOURCES, label)) << label;
    }
    EXPECT_EQ(20u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_RESOURCES, "Words"));
    EXPECT_EQ(5u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_RESOURCES, "en"))
        << "words have no languages";
    EXPECT_EQ(5u, componentInfo->getSumOverNumericMetric(Metric::NUMBER_OF_RESOURCES, "de"));
    size_t textBytes = 0;
    for (const auto& [resourceID, literal] : getResources(*m_dictionary))
        textBytes += literal.second.size();
    EXPECT_EQ(textBytes, componentInfo->getSumOverNumericMetric(Metric::BYTES_OF_TEXT, "Bytes of text"));
    EXPECT_EQ(m_dictionary->getMemoryInUse(),
              componentInfo->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt));
}

INSTANTIATE_TEST_SUITE_P(WidthsAndIDs, DictionaryDatatypesTest, WIDTHS_AND_IDS, nameWidthAndIDs);

TEST(DictionaryDatatypesRegistrationTest, aDictionaryHasTheDatatypesThatWereRegisteredWhenItWasMade) {
    Dictionary before({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    std::string bytesOfBoth;
    {
        const WordDatatypeFactory factory(200, 201);
        Dictionary both({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
        DictionaryThread thread(both);
        EXPECT_EQ(1u, both.resolveResource(thread, "word", 200));
        DictionaryThread threadBefore(before);
        EXPECT_EQ("There is no datatype with ID 200.", catchException<MelnarException>([&] {
                                                           before.resolveResource(threadBefore, "word", 200);
                                                       }).getMessage());
        bytesOfBoth = writeToMemory(both);
        EXPECT_EQ("Dictionary file 'memory' is damaged: section 'header': it announces 1 datatype objects.",
                  catchException<MelnarException>([&] { readFromMemory(writeToMemory(before)); }).getMessage());
    }
    EXPECT_NO_THROW(readFromMemory(writeToMemory(before)));
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'data pool': resource 1 has the unknown datatype 200.",
              catchException<MelnarException>([&] { readFromMemory(bytesOfBoth); }).getMessage());
}

} // namespace
