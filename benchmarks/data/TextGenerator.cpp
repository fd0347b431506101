#include "benchmarks/data/TextGenerator.h"

#include "benchmarks/data/RandomNumbers.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace {

constexpr uint64_t NUMBER_OF_TEXTS = uint64_t(1) << 30;

// Five digits of six bits distinguish all numbers, four the smaller ones.
constexpr size_t NUMBER_OF_DIGITS = 5;
constexpr size_t SHORTEST = 4;
constexpr uint64_t NUMBER_OF_SHORTEST = uint64_t(1) << 24;
constexpr size_t LONGEST = 200;
constexpr double MEAN_BEYOND_SHORTEST = 32.07; // gives 32 if lengths beyond the longest are cut

constexpr const char* const DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr const char* const LETTERS = "abcdefghijklmnopqrstuvwxyz eatno";

size_t drawLength(const TextKind kind, const uint64_t number, RandomNumbers& randomNumbers) {
    if (kind == TextKind::SHORT)
        return NUMBER_OF_DIGITS + randomNumbers.below(25);
    const double beyondShortest = -MEAN_BEYOND_SHORTEST * std::log(1 - randomNumbers.fraction());
    const size_t length =
        SHORTEST + static_cast<size_t>(std::min(std::round(beyondShortest), double(LONGEST - SHORTEST)));
    return length == SHORTEST && number >= NUMBER_OF_SHORTEST ? SHORTEST + 1 : length;
}

void makeText(const TextKind kind, const uint64_t number, std::string& text) {
    RandomNumbers randomNumbers(number * 0xD1342543DE82EF95 + static_cast<uint64_t>(kind));
    const size_t length = drawLength(kind, number, randomNumbers);
    const size_t numberOfDigits = std::min(length, NUMBER_OF_DIGITS);
    text.resize(length);
    uint64_t random = 0;
    for (size_t index = 0; index < length - numberOfDigits; ++index) {
        if (index % 8 == 0)
            random = randomNumbers();
        text[index] = LETTERS[random % 32];
        random >>= 8;
    }
    // An odd factor permutes the numbers of as many bits as the digits have.
    uint64_t digits = number * 0x9E3779B1;
    for (size_t index = length - numberOfDigits; index < length; ++index) {
        text[index] = DIGITS[digits % 64];
        digits >>= 6;
    }
}

} // namespace

TextList generateTexts(const TextKind kind, const uint64_t first, const size_t number) {
    if (first + number > NUMBER_OF_TEXTS)
        throw std::length_error("A sequence of strings has 2^30 of them.");
    TextList texts;
    texts.reserve(number, number * (kind == TextKind::SHORT ? 18 : 37));
    std::string text;
    for (uint64_t index = first; index < first + number; ++index) {
        makeText(kind, index, text);
        texts.append(text);
    }
    return texts;
}
