#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace {

using Forged = ForgedDictionaryFile;

/// A forged change of a file, and the finding.
struct Lie {
    std::function<void(Forged&)> m_tell;
    std::string m_section;
    std::string m_finding;
};

/// Reads the sample dictionary of the given width with each change, with correct checksums.
void expectFound(const uint64_t maximumNumberOfResources, const std::vector<Lie>& lies) {
    const Forged sound(*makeSampleDictionary(maximumNumberOfResources));
    ASSERT_NO_THROW(readFromMemory(sound.getBytes())->verify());
    for (const Lie& lie : lies) {
        Forged file = sound;
        lie.m_tell(file);
        try {
            readFromMemory(file.getBytes());
            ADD_FAILURE() << "believed, though: " << lie.m_finding;
        } catch (const MelnarException& exception) {
            EXPECT_EQ("Dictionary file 'memory' is damaged: section '" + lie.m_section + "': " + lie.m_finding,
                      exception.getMessage());
        }
    }
}

template<class T>
std::function<void(Forged&)> set(const Forged::Section section, const size_t position, const T value) {
    return [=](Forged& file) { file.set<T>(section, position, value); };
}

std::function<void(Forged&)> setField(const size_t table, const size_t field, const uint64_t value) {
    return [=](Forged& file) { file.setField(table, field, value); };
}

/// Every change is made in both bucket widths.
class DictionaryFileHostileTest : public testing::TestWithParam<uint64_t> {};

TEST_P(DictionaryFileHostileTest, headersThatLieAreFound) {
    const uint32_t otherWidth = GetParam() == NARROW ? 8 : 4;
    expectFound(
        GetParam(),
        {{set<uint32_t>(Forged::HEADER, Forged::BUCKET_WIDTH, otherWidth), "header",
          "the bucket width is " + std::to_string(otherWidth) + "."},
         {set<uint32_t>(Forged::HEADER, Forged::BUCKET_WIDTH, 0), "header", "the bucket width is 0."},
         {set<uint32_t>(Forged::HEADER, Forged::NUMBER_OF_DATATYPES, 0), "header", "it announces 0 datatype objects."},
         {set<uint32_t>(Forged::HEADER, Forged::NUMBER_OF_DATATYPES, 0xFFFFFFFF), "header",
          "it announces 4294967295 datatype objects."},
         {set<uint64_t>(Forged::HEADER, Forged::MAXIMUM, (uint64_t(1) << 43) + 1), "header",
          "the largest number of resources is 8796093022209."},
         {set<uint64_t>(Forged::HEADER, Forged::MAXIMUM, ~uint64_t(0)), "header",
          "the largest number of resources is 18446744073709551615."},
         {set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, 0), "header", "the next resource ID is 0."},
         {set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, GetParam() + 2), "header",
          "the next resource ID is " + std::to_string(GetParam() + 2) + "."},
         {set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, ~uint64_t(0)), "header",
          "the next resource ID is 18446744073709551615."},
         {set<uint64_t>(Forged::HEADER, Forged::COMMIT_POINT, 0), "header", "the commit point is 0."},
         {set<uint64_t>(Forged::HEADER, Forged::COMMIT_POINT, 8), "header", "the commit point is 8."},
         {set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, 6), "data offsets",
          "it is longer than its contents."},
         {set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, 8), "data offsets",
          "it is shorter than its contents."},
         {[](Forged& file) {
              const uint64_t size = file.m_sections[Forged::DATA_POOL].size();
              file.set<uint64_t>(Forged::HEADER, Forged::DATA_POOL_BYTES, size - 1);
          },
          "data pool", "it is longer than its contents."},
         {[](Forged& file) {
              const uint64_t size = file.m_sections[Forged::DATA_POOL].size();
              file.set<uint64_t>(Forged::HEADER, Forged::DATA_POOL_BYTES, size + 1);
          },
          "data pool", "it is shorter than its contents."}});
}

TEST_P(DictionaryFileHostileTest, everySectionOfAnotherSizeIsFound) {
    std::vector<Lie> lies;
    size_t section = Forged::HEADER;
    for (const char* const name : {"header", "data offsets", "datatype bytes", "data pool", "datatype 5", "history"}) {
        lies.push_back(
            {[section](Forged& file) { file.m_sections[section] += '\0'; }, name, "it is longer than its contents."});
        lies.push_back({[section](Forged& file) { file.m_sections[section].pop_back(); }, name,
                        "it is shorter than its contents."});
        ++section;
    }
    ASSERT_EQ(size_t(Forged::NUMBER_OF_SECTIONS), section);
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, historiesThatLieAreFound) {
    const std::string history = "history";
    const size_t secondEntry = Forged::FIRST_ENTRY + Forged::ENTRY_SIZE;
    const auto addEntry = [=](const uint64_t firstCommitPoint, const uint64_t secondCommitPoint) {
        return [=](Forged& file) {
            file.set<uint64_t>(Forged::HISTORY, Forged::NUMBER_OF_ENTRIES, 2);
            file.set<uint64_t>(Forged::HISTORY, Forged::FIRST_ENTRY, firstCommitPoint);
            file.m_sections[Forged::HISTORY].append(Forged::ENTRY_SIZE, 'x');
            file.set<uint64_t>(Forged::HISTORY, secondEntry, secondCommitPoint);
        };
    };
    expectFound(
        GetParam(),
        {{set<uint64_t>(Forged::HISTORY, Forged::NUMBER_OF_ENTRIES, 0), history, "it ends at commit point 0."},
         {set<uint64_t>(Forged::HISTORY, Forged::NUMBER_OF_ENTRIES, 2), history, "it is shorter than its contents."},
         {set<uint64_t>(Forged::HISTORY, Forged::NUMBER_OF_ENTRIES, ~uint64_t(0)), history,
          "it has 18446744073709551615 entries."},
         {set<uint64_t>(Forged::HISTORY, Forged::FIRST_ENTRY, 0), history, "entry 1 has the commit point 0."},
         {set<uint64_t>(Forged::HISTORY, Forged::FIRST_ENTRY, 5), history, "entry 1 has the commit point 5."},
         {set<uint64_t>(Forged::HISTORY, Forged::FIRST_ENTRY, ~uint64_t(0)), history,
          "entry 1 has the commit point 18446744073709551615."},
         {set<uint64_t>(Forged::HISTORY, Forged::FIRST_ENTRY, 3), history, "it ends at commit point 3."},
         {set<uint64_t>(Forged::HEADER, Forged::COMMIT_POINT, 5), history, "it ends at commit point 4."},
         {addEntry(4, 4), history, "entry 2 has the commit point 4."},
         {addEntry(3, 2), history, "entry 2 has the commit point 2."},
         {[](Forged& file) { file.m_sections[Forged::HISTORY].resize(15); }, history,
          "it is shorter than its contents."},
         {[](Forged& file) { file.m_sections.pop_back(); }, history,
          "block 1 has a header that no block can have there."}});
    Forged file(*makeSampleDictionary(GetParam()));
    addEntry(3, 4)(file);
    EXPECT_EQ(file.getBytes(), writeToMemory(*readFromMemory(file.getBytes()))) << "two entries that do not lie";
}

TEST_P(DictionaryFileHostileTest, sizesBeyondTheMemoryLimitAreErrors) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    for (const uint64_t bytes :
         {uint64_t(TEST_MEMORY_LIMIT), uint64_t(TEST_MEMORY_LIMIT) + 1, uint64_t(1) << 62, ~uint64_t(0)}) {
        Forged file = sound;
        file.set<uint64_t>(Forged::HEADER, Forged::DATA_POOL_BYTES, bytes);
        EXPECT_THROW(readFromMemory(file.getBytes()), MemoryExhaustedException) << bytes;
    }
    Forged file = sound;
    file.set<uint64_t>(Forged::HEADER, Forged::MAXIMUM, GetParam() == NARROW ? 0xFFFFFFFD : uint64_t(1) << 40);
    file.set<uint64_t>(Forged::HEADER, Forged::NEXT_RESOURCE_ID, 0xFFFFFFF0);
    EXPECT_THROW(readFromMemory(file.getBytes()), MemoryExhaustedException);
    for (size_t table = 0; table < 2; ++table) {
        file = sound;
        file.setField(table, Forged::REGION_CAPACITY, uint64_t(1) << 42);
        file.setField(table, Forged::REGION_END, uint64_t(1) << 40);
        EXPECT_THROW(readFromMemory(file.getBytes()), MemoryExhaustedException);
    }
}

TEST_P(DictionaryFileHostileTest, offsetsAndDatatypesThatLieAreFound) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    const uint64_t poolBytes = sound.m_sections[Forged::DATA_POOL].size();
    const auto getMessage = [](const uint64_t offset, const uint64_t resourceID) {
        return "there is no literal at offset " + std::to_string(offset) + " for resource " +
               std::to_string(resourceID) + ".";
    };
    std::vector<Lie> lies;
    for (const uint64_t offset : {poolBytes, poolBytes + 1, uint64_t(1) << 32, uint64_t(1) << 63, ~uint64_t(0)})
        for (const uint64_t resourceID : {uint64_t(1), uint64_t(6)})
            lies.push_back({set<uint64_t>(Forged::DATA_OFFSETS, (resourceID - 1) * 8, offset), "data pool",
                            getMessage(offset, resourceID)});
    for (const uint8_t datatypeID : std::initializer_list<uint8_t>{1, 4, 7, 255})
        lies.push_back({set<uint8_t>(Forged::DATATYPE_BYTES, 1, datatypeID), "data pool",
                        "resource 2 has the unknown datatype " + std::to_string(datatypeID) + "."});
    lies.push_back(
        {set<uint8_t>(Forged::DATATYPE_BYTES, 3, D_XSD_STRING), "datatype 5", "table 1: it lacks resource 4."});
    lies.push_back(
        {set<uint8_t>(Forged::DATATYPE_BYTES, 4, D_RDF_PLAIN_LITERAL), "datatype 5", "table 2: it lacks resource 5."});
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, aPoolLargerThanAnyIsFoundWhateverTheMemoryLimit) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    for (const uint64_t bytes : {(uint64_t(1) << 44) + 1, uint64_t(1) << 45, ~uint64_t(0) >> 2}) {
        Forged file = sound;
        file.set<uint64_t>(Forged::HEADER, Forged::DATA_POOL_BYTES, bytes);
        const auto exception =
            catchException<MelnarException>([&] { readFromMemory(file.getBytes(), ~size_t(0) >> 1); });
        EXPECT_EQ("Dictionary file 'memory' is damaged: section 'data pool': its " + std::to_string(bytes) +
                      " bytes are more than any pool holds.",
                  exception.getMessage());
    }
}

TEST_P(DictionaryFileHostileTest, chunksThatAreSharedAreFoundWhenTheyAddUpToMoreThanThePool) {
    // A pool with one chunk: the largest that one resource and the smallest that two may have.
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
    {
        DictionaryThread thread(dictionary);
        for (const char* const text : {"abc", "def"})
            dictionary.resolveResource(thread, text, D_XSD_STRING);
    }
    Forged file(dictionary);
    ASSERT_EQ(10u, file.m_sections[Forged::DATA_POOL].size());
    ASSERT_NO_THROW(readFromMemory(file.getBytes())) << "chunks that fill the pool";
    file.set<uint64_t>(Forged::DATA_OFFSETS, 8, 0);
    ASSERT_EQ(0u, readFromMemory(file.getBytes())->getUnusedDataPoolBytes()) << "shared, but not beyond the pool";
    file.m_sections[Forged::DATA_POOL].resize(9);
    file.set<uint64_t>(Forged::HEADER, Forged::DATA_POOL_BYTES, 9);
    const auto exception = catchException<MelnarException>([&] { readFromMemory(file.getBytes()); });
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'data pool': its literals up to that of resource 2 take "
              "more than its 9 bytes.",
              exception.getMessage());
}

TEST_P(DictionaryFileHostileTest, aLiteralInsideAnotherDoesNoHarmAndIsFoundByVerify) {
    // The text of the first is also a chunk: that of "q".
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
    {
        DictionaryThread thread(dictionary);
        for (const char* const text : {"\x04q", "other"})
            dictionary.resolveResource(thread, text, D_XSD_STRING);
    }
    Forged file(dictionary);
    file.set<uint64_t>(Forged::DATA_OFFSETS, 8, 1);
    const std::unique_ptr<Dictionary> opened = readFromMemory(file.getBytes());
    EXPECT_EQ(1u, opened->tryResolveResource({3}, "\x04q", D_XSD_STRING));
    std::string text;
    opened->getResource(2, text);
    EXPECT_EQ("q", text);
    EXPECT_EQ("Resource 2 is damaged: its literal is found under ID 0.",
              catchException<MelnarException>([&] { opened->verify(); }).getMessage());
}

TEST_P(DictionaryFileHostileTest, theOffsetOfAWithdrawnResourceMayBeAnything) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
    {
        DictionaryThread thread(dictionary);
        dictionary.resolveResource(thread, "stays", D_XSD_STRING);
        dictionary.commit();
        dictionary.resolveResource(thread, "goes", D_XSD_STRING);
        dictionary.rollback();
    }
    Forged file(dictionary);
    for (const uint64_t offset : {uint64_t(0), uint64_t(1), uint64_t(6), ~uint64_t(0)}) {
        file.set<uint64_t>(Forged::DATA_OFFSETS, 8, offset);
        const std::unique_ptr<Dictionary> opened = readFromMemory(file.getBytes());
        EXPECT_NO_THROW(opened->verify()) << offset;
        EXPECT_EQ(file.getBytes(), writeToMemory(*opened)) << "it is left as it is";
        std::vector<BatchEntry> entries{{"stays", 0, D_XSD_STRING}, {"goes", 0, D_XSD_STRING}};
        std::vector<BatchFailure> failures;
        opened->tryResolveResources({opened->getNextResourceID()}, entries, failures);
        EXPECT_EQ(1u, entries[0].m_resourceID) << offset;
        EXPECT_EQ(0u, entries[1].m_resourceID) << offset;
    }
}

TEST_P(DictionaryFileHostileTest, chunksThatLieAreFound) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    const uint64_t offset = sound.get<uint64_t>(Forged::DATA_OFFSETS, 5 * 8); // of "def", the last in the pool
    ASSERT_EQ(offset + 5, sound.m_sections[Forged::DATA_POOL].size());
    const std::string finding = "there is no literal at offset " + std::to_string(offset) + " for resource 6.";
    const auto writeChunk = [offset](const std::string& chunk) {
        return [offset, chunk](Forged& file) {
            file.m_sections[Forged::DATA_POOL].replace(offset, 5, chunk.substr(0, 5));
        };
    };
    using namespace std::string_literals;
    expectFound(GetParam(),
                {{writeChunk("\x00"s + "def\0"s), "data pool", finding},        // stored size 0
                 {writeChunk("\x0A"s + "def\0"s), "data pool", finding},        // one more than there is
                 {writeChunk("\xFE"s + "def\0"s), "data pool", finding},        // 127
                 {writeChunk("\x08"s + "defx"s), "data pool", finding},         // no terminator
                 {writeChunk("\x06"s + "def\0"s), "data pool", finding},        // terminator elsewhere
                 {writeChunk("\x01\x02"s + "de\0"s), "data pool", finding},     // 128 in 2 bytes
                 {writeChunk("\x0D\x00"s + "de\0"s), "data pool", finding},     // 3 in 2 bytes: not the shortest
                 {writeChunk("\x0B\x00\x00\x00\x00"s), "data pool", finding},   // 1 in 4 bytes: not the shortest
                 {writeChunk("\xFB\xFF\xFF\xFF\x00"s), "data pool", finding},   // 2^29 - 1
                 {writeChunk("\xFF\xFF\xFF\xFF\xFF"s), "data pool", finding},   // a header beyond the pool
                 {writeChunk("\x07\x00\x00\x00\x00"s), "data pool", finding}}); // as above, of size 0
}

TEST_P(DictionaryFileHostileTest, foreignDatatypesAreFound) {
    const std::string finding = "it serves datatypes other than those of this program.";
    expectFound(
        GetParam(),
        {{set<uint32_t>(Forged::STRINGS, 0, 0), "datatype 5", finding},
         {set<uint32_t>(Forged::STRINGS, 0, 0xFFFFFFFF), "datatype 5", finding},
         {set<uint32_t>(Forged::STRINGS, 4, 7), "datatype 5", finding},
         {set<uint64_t>(Forged::STRINGS, 8, ~uint64_t(0)), "datatype 5", finding},
         {set<uint64_t>(Forged::STRINGS, 8, 38), "datatype 5", finding},
         {set<char>(Forged::STRINGS, 16, 'H'), "datatype 5", finding},
         {set<uint32_t>(Forged::STRINGS, 55, 5), "datatype 5", finding},
         {set<char>(Forged::STRINGS, Forged::DATATYPE_STREAM + 8, 's'), "datatype 5",
          "it is not the stream of a string datatype."},
         {set<uint64_t>(Forged::STRINGS, Forged::DATATYPE_STREAM, ~uint64_t(0)), "datatype 5",
          "it is not the stream of a string datatype."},
         {set<uint64_t>(Forged::STRINGS, Forged::FIRST_TABLE, 16), "datatype 5", "table 1: it is not a hash table."},
         {[](Forged& file) { file.set<char>(Forged::STRINGS, file.getTable(1) + Forged::TABLE_MARKER, 'p'); },
          "datatype 5", "table 2: it is not a hash table."}});
}

TEST_P(DictionaryFileHostileTest, tableSizesThatLieAreFound) {
    std::vector<Lie> lies;
    for (size_t table = 0; table < 2; ++table) {
        const std::string name = "table " + std::to_string(table + 1) + ": ";
        for (const uint64_t buckets : {uint64_t(0), uint64_t(1), uint64_t(512), uint64_t(1000), uint64_t(1025),
                                       uint64_t(3072), (uint64_t(1) << 63) + 1, ~uint64_t(0)})
            lies.push_back({setField(table, Forged::NUMBER_OF_BUCKETS, buckets), "datatype 5",
                            name + "it has " + std::to_string(buckets) + " buckets."});
        for (const uint64_t buckets : {uint64_t(2048), uint64_t(1) << 32, uint64_t(1) << 63})
            lies.push_back({setField(table, Forged::NUMBER_OF_BUCKETS, buckets), "datatype 5",
                            name + "its " + std::to_string(buckets) +
                                " buckets are not within a region of 1024 of at most 1024."});
        lies.push_back({setField(table, Forged::REGION_END, 1023), "datatype 5",
                        name + "its 1024 buckets are not within a region of 1023 of at most 1024."});
        lies.push_back({setField(table, Forged::REGION_END, 0), "datatype 5",
                        name + "its 1024 buckets are not within a region of 0 of at most 1024."});
        lies.push_back({setField(table, Forged::REGION_END, 1025), "datatype 5",
                        name + "its 1024 buckets are not within a region of 1025 of at most 1024."});
        lies.push_back({setField(table, Forged::REGION_CAPACITY, 0), "datatype 5",
                        name + "its 1024 buckets are not within a region of 1024 of at most 0."});
        for (const uint64_t capacity :
             {(uint64_t(1) << 45) + 1, uint64_t(1) << 61, uint64_t(1) << 62, uint64_t(1) << 63, ~uint64_t(0)})
            lies.push_back({setField(table, Forged::REGION_CAPACITY, capacity), "datatype 5",
                            name + "its 1024 buckets are not within a region of 1024 of at most " +
                                std::to_string(capacity) + "."});
    }
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, countersThatLieAreFound) {
    // The first table has 3 entries and a tombstone, the second one of each; both have reserved 100, the rest is
    // unspent.
    const Forged sound(*makeSampleDictionary(GetParam()));
    ASSERT_EQ(100u, sound.getField(0, Forged::USED_BUCKETS));
    ASSERT_EQ(1u, sound.getField(0, Forged::DELETED_BUCKETS));
    ASSERT_EQ(100u, sound.getField(1, Forged::USED_BUCKETS));
    std::vector<Lie> lies;
    for (size_t table = 0; table < 2; ++table) {
        const std::string name = "table " + std::to_string(table + 1) + ": ";
        const uint64_t quota = table == 0 ? 96 : 98;
        const auto getCounters = [&](const uint64_t deleted, const uint64_t nonEmpty) {
            return name + "its counters state " + std::to_string(deleted) + " deleted and " + std::to_string(nonEmpty) +
                   " non-empty buckets, but 1 and " + std::to_string(100 - quota) + " are there.";
        };
        const auto getClaim = [&](const uint64_t used, const uint64_t reserved) {
            return name + "it claims " + std::to_string(used) + " used buckets, " + std::to_string(reserved) +
                   " of them reserved.";
        };
        const auto setQuota = [table](const size_t slot, const uint32_t value) {
            return [=](Forged& file) {
                file.set<uint32_t>(Forged::STRINGS, file.getTable(table) + Forged::QUOTAS + 4 * slot, value);
            };
        };
        for (const uint64_t threshold : {uint64_t(0), uint64_t(715), uint64_t(717), uint64_t(1024), ~uint64_t(0)})
            lies.push_back({setField(table, Forged::THRESHOLD, threshold), "datatype 5",
                            name + "its resize threshold is " + std::to_string(threshold) + "."});
        for (const uint64_t used : {uint64_t(717), uint64_t(1024), ~uint64_t(0), uint64_t(quota - 1), uint64_t(0)})
            lies.push_back({setField(table, Forged::USED_BUCKETS, used), "datatype 5", getClaim(used, quota)});
        lies.push_back({setField(table, Forged::USED_BUCKETS, 99), "datatype 5", getCounters(1, 99 - quota)});
        lies.push_back({setField(table, Forged::USED_BUCKETS, 716), "datatype 5", getCounters(1, 716 - quota)});
        for (const uint64_t deleted : {uint64_t(0), uint64_t(2), ~uint64_t(0)})
            lies.push_back(
                {setField(table, Forged::DELETED_BUCKETS, deleted), "datatype 5", getCounters(deleted, 100 - quota)});
        lies.push_back({setQuota(255, 1), "datatype 5", getCounters(1, 99 - quota)});
        lies.push_back({setQuota(7, 0xFFFFFFFF), "datatype 5", getClaim(100, quota + 0xFFFFFFFF)});
    }
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, bucketsThatLieAreFound) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    const uint64_t deleted = sound.getBucketDeleted();
    std::vector<Lie> lies;
    for (size_t table = 0; table < 2; ++table) {
        const std::string name = "table " + std::to_string(table + 1) + ": ";
        const uint64_t resourceID = table == 0 ? 1 : 2;
        const size_t bucket = sound.findBucket(table, resourceID);
        // The marker of a bucket in progress; the next ID; the largest one; an ID of the other table, a withdrawn one.
        for (const uint64_t value : {deleted - 1, uint64_t(7), deleted - 2, table == 0 ? uint64_t(2) : uint64_t(1),
                                     table == 0 ? uint64_t(4) : uint64_t(5)})
            lies.push_back({[=](Forged& file) { file.setBucket(table, bucket, value); }, "datatype 5",
                            name + "bucket " + std::to_string(bucket) + " holds " + std::to_string(value) +
                                ", which is no resource of its datatype."});
        const uint64_t entries = table == 0 ? 3 : 1;
        for (const uint64_t value : {uint64_t(0), deleted})
            lies.push_back({[=](Forged& file) { file.setBucket(table, bucket, value); }, "datatype 5",
                            name + "it lacks resource " + std::to_string(resourceID) + "."});
        ASSERT_LT(bucket, 1023u);
        lies.push_back({[=](Forged& file) { file.setBucket(table, bucket + 1, resourceID); }, "datatype 5",
                        name + "bucket " + std::to_string(bucket + 1) + " holds " + std::to_string(resourceID) +
                            ", which an earlier bucket holds, too."});
        lies.push_back({[=](Forged& file) { file.setBucket(table, file.findBucket(table, deleted), 0); }, "datatype 5",
                        name + "its counters state 1 deleted and " + std::to_string(entries + 1) +
                            " non-empty buckets, but 0 and " + std::to_string(entries) + " are there."});
        lies.push_back({[=](Forged& file) { file.setBucket(table, (bucket + 1) % 1024, deleted); }, "datatype 5",
                        name + "its counters state 1 deleted and " + std::to_string(entries + 1) +
                            " non-empty buckets, but 2 and " + std::to_string(entries + 2) + " are there."});
    }
    if (GetParam() == WIDE)
        for (const uint64_t value : {deleted + 1, ~uint64_t(0), (uint64_t(1) << 32) + 1, (uint64_t(1) << 63) + 1})
            lies.push_back(
                {[=](Forged& file) { file.setBucket(0, 17, value); }, "datatype 5",
                 "table 1: bucket 17 holds " + std::to_string(value) + ", which is no resource of its datatype."});
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, anIDThatTakesThePlaceOfAnotherIsFoundThoughAllNumbersAgree) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    std::vector<Lie> lies;
    for (const auto& [kept, replaced] : {std::pair<uint64_t, uint64_t>(1, 3), {3, 1}, {6, 1}, {3, 6}}) {
        const size_t bucket = sound.findBucket(0, replaced);
        lies.push_back({[bucket, id = kept](Forged& file) { file.setBucket(0, bucket, id); }, "datatype 5",
                        "table 1: bucket " + std::to_string(std::max(bucket, sound.findBucket(0, kept))) + " holds " +
                            std::to_string(kept) + ", which an earlier bucket holds, too."});
    }
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, aBucketBeyondTheLastIsFound) {
    std::vector<Lie> lies;
    for (size_t table = 0; table < 2; ++table)
        for (const uint64_t value : {uint64_t(1), uint64_t(2), uint64_t(0xFFFFFFFE)})
            lies.push_back(
                {[=](Forged& file) {
                     const size_t afterLast = file.getTable(table) + Forged::BUCKETS + 1024 * file.getBucketWidth();
                     file.m_sections[Forged::STRINGS].insert(afterLast, 512 * file.getBucketWidth(), '\0');
                     file.setField(table, Forged::REGION_CAPACITY, 1536);
                     file.setField(table, Forged::REGION_END, 1536);
                     file.setBucket(table, 1200, value);
                 },
                 "datatype 5", "table " + std::to_string(table + 1) + ": bucket 1200, beyond its last, is in use."});
    expectFound(GetParam(), lies);
}

TEST_P(DictionaryFileHostileTest, emptyBucketsBeyondTheLastAreHarmless) {
    Forged file(*makeSampleDictionary(GetParam()));
    file.m_sections[Forged::STRINGS].append(1000 * file.getBucketWidth(), '\0');
    file.setField(1, Forged::REGION_CAPACITY, 5000);
    file.setField(1, Forged::REGION_END, 2024);
    const std::unique_ptr<Dictionary> dictionary = readFromMemory(file.getBytes());
    EXPECT_NO_THROW(dictionary->verify());
    DictionaryThread thread(*dictionary);
    for (size_t number = 0; number < 5000; ++number)
        dictionary->resolveResource(thread, std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL);
    EXPECT_NO_THROW(dictionary->verify());
}

TEST_P(DictionaryFileHostileTest, aFullDictionaryIsOpened) {
    Dictionary dictionary(
        {.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam() == NARROW ? 3 : WIDE});
    DictionaryThread thread(dictionary);
    for (const char* const text : {"1", "2", "3"})
        dictionary.resolveResource(thread, text, D_XSD_STRING);
    const std::unique_ptr<Dictionary> copy = readFromMemory(writeToMemory(dictionary));
    EXPECT_EQ(4u, copy->getNextResourceID());
    EXPECT_NO_THROW(copy->verify());
}

/// Returns the message of verify for a file with an error that open does not check, since the check takes a lookup for
/// each resource.
std::string getMessageOfVerify(const Forged& file) {
    const std::unique_ptr<Dictionary> dictionary = readFromMemory(file.getBytes());
    return catchException<MelnarException>([&] { dictionary->verify(); }).getMessage();
}

TEST_P(DictionaryFileHostileTest, verifyFindsAnEntryInTheWrongPlace) {
    Forged file(*makeSampleDictionary(GetParam()));
    const size_t bucket = file.findBucket(0, 6);
    file.setBucket(0, bucket, 0);
    file.setBucket(0, (bucket + 1023) % 1024, 6);
    EXPECT_EQ("Resource 6 is damaged: its literal is found under ID 0.", getMessageOfVerify(file));
}

TEST_P(DictionaryFileHostileTest, verifyFindsAStringThatIsThereTwice) {
    Forged file(*makeSampleDictionary(GetParam()));
    // "def" becomes a second "abc", in a bucket where a lookup of the first one passes.
    const uint64_t offset = file.get<uint64_t>(Forged::DATA_OFFSETS, 5 * 8);
    file.m_sections[Forged::DATA_POOL].replace(offset + 1, 3, "abc");
    file.setBucket(0, file.findBucket(0, 6), 0);
    file.setBucket(0, (file.findBucket(0, 1) + 1) % 1024, 6);
    EXPECT_EQ("Resource 6 is damaged: its literal is found under ID 1.", getMessageOfVerify(file));
    file = Forged(*makeSampleDictionary(GetParam()));
    file.set<uint64_t>(Forged::DATA_OFFSETS, 5 * 8, file.get<uint64_t>(Forged::DATA_OFFSETS, 0));
    EXPECT_EQ("Resource 6 is damaged: its literal is found under ID 1.", getMessageOfVerify(file));
}

TEST_P(DictionaryFileHostileTest, verifyFindsAMalformedTag) {
    const Forged sound(*makeSampleDictionary(GetParam()));
    const uint64_t offset = sound.get<uint64_t>(Forged::DATA_OFFSETS, 8);
    for (const char* const form : {"abc@1n", "abc@-n", "abc@e ", "abcdef", "abc@n-"}) {
        Forged file = sound;
        file.m_sections[Forged::DATA_POOL].replace(offset + 1, 6, form);
        EXPECT_EQ(0u, getMessageOfVerify(file).find("Resource 2 is damaged: ")) << form;
    }
    Forged file = sound;
    file.m_sections[Forged::DATA_POOL].replace(offset + 1, 6, "abcde@");
    EXPECT_EQ("Resource 2 is damaged: its literal is found under ID 0.", getMessageOfVerify(file));
}

TEST_P(DictionaryFileHostileTest, verifyFindsALiteralUnderAnotherID) {
    Forged file(*makeSampleDictionary(GetParam()));
    // The buckets of "abc" and "def" are exchanged: the same number of each, and each in the table of its datatype.
    const size_t first = file.findBucket(0, 1);
    const size_t last = file.findBucket(0, 6);
    file.setBucket(0, first, 6);
    file.setBucket(0, last, 1);
    EXPECT_EQ("Resource 1 is damaged: its literal is found under ID 0.", getMessageOfVerify(file));
}

INSTANTIATE_TEST_SUITE_P(BucketWidths, DictionaryFileHostileTest, testing::Values(NARROW, WIDE),
                         [](const testing::TestParamInfo<uint64_t>& parameterInfo) {
                             return parameterInfo.index == 0 ? "narrow" : "wide";
                         });

} // namespace
