#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;
constexpr uint64_t WIDE = uint64_t(1) << 33;
constexpr uint64_t NARROW = 1000000;

/// A literal as a function of its number, of varying length and datatype.
struct Literal {
    explicit Literal(const uint64_t number)
        : m_lexicalForm("literal " + std::to_string(number) + std::string(number % 50, 'x') +
                        (number % 2 ? "@en" : "")),
          m_datatypeID(number % 2 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING) {}

    std::string m_lexicalForm;
    uint8_t m_datatypeID;
};

void expectExactly(const Dictionary& dictionary, const std::vector<uint64_t>& resourceIDs) {
    EXPECT_EQ(resourceIDs.size() + 1, dictionary.getNextResourceID()) << "a failed creation uses up no ID";
    std::string lexicalForm;
    for (size_t number = 0; number < resourceIDs.size(); ++number) {
        const Literal literal(number);
        ASSERT_EQ(literal.m_datatypeID, dictionary.getResource(resourceIDs[number], lexicalForm));
        ASSERT_EQ(literal.m_lexicalForm, lexicalForm);
        ASSERT_EQ(resourceIDs[number], dictionary.tryResolveResource({dictionary.getNextResourceID()},
                                                                     literal.m_lexicalForm, literal.m_datatypeID));
    }
}

TEST(DictionaryFailureTest, refusesAMaximumThatNoAddressSpaceHolds) {
    try {
        const Dictionary dictionary(
            {.m_memoryLimit = MEMORY_LIMIT,
             .m_maximumNumberOfResources = Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES + 1});
        FAIL() << "nothing thrown";
    } catch (const MelnarException& exception) {
        EXPECT_EQ("A dictionary can hold at most 8796093022208 resources, but was asked to hold 8796093022209.",
                  exception.getMessage());
    }
}

TEST(DictionaryFailureTest, theLargestMaximumAndTheLargestPoolFindTheirAddressSpace) {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 60,
                           .m_maximumNumberOfResources = Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES});
    DictionaryThread thread(dictionary);
    EXPECT_EQ(1u, dictionary.resolveResource(thread, "text", D_XSD_STRING));
}

TEST(DictionaryFailureTest, everyReservationThatIsRefusedIsReportedAndGivesTheOthersBack) {
    const FailureCounts counts = failEach(
        ofCalls({SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT}, {ENOMEM}), [](FailureRound& round) {
            const bool isReservation = round.getFault().m_call == SystemCallFaults::Call::MMAP;
            round.attempt([isReservation] {
                try {
                    const Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = WIDE});
                    expectChargesAddUp(dictionary);
                } catch (const SystemCallException& exception) {
                    EXPECT_EQ(0u, exception.getMessage().find(isReservation ? "An error occurred while reserving "
                                                                            : "An error occurred during memory "))
                        << exception.getMessage();
                    throw;
                }
            });
        });
    EXPECT_EQ(2 * (5 + 2), counts.m_throws)
        << "reservations of offsets, datatype bytes, data pool and two tables, and what the tables commit";
}

TEST(DictionaryFailureTest, refusesTheResourceBeyondTheMaximumAndKeepsTheRest) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 3});
    DictionaryThread thread(dictionary);
    std::vector<uint64_t> resourceIDs;
    for (uint64_t number = 0; number < 3; ++number) {
        const Literal literal(number);
        resourceIDs.push_back(dictionary.resolveResource(thread, literal.m_lexicalForm, literal.m_datatypeID));
    }
    for (int attempt = 0; attempt < 2; ++attempt)
        try {
            dictionary.resolveResource(thread, "one too many", D_XSD_STRING);
            FAIL() << "nothing thrown";
        } catch (const MelnarException& exception) {
            EXPECT_EQ("The dictionary cannot create resource 4 because it was created to hold at most 3 resources.",
                      exception.getMessage());
        }
    expectExactly(dictionary, resourceIDs);
    EXPECT_EQ(0u, dictionary.tryResolveResource(DictionaryCommitPoint::ALL, "one too many", D_XSD_STRING));
}

TEST(DictionaryFailureTest, aDictionaryForNoResourcesRefusesTheFirst) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 0});
    DictionaryThread thread(dictionary);
    EXPECT_THROW(dictionary.resolveResource(thread, "", D_XSD_STRING), MelnarException);
    EXPECT_EQ(1u, dictionary.getNextResourceID());
}

TEST(DictionaryFailureTest, exactlyTheMaximumIsCreatedByManyThreads) {
    constexpr uint64_t MAXIMUM = 5000;
    constexpr size_t THREADS = 8;
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM});
    std::vector<std::set<uint64_t>> created(THREADS);
    std::vector<std::thread> threads;
    for (size_t threadIndex = 0; threadIndex < THREADS; ++threadIndex)
        threads.emplace_back([&dictionary, &created, threadIndex] {
            DictionaryThread thread(dictionary);
            for (uint64_t number = 0; number < MAXIMUM; ++number) {
                const std::string lexicalForm = std::to_string(threadIndex) + " " + std::to_string(number);
                try {
                    created[threadIndex].insert(dictionary.resolveResource(thread, lexicalForm, D_XSD_STRING));
                } catch (const MelnarException&) {
                    break;
                }
            }
        });
    std::set<uint64_t> all;
    size_t sum = 0;
    for (size_t threadIndex = 0; threadIndex < THREADS; ++threadIndex) {
        threads[threadIndex].join();
        all.insert(created[threadIndex].begin(), created[threadIndex].end());
        sum += created[threadIndex].size();
    }
    EXPECT_EQ(MAXIMUM, sum) << "every ID went to one thread";
    EXPECT_EQ(MAXIMUM, all.size());
    EXPECT_EQ(1u, *all.begin());
    EXPECT_EQ(MAXIMUM, *all.rbegin());
    EXPECT_EQ(MAXIMUM, dictionary.getNumberOfResources(D_XSD_STRING));
}

/// For any limit, the dictionary takes what fits, refuses the rest, and loses nothing. The limits cover every growth of
/// every part, since each changes the memory in use by at least a page.
TEST(DictionaryFailureTest, everyMemoryLimitIsRefusedCleanly) {
    constexpr uint64_t LITERALS = 6000;
    for (const uint64_t maximumNumberOfResources : {NARROW, WIDE}) {
        bool everythingFits = false;
        size_t refusedByConstruction = 0;
        size_t refusedLater = 0;
        for (size_t memoryLimit = 0; !everythingFits; memoryLimit += 4096) {
            ASSERT_LT(memoryLimit, size_t(8) << 20) << "the literals never fit";
            std::vector<uint64_t> resourceIDs;
            try {
                Dictionary dictionary(
                    {.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximumNumberOfResources});
                DictionaryThread thread(dictionary);
                try {
                    for (uint64_t number = 0; number < LITERALS; ++number) {
                        const Literal literal(number);
                        resourceIDs.push_back(
                            dictionary.resolveResource(thread, literal.m_lexicalForm, literal.m_datatypeID));
                    }
                    everythingFits = true;
                } catch (const MemoryExhaustedException&) {
                    ++refusedLater;
                }
                ASSERT_LE(dictionary.getMemoryInUse(), memoryLimit);
                expectExactly(dictionary, resourceIDs);
            } catch (const MemoryExhaustedException&) {
                ++refusedByConstruction;
            }
        }
        EXPECT_GT(refusedByConstruction, 0u);
        EXPECT_GT(refusedLater, 50u);
    }
}

TEST(DictionaryFailureTest, aFullDictionaryStillFindsReadsAndRollsBack) {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 20, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(dictionary);
    std::vector<uint64_t> resourceIDs;
    EXPECT_THROW(
        for (uint64_t number = 0;; ++number) {
            const Literal literal(number);
            resourceIDs.push_back(dictionary.resolveResource(thread, literal.m_lexicalForm, literal.m_datatypeID));
        },
        MemoryExhaustedException);
    ASSERT_GT(resourceIDs.size(), 1000u);
    expectExactly(dictionary, resourceIDs);
    for (uint64_t number = 0; number < resourceIDs.size(); ++number) {
        const Literal literal(number);
        ASSERT_EQ(resourceIDs[number], dictionary.tryResolveResource(DictionaryCommitPoint::ALL, literal.m_lexicalForm,
                                                                     literal.m_datatypeID));
    }
    dictionary.rollback();
    EXPECT_EQ(0u, dictionary.getNumberOfResources(D_XSD_STRING));
    EXPECT_EQ(0u, dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(0u, dictionary.tryResolveResource(DictionaryCommitPoint::ALL, Literal(0).m_lexicalForm,
                                                Literal(0).m_datatypeID));
}

} // namespace
