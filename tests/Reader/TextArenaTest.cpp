#include "Reader/TextArena.h"

#include "tests/support/AllocationFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using namespace Rdf;

TEST(TextArenaTest, textsStayAsTheyAreWhileOthersAreAdded) {
    TextArena arena;
    std::vector<char*> texts;
    const std::vector<size_t> sizes{1, 4095, 1, 0, 8191, 20'000, 3};
    for (const size_t size : sizes) {
        texts.push_back(arena.allocate(size));
        std::fill_n(texts.back(), size, static_cast<char>('a' + texts.size()));
    }
    for (size_t index = 0; index < sizes.size(); ++index)
        EXPECT_EQ(static_cast<ptrdiff_t>(sizes[index]),
                  std::count(texts[index], texts[index] + sizes[index], static_cast<char>('b' + index)));
}

TEST(TextArenaTest, theRoomIsWhatTheLastBlockHasLeft) {
    TextArena arena;
    EXPECT_TRUE(arena.getRoom().empty());
    const char* const text = arena.allocate(96);
    EXPECT_EQ(text + 96, arena.getRoom().data());
    EXPECT_EQ(4000u, arena.getRoom().size());
    arena.allocate(4000);
    EXPECT_EQ(0u, arena.getRoom().size());
    arena.allocate(92);
    EXPECT_EQ(8100u, arena.getRoom().size()) << "a block is twice as large as the one before";
    arena.allocate(30'000);
    EXPECT_EQ(0u, arena.getRoom().size()) << "or as large as its text";
}

TEST(TextArenaTest, clearKeepsTheLargestBlockAlone) {
    const BlockCounter blocks;
    {
        TextArena arena;
        arena.clear();
        for (const size_t size : {5'000u, 20'000u, 60'000u})
            arena.allocate(size);
        arena.clear();
        EXPECT_EQ(2, blocks.getGrowth()) << "the block, and the list of blocks";
        EXPECT_EQ(60'000u, arena.getRoom().size());
    }
    EXPECT_EQ(0, blocks.getGrowth());
}

} // namespace
