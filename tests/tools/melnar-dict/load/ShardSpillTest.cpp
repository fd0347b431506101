#include "tools/melnar-dict/load/ShardSpill.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/SpilledBytes.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t TERMS_OF_A_SHARD = 10000;

/// A term in a block of the input.
struct SpilledTerm {
    std::string m_form;
    uint8_t m_datatypeID = D_XSD_STRING;
};

using Blocks = std::vector<std::vector<SpilledTerm>>;

uint32_t getShard(const SpilledTerm& term) {
    return ShardLayout::getShard(term.m_form, term.m_datatypeID);
}

/// Returns whether a term belongs to these shards, so that there are not many files.
bool isOfFewShards(const SpilledTerm& term) {
    return getShard(term) % 32 == 0;
}

/// Makes blocks in which the same terms occur repeatedly.
Blocks makeBlocks(const size_t numberOfBlocks) {
    Blocks blocks(numberOfBlocks);
    for (std::vector<SpilledTerm>& block : blocks)
        for (size_t number = static_cast<size_t>(&block - blocks.data()) * 2000; block.size() < 300; ++number)
            for (const SpilledTerm& term : {SpilledTerm{"term " + std::to_string(number % 7000)},
                                            SpilledTerm{std::to_string(number % 70) + "@en", D_RDF_PLAIN_LITERAL},
                                            SpilledTerm{std::string(number % 3000, 'x')}})
                if (isOfFewShards(term))
                    block.push_back(term);
    return blocks;
}

/// Returns the cells of a block's rows: all unknown terms in two orders, and the first IDs of their shards.
std::vector<uint64_t> getCells(const std::vector<SpilledTerm>& block) {
    std::vector<uint64_t> cells;
    for (size_t number = 0; number < block.size(); ++number) {
        cells.push_back(ShardSpill::UNKNOWN | number);
        cells.push_back(ShardLayout::toGlobal(1, getShard(block[number])));
        cells.push_back(ShardSpill::UNKNOWN | (block.size() - 1 - number));
    }
    return cells;
}

class ShardSpillTest : public testing::Test {
protected:
    std::string getFolder() const { return m_directory.getPathOf("."); }

    static void add(const std::vector<SpilledTerm>& block, ShardSpill& spill) {
        std::vector<uint8_t> shards;
        for (const SpilledTerm& term : block) {
            spill.addTerm(getShard(term), {term.m_form, 0, term.m_datatypeID});
            shards.push_back(static_cast<uint8_t>(getShard(term)));
        }
        spill.addRows(shards, getCells(block));
    }

    static void resolveAll(ShardSpill& spill, ShardedDictionary& dictionary) {
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            if (spill.hasTerms(shard))
                spill.resolveShard(dictionary, shard);
    }

    /// Returns the rows that the terms should get in a new dictionary.
    static std::vector<uint64_t> getExpectedRows(const Blocks& blocks) {
        std::map<std::pair<uint8_t, std::string>, uint64_t> ids;
        std::array<uint64_t, ShardLayout::NUMBER_OF_SHARDS> numbers{};
        std::vector<uint64_t> rows;
        for (const std::vector<SpilledTerm>& block : blocks) {
            std::vector<uint64_t> idsOfBlock;
            for (const SpilledTerm& term : block) {
                uint64_t& id = ids[{term.m_datatypeID, term.m_form}];
                if (id == 0)
                    id = ShardLayout::toGlobal(++numbers[getShard(term)], getShard(term));
                idsOfBlock.push_back(id);
            }
            for (const uint64_t cell : getCells(block))
                rows.push_back((cell & ShardSpill::UNKNOWN) != 0 ? idsOfBlock[cell & ~ShardSpill::UNKNOWN] : cell);
        }
        return rows;
    }

    static std::string getNameOfFile(const std::string& kind, const uint32_t shard) {
        char number[4];
        std::snprintf(number, sizeof(number), "-%02x", static_cast<unsigned>(shard % 256));
        return "work-" + kind + number;
    }

    static std::vector<uint64_t> getRows(ShardSpill& spill, const ShardedDictionary& dictionary,
                                         const RowLayout& layout = {}) {
        MemoryOutputStream output;
        spill.writeRows(layout, dictionary, output);
        std::vector<uint64_t> ids;
        takeIDs(output.getBytes(), layout.m_idWidth, ids);
        return ids;
    }

    /// Adds a text to the shard, and returns its ID.
    uint64_t addResource(const uint32_t shard) {
        std::string form;
        while (getShard({form}) != shard || m_dictionary.tryResolveTerm(Term::parse(D_XSD_STRING, form)) != 0)
            form += 'a';
        ShardedDictionaryThread thread(m_dictionary);
        return m_dictionary.resolveTerm(thread, Term::parse(D_XSD_STRING, form));
    }

    std::set<std::string> getFiles() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(getFolder()))
            names.insert(entry.path().filename().string());
        return names;
    }

    const TemporaryDirectory m_directory;
    ShardedDictionary m_dictionary{{.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = TERMS_OF_A_SHARD}};
};

TEST_F(ShardSpillTest, givesTermsTheIDsOfTheirFirstAppearance) {
    const Blocks blocks = makeBlocks(5);
    ShardSpill spill(getFolder(), {});
    EXPECT_FALSE(spill.hasAnyTerms());
    for (const std::vector<SpilledTerm>& block : blocks)
        add(block, spill);
    EXPECT_TRUE(spill.hasAnyTerms());
    resolveAll(spill, m_dictionary);
    const std::vector<uint64_t> expected = getExpectedRows(blocks);
    EXPECT_EQ(expected, getRows(spill, m_dictionary));
    EXPECT_EQ(expected, getRows(spill, m_dictionary, {3, RowLayout::NARROW}));
    for (const SpilledTerm& term : blocks.back()) {
        BatchEntry entry{term.m_form, 0, term.m_datatypeID};
        std::vector<BatchFailure> failures;
        m_dictionary.tryResolveResources({&entry, 1}, failures);
        EXPECT_NE(0u, entry.m_resourceID) << term.m_form;
    }
}

TEST_F(ShardSpillTest, filesHaveTheBytesThatAreDescribed) {
    const SpilledTerm term{"a@en", D_RDF_PLAIN_LITERAL};
    {
        ShardSpill spill(getFolder(), {});
        add({term, term}, spill);
        spill.resolveShard(m_dictionary, getShard(term));
        EXPECT_EQ(6u, getRows(spill, m_dictionary).size());
        spill.keep();
    }
    char number[3];
    std::snprintf(number, sizeof(number), "%02x", getShard(term));
    const std::string terms("\4\0\0\0\6a@en", 9);
    EXPECT_EQ(terms + terms,
              TemporaryDirectory::getContentsOf(m_directory.getPathOf("work-terms-" + std::string(number))));
    const std::string id("\1\0\0\0\0\0\0\0", 8);
    EXPECT_EQ(id + id, TemporaryDirectory::getContentsOf(m_directory.getPathOf("work-ids-" + std::string(number))));
    EXPECT_EQ(4u + 2 + 8 + 6 * 8, std::filesystem::file_size(m_directory.getPathOf("work-rows")));
    EXPECT_EQ(3u, getFiles().size());
}

TEST_F(ShardSpillTest, termsThatTheShardHasKeepTheirIDs) {
    const Blocks blocks = makeBlocks(2);
    std::vector<uint64_t> first;
    for (int round = 0; round < 2; ++round) {
        ShardSpill spill(getFolder(), {});
        for (const std::vector<SpilledTerm>& block : blocks)
            add(block, spill);
        resolveAll(spill, m_dictionary);
        const std::vector<uint64_t> rows = getRows(spill, m_dictionary);
        EXPECT_TRUE(round == 0 || rows == first);
        first = rows;
    }
}

TEST_F(ShardSpillTest, rowsWithoutUnknownTermsNeedNoSpilledTerms) {
    const uint64_t first = addResource(7);
    const uint64_t second = addResource(7);
    const uint64_t other = addResource(8);
    ShardSpill spill(getFolder(), {});
    EXPECT_EQ(std::vector<uint64_t>(), getRows(spill, m_dictionary));
    spill.addRows({}, std::vector<uint64_t>{first, second, other, 0});
    spill.addRows({}, std::vector<uint64_t>{});
    spill.addRows({}, std::vector<uint64_t>{other, second, first, second});
    EXPECT_FALSE(spill.hasAnyTerms());
    const std::vector<uint64_t> expected{first, second, other, 0, other, second, first, second};
    EXPECT_EQ(expected, getRows(spill, m_dictionary, {.m_columns = 4}));
    m_dictionary.saveAndRelease(getFolder(), 1);
    EXPECT_EQ(expected, getRows(spill, m_dictionary, {.m_columns = 4})) << "no shard is in memory";
}

TEST_F(ShardSpillTest, aTermThatTheDictionaryDoesNotTakeIsThrown) {
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1});
    const SpilledTerm term{"one"};
    SpilledTerm other{"other"};
    while (getShard(other) != getShard(term))
        other.m_form += 'x';
    ShardSpill spill(getFolder(), {});
    add({term, other}, spill);
    EXPECT_THROW(spill.resolveShard(dictionary, getShard(term)), MelnarException);
}

/// Simulates a kill of the process after each block, after more blocks had been added than were saved.
TEST_F(ShardSpillTest, resumesWhereItWasSaved) {
    const Blocks blocks = makeBlocks(6);
    const std::vector<uint64_t> expected = getExpectedRows(blocks);
    for (size_t saved = 0; saved <= blocks.size(); ++saved) {
        SCOPED_TRACE(saved);
        LoadWork work;
        {
            ShardSpill spill(getFolder(), work);
            for (size_t number = 0; number < blocks.size(); ++number) {
                if (number == saved)
                    spill.synchronize(work);
                add(blocks[number], spill);
            }
            if (saved == blocks.size())
                spill.synchronize(work);
            spill.keep();
        }
        EXPECT_EQ(saved == 0, work == LoadWork());
        ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = TERMS_OF_A_SHARD});
        ShardSpill spill(getFolder(), work);
        for (size_t number = saved; number < blocks.size(); ++number)
            add(blocks[number], spill);
        resolveAll(spill, dictionary);
        EXPECT_EQ(expected, getRows(spill, dictionary));
    }
}

/// Simulates a kill after each number of shards.
TEST_F(ShardSpillTest, shardsThatHaveResolvedTheirTermsDoNotDoSoAgain) {
    const Blocks blocks = makeBlocks(3);
    const std::vector<uint64_t> expected = getExpectedRows(blocks);
    LoadWork work;
    {
        ShardSpill spill(getFolder(), work);
        for (const std::vector<SpilledTerm>& block : blocks)
            add(block, spill);
        spill.synchronize(work);
        spill.keep();
    }
    for (const uint32_t end : {32u, 128u, ShardLayout::NUMBER_OF_SHARDS}) {
        ShardSpill spill(getFolder(), work);
        for (uint32_t shard = 0; shard < end; ++shard) {
            EXPECT_EQ(!work.m_shards[shard].m_isResolved && work.m_shards[shard].m_terms.m_numberOfBytes != 0,
                      spill.hasTerms(shard));
            if (!spill.hasTerms(shard))
                continue;
            spill.resolveShard(m_dictionary, shard);
            spill.synchronizeIDs(shard, work.m_shards[shard]);
        }
        if (end != ShardLayout::NUMBER_OF_SHARDS)
            spill.resolveShard(m_dictionary, end); // whose result was not saved
        spill.keep();
    }
    EXPECT_EQ(work, LoadWork::parse(work.toBytes()));
    ShardSpill spill(getFolder(), work);
    EXPECT_FALSE(spill.hasAnyTerms());
    EXPECT_EQ(expected, getRows(spill, m_dictionary));
}

TEST_F(ShardSpillTest, aFileThatIsGoneOrTooShortIsNamed) {
    LoadWork work;
    {
        ShardSpill spill(getFolder(), work);
        add(makeBlocks(1).front(), spill);
        spill.synchronize(work);
        spill.keep();
    }
    for (const std::string name : {"work-rows", "work-terms-00"}) {
        const std::string contents = TemporaryDirectory::getContentsOf(m_directory.getPathOf(name));
        m_directory.addFile(name, contents.substr(1));
        const auto isShort = catchException<MelnarException>([&] { const ShardSpill spill(getFolder(), work); });
        EXPECT_NE(std::string::npos, isShort.getMessage().find(name)) << isShort.getMessage();
        std::filesystem::remove(m_directory.getPathOf(name));
        const auto isGone = catchException<MelnarException>([&] { const ShardSpill spill(getFolder(), work); });
        EXPECT_NE(std::string::npos, isGone.getMessage().find(name)) << isGone.getMessage();
        m_directory.addFile(name, contents);
    }
    EXPECT_NO_THROW(ShardSpill(getFolder(), work));
}

/// Simulates damage on the disk between the interruption of a load and its resumption.
TEST_F(ShardSpillTest, aFlippedBitInAnyByteOfAnyFileIsRefused) {
    const std::vector<SpilledTerm> block{{"one"}, {"two@en", D_RDF_PLAIN_LITERAL}, {"three"}, {"one"}};
    const Blocks blocks{block, {block.rbegin(), block.rend()}};
    const std::vector<uint64_t> expected = getExpectedRows(blocks);
    std::vector<LoadWork> works(2);
    std::set<std::string> kinds;
    {
        ShardSpill spill(getFolder(), {});
        for (const std::vector<SpilledTerm>& added : blocks)
            add(added, spill);
        spill.synchronize(works[0]);
        resolveAll(spill, m_dictionary);
        works[1] = works[0];
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            if (spill.hasTerms(shard))
                spill.synchronizeIDs(shard, works[1].m_shards[shard]);
        spill.keep();
    }
    for (const LoadWork& work : works) {
        const bool isResolved = &work == &works[1];
        const auto resume = [&] {
            ShardedDictionary dictionary(
                {.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = TERMS_OF_A_SHARD});
            ShardSpill spill(getFolder(), work);
            spill.keep();
            resolveAll(spill, dictionary);
            return getRows(spill, isResolved ? m_dictionary : dictionary);
        };
        for (const std::string& name : getFiles()) {
            const std::string kind = name.substr(0, name.find('-', 5));
            if (kind == (isResolved ? "work-terms" : "work-ids"))
                continue; // which the resumed load does not read
            SCOPED_TRACE(name);
            kinds.insert(kind);
            const std::string sound = TemporaryDirectory::getContentsOf(m_directory.getPathOf(name));
            std::map<std::string, size_t> outcomes;
            for (size_t position = 0; position < sound.size(); ++position) {
                std::string damaged = sound;
                damaged[position] = static_cast<char>(damaged[position] ^ (1 << position % 8));
                m_directory.addFile(name, damaged);
                try {
                    ++outcomes[resume() == expected ? "the same rows" : "other rows"];
                } catch (const MelnarException& exception) {
                    EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
                    EXPECT_NE(std::string::npos, exception.getMessage().find(name)) << exception.getMessage();
                    ++outcomes["refused"];
                }
                EXPECT_EQ(damaged, TemporaryDirectory::getContentsOf(m_directory.getPathOf(name)));
            }
            EXPECT_EQ((std::map<std::string, size_t>{{"refused", sound.size()}}), outcomes);
            m_directory.addFile(name, sound);
            EXPECT_EQ(expected, resume());
        }
    }
    EXPECT_EQ((std::set<std::string>{"work-ids", "work-rows", "work-terms"}), kinds);
}

/// The disk may also change a file after the load has verified it.
TEST_F(ShardSpillTest, damagedTermsAreRefused) {
    const std::string form = "abcd";
    const uint32_t shard = getShard({form});
    const std::string fileName = getNameOfFile("terms", shard);
    const std::string term = std::string("\4\0\0\0\5", 5) + form;
    for (const std::string& damaged :
         {term + term.substr(0, 4), term + term.substr(0, 8), std::string("\xFF\xFF\xFF\xFF\5", 5) + form,
          std::string("\4\0\0\0\5", 5) + "abce", std::string("\4\0\0\0\6", 5) + form}) {
        m_directory.addFile(fileName, damaged);
        LoadWork work;
        work.m_shards[shard].m_terms = getPrefix(damaged);
        ShardSpill spill(getFolder(), work);
        const auto exception = catchException<MelnarException>([&] { spill.resolveShard(m_dictionary, shard); });
        EXPECT_EQ("File '" + getFolder() + '/' + fileName + "' is damaged: it does not contain terms of its shard.",
                  exception.getMessage());
        EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
        EXPECT_EQ("tools/melnar-dict/load/ShardSpill", exception.getSourceFileName());
        EXPECT_EQ(57, exception.getSourceLineNumber());
    }
}

/// The shard of a damaged term may be right by chance.
TEST_F(ShardSpillTest, damagedTermsThatTheDictionaryRefusesAreRefused) {
    constexpr uint8_t UNKNOWN_DATATYPE = 255;
    const uint32_t shard = getShard({"abcd", UNKNOWN_DATATYPE});
    const std::string fileName = getNameOfFile("terms", shard);
    ShardSpill spill(getFolder(), {});
    spill.addTerm(shard, {"abcd", 0, UNKNOWN_DATATYPE});
    const auto exception = catchException<MelnarException>([&] { spill.resolveShard(m_dictionary, shard); });
    EXPECT_EQ("File '" + getFolder() + '/' + fileName + "' is damaged: it does not contain terms of its shard.",
              exception.getMessage());
    EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
    ASSERT_EQ(1u, exception.getCauses().size());
    const auto cause = catchException<MelnarException>([&] { std::rethrow_exception(exception.getCauses().front()); });
    EXPECT_EQ(FailureKind::REFUSED_LITERAL, cause.getKind());
}

TEST_F(ShardSpillTest, damagedRowsAreRefused) {
    const SpilledTerm term{"abcd"};
    const uint32_t shard = getShard(term);
    const auto number = [](const uint64_t value, const size_t size) {
        return std::string(reinterpret_cast<const char*>(&value), size);
    };
    const std::string noTerms = number(0, 4);
    const std::string aTerm = number(1, 4) + static_cast<char>(shard);
    addResource(shard + 1);
    const uint64_t ofLargerShard = addResource(shard + 1);
    const std::string cells = number(3, 8) + number(ofLargerShard, 8) + number(ofLargerShard, 8);
    for (const std::string& damaged : {
             std::string("\0\0", 2), number(~uint32_t(0), 4), number(2, 4) + static_cast<char>(shard),
             number(1, 4) + static_cast<char>(shard + 1),                             // a shard without spilled terms
             number(2, 4) + std::string(2, static_cast<char>(shard)) + number(0, 8),  // of which it has one
             aTerm + "\1", noTerms + number(~uint64_t(0), 8), noTerms + number(1, 8), // fewer cells
             noTerms + number(1, 8) + number(1, 8),                                   // a part of a row
             noTerms + cells + number(0, 8),                                          // not a graph
             noTerms + cells + number(ofLargerShard - 1, 8),                          // of the shard, which has one
             noTerms + cells + number(ofLargerShard + 256, 8), noTerms + cells + number(ShardSpill::UNKNOWN, 8),
             aTerm + cells + number(ShardSpill::UNKNOWN | 1, 8), // a second term
         }) {
        m_directory.addFile("work-rows", damaged);
        LoadWork work;
        work.m_rows = getPrefix(damaged);
        ShardSpill spill(getFolder(), work);
        spill.addTerm(shard, {term.m_form, 0, term.m_datatypeID});
        spill.resolveShard(m_dictionary, shard);
        const auto exception = catchException<MelnarException>([&] { getRows(spill, m_dictionary); });
        EXPECT_EQ("File '" + getFolder() + "/work-rows' is damaged: it does not contain rows of this load.",
                  exception.getMessage());
        EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
        EXPECT_EQ(231, exception.getSourceLineNumber());
    }
}

TEST_F(ShardSpillTest, aBlockMayHaveManyRows) {
    const uint64_t first = addResource(7);
    const uint64_t second = addResource(8);
    std::vector<uint64_t> cells;
    while (cells.size() < 120'000)
        cells.insert(cells.end(), {first, second, second, 0, second, first, second, first});
    ShardSpill spill(getFolder(), {});
    spill.addRows({}, cells);
    EXPECT_TRUE(cells == getRows(spill, m_dictionary, {.m_columns = 4}));
}

TEST_F(ShardSpillTest, damagedIDsAreRefused) {
    const SpilledTerm term{"abcd"};
    const uint32_t shard = getShard(term);
    LoadWork work;
    {
        ShardSpill spill(getFolder(), work);
        add({term}, spill);
        spill.synchronize(work);
        spill.resolveShard(m_dictionary, shard);
        spill.synchronizeIDs(shard, work.m_shards[shard]);
        spill.keep();
    }
    const std::string fileName = getNameOfFile("ids", shard);
    constexpr uint64_t WRAPPED = (uint64_t(1) << 56) + 1; // whose global ID would be that of 1
    ASSERT_EQ(ShardLayout::toGlobal(1, shard), ShardLayout::toGlobal(WRAPPED, shard));
    for (const uint64_t damaged : {uint64_t(0), uint64_t(2), WRAPPED, ~uint64_t(0)}) {
        const std::string bytes(reinterpret_cast<const char*>(&damaged), sizeof(damaged));
        m_directory.addFile(fileName, bytes);
        work.m_shards[shard].m_ids = getPrefix(bytes);
        ShardSpill spill(getFolder(), work);
        spill.keep();
        const auto exception = catchException<MelnarException>([&] { getRows(spill, m_dictionary); });
        EXPECT_EQ("File '" + getFolder() + '/' + fileName + "' is damaged: it does not contain IDs of its shard.",
                  exception.getMessage());
        EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
        EXPECT_EQ("tools/melnar-dict/load/ShardSpill", exception.getSourceFileName());
        EXPECT_EQ(254, exception.getSourceLineNumber());
    }
}

TEST_F(ShardSpillTest, theNextAttemptHasTheSameResultWhateverCallOrAllocationFails) {
    using Call = SystemCallFaults::Call;
    const Blocks blocks = makeBlocks(2);
    const std::vector<uint64_t> expected = getExpectedRows(blocks);
    const auto getRowsOf = [&](ShardedDictionary& dictionary) {
        LoadWork work;
        ShardSpill spill(getFolder(), work);
        for (const std::vector<SpilledTerm>& block : blocks)
            add(block, spill);
        spill.synchronize(work);
        resolveAll(spill, dictionary);
        return getRows(spill, dictionary);
    };
    constexpr size_t STEP = 53;
    std::vector<Fault> faults = ofCalls({Call::OPEN, Call::READ, Call::WRITE, Call::FDATASYNC, Call::FSTAT,
                                         Call::FTRUNCATE, Call::CLOSE, Call::UNLINK, Call::MMAP, Call::MPROTECT},
                                        {EIO, EINTR});
    for (const Fault& fault : ofAllocations())
        faults.push_back(fault);
    const FailureCounts counts = failEach(
        faults,
        [&](FailureRound& round) {
            ShardedDictionary dictionary(
                {.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = TERMS_OF_A_SHARD});
            std::vector<uint64_t> rows;
            if (round.attempt([&] { rows = getRowsOf(dictionary); })) {
                EXPECT_EQ(expected, rows);
            }
            EXPECT_TRUE(getFiles().empty() || !round.getFault().m_call || round.getFault().m_call == Call::UNLINK);
            EXPECT_EQ(expected, getRowsOf(dictionary)) << "terms that were resolved keep their IDs";
            EXPECT_TRUE(getFiles().empty());
        },
        STEP);
    EXPECT_LT(100u, counts.m_throws * STEP);
    std::cout << "Spilling, calls and allocations: " << counts << '\n';
}

TEST_F(ShardSpillTest, filesGoWithItUnlessTheyAreKept) {
    m_directory.addFile("work-other", "");
    m_directory.addFile("shard-00-x", "");
    const std::set<std::string> files = getFiles();
    for (const bool isKept : {false, true}) {
        {
            ShardSpill spill(getFolder(), {});
            for (const std::vector<SpilledTerm>& block : makeBlocks(2))
                add(block, spill);
            resolveAll(spill, m_dictionary);
            if (isKept)
                spill.keep();
            EXPECT_EQ(files.size() + 2 * 8 + 1, getFiles().size());
        }
        EXPECT_EQ(!isKept, files == getFiles());
    }
    ShardSpill::removeFrom(getFolder());
    EXPECT_EQ(files, getFiles());
    ShardSpill::removeFrom(m_directory.getPathOf("missing"));
}

TEST_F(ShardSpillTest, filesThatCannotBeRemovedWithoutMemoryGoLater) {
    const FailureCounts counts = failEach(ofAllocations(), [this](FailureRound& round) {
        auto spill = std::make_unique<ShardSpill>(getFolder(), LoadWork());
        spill->addTerm(getShard({"a"}), {"a", 0, D_XSD_STRING});
        EXPECT_TRUE(round.attempt([&spill] { spill.reset(); }));
        ShardSpill::removeFrom(getFolder());
        EXPECT_TRUE(getFiles().empty());
    });
    EXPECT_LT(2u, counts.m_tolerated);
}

TEST(ShardSpillNameTest, onlyItsOwnFilesHaveNamesOfFiles) {
    for (const char* const name :
         {"work-rows", "work-terms-00", "work-terms-ff", "work-ids-a0", "work-rows-0", "work-rows-7", "work-rows-10",
          "work-rows-18446744073709551615", "work-ahead-Az09xY"})
        EXPECT_TRUE(ShardSpill::isNameOfFile(name)) << name;
    for (const char* const name : {"",
                                   "work-",
                                   "work-rows2",
                                   "work-rows-00",
                                   "work-rows-",
                                   "work-rows-01",
                                   "work-rows--1",
                                   "work-rows-1a",
                                   "work-rows-1 ",
                                   "work-rows-18446744073709551616",
                                   "work-ahead-",
                                   "work-ahead-Az09x",
                                   "work-ahead-Az09xY1",
                                   "work-ahead-Az0.xY",
                                   "work-ahead",
                                   "work-terms-",
                                   "work-terms-0",
                                   "work-terms-000",
                                   "work-terms-0g",
                                   "work-terms-FF",
                                   "work-ids",
                                   "work-idsa0",
                                   "work-manifest",
                                   "work-plan.txt",
                                   "rows",
                                   "xwork-rows"})
        EXPECT_FALSE(ShardSpill::isNameOfFile(name)) << name;
}

TEST(ShardSpillNameTest, eachProcessHasFilesOfItsOwn) {
    EXPECT_EQ("d/work-rows-0", ShardSpill::getNameOfRowFile("d", 0));
    EXPECT_EQ("/d/e/work-rows-12", ShardSpill::getNameOfRowFile("/d/e", 12));
    EXPECT_EQ("d/work-ahead-XXXXXX", ShardSpill::getPatternOfFileAhead("d"));
    for (const uint64_t number : {uint64_t(0), uint64_t(9), uint64_t(10), ~uint64_t(0)})
        EXPECT_TRUE(ShardSpill::isNameOfFile(ShardSpill::getNameOfRowFile("d", number).substr(2))) << number;
}

TEST_F(ShardSpillTest, filesOfAllProcessesAreRemoved) {
    m_directory.addFile("work-rows-0", "");
    m_directory.addFile("work-rows-11", "");
    m_directory.addFile("work-ahead-abcDE0", "of a process that was killed before its file lost its name");
    m_directory.addFile("work-rows-x", "");
    ShardSpill::removeFrom(getFolder());
    EXPECT_EQ(std::set<std::string>{"work-rows-x"}, getFiles());
}

/// The form itself is not read.
TEST_F(ShardSpillTest, aTermThatFourBytesOfLengthDoNotTellIsRefused) {
    constexpr size_t LONGEST = std::numeric_limits<uint32_t>::max();
    const char* const text = "text";
    EXPECT_NO_THROW(ShardSpill::requireShortForm({std::string_view(text, LONGEST), 0, D_XSD_STRING}));
    EXPECT_THROW(ShardSpill::requireShortForm({std::string_view(text, LONGEST + 1), 0, D_XSD_STRING}), ToolFailure);
}

} // namespace
