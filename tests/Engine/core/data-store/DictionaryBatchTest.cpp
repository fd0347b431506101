#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t GROUP = PreparedEntries::CAPACITY;

/// A dictionary and a thread that uses it.
struct OpenDictionary {
    explicit OpenDictionary(std::unique_ptr<Dictionary> dictionary)
        : m_dictionary(std::move(dictionary)), m_thread(std::make_unique<DictionaryThread>(*m_dictionary)) {}

    BatchAnswers resolveOneByOne(const OwnedLiterals& literals) {
        return answerOneByOne(literals, [this](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_dictionary->resolveResource(*m_thread, lexicalForm, datatypeID);
        });
    }

    BatchAnswers resolveAtOnce(const OwnedLiterals& literals) {
        return answerAtOnce(literals, [this](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_dictionary->resolveResources(*m_thread, entries, failures);
        });
    }

    BatchAnswers lookUpOneByOne(const OwnedLiterals& literals, const uint64_t commitPoint) const {
        return answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_dictionary->tryResolveResource({commitPoint}, lexicalForm, datatypeID);
        });
    }

    BatchAnswers lookUpAtOnce(const OwnedLiterals& literals, const uint64_t commitPoint) const {
        return answerAtOnce(literals, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_dictionary->tryResolveResources({commitPoint}, entries, failures);
        });
    }

    void saveAndOpen() {
        std::unique_ptr<Dictionary> copy = readFromMemory(writeToMemory(*m_dictionary));
        m_thread.reset();
        m_dictionary = std::move(copy);
        m_thread = std::make_unique<DictionaryThread>(*m_dictionary);
    }

    std::unique_ptr<Dictionary> m_dictionary;
    std::unique_ptr<DictionaryThread> m_thread;
};

/// Makes any literal, including refused ones and those of unknown datatypes, as a function of its number.
OwnedLiteral makeLiteral(const uint32_t number) {
    const std::string text = std::to_string(number) + std::string(number % 13 == 0 ? 200 : number % 4, 'x');
    switch (number % 120) {
    case 7:
        return {text, 7}; // unknown
    case 8:
        return {text, D_INVALID}; // unknown
    case 9:
        return {text, D_RDF_PLAIN_LITERAL}; // refused
    case 10:
        return {text, D_TYPED_LITERAL}; // refused
    case 11:
        return {"", D_IRI}; // refused
    default:
        break;
    }
    switch (number % 13) {
    case 0:
        return {text + "@", D_RDF_PLAIN_LITERAL};
    case 1:
    case 2:
    case 3:
        return {text + "@en", D_RDF_PLAIN_LITERAL};
    case 4:
        return {"http://example.org/" + std::to_string(number % 5) + '#' + text, D_IRI};
    case 5:
        return {"doc2-" + text, D_BLANK_NODE};
    case 6:
        return {text + "^^http://example.org/type", D_TYPED_LITERAL};
    case 7:
        return {text + "@en--rtl", D_DIRECTIONAL_STRING};
    case 8:
        return {"<<( _:b <p> \"" + text + "\" )>>", D_TRIPLE_TERM};
    default:
        return {text, D_XSD_STRING};
    }
}

/// Every behaviour holds for both bucket widths: the parameter is the largest number of resources, which chooses one.
class DictionaryBatchTest : public testing::TestWithParam<uint64_t> {
protected:
    static OpenDictionary makeDictionary() {
        return OpenDictionary(std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}));
    }

    /// Expects that getResources returns for some IDs what getResource returns for each.
    static void expectRead(const Dictionary& dictionary, const std::vector<uint64_t>& resourceIDs) {
        std::vector<BatchEntry> entries;
        for (const uint64_t resourceID : resourceIDs)
            entries.push_back({"to be replaced", resourceID, 99});
        dictionary.getResources(entries);
        for (size_t index = 0; index < entries.size(); ++index) {
            const BatchEntry& entry = entries[index];
            ASSERT_EQ(resourceIDs[index], entry.m_resourceID);
            if (dictionary.hasResource(entry.m_resourceID)) {
                std::string lexicalForm;
                ASSERT_EQ(dictionary.getResource(entry.m_resourceID, lexicalForm), entry.m_datatypeID);
                std::string found;
                dictionary.appendLexicalForm(entry, found);
                ASSERT_EQ(lexicalForm, found);
                ASSERT_EQ(0, entry.m_lexicalForm.data()[entry.m_lexicalForm.size()]);
            } else {
                ASSERT_EQ(D_INVALID, entry.m_datatypeID) << entry.m_resourceID;
                ASSERT_EQ("", entry.m_lexicalForm) << entry.m_resourceID;
            }
        }
    }
};

TEST_P(DictionaryBatchTest, anUnknownDatatypeSpoilsNoOtherLiteral) {
    OpenDictionary dictionary = makeDictionary();
    const OwnedLiterals literals{
        {"a", D_INVALID},           {"a", 7}, {"a", D_XSD_STRING},        {"b@en", D_RDF_PLAIN_LITERAL}, {"a", 255},
        {"c", D_RDF_PLAIN_LITERAL}, {"a", 4}, {"a@", D_RDF_PLAIN_LITERAL}};
    const auto describeUnknown = [](const size_t datatypeID) {
        return describeException(
            std::make_exception_ptr(MelnarException("Engine/core/data-store/Dictionary", 71, MelnarException::NO_CAUSES,
                                                    "There is no datatype with ID ", datatypeID, ".")));
    };
    const BatchAnswers answers = dictionary.resolveAtOnce(literals);
    EXPECT_EQ((std::vector<uint64_t>{0, 0, 1, 2, 0, 0, 0, 1}), answers.m_resourceIDs);
    ASSERT_EQ(5u, answers.m_failures.size());
    EXPECT_EQ(std::pair(size_t(0), describeUnknown(0)), answers.m_failures[0]);
    EXPECT_EQ(std::pair(size_t(1), describeUnknown(7)), answers.m_failures[1]);
    EXPECT_EQ(std::pair(size_t(4), describeUnknown(255)), answers.m_failures[2]);
    EXPECT_EQ(5u, answers.m_failures[3].first);
    EXPECT_NE(std::string::npos, answers.m_failures[3].second.find("StringDatatype:220"));
    EXPECT_EQ(std::pair(size_t(6), describeUnknown(4)), answers.m_failures[4]);
    EXPECT_EQ(answers, dictionary.resolveOneByOne(literals));
    EXPECT_EQ(dictionary.lookUpOneByOne(literals, 2), dictionary.lookUpAtOnce(literals, 2));
    EXPECT_EQ(3u, dictionary.m_dictionary->getNextResourceID());
}

TEST_P(DictionaryBatchTest, failuresOfManyRunsAscendAndAreAppended) {
    OpenDictionary dictionary = makeDictionary();
    OwnedLiterals literals;
    for (size_t index = 0; index < 3 * GROUP; ++index)
        literals.push_back({std::to_string(index), index % 5 == 0                 ? uint8_t(7)
                                                   : index % 7 == 0               ? D_RDF_PLAIN_LITERAL
                                                   : index / (GROUP + 3) % 2 == 1 ? D_INVALID
                                                                                  : D_XSD_STRING});
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<BatchFailure> failures{{77, FailureKind::SYSTEM, nullptr}, {5, FailureKind::SYSTEM, nullptr}};
    dictionary.m_dictionary->resolveResources(*dictionary.m_thread, entries, failures);
    EXPECT_EQ(77u, failures[0].m_entryIndex);
    EXPECT_EQ(5u, failures[1].m_entryIndex);
    size_t number = 2;
    uint64_t resourceID = 0;
    for (size_t index = 0; index < literals.size(); ++index)
        if (literals[index].m_datatypeID == D_XSD_STRING)
            ASSERT_EQ(++resourceID, entries[index].m_resourceID);
        else {
            ASSERT_EQ(0u, entries[index].m_resourceID);
            ASSERT_LT(number, failures.size());
            ASSERT_EQ(index, failures[number++].m_entryIndex);
        }
    EXPECT_EQ(failures.size(), number);
}

TEST_P(DictionaryBatchTest, batchesAndSinglesGoTheSameWayThroughADictionarysLife) {
    OpenDictionary single = makeDictionary();
    OpenDictionary batch = makeDictionary();
    std::mt19937 random(1);
    uint32_t newest = 40;
    uint64_t largestNextID = 0;
    for (size_t round = 0; round < 150; ++round) {
        SCOPED_TRACE(round);
        OwnedLiterals literals;
        for (size_t count = random() % (3 * GROUP); count != 0; --count)
            literals.push_back(makeLiteral(static_cast<uint32_t>(random() % newest)));
        newest += static_cast<uint32_t>(literals.size() / 2);
        ASSERT_EQ(single.resolveOneByOne(literals), batch.resolveAtOnce(literals));
        switch (random() % 12) {
        case 0:
        case 1:
            ASSERT_EQ(single.m_dictionary->commit().m_resourceID, batch.m_dictionary->commit().m_resourceID);
            break;
        case 2:
        case 3:
            single.m_dictionary->rollback();
            batch.m_dictionary->rollback();
            break;
        case 4: {
            const auto survives = [](const uint64_t resourceID, const ResourceValue&) { return resourceID % 20 != 0; };
            ASSERT_EQ(single.m_dictionary->compact(survives), batch.m_dictionary->compact(survives));
            break;
        }
        case 5:
            ASSERT_EQ(single.m_dictionary->compact(), batch.m_dictionary->compact());
            break;
        case 6:
            single.saveAndOpen();
            batch.saveAndOpen();
            break;
        default:
            break;
        }
        const uint64_t next = single.m_dictionary->getNextResourceID();
        ASSERT_EQ(next, batch.m_dictionary->getNextResourceID());
        largestNextID = std::max(largestNextID, next);
        for (const uint64_t commitPoint :
             {single.m_dictionary->getCommitPoint().m_resourceID, uint64_t(random() % (next + 2)), ~uint64_t(0)})
            ASSERT_EQ(single.lookUpOneByOne(literals, commitPoint), batch.lookUpAtOnce(literals, commitPoint));
        std::vector<uint64_t> resourceIDs(random() % (3 * GROUP));
        for (uint64_t& resourceID : resourceIDs)
            resourceID = random() % (next + 3);
        expectRead(*batch.m_dictionary, resourceIDs);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
    batch.m_dictionary->verify();
    for (const auto& [resourceID, literal] : *single.m_dictionary) {
        std::string expected;
        std::string form;
        ASSERT_EQ(single.m_dictionary->getResource(resourceID, expected),
                  batch.m_dictionary->getResource(resourceID, form));
        ASSERT_EQ(expected, form);
    }
    EXPECT_LT(2 * GROUP, largestNextID) << "hardly anything was created";
}

TEST_P(DictionaryBatchTest, newLiteralsMakeTheFileThatSingleOnesMake) {
    OpenDictionary single = makeDictionary();
    OpenDictionary batch = makeDictionary();
    OwnedLiterals literals;
    for (size_t number = 0; number < 3 * GROUP; ++number)
        literals.push_back({std::to_string(number) + "@en", number % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING});
    single.resolveOneByOne(literals);
    batch.resolveAtOnce(literals);
    EXPECT_TRUE(writeToMemory(*single.m_dictionary) == writeToMemory(*batch.m_dictionary));
}

TEST_P(DictionaryBatchTest, batchesOfResourcesHaveAnySizeAndOrder) {
    OpenDictionary dictionary = makeDictionary();
    OwnedLiterals literals{{"", D_XSD_STRING}, {std::string("\0", 1), D_XSD_STRING}, {"@en", D_RDF_PLAIN_LITERAL}};
    for (size_t number = 0; number < 2000; ++number)
        literals.push_back({std::to_string(number) + std::string(number % 9 == 0 ? number : 0, '\0') + "@en",
                            number % 2 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING});
    dictionary.resolveAtOnce(literals);
    dictionary.m_dictionary->commit();
    for (OwnedLiteral& literal : literals)
        literal.m_lexicalForm = "uncommitted " + literal.m_lexicalForm + "@en";
    dictionary.resolveAtOnce(literals);
    std::mt19937 random(2);
    const uint64_t next = dictionary.m_dictionary->getNextResourceID();
    for (const bool isRolledBack : {false, true}) {
        if (isRolledBack)
            dictionary.m_dictionary->rollback();
        for (size_t size = 0; size <= 200; ++size) {
            std::vector<uint64_t> resourceIDs(size == 200 ? 3 * GROUP : size);
            for (uint64_t& resourceID : resourceIDs)
                resourceID = random() % (next + 10);
            expectRead(*dictionary.m_dictionary, resourceIDs);
        }
        expectRead(*dictionary.m_dictionary, std::vector<uint64_t>(3 * GROUP, 1));
        expectRead(*dictionary.m_dictionary, std::vector<uint64_t>(3 * GROUP, next - 1));
        EXPECT_EQ(!isRolledBack, dictionary.m_dictionary->hasResource(next - 1));
    }
}

TEST_P(DictionaryBatchTest, idsThatStandForNoResourceAreAnsweredWithNothing) {
    OpenDictionary dictionary = makeDictionary();
    const std::vector<uint64_t> unknownIDs{
        0, 1, 2, GetParam() - 1, GetParam(), GetParam() + 1, uint64_t(1) << 62, ~uint64_t(0)};
    expectRead(*dictionary.m_dictionary, unknownIDs);
    dictionary.resolveAtOnce({{"a", D_XSD_STRING}});
    expectRead(*dictionary.m_dictionary, unknownIDs);
    expectRead(*dictionary.m_dictionary, {0, 1, 0});
    expectRead(*dictionary.m_dictionary, {1, 0, 1, ~uint64_t(0)});
    expectRead(*dictionary.m_dictionary, {});
}

TEST_P(DictionaryBatchTest, anEmptyBatchDoesNothing) {
    OpenDictionary dictionary = makeDictionary();
    EXPECT_EQ(BatchAnswers(), dictionary.resolveAtOnce({}));
    EXPECT_EQ(BatchAnswers(), dictionary.lookUpAtOnce({}, 1));
    EXPECT_EQ(1u, dictionary.m_dictionary->getNextResourceID());
}

INSTANTIATE_TEST_SUITE_P(BucketWidths, DictionaryBatchTest,
                         testing::Values(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS,
                                         Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1),
                         [](const testing::TestParamInfo<uint64_t>& parameterInfo) {
                             return parameterInfo.index == 0 ? "narrow" : "wide";
                         });

/// Makes literals of varying length and datatype, with IRIs and typed literals among them on request; none is refused.
OwnedLiterals makeLiterals(const size_t count, const bool hasTerms) {
    constexpr std::array<uint8_t, 4> DATATYPE_IDS{D_XSD_STRING, D_RDF_PLAIN_LITERAL, D_IRI, D_TYPED_LITERAL};
    OwnedLiterals literals;
    for (size_t number = 0; number < count; ++number) {
        const uint8_t datatypeID = DATATYPE_IDS[number % (hasTerms ? 4 : 2)];
        literals.push_back({"http://example.org/literal/" + std::to_string(number) + std::string(number % 50, 'x') +
                                (datatypeID == D_TYPED_LITERAL ? "^^x:y" : "@en"),
                            datatypeID});
    }
    return literals;
}

/// The failures of batches that one datatype object serves, and of those that several do.
class DictionaryBatchFailureTest : public testing::TestWithParam<bool> {};

TEST_P(DictionaryBatchFailureTest, theResourcesBeyondTheMaximumAreRefusedAndTheRestIsKept) {
    for (const uint64_t maximum : {uint64_t(0), uint64_t(3), uint64_t(GROUP), uint64_t(700)}) {
        OpenDictionary batch(std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = maximum}));
        OpenDictionary single(std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = maximum}));
        const OwnedLiterals literals = makeLiterals(800, GetParam());
        const BatchAnswers answers = batch.resolveAtOnce(literals);
        EXPECT_EQ(literals.size() - maximum, answers.m_failures.size());
        EXPECT_EQ(single.resolveOneByOne(literals), answers);
        EXPECT_EQ(answers, batch.resolveAtOnce(literals)) << "what exists is found, and nothing else happens";
        EXPECT_EQ(maximum + 1, batch.m_dictionary->getNextResourceID());
        batch.m_dictionary->verify();
    }
}

/// The limits cover every growth of every part, since each changes the memory in use by at least a page.
TEST_P(DictionaryBatchFailureTest, everyMemoryLimitIsRefusedCleanly) {
    const OwnedLiterals literals = makeLiterals(1500, GetParam()); // more than the first tables hold
    for (const uint64_t maximumNumberOfResources : {NARROW, WIDE}) {
        size_t refusingLimits = 0;
        bool everythingFits = false;
        for (size_t memoryLimit = 0; !everythingFits; memoryLimit += 4096) {
            SCOPED_TRACE(testing::Message() << "at most " << memoryLimit << " bytes");
            ASSERT_LT(memoryLimit, size_t(8) << 20) << "the literals never fit";
            std::unique_ptr<Dictionary> empty;
            try {
                empty = std::make_unique<Dictionary>(DictionaryOptions{
                    .m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximumNumberOfResources});
            } catch (const MemoryExhaustedException&) {
                continue;
            }
            OpenDictionary dictionary(std::move(empty));
            const BatchAnswers answers = dictionary.resolveAtOnce(literals);
            everythingFits = answers.m_failures.empty();
            refusingLimits += !everythingFits;
            ASSERT_LE(dictionary.m_dictionary->getMemoryInUse(), memoryLimit);
            ASSERT_EQ(literals.size() - answers.m_failures.size() + 1, dictionary.m_dictionary->getNextResourceID());
            ASSERT_EQ(answers.m_resourceIDs, dictionary.lookUpAtOnce(literals, ~uint64_t(0)).m_resourceIDs);
            for (const auto& [index, description] : answers.m_failures) {
                ASSERT_EQ(0u, answers.m_resourceIDs[index]);
                ASSERT_NE(std::string::npos, description.find("MemoryManager:73")) << description;
            }
            dictionary.m_dictionary->verify();
        }
        EXPECT_LT(20u, refusingLimits);
    }
}

INSTANTIATE_TEST_SUITE_P(Objects, DictionaryBatchFailureTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& parameterInfo) {
                             return parameterInfo.param ? "several" : "one";
                         });

/// An allocation for an exception's text fails the literal or ends the batch; one for a failure ends it.
TEST(DictionaryBatchAllocationFailureTest, anyAllocationMayFail) {
    OwnedLiterals literals = makeLiterals(3 * GROUP, false);
    literals[1].m_datatypeID = 7;
    literals[2] = {"no tag, and a text that no small buffer holds", D_RDF_PLAIN_LITERAL};
    literals[GROUP].m_datatypeID = D_INVALID;
    literals[2 * GROUP].m_datatypeID = 255;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        OpenDictionary dictionary(std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW}));
        std::vector<BatchEntry> entries = makeBatch(literals);
        std::vector<BatchFailure> failures;
        const bool isEnded =
            !round.attempt([&] { dictionary.m_dictionary->resolveResources(*dictionary.m_thread, entries, failures); });
        EXPECT_TRUE(isEnded || failures.size() == 4);
        const std::vector<size_t> refused{1, 2, GROUP, 2 * GROUP};
        for (size_t number = 0; number < failures.size(); ++number)
            EXPECT_EQ(refused[number], failures[number].m_entryIndex) << "also when the batch was ended";
        dictionary.m_dictionary->verify();
        EXPECT_EQ(4u, dictionary.resolveAtOnce(literals).m_failures.size());
        EXPECT_EQ(literals.size() - 3, dictionary.m_dictionary->getNextResourceID());
        dictionary.m_dictionary->verify();
    });
    EXPECT_LT(4u, counts.m_throws) << "the failures never lacked memory";
}

} // namespace
