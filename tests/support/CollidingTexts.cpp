#include "tests/support/CollidingTexts.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <array>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <unordered_map>

namespace {

constexpr size_t NUMBER_OF_STAGES = 16;
constexpr size_t BLOCK_LENGTH = 7; // 26^7 blocks are far more than a birthday search for 30 bits needs
constexpr uint64_t LOW_BITS = (uint64_t(1) << NUMBER_OF_COLLIDING_HASH_BITS) - 1;

static_assert(LARGEST_NUMBER_OF_COLLIDING_TEXTS == size_t(1) << NUMBER_OF_STAGES);
static_assert(COLLIDING_TEXT_LENGTH == NUMBER_OF_STAGES * BLOCK_LENGTH);

/// Two different blocks for one position in the chain that lead to the same low bits.
using BlockPair = std::array<std::string, 2>;

std::string makeBlock(std::mt19937_64& randomNumbers) {
    uint64_t random = randomNumbers();
    std::string block(BLOCK_LENGTH, '\0');
    for (char& letter : block) {
        letter = static_cast<char>('a' + random % 26);
        random /= 26;
    }
    return block;
}

/// Finds two blocks that lead from the low bits of `hash` to equal low bits.
BlockPair findBlockPair(const uint64_t hash, std::mt19937_64& randomNumbers) {
    std::unordered_map<uint64_t, std::string> blocksByLowBits;
    for (;;) {
        std::string block = makeBlock(randomNumbers);
        const auto [place, isNew] = blocksByLowBits.try_emplace(continueHash(hash, block) & LOW_BITS, block);
        if (!isNew && place->second != block)
            return {place->second, block};
    }
}

} // namespace

std::vector<std::string> makeCollidingTexts(const size_t number) {
    if (number > LARGEST_NUMBER_OF_COLLIDING_TEXTS)
        throw std::length_error("There are 2^16 colliding texts.");
    std::mt19937_64 randomNumbers; // its default seed and its numbers are standardised
    std::array<BlockPair, NUMBER_OF_STAGES> stages;
    uint64_t hash = FNV_1A_OFFSET_BASIS;
    for (BlockPair& stage : stages) {
        stage = findBlockPair(hash, randomNumbers);
        hash = continueHash(hash, stage[0]);
    }
    std::vector<std::string> texts(number);
    for (size_t index = 0; index < number; ++index)
        for (size_t stage = 0; stage < NUMBER_OF_STAGES; ++stage)
            texts[index] += stages[stage][index >> stage & 1];
    return texts;
}
