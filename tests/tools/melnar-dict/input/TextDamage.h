#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <string>

/// Changes texts at random, in the same way in every run.
class TextDamage {
public:
    explicit TextDamage(const uint64_t seed) : m_random(seed) {}

    /// Returns a number from 0 to `bound` - 1.
    size_t below(const size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(m_random); }

    /// Removes a few bytes, repeats some, truncates the text by at most `largestCut` bytes, or inserts a piece.
    void change(std::string& text, const std::span<const std::string> pieces,
                const size_t largestCut = std::numeric_limits<size_t>::max()) {
        const size_t position = below(text.size() + 1);
        switch (below(5)) {
        case 0:
            text.erase(position, 1 + below(3));
            break;
        case 1:
            text.insert(position, text.substr(below(text.size() + 1), below(20)));
            break;
        case 2:
            text.resize(std::max(position, text.size() - std::min(text.size(), largestCut)));
            break;
        default:
            text.insert(position, pieces[below(pieces.size())]);
        }
    }

private:
    std::mt19937_64 m_random;
};
