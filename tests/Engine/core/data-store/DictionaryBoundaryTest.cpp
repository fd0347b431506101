#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Dictionaries with nothing, literals around the lengths at which their headers grow, and limits around what is needed.

namespace {

constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;

class DictionaryBoundaryTest : public testing::TestWithParam<uint64_t> {
protected:
    static DictionaryOptions getOptions(const size_t memoryLimit = TEST_MEMORY_LIMIT) {
        return {.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = GetParam()};
    }

    const TemporaryDirectory m_directory;
};

void expectEmpty(Dictionary& dictionary) {
    EXPECT_EQ(0u, dictionary.size());
    EXPECT_EQ(1u, dictionary.getNextResourceID());
    EXPECT_EQ(1u, dictionary.getCommitPoint().m_resourceID);
    EXPECT_TRUE(dictionary.begin() == dictionary.end());
    EXPECT_FALSE(dictionary.hasResource(0));
    EXPECT_FALSE(dictionary.hasResource(1));
    EXPECT_EQ(0u, dictionary.getNumberOfResources(D_XSD_STRING));
    EXPECT_EQ(0u, dictionary.getTextBytes(D_XSD_STRING));
    EXPECT_EQ(0u, dictionary.getUnusedDataPoolBytes());
    EXPECT_EQ(0u, dictionary.tryResolveResource(ALL, "", D_XSD_STRING));
    EXPECT_EQ(0u, dictionary.tryResolveTerm(ALL, {.m_kind = Term::Kind::IRI, .m_text = "iri"}));
    EXPECT_EQ(FailureKind::NO_SUCH_RESOURCE,
              catchException<MelnarException>([&] { static_cast<void>(dictionary.getLexicalForm(1)); }).getKind());
    TermColumn column;
    dictionary.getTerms(std::vector<uint64_t>{0, 1, ~uint64_t(0)}, column);
    for (const Term& term : column.getTerms())
        EXPECT_EQ(Term::Kind::NONE, term.m_kind);
    std::vector<BatchFailure> failures;
    dictionary.tryResolveResources(ALL, {}, failures);
    EXPECT_TRUE(failures.empty());
    EXPECT_NO_THROW(dictionary.verify());
    EXPECT_NE(nullptr, dictionary.getDetailedComponentInfo());
    expectChargesAddUp(dictionary);
}

TEST_P(DictionaryBoundaryTest, anEmptyDictionaryStaysEmptyInEveryOperation) {
    const std::string path = m_directory.getPathOf("empty.dict");
    Dictionary dictionary(getOptions());
    DictionaryThread thread(dictionary);
    expectEmpty(dictionary);
    EXPECT_EQ(1u, dictionary.commit().m_resourceID);
    dictionary.rollback();
    expectEmpty(dictionary);
    std::vector<BatchFailure> failures;
    dictionary.resolveResources(thread, {}, failures);
    expectEmpty(dictionary);
    dictionary.save(path);
    expectEmpty(dictionary);
    EXPECT_EQ(std::vector<uint64_t>{0}, dictionary.compact());
    expectEmpty(dictionary);
    for (const bool canGrow : {true, false}) {
        const std::unique_ptr<Dictionary> opened =
            Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT, .m_canGrow = canGrow});
        expectEmpty(*opened);
        EXPECT_EQ(TemporaryDirectory::getContentsOf(path), writeToMemory(*opened));
        if (canGrow) {
            DictionaryThread threadOfOpened(*opened);
            EXPECT_EQ(1u, opened->resolveResource(threadOfOpened, "", D_XSD_STRING));
        }
    }
    EXPECT_EQ(1u, dictionary.resolveResource(thread, "", D_XSD_STRING));
}

/// Headers of 1, 2 and 4 bytes hold stored sizes of up to 0x7F and 0x3FFF bytes, which count the terminator. A tag, or
/// the end of a form that other terms share, is a part of it.
TEST_P(DictionaryBoundaryTest, literalsOfEachLengthAroundAHeadersLargestAreKeptApart) {
    const std::string path = m_directory.getPathOf("strings.dict");
    std::vector<std::pair<std::string, uint8_t>> literals;
    for (const size_t largest : {size_t(0x7F), size_t(0x3FFF)})
        for (size_t length = largest - 10; length < largest + 10; ++length)
            for (const auto& [end, datatypeID] :
                 {std::pair("", D_XSD_STRING), std::pair("@en", D_RDF_PLAIN_LITERAL), std::pair("", D_IRI),
                  std::pair("", D_BLANK_NODE), std::pair("^^http://example.org/type", D_TYPED_LITERAL)})
                literals.emplace_back(std::string(length, 'x') + end, datatypeID);
    Dictionary dictionary(getOptions());
    DictionaryThread thread(dictionary);
    std::vector<BatchEntry> entries;
    for (size_t index = 0; index < literals.size(); ++index) {
        const auto& [form, datatypeID] = literals[index];
        if (index % 2 == 0) {
            EXPECT_EQ(index / 2 + 1, dictionary.resolveResource(thread, form, datatypeID));
        }
        entries.push_back({form, 0, datatypeID});
    }
    std::vector<BatchFailure> failures;
    dictionary.resolveResources(thread, entries, failures);
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(literals.size(), dictionary.size());
    dictionary.commit();
    dictionary.save(path);
    const std::unique_ptr<Dictionary> opened = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
    const std::vector<uint64_t> newIDs =
        dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 0; });
    std::string form;
    for (const BatchEntry& entry : entries) {
        EXPECT_EQ(entry.m_resourceID, opened->tryResolveResource(ALL, entry.m_lexicalForm, entry.m_datatypeID));
        EXPECT_EQ(entry.m_datatypeID, opened->getResource(entry.m_resourceID, form));
        EXPECT_TRUE(entry.m_lexicalForm == form) << form.size();
        const uint64_t newID = newIDs[entry.m_resourceID];
        EXPECT_EQ(newID, dictionary.tryResolveResource(ALL, entry.m_lexicalForm, entry.m_datatypeID));
        if (newID != 0) {
            EXPECT_EQ(entry.m_datatypeID, dictionary.getResource(newID, form));
            EXPECT_TRUE(entry.m_lexicalForm == form) << form.size();
        }
    }
    EXPECT_NO_THROW(opened->verify());
    EXPECT_NO_THROW(dictionary.verify());
}

/// Two tables of 1,024 buckets, then a page each of data pool, offsets and datatype bytes, and then a larger table
/// beside the old one.
TEST_P(DictionaryBoundaryTest, aLimitOfAPageLessThanNeededIsRefusedAndOneOfAPageMoreChangesNothing) {
    const size_t page = getVMPageSize();
    const size_t tableBytes = 1024 * (GetParam() == NARROW ? 4 : 8);
    constexpr uint64_t LITERALS_OF_A_TABLE = 700; // with a quota of 100 at a time
    const auto getPagesFor = [page](const size_t bytes) { return (bytes + page - 1) / page * page; };
    const size_t bytesOfLiterals = 3 * page + getPagesFor(LITERALS_OF_A_TABLE * 6) - page + // up to 6 bytes for each
                                   getPagesFor((LITERALS_OF_A_TABLE + 2) * 8) - page;
    struct Step {
        uint64_t m_literals;
        size_t m_neededBytes;
    };
    for (const Step& step : {Step{0, 2 * tableBytes}, Step{1, 2 * tableBytes + 3 * page},
                             Step{LITERALS_OF_A_TABLE, 2 * tableBytes + bytesOfLiterals},
                             Step{LITERALS_OF_A_TABLE + 1, 4 * tableBytes + bytesOfLiterals}})
        for (const size_t limit : {step.m_neededBytes - page, step.m_neededBytes - 1, step.m_neededBytes,
                                   step.m_neededBytes + 1, step.m_neededBytes + page}) {
            SCOPED_TRACE(testing::Message() << step.m_literals << " literals, limit " << limit);
            uint64_t resolved = 0;
            std::unique_ptr<Dictionary> dictionary;
            const auto resolveAll = [&] {
                DictionaryOptions options = getOptions(limit);
                options.m_keepFingerprints = false;
                dictionary = std::make_unique<Dictionary>(options);
                DictionaryThread thread(*dictionary);
                for (; resolved < step.m_literals; ++resolved)
                    EXPECT_EQ(resolved + 1,
                              dictionary->resolveResource(thread, std::to_string(1000 + resolved), D_XSD_STRING));
            };
            if (limit >= step.m_neededBytes) {
                EXPECT_NO_THROW(resolveAll());
            } else {
                catchException<MemoryExhaustedException>(resolveAll);
                EXPECT_EQ(step.m_literals == 0, dictionary == nullptr);
            }
            if (dictionary != nullptr) {
                EXPECT_EQ(resolved + 1, dictionary->getNextResourceID());
                EXPECT_EQ(limit < step.m_neededBytes, resolved < step.m_literals);
                EXPECT_NO_THROW(dictionary->verify());
                expectChargesAddUp(*dictionary);
            }
        }
}

/// What an opened dictionary takes is what opening it takes.
TEST_P(DictionaryBoundaryTest, openingNeedsExactlyWhatTheDictionaryTakes) {
    const std::string path = m_directory.getPathOf("strings.dict");
    {
        Dictionary dictionary(getOptions());
        DictionaryThread thread(dictionary);
        for (uint64_t number = 0; number < 5000; ++number)
            dictionary.resolveResource(thread, std::to_string(number), D_XSD_STRING);
        dictionary.save(path);
    }
    DictionaryOptions options{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_keepFingerprints = false};
    const size_t neededBytes = Dictionary::open(path, options)->getMemoryInUse();
    const size_t page = getVMPageSize();
    for (const size_t limit : {neededBytes, neededBytes + 1, neededBytes + page}) {
        options.m_memoryLimit = limit;
        const std::unique_ptr<Dictionary> dictionary = Dictionary::open(path, options);
        EXPECT_EQ(neededBytes, dictionary->getMemoryInUse());
        EXPECT_NO_THROW(dictionary->verify());
        expectChargesAddUp(*dictionary);
    }
    for (const size_t limit : {size_t(0), neededBytes - page, neededBytes - 1}) {
        options.m_memoryLimit = limit;
        EXPECT_THROW(static_cast<void>(Dictionary::open(path, options)), MemoryExhaustedException);
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryBoundaryTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

TEST(ShardedDictionaryBoundaryTest, anEmptyShardedDictionaryStaysEmptyInEveryOperation) {
    const TemporaryDirectory directory;
    const std::string folder = directory.getPathOf("shards");
    std::filesystem::create_directory(folder);
    FileLock lock(folder + "/manifest");
    {
        ShardedDictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
        dictionary.save(lock);
        EXPECT_EQ(0u, dictionary.getNumberOfResources());
    }
    const std::unique_ptr<ShardedDictionary> opened =
        ShardedDictionary::open(folder, {.m_memoryLimit = TEST_MEMORY_LIMIT});
    EXPECT_EQ(0u, opened->getNumberOfResources());
    EXPECT_EQ(1u, opened->getEndOfResourceIDs());
    EXPECT_FALSE(opened->hasResource(1));
    EXPECT_NO_THROW(opened->verify());
    opened->forEachShard([](const uint32_t shard, const Dictionary&) { ADD_FAILURE() << "there is shard " << shard; });
    std::vector<BatchFailure> failures;
    opened->tryResolveResources({}, failures);
    opened->getResources({});
    BatchEntry entry{"", 7, D_XSD_STRING};
    opened->tryResolveResources({&entry, 1}, failures);
    EXPECT_EQ(0u, entry.m_resourceID);
    EXPECT_TRUE(failures.empty());
    opened->save(lock);
    EXPECT_EQ(0u, opened->getNumberOfResources());
}

} // namespace
