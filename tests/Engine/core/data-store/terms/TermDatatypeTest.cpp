#include "Engine/core/data-store/terms/TermDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"
#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/dictionary/UntrustedBytes.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr uint8_t ALL_FAMILIES[] = {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM};

/// Makes a term of a family; some share texts, and some are too long for a size header of one byte.
std::string makeForm(const uint8_t datatypeID, const uint64_t number) {
    const std::string text = std::to_string(number) + std::string(number % 11 == 0 ? 150 : 0, '_');
    switch (datatypeID) {
    case D_IRI:
        return "http://example.org/" + std::to_string(number % 5) + "#" + text;
    case D_BLANK_NODE:
        return (number % 2 == 0 ? "doc2-b" : "b") + text;
    case D_TYPED_LITERAL:
        return text + "^^http://example.org/" + std::to_string(number % 3);
    case D_DIRECTIONAL_STRING:
        return text + (number % 2 == 0 ? "@en--ltr" : "@ar--rtl");
    default:
        return "<<( _:b <p> \"" + text + "\" )>>";
    }
}

template<class T>
class TermDatatypeTest : public testing::Test {
protected:
    using Datatype = TermDatatype<T>;

    std::unique_ptr<Datatype> make(const uint8_t datatypeID) {
        auto datatype =
            std::make_unique<Datatype>(TermFamily::get(datatypeID), m_parts.m_memoryManager, m_parts.m_nextResourceID,
                                       m_parts.m_resourceDataOffsets, m_parts.m_resourceFlags, m_parts.m_dataPool);
        datatype->initialize(7);
        if (areFingerprintsUnderTest())
            datatype->enableFingerprints();
        return datatype;
    }

    static uint64_t resolve(Datatype& datatype, const std::string& form, const uint8_t datatypeID) {
        return datatype.resolveResource(nullptr, form.data(), form.size(), datatypeID);
    }

    static uint64_t find(const Datatype& datatype, const std::string& form, const uint8_t datatypeID,
                         const DictionaryCommitPoint commitPoint = EVERYTHING) {
        return datatype.tryResolveResource(commitPoint, form.data(), form.size(), datatypeID);
    }

    /// Makes resources 1 to `numberOfTerms`.
    void fill(Datatype& datatype, const uint8_t datatypeID, const uint64_t numberOfTerms) {
        for (uint64_t number = 1; number <= numberOfTerms; ++number)
            ASSERT_EQ(number, resolve(datatype, makeForm(datatypeID, number), datatypeID));
    }

    void expectFilled(const Datatype& datatype, const uint8_t datatypeID, const uint64_t numberOfTerms) const {
        std::string form;
        for (uint64_t number = 1; number <= numberOfTerms; ++number) {
            ASSERT_EQ(number, find(datatype, makeForm(datatypeID, number), datatypeID));
            datatype.getResource(number, datatypeID, form);
            ASSERT_EQ(makeForm(datatypeID, number), form);
            ASSERT_EQ(datatypeID, m_parts.m_resourceFlags[number].load());
        }
    }

    static std::string save(const Datatype& datatype) {
        MemoryOutputStream output;
        datatype.save(output);
        return output.getBytes();
    }

    DictionaryParts m_parts;
};

TYPED_TEST_SUITE(TermDatatypeTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(TermDatatypeTest, takesNothingBeforeTheFirstTerm) {
    const auto datatype = this->make(D_IRI);
    const size_t bytesBefore = this->m_parts.getBytesInUse();
    EXPECT_FALSE(datatype->isInUse());
    EXPECT_EQ(0u, this->find(*datatype, "http://example.org/", D_IRI));
    EXPECT_EQ(0u, datatype->getFingerprintBytes());
    EXPECT_TRUE(datatype->getTableProfiles(1).empty());
    std::vector<BatchEntry> entries{{"x:y", 1, D_IRI}, {"", 1, D_IRI}};
    std::vector<BatchFailure> failures;
    datatype->tryResolveResources(EVERYTHING, entries, failures);
    EXPECT_EQ(0u, entries[0].m_resourceID);
    ASSERT_EQ(1u, failures.size());
    EXPECT_EQ(1u, failures[0].m_entryIndex);
    EXPECT_EQ("'' is no IRI.", catchException<MelnarException>([&] { failures[0].throwException(); }).getMessage());
    EXPECT_EQ(bytesBefore, this->m_parts.getBytesInUse());
    EXPECT_FALSE(datatype->isInUse());
    EXPECT_EQ(1u, this->resolve(*datatype, "http://example.org/", D_IRI));
    EXPECT_TRUE(datatype->isInUse());
    EXPECT_EQ(1u, datatype->getTableProfiles(1).size());
    datatype->initialize(7);
    EXPECT_FALSE(datatype->isInUse());
}

TYPED_TEST(TermDatatypeTest, givesEachTermOfEachFamilyOneID) {
    for (const uint8_t datatypeID : ALL_FAMILIES) {
        DictionaryParts parts;
        TermDatatype<TypeParam> datatype(TermFamily::get(datatypeID), parts.m_memoryManager, parts.m_nextResourceID,
                                         parts.m_resourceDataOffsets, parts.m_resourceFlags, parts.m_dataPool);
        datatype.initialize(0);
        datatype.enableFingerprints();
        std::string form;
        for (size_t round = 0; round < 2; ++round)
            for (uint64_t number = 1; number <= 3000; ++number)
                ASSERT_EQ(number, this->resolve(datatype, makeForm(datatypeID, number), datatypeID));
        for (uint64_t number = 1; number <= 3000; ++number) {
            ASSERT_EQ(number, this->find(datatype, makeForm(datatypeID, number), datatypeID));
            ASSERT_EQ(0u, this->find(datatype, makeForm(datatypeID, number), datatypeID, {number}));
            datatype.getResource(number, datatypeID, form);
            ASSERT_EQ(makeForm(datatypeID, number), form);
            ASSERT_EQ(datatypeID, parts.m_resourceFlags[number].load());
        }
        EXPECT_EQ(0u, this->find(datatype, makeForm(datatypeID, 3001), datatypeID));
    }
}

/// The first IRIs of a namespace are stored whole, the others without it, and all are found.
TYPED_TEST(TermDatatypeTest, aNamespaceIsKeptOnce) {
    const auto datatype = this->make(D_IRI);
    const std::string base = "http://example.org/a/rather/long/namespace#";
    ResourceValue value;
    for (uint64_t number = 1; number <= 9; ++number) {
        const uint64_t poolEnd = this->m_parts.m_dataPool.getEnd();
        const std::string iri = base + std::to_string(number);
        ASSERT_EQ(number, this->resolve(*datatype, iri, D_IRI));
        const bool isShared = number >= 4;
        EXPECT_EQ(isShared ? 4u : iri.size() + 3, this->m_parts.m_dataPool.getEnd() - poolEnd) << number;
        EXPECT_EQ(this->m_parts.m_dataPool.getEnd() - poolEnd, datatype->getChunkSize(number));
        datatype->getResource(number, D_IRI, value);
        EXPECT_EQ(isShared ? base : "",
                  std::string(reinterpret_cast<const char*>(value.m_auxiliaryData), value.m_auxiliaryDataSize));
        EXPECT_EQ(isShared ? std::to_string(number) : iri, reinterpret_cast<const char*>(value.m_data));
        ASSERT_EQ(number, datatype->tryResolveResource(EVERYTHING, value));
        ASSERT_EQ(number, datatype->resolveResource(nullptr, value));
    }
    EXPECT_EQ(0u, this->find(*datatype, base, D_IRI)) << "a namespace is no resource";
    EXPECT_EQ(10u, this->resolve(*datatype, base, D_IRI));
    EXPECT_EQ(10u, this->find(*datatype, base, D_IRI));
    EXPECT_EQ(0u, this->find(*datatype, base.substr(0, base.size() - 1), D_IRI));
    EXPECT_EQ(0u, this->find(*datatype, base + "10", D_IRI));
}

/// Terms that could be mistaken for each other, because one is another's own part, or their parts meet elsewhere.
TYPED_TEST(TermDatatypeTest, partsOfTermsAreNotTakenForTerms) {
    const auto datatype = this->make(D_TYPED_LITERAL);
    const std::vector<std::string> forms{"a^^x:yz", "a^^x:y", "^^x:y", "a^^^x:y", "a^^^^x:y", "ab^^x:y", "a^^b^^x:y"};
    for (size_t index = 0; index < forms.size(); ++index)
        EXPECT_EQ(index + 1, this->resolve(*datatype, forms[index], D_TYPED_LITERAL));
    for (size_t index = 0; index < forms.size(); ++index)
        EXPECT_EQ(index + 1, this->find(*datatype, forms[index], D_TYPED_LITERAL));
    EXPECT_EQ(0u, this->find(*datatype, "x:y^^x:y", D_TYPED_LITERAL));
}

TYPED_TEST(TermDatatypeTest, batchesAgreeWithSingleOperations) {
    for (const uint8_t datatypeID : ALL_FAMILIES) {
        const auto datatype = this->make(datatypeID);
        const uint64_t first = this->m_parts.m_nextResourceID.load();
        std::vector<std::string> forms;
        for (uint64_t number = 0; number < 2000; ++number)
            forms.push_back(makeForm(datatypeID, number % 1500));
        forms.emplace_back();
        std::vector<BatchEntry> entries;
        for (const std::string& form : forms)
            entries.push_back({form, 0, datatypeID});
        std::vector<BatchFailure> failures;
        datatype->resolveResources(nullptr, entries, failures);
        ASSERT_EQ(1u, failures.size());
        EXPECT_EQ(2000u, failures[0].m_entryIndex);
        EXPECT_EQ(FailureKind::REFUSED_LITERAL, failures[0].m_kind);
        for (uint64_t number = 0; number < 2000; ++number) {
            ASSERT_EQ(first + number % 1500, entries[number].m_resourceID);
            ASSERT_EQ(entries[number].m_resourceID, this->find(*datatype, forms[number], datatypeID));
        }
        std::vector<BatchEntry> found = entries;
        failures.clear();
        datatype->tryResolveResources({first + 700}, found, failures);
        EXPECT_EQ(1u, failures.size());
        for (uint64_t number = 0; number < 2000; ++number)
            ASSERT_EQ(number % 1500 < 700 ? first + number % 1500 : 0, found[number].m_resourceID);
        entries.pop_back();
        entries[3].m_datatypeID = D_INVALID;
        entries[3].m_lexicalForm = "left alone";
        datatype->getResources(entries);
        for (uint64_t number = 0; number < 2000; ++number) {
            std::string form;
            datatype->appendLexicalForm(entries[number], form);
            ASSERT_EQ(number == 3 ? "left alone" : forms[number], form);
        }
    }
}

TYPED_TEST(TermDatatypeTest, withdrawnTermsAreNotFoundAndComeBackUnderOtherIDs) {
    const auto datatype = this->make(D_IRI);
    this->fill(*datatype, D_IRI, 500);
    for (uint64_t number = 1; number <= 500; number += 2)
        datatype->deleteUncommittedResourceID(number, D_IRI);
    for (uint64_t number = 1; number <= 500; ++number)
        ASSERT_EQ(number % 2 == 0 ? number : 0, this->find(*datatype, makeForm(D_IRI, number), D_IRI));
    EXPECT_EQ(501u, this->resolve(*datatype, makeForm(D_IRI, 1), D_IRI));
}

TYPED_TEST(TermDatatypeTest, restoresAResourceUnderItsID) {
    const auto datatype = this->make(D_TYPED_LITERAL);
    const std::string form = "5^^http://example.org/integer";
    ResourceValue value;
    std::memcpy(value.useOwnStorage(form.size() + 1), form.c_str(), form.size() + 1);
    value.m_datatypeID = D_TYPED_LITERAL;
    EXPECT_EQ(1000u, datatype->restoreResource(nullptr, 1000, value));
    EXPECT_EQ(1000u, this->find(*datatype, form, D_TYPED_LITERAL));
    EXPECT_EQ(1u, this->m_parts.m_nextResourceID.load());
}

TYPED_TEST(TermDatatypeTest, aSnapshotMakesRoomForItsResources) {
    const auto datatype = this->make(D_BLANK_NODE);
    std::vector<uint64_t> resourceCounts(256, 0);
    datatype->initializeForSnapshot(resourceCounts);
    EXPECT_FALSE(datatype->isInUse());
    resourceCounts[D_BLANK_NODE] = 5000;
    datatype->initializeForSnapshot(resourceCounts);
    EXPECT_EQ(8192u, datatype->getTableProfiles(1).front().m_numberOfBuckets);
}

TYPED_TEST(TermDatatypeTest, isSavedAndLoaded) {
    for (const uint8_t datatypeID : ALL_FAMILIES) {
        this->m_parts.m_nextResourceID = 1;
        const auto datatype = this->make(datatypeID);
        this->fill(*datatype, datatypeID, 2000);
        const std::string bytes = this->save(*datatype);
        const auto loaded = this->make(datatypeID);
        MemoryInputStream input(bytes);
        loaded->load(input);
        EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
        this->expectFilled(*loaded, datatypeID, 2000);
        EXPECT_EQ(bytes, this->save(*loaded));
        UntrustedBytes untrusted(bytes);
        loaded->loadUntrusted(untrusted);
        EXPECT_EQ(0u, untrusted.getNumberOfRemainingBytes());
        this->expectFilled(*loaded, datatypeID, 2000);
        EXPECT_EQ(2001u, this->resolve(*loaded, makeForm(datatypeID, 2001), datatypeID));
    }
}

/// Later versions read these files: nothing in this layout changes without a new version of the format.
TYPED_TEST(TermDatatypeTest, chunkAndStreamHaveTheirDocumentedFormat) {
    const auto datatype = this->make(D_TYPED_LITERAL);
    EXPECT_EQ(1u, this->resolve(*datatype, "5^^x:y", D_TYPED_LITERAL));
    const uint8_t* const chunk = this->m_parts.m_dataPool.getData() + this->m_parts.m_resourceDataOffsets[1];
    EXPECT_EQ(std::string("\1\10"
                          "5^^",
                          5) +
                  '\0',
              std::string(reinterpret_cast<const char*>(chunk), 6))
        << "number 1, size 4 twice, the literal less its datatype, and the end";
    const std::string bytes = this->save(*datatype);
    EXPECT_EQ(std::string("\14\0\0\0\0\0\0\0TermDatatype\7\0\0\0\0\0\0\0\21\0\0\0\0\0\0\0ParallelHashTable", 53),
              bytes.substr(0, 53))
        << "marker, initial size, table";
    EXPECT_EQ(std::string("\1\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0x:y", 19), bytes.substr(bytes.size() - 19))
        << "one shared text of three bytes";
    const size_t buckets = 28 + 1081 + 16; // after the table's fields and those of its region
    TypeParam bucket;
    std::memcpy(&bucket, bytes.data() + buckets + (hashLexicalForm("5^^x:y", 6) & 1023) * sizeof(bucket),
                sizeof(bucket));
    EXPECT_EQ(1u, bucket) << "by the hash of the whole form";
}

TYPED_TEST(TermDatatypeTest, oneWithoutTermsIsSavedAndLoadedToo) {
    const auto datatype = this->make(D_IRI);
    const std::string bytes = this->save(*datatype);
    EXPECT_FALSE(datatype->isInUse());
    UntrustedBytes untrusted(bytes);
    datatype->loadUntrusted(untrusted);
    EXPECT_EQ(bytes, this->save(*datatype));
    EXPECT_EQ(1u, this->resolve(*datatype, "x:y", D_IRI));
}

TYPED_TEST(TermDatatypeTest, streamsThatLieAreRefused) {
    const auto datatype = this->make(D_IRI);
    this->fill(*datatype, D_IRI, 40);
    const std::string bytes = this->save(*datatype);
    const auto expectDamage = [&](const std::string& stream, const std::string& finding) {
        const auto victim = this->make(D_IRI);
        UntrustedBytes untrusted(stream);
        EXPECT_EQ(finding, catchException<ReportedDamage>([&] { victim->loadUntrusted(untrusted); }).what());
    };
    for (size_t length = 0; length < bytes.size();
         length += length < 100 || length + 200 > bytes.size() ? size_t(1) : size_t(500))
        expectDamage(bytes.substr(0, length), "the end");
    std::string changed = bytes;
    changed[8] = 'X';
    expectDamage(changed, "it is not the stream of a term datatype.");
    MemoryInputStream input(changed);
    const auto victim = this->make(D_IRI);
    EXPECT_EQ("Invalid input file: cannot load TermDatatype.",
              catchException<MelnarException>([&] { victim->load(input); }).getMessage());
    // The five namespaces are the end of the stream: 8 bytes for their number, and 8 for the length of each.
    const size_t textsLength = 8 + 5 * (8 + std::string("http://example.org/0#").size());
    const std::string withoutTexts = bytes.substr(0, bytes.size() - textsLength);
    expectDamage(withoutTexts + std::string(8, '\0'), "resource 16 shares text 1, which is not there.");
    EXPECT_EQ("http://example.org/0#", bytes.substr(bytes.size() - 21));
    this->m_parts.m_resourceFlags[3] = D_BLANK_NODE;
    EXPECT_NE(std::string::npos, std::string(catchException<ReportedDamage>([&] {
                                                 UntrustedBytes untrusted(bytes);
                                                 victim->loadUntrusted(untrusted);
                                             }).what())
                                     .find("holds 3, which is no resource of its datatype."));
}

TYPED_TEST(TermDatatypeTest, chunksOfDamagedFilesAreNotWhole) {
    const auto datatype = this->make(D_IRI);
    EXPECT_EQ(1u, this->resolve(*datatype, "x:y", D_IRI));
    DataPool& pool = this->m_parts.m_dataPool;
    uint64_t& offset = this->m_parts.m_resourceDataOffsets[1];
    EXPECT_EQ(6u, datatype->getChunkSize(1));
    uint8_t* const chunk = pool.getData() + offset;
    chunk[5] = 'z';
    EXPECT_EQ(0u, datatype->getChunkSize(1)) << "no terminator";
    chunk[5] = 0;
    chunk[0] = 0x85;
    EXPECT_EQ(0u, datatype->getChunkSize(1)) << "the number takes a byte of the size, and the size is wrong";
    chunk[0] = 0;
    for (const uint64_t wild : {pool.getEnd(), pool.getEnd() + 1, ~uint64_t(0), pool.getEnd() - 1}) {
        offset = wild;
        EXPECT_EQ(0u, datatype->getChunkSize(1)) << wild;
    }
}

TYPED_TEST(TermDatatypeTest, aFamilyOfWhichNothingSurvivesGivesItsMemoryBack) {
    const auto datatype = this->make(D_IRI);
    const size_t bytesBefore = this->m_parts.getBytesInUse();
    this->fill(*datatype, D_IRI, 500);
    DictionaryCompactionState state(this->m_parts.m_memoryManager);
    datatype->finishCompact(state);
    EXPECT_FALSE(datatype->isInUse());
    EXPECT_GE(bytesBefore + this->m_parts.m_dataPool.getCommittedBytes() +
                  this->m_parts.m_resourceDataOffsets.getCommittedBytes() +
                  this->m_parts.m_resourceFlags.getCommittedBytes(),
              this->m_parts.getBytesInUse());
    datatype->finishCompact(state);
    EXPECT_EQ(0u, this->find(*datatype, makeForm(D_IRI, 1), D_IRI));
}

TYPED_TEST(TermDatatypeTest, memoryThatRunsOutIsReportedAndChangesNothing) {
    const auto datatype = this->make(D_TYPED_LITERAL);
    std::vector<BatchEntry> entries{{"5^^x:y", 0, D_TYPED_LITERAL}, {"", 0, D_TYPED_LITERAL}};
    std::vector<BatchFailure> failures;
    {
        const MemoryShortage shortage(this->m_parts.m_memoryManager, 0);
        EXPECT_THROW(this->resolve(*datatype, "5^^x:y", D_TYPED_LITERAL), MemoryExhaustedException);
        datatype->resolveResources(nullptr, entries, failures);
        ASSERT_EQ(2u, failures.size());
        EXPECT_EQ(FailureKind::MEMORY, failures[0].m_kind);
        EXPECT_EQ(FailureKind::REFUSED_LITERAL, failures[1].m_kind);
        EXPECT_FALSE(datatype->isInUse());
    }
    this->fill(*datatype, D_TYPED_LITERAL, 700);
    {
        const MemoryShortage shortage(this->m_parts.m_memoryManager, 0);
        EXPECT_THROW(
            {
                for (uint64_t number = 701;; ++number)
                    this->resolve(*datatype, makeForm(D_TYPED_LITERAL, number), D_TYPED_LITERAL);
            },
            MemoryExhaustedException);
        this->expectFilled(*datatype, D_TYPED_LITERAL, 700);
    }
    EXPECT_NE(0u, this->resolve(*datatype, makeForm(D_TYPED_LITERAL, 100000), D_TYPED_LITERAL));
}

TYPED_TEST(TermDatatypeTest, collidingTermsAreRefusedAtTheLimit) {
    const auto datatype = this->make(D_BLANK_NODE);
    datatype->limitCollisions(0);
    const auto failure = catchException<HashCollisionException>([&] {
        for (uint64_t number = 1;; ++number)
            this->resolve(*datatype, makeForm(D_BLANK_NODE, number), D_BLANK_NODE);
    });
    EXPECT_EQ("The term collides in the hash table with " + std::to_string(failure.getNumberOfCollisions()) +
                  " others, more than the 0 that are allowed.",
              failure.getMessage());
}

TYPED_TEST(TermDatatypeTest, statisticsTellOfTheTableAndTheSharedTexts) {
    const auto datatype = this->make(D_IRI);
    this->fill(*datatype, D_IRI, 100);
    const auto info = datatype->getComponentInfo();
    using Metric = ComponentInfo::Metric;
    EXPECT_EQ(100u, info->getSumOverNumericMetric(Metric::NUMBER_OF_USED_BUCKETS, std::nullopt));
    EXPECT_LE(sizeof(TypeParam) * 1024 + 3 * 4096,
              info->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt));
    ComponentInfo details("dictionary");
    datatype->addDetailedComponentInfo(details);
    this->make(D_TRIPLE_TERM)->addDetailedComponentInfo(details);
    EXPECT_EQ(1u, details.getChildren().size());
}

} // namespace
