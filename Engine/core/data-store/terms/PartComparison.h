#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace melnar {

/// Compares the parts of terms. Their lengths come in no order, so that a branch that depends on one would often be
/// mispredicted, which costs more than the comparison: there are as few of them as can be.
///
/// Threads  Any threads concurrently.
class PartComparison {
public:
    PartComparison() = delete;

    /// Whether two texts of one length are equal. A null pointer may stand for an empty text.
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

    /// Compares one to four words' length of bytes by four words, which may overlap: two from the begin on, and two up to
    /// the end.
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
