/// Makes the table of tests/support/FullyCollidingTexts.cpp and writes it to the standard output.
///
/// Each stage is a state of 64-bit FNV-1a that needs two blocks of eight letters leading to the same next state. The
/// low 32 bits of a state depend only on the low 32 bits of the state before, and the step of a byte can be inverted.
/// So blocks that lead to chosen low bits are found by meeting in the middle: the states after every first half and
/// before every second half. Tens of thousands of such blocks agree in the low bits, and a birthday search in the upper
/// 32 bits finds two that agree in all bits. Each stage needs a few choices of low bits. Whether two blocks meet
/// depends only on the low bits of the state before them, so pairs recur where these do.
///
/// Takes about five minutes of one core and 200 MB. The table is the same on every machine.

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "tests/support/FullyCollidingTexts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::string_view LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr size_t HALF_LENGTH = FULLY_COLLIDING_BLOCK_LENGTH / 2;
constexpr size_t NUMBER_OF_HALVES = size_t(1) << 24; // four letters of six bits
static_assert(LETTERS.size() == 64 && HALF_LENGTH == 4);

constexpr auto LOW_PRIME = static_cast<uint32_t>(FNV_1A_PRIME);

/// Returns the number whose product with an odd one is 1, modulo 2^32.
constexpr uint32_t invert(const uint32_t odd) {
    uint32_t inverse = odd; // right in three bits, and each step doubles them
    for (size_t step = 0; step < 4; ++step)
        inverse *= 2 - odd * inverse;
    return inverse;
}

constexpr uint32_t INVERSE_OF_LOW_PRIME = invert(LOW_PRIME);
static_assert(LOW_PRIME * INVERSE_OF_LOW_PRIME == 1);

using Half = std::array<char, HALF_LENGTH>;

Half makeHalf(const size_t number) {
    Half half{};
    for (size_t index = 0; index < half.size(); ++index)
        half[index] = LETTERS[number >> 6 * index & 63];
    return half;
}

std::string makeBlock(const size_t firstHalf, const size_t secondHalf) {
    std::string block;
    for (const size_t number : {firstHalf, secondHalf})
        for (const char letter : makeHalf(number))
            block += letter;
    return block;
}

/// The first halves, by the upper bits of the low state after them.
class FirstHalves {
public:
    explicit FirstHalves(const uint64_t state) : m_begins(NUMBER_OF_BINS + 1), m_halves(NUMBER_OF_HALVES) {
        std::vector<uint32_t> lowStates(NUMBER_OF_HALVES);
        for (size_t number = 0; number < NUMBER_OF_HALVES; ++number) {
            auto lowState = static_cast<uint32_t>(state);
            for (const char letter : makeHalf(number))
                lowState = (lowState ^ static_cast<uint8_t>(letter)) * LOW_PRIME;
            lowStates[number] = lowState;
            ++m_begins[getBin(lowState) + 1];
        }
        for (size_t bin = 0; bin < NUMBER_OF_BINS; ++bin)
            m_begins[bin + 1] += m_begins[bin];
        std::vector<uint32_t> nexts(m_begins.begin(), m_begins.end() - 1);
        for (size_t number = 0; number < NUMBER_OF_HALVES; ++number)
            m_halves[nexts[getBin(lowStates[number])]++] = {lowStates[number], static_cast<uint32_t>(number)};
    }

    /// Calls `visitor` with the number of every half after which the low state is this one.
    template<class Visitor>
    void forEach(const uint32_t lowState, const Visitor visitor) const {
        const size_t bin = getBin(lowState);
        for (size_t place = m_begins[bin]; place < m_begins[bin + 1]; ++place)
            if (m_halves[place].m_lowState == lowState)
                visitor(m_halves[place].m_number);
    }

private:
    struct Entry {
        uint32_t m_lowState;
        uint32_t m_number;
    };

    static constexpr size_t NUMBER_OF_BINS = size_t(1) << 24;

    static size_t getBin(const uint32_t lowState) { return lowState >> 8; }

    std::vector<uint32_t> m_begins;
    std::vector<Entry> m_halves;
};

/// Returns two blocks that lead from a state to the same next state.
std::array<std::string, 2> findBlockPair(const uint64_t state) {
    const FirstHalves firstHalves(state);
    for (uint32_t wantedLowState = 0;; wantedLowState += 0x9E3779B9) {
        std::unordered_map<uint64_t, std::string> blocksByNextState;
        std::array<std::string, 2> pair;
        for (size_t secondHalf = 0; secondHalf < NUMBER_OF_HALVES && pair[0].empty(); ++secondHalf) {
            uint32_t lowState = wantedLowState;
            const Half half = makeHalf(secondHalf);
            for (size_t index = half.size(); index != 0; --index)
                lowState = (lowState * INVERSE_OF_LOW_PRIME) ^ static_cast<uint8_t>(half[index - 1]);
            firstHalves.forEach(lowState, [&](const size_t firstHalf) {
                const std::string block = makeBlock(firstHalf, secondHalf);
                const auto [known, isNew] = blocksByNextState.try_emplace(continueHash(state, block), block);
                if (!isNew)
                    pair = {known->second, block};
            });
        }
        if (!pair[0].empty())
            return pair;
    }
}

} // namespace

int main() {
    uint64_t state = FNV_1A_OFFSET_BASIS;
    for (size_t stage = 0; stage < NUMBER_OF_FULLY_COLLIDING_STAGES; ++stage) {
        const std::array<std::string, 2> pair = findBlockPair(state);
        std::cout << "    {{\"" << pair[0] << "\", \"" << pair[1] << "\"}},\n" << std::flush;
        state = continueHash(state, pair[0]);
    }
    return 0;
}
