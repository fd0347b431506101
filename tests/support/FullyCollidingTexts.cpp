#include "tests/support/FullyCollidingTexts.h"

#include <array>
#include <stdexcept>
#include <string_view>

namespace {

/// Two different blocks for one position in the chain that lead to the same next state of the hash.
using BlockPair = std::array<std::string_view, 2>;

constexpr std::array<BlockPair, NUMBER_OF_FULLY_COLLIDING_STAGES> STAGES{{
    {{"kdQXEZgC", "-jfPdIz9"}},
    {{"1234eJWF", "00QXdNt3"}},
    {{"Q0x8nvnA", "P6XDmB_6"}},
    {{"K34YzmcN", "JST7QqB9"}},
    {{"hSq6gQGM", "k3WVfEf6"}},
    {{"UUyOXWBD", "T1W-qCc3"}},
    {{"3Iv4zGeB", "2-VXSKF7"}},
    {{"K34YzmcN", "JST7QqB9"}},
    {{"hSq6gQGM", "k3WVfEf6"}},
    {{"UUyOXWBD", "T1W-qCc3"}},
    {{"3Iv4zGeB", "2-VXSKF7"}},
    {{"K34YzmcN", "JST7QqB9"}},
}};

} // namespace

std::vector<std::string> makeFullyCollidingTexts(const size_t number) {
    if (number > LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS)
        throw std::length_error("There are 2^12 fully colliding texts.");
    std::vector<std::string> texts(number);
    for (size_t index = 0; index < number; ++index)
        for (size_t stage = 0; stage < STAGES.size(); ++stage)
            texts[index] += STAGES[stage][index >> stage & 1];
    return texts;
}
