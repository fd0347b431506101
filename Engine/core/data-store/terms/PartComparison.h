#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace melnar {

/// Compares the parts of terms. Their lengths vary, so branches that depend on them would often be mispredicted, which
/// costs more than the comparison. Therefore there are as few such branches as possible.
///
/// Threads  Any threads concurrently.
class PartComparison {
public:
    PartComparison() = delete;

    /// Returns whether two texts of the same length are equal. An empty text may be a null pointer.
    static bool areEqual(const char* const first, const char* const second, const size_t length) noexcept {
        if (length < sizeof(uint32_t) || length > 4 * sizeof(Pair))
            return length == 0 || std::memcmp(first, second, length) == 0;
        if (length <= 4 * sizeof(uint32_t))
            return getDifference<uint32_t>(first, second, length) == 0;
        const Pair difference = getDifference<Pair>(first, second, length);
        return (difference[0] | difference[1]) == 0;
    }

private:
    using Pair [[gnu::vector_size(16)]] = uint64_t;

    /// Compares two texts of one to four words in length with four words each, which may overlap: two from the start
    /// on, and two up to the end.
    template<class Word>
    static Word getDifference(const char* const first, const char* const second, const size_t length) noexcept {
        const size_t step = length / (2 * sizeof(Word)) * sizeof(Word);
        const size_t last = length - sizeof(Word);
        return (getDifferenceAt<Word>(first, second, 0) | getDifferenceAt<Word>(first, second, step)) |
               (getDifferenceAt<Word>(first, second, last - step) | getDifferenceAt<Word>(first, second, last));
    }

    template<class Word>
    static Word getDifferenceAt(const char* const first, const char* const second, const size_t offset) noexcept {
        Word firstWord;
        Word secondWord;
        std::memcpy(&firstWord, first + offset, sizeof(Word));
        std::memcpy(&secondWord, second + offset, sizeof(Word));
        return firstWord ^ secondWord;
    }
};

} // namespace melnar
