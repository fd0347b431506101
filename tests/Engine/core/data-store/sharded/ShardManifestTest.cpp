#include "Engine/core/data-store/sharded/ShardManifest.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr SectionFormat FORMAT{"MELNARDF", 1, "", ""};

enum Section { SHARDS, TERMS, INPUTS, HISTORY, WORK };

// Fields by offset.
constexpr size_t NUMBER_OF_SHARDS = 0;
constexpr size_t MAXIMUM = 4;
constexpr size_t FIRST_SHARD = 12;
constexpr size_t SHARD_SIZE = 32;
constexpr size_t FIRST_TERMS_OF_SHARD_10 = 24 + 9 * 4; // after those of shard 0 and of shards without any
constexpr size_t NUMBER_OF_INPUTS = 8;
constexpr size_t FIRST_INPUT = 16;
constexpr size_t NUMBER_OF_ENTRIES = 8;
constexpr size_t FIRST_ENTRY = 16;
constexpr size_t SECOND_ENTRY = FIRST_ENTRY + 24;

ShardManifest makeManifest() {
    ShardManifest manifest;
    manifest.m_maximumNumberOfResourcesOfShard = 1000;
    manifest.m_shards[0] = {1, 5000, {{1, 2}}, {{5, {1, 0}}}};
    manifest.m_shards[10] = {
        1000, ~uint64_t(0), {{0x123456789ABCDEF0, ~uint64_t(0)}}, {{5, {1, 2}}, {6, {900, 30}}, {255, {99, 4}}}};
    manifest.m_shards[255] = {7, 1, {{3, 4}}, {{250, {7, ~uint64_t(0)}}}};
    manifest.m_nextDocument = 77;
    manifest.m_inputs = {{"a.ttl", 12, true}, {"", 0, true}, {std::string("b\0\n.nt", 6), ~uint64_t(0), false}};
    manifest.m_history = {3, {{5, {{6, 7}}}, {1009, {{8, 9}}}}};
    manifest.m_work = std::string("w\0rk", 4);
    return manifest;
}

std::string write(const ShardManifest& manifest) {
    MemoryOutputStream output;
    manifest.write(output);
    return output.getBytes();
}

ShardManifest read(const std::string& bytes) {
    MemoryInputStream input(bytes);
    return ShardManifest::read(input);
}

void expectEqual(const ShardManifest& expected, const ShardManifest& found) {
    EXPECT_EQ(expected.m_shards, found.m_shards);
    EXPECT_EQ(expected.m_maximumNumberOfResourcesOfShard, found.m_maximumNumberOfResourcesOfShard);
    EXPECT_EQ(expected.m_work, found.m_work);
    EXPECT_EQ(expected.m_nextDocument, found.m_nextDocument);
    EXPECT_EQ(expected.m_inputs, found.m_inputs);
    EXPECT_EQ(expected.m_history.m_generation, found.m_history.m_generation);
    ASSERT_EQ(expected.m_history.m_entries.size(), found.m_history.m_entries.size());
    for (size_t index = 0; index < expected.m_history.m_entries.size(); ++index) {
        EXPECT_EQ(expected.m_history.m_entries[index].m_commitPoint, found.m_history.m_entries[index].m_commitPoint);
        EXPECT_EQ(expected.m_history.m_entries[index].m_identity, found.m_history.m_entries[index].m_identity);
    }
}

TEST(ShardManifestTest, whatIsWrittenComesBack) {
    expectEqual({}, read(write({})));
    expectEqual(makeManifest(), read(write(makeManifest())));
    ShardManifest largest = makeManifest();
    const uint64_t maximum = ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD;
    largest.m_maximumNumberOfResourcesOfShard = maximum;
    for (ShardManifest::Shard& shard : largest.m_shards)
        shard = {maximum, 1, {{1, 1}}, {{5, {maximum, 1}}}};
    largest.m_history.m_entries = {{maximum * ShardLayout::NUMBER_OF_SHARDS + 1, {{1, 1}}}};
    largest.m_work.assign(ShardManifest::LONGEST_WORK, 'x');
    largest.m_inputs.assign(1000, {std::string(ShardManifest::LONGEST_INPUT_NAME, 'x'), 1, true});
    expectEqual(largest, read(write(largest)));
}

TEST(ShardManifestTest, everyTruncationAndEveryExcessIsRefused) {
    const std::string bytes = write(makeManifest());
    for (size_t size = 0; size < bytes.size(); ++size)
        ASSERT_THROW(read(bytes.substr(0, size)), MelnarException) << size;
    EXPECT_THROW(read(bytes + '\0'), MelnarException);
    EXPECT_THROW(read(bytes + bytes), MelnarException);
}

TEST(ShardManifestTest, everyFlippedBitIsFound) {
    const std::string bytes = write(makeManifest());
    for (size_t place = 0; place < bytes.size(); ++place)
        for (const unsigned change : {1U, 0x80U, 0xFFU}) {
            std::string damaged = bytes;
            damaged[place] = static_cast<char>(static_cast<unsigned char>(damaged[place]) ^ change);
            ASSERT_THROW(read(damaged), MelnarException) << "byte " << place;
        }
}

TEST(ShardManifestTest, otherFilesAreRecognised) {
    const auto getMessage = [](const std::string& bytes) {
        return catchException<MelnarException>([&] { read(bytes); }).getMessage();
    };
    EXPECT_EQ("File 'memory' is not a manifest of a dictionary folder.",
              getMessage(writeToMemory(*makeSampleDictionary(NARROW))));
    ForgedDictionaryFile manifest(write(makeManifest()), FORMAT);
    std::string bytes = manifest.getBytes();
    bytes[8] = 2;
    EXPECT_EQ("Manifest 'memory' has format version 2; this program reads versions up to 1.", getMessage(bytes));
    EXPECT_EQ("File 'memory' is not a dictionary file.",
              catchException<MelnarException>([&] { readFromMemory(write(makeManifest())); }).getMessage());
}

/// The checksums are correct.
TEST(ShardManifestTest, numbersThatLieAreFound) {
    struct Lie {
        std::function<void(ForgedDictionaryFile&)> m_tell;
        std::string m_section;
        std::string m_finding;
    };
    const auto set64 = [](const Section section, const size_t position, const uint64_t value) {
        return [=](ForgedDictionaryFile& file) { file.set<uint64_t>(section, position, value); };
    };
    const auto set32 = [](const Section section, const size_t position, const uint32_t value) {
        return [=](ForgedDictionaryFile& file) { file.set<uint32_t>(section, position, value); };
    };
    const auto resize = [](const Section section, const ptrdiff_t change) {
        return [=](ForgedDictionaryFile& file) {
            std::string& bytes = file.m_sections[section];
            bytes.resize(static_cast<size_t>(static_cast<ptrdiff_t>(bytes.size()) + change));
        };
    };
    const size_t wholeness = FIRST_INPUT + 8 + 5 + 8; // of the first input
    const std::vector<Lie> lies{
        {set32(SHARDS, NUMBER_OF_SHARDS, 0), "shards", "there are 0 shards."},
        {set32(SHARDS, NUMBER_OF_SHARDS, 255), "shards", "there are 255 shards."},
        {set32(SHARDS, NUMBER_OF_SHARDS, 257), "shards", "there are 257 shards."},
        {set32(SHARDS, NUMBER_OF_SHARDS, ~uint32_t(0)), "shards", "there are 4294967295 shards."},
        {set64(SHARDS, MAXIMUM, (uint64_t(1) << 30) + 1), "shards",
         "the largest number of resources of a shard is 1073741825."},
        {set64(SHARDS, MAXIMUM, ~uint64_t(0)), "shards",
         "the largest number of resources of a shard is 18446744073709551615."},
        {set64(SHARDS, MAXIMUM, 999), "shards", "shard 10 has 1000 resources."},
        {set64(SHARDS, FIRST_SHARD, 1001), "shards", "shard 0 has 1001 resources."},
        {set64(SHARDS, FIRST_SHARD + 255 * SHARD_SIZE, ~uint64_t(0)), "shards",
         "shard 255 has 18446744073709551615 resources."},
        {set64(SHARDS, FIRST_SHARD, 0), "shards", "shard 0 has a file without resources."},
        {set64(SHARDS, FIRST_SHARD + SHARD_SIZE + 8, 1), "shards", "shard 1 has a file without resources."},
        {set64(SHARDS, FIRST_SHARD + SHARD_SIZE + 24, 1), "shards", "shard 1 has a file without resources."},
        {resize(SHARDS, -1), "shards", "it is shorter than its contents."},
        {resize(SHARDS, 1), "shards", "it is longer than its contents."},
        {set32(TERMS, 0, 0), "terms", "shard 0 has 0 terms, but 1 resources."},
        {set32(TERMS, 0, 2), "terms", "shard 0 has datatype 0 after datatype 5."},
        {set32(TERMS, 0, ~uint32_t(0)), "terms", "shard 0 has datatype 0 after datatype 5."},
        {set32(TERMS, 4, 0), "terms", "shard 0 has datatype 0 after datatype 0."},
        {set32(TERMS, 4, 256), "terms", "shard 0 has datatype 256 after datatype 0."},
        {set64(TERMS, 8, 0), "terms", "shard 0 has 0 terms of datatype 5."},
        {set64(TERMS, 8, 2), "terms", "shard 0 has 2 terms of datatype 5."},
        {set32(TERMS, FIRST_TERMS_OF_SHARD_10 + 4 + 20, 5), "terms", "shard 10 has datatype 5 after datatype 5."},
        {set64(TERMS, FIRST_TERMS_OF_SHARD_10 + 8, 2), "terms", "shard 10 has 99 terms of datatype 255."},
        {set64(TERMS, FIRST_TERMS_OF_SHARD_10 + 8 + 20, 899), "terms", "shard 10 has 999 terms, but 1000 resources."},
        {resize(TERMS, -1), "terms", "it is shorter than its contents."},
        {resize(TERMS, 1), "terms", "it is longer than its contents."},
        {set64(INPUTS, NUMBER_OF_INPUTS, 2), "inputs", "it is longer than its contents."},
        {set64(INPUTS, NUMBER_OF_INPUTS, 4), "inputs", "it is shorter than its contents."},
        {set64(INPUTS, NUMBER_OF_INPUTS, ~uint64_t(0)), "inputs", "it is shorter than its contents."},
        {set64(INPUTS, FIRST_INPUT, 65537), "inputs", "the name of input 1 has 65537 bytes."},
        {set64(INPUTS, FIRST_INPUT, ~uint64_t(0)), "inputs", "the name of input 1 has 18446744073709551615 bytes."},
        {set64(INPUTS, FIRST_INPUT, 65536), "inputs", "it is shorter than its contents."},
        {set32(INPUTS, wholeness, 2), "inputs", "input 1 is neither complete nor incomplete."},
        {resize(INPUTS, -1), "inputs", "it is shorter than its contents."},
        {resize(INPUTS, 1), "inputs", "it is longer than its contents."},
        {set64(HISTORY, NUMBER_OF_ENTRIES, 1), "history", "it is longer than its contents."},
        {set64(HISTORY, NUMBER_OF_ENTRIES, ~uint64_t(0)), "history", "it is shorter than its contents."},
        {set64(HISTORY, FIRST_ENTRY, 0), "history", "entry 1 has the commit point 0."},
        {set64(HISTORY, FIRST_ENTRY, 1009), "history", "entry 2 has the commit point 1009."},
        {set64(HISTORY, SECOND_ENTRY, 4), "history", "entry 2 has the commit point 4."},
        {set64(HISTORY, SECOND_ENTRY, 1010), "history", "entry 2 has the commit point 1010."},
        {set64(HISTORY, SECOND_ENTRY, ~uint64_t(0)), "history", "entry 2 has the commit point 18446744073709551615."},
        {resize(HISTORY, 1), "history", "it is longer than its contents."},
        {set64(WORK, 0, (uint64_t(1) << 24) + 1), "work", "it has 16777217 bytes."},
        {set64(WORK, 0, 5), "work", "it is shorter than its contents."},
        {set64(WORK, 0, 3), "work", "it is longer than its contents."},
        {[](ForgedDictionaryFile& file) { file.m_sections.pop_back(); }, "work",
         "block 1 has a header that no block can have there."},
        {[](ForgedDictionaryFile& file) { file.m_sections.emplace_back(); }, "end of file",
         "the file does not have the size that it was written with."},
    };
    const ForgedDictionaryFile sound(write(makeManifest()), FORMAT);
    expectEqual(makeManifest(), read(sound.getBytes()));
    for (const Lie& lie : lies) {
        ForgedDictionaryFile file = sound;
        lie.m_tell(file);
        try {
            read(file.getBytes());
            ADD_FAILURE() << "believed, though: " << lie.m_finding;
        } catch (const MelnarException& exception) {
            EXPECT_EQ("Manifest 'memory' is damaged: section '" + lie.m_section + "': " + lie.m_finding,
                      exception.getMessage());
        }
    }
}

TEST(ShardManifestTest, anInputsNameIsNotWrittenIfItCouldNotBeRead) {
    ShardManifest manifest;
    manifest.m_inputs = {{"a", 1, true}, {std::string(ShardManifest::LONGEST_INPUT_NAME + 1, 'x'), 1, true}};
    MemoryOutputStream output;
    const auto exception = catchException<MelnarException>([&] { manifest.write(output); });
    EXPECT_EQ("The name of an input has 65537 bytes, but may have no more than 65536.", exception.getMessage());
    EXPECT_EQ("", output.getBytes());
}

TEST(ShardManifestTest, workIsNotWrittenIfItCouldNotBeRead) {
    ShardManifest manifest;
    manifest.m_work.assign(ShardManifest::LONGEST_WORK + 1, 'x');
    MemoryOutputStream output;
    const auto exception = catchException<MelnarException>([&] { manifest.write(output); });
    EXPECT_EQ("Unfinished work has 16777217 bytes, but may have no more than 16777216.", exception.getMessage());
    EXPECT_EQ("", output.getBytes());
}

TEST(ShardManifestTest, resourcesAreCounted) {
    EXPECT_EQ(0u, ShardManifest().getNumberOfResources());
    EXPECT_EQ(1008u, makeManifest().getNumberOfResources());
}

TEST(ShardManifestTest, onlyAWholeStateHasAnIdentity) {
    ShardManifest manifest;
    EXPECT_FALSE(manifest.getIdentityOfWholeState());
    manifest.m_history.m_entries = {{1, {{1, 2}}}};
    EXPECT_EQ((DictionaryIdentity{{1, 2}}), manifest.getIdentityOfWholeState()) << "an empty dictionary was saved";
    manifest.m_shards[3].m_numberOfResources = 5;
    EXPECT_FALSE(manifest.getIdentityOfWholeState());
    manifest.m_history.m_entries.push_back({6, {{3, 4}}});
    EXPECT_EQ((DictionaryIdentity{{3, 4}}), manifest.getIdentityOfWholeState());
}

TEST(ShardManifestTest, namesTellShardAndState) {
    const ShardManifest manifest = makeManifest();
    EXPECT_EQ("shard-00-00000000000000020000000000000001", manifest.getFileName(0));
    EXPECT_EQ("shard-0a-ffffffffffffffff123456789abcdef0", manifest.getFileName(10));
    EXPECT_EQ("shard-ff-00000000000000040000000000000003", manifest.getFileName(255));
    EXPECT_EQ("shard-0a-00000000000000020000000000000001", ShardManifest::getFileName(10, {{1, 2}}));
    EXPECT_EQ("shard-0a.saving", ShardManifest::getTemporaryFileName(10));
}

/// A file with another name is not a writer's, and is never removed.
TEST(ShardManifestTest, namesOfShardsAreKnownExactly) {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        EXPECT_TRUE(ShardManifest::isNameOfShard(ShardManifest::getFileName(shard, {{shard, 1}})));
        EXPECT_TRUE(ShardManifest::isNameOfShard(ShardManifest::getTemporaryFileName(shard)));
    }
    for (const char* const name : {"",
                                   "shard",
                                   "shard-",
                                   "shard-0",
                                   "shard-0a",
                                   "shard-0a-",
                                   "shard-notes.txt",
                                   "manifest",
                                   "shard-0g.saving",
                                   "shard-0A.saving",
                                   "shard-0a.saving~",
                                   "shard-0a.savin",
                                   "shard-a.saving",
                                   "shard-00a.saving",
                                   "Shard-0a.saving",
                                   " shard-0a.saving",
                                   "shard-0a-00000000000000020000000000000001.saving",
                                   "shard-0a-0000000000000002000000000000001",
                                   "shard-0a-000000000000000200000000000000011",
                                   "shard-0a-0000000000000002000000000000000A",
                                   "shard-0a-0000000000000002000000000000000g",
                                   "shard-0a_00000000000000020000000000000001",
                                   "shard-0a-00000000000000020000000000000001.bak"})
        EXPECT_FALSE(ShardManifest::isNameOfShard(name)) << name;
}

TEST(ShardManifestTest, anyAllocationOfReadingMayFail) {
    const std::string bytes = write(makeManifest());
    const FailureCounts counts =
        failEach(ofAllocations(), [&bytes](FailureRound& round) { round.attempt([&bytes] { read(bytes); }); });
    EXPECT_LT(10u, counts.m_throws);
}

} // namespace
