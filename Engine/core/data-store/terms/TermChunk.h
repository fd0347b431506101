#pragma once

#include "Engine/core/data-store/dictionary/StringChunk.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// A term in the data pool, read in place:
///
///   affix number   1 to 3 bytes    of the text that the term shares with others, or 0: seven bits per byte, the lowest
///                                  first; the highest bit of a byte states that another one follows
///   own part       a StringChunk   the rest of the lexical form
///
/// The bytes belong to the pool.
class TermChunk {
public:
    static constexpr uint32_t LARGEST_AFFIX_NUMBER = (1 << 21) - 1;
    static constexpr size_t LONGEST_AFFIX_NUMBER = 3; // in bytes

    /// `chunk` is the first byte of the affix number.
    explicit TermChunk(const uint8_t* const chunk) noexcept
        : m_affixNumber(0), m_ownPart(readAffixNumber(chunk, m_affixNumber)), m_begin(chunk) {}

    uint32_t getAffixNumber() const noexcept { return m_affixNumber; }
    const StringChunk& getOwnPart() const noexcept { return m_ownPart; }

    std::string_view getOwnText() const noexcept {
        return {m_ownPart.getLexicalForm(), m_ownPart.getLexicalFormLength()};
    }

    size_t getChunkSize() const noexcept {
        return static_cast<size_t>(m_ownPart.getData() - m_begin) + m_ownPart.getStoredSize();
    }

    static constexpr size_t getChunkSizeFor(const uint32_t affixNumber, const size_t ownLength) noexcept {
        return getNumberLength(affixNumber) + StringChunk::getChunkSizeFor(ownLength);
    }

    static void write(uint8_t* chunk, uint32_t affixNumber, const std::string_view ownText) noexcept {
        for (; affixNumber >= 0x80; affixNumber >>= 7)
            *chunk++ = static_cast<uint8_t>(affixNumber | 0x80);
        *chunk++ = static_cast<uint8_t>(affixNumber);
        StringChunk::write(chunk, ownText.data(), ownText.size());
    }

    /// Reads a number of at most LONGEST_AFFIX_NUMBER bytes; returns where it ends.
    static const uint8_t* readAffixNumber(const uint8_t* chunk, uint32_t& affixNumber) noexcept {
        affixNumber = *chunk & 0x7F;
        if (*chunk++ < 0x80) [[likely]]
            return chunk;
        affixNumber |= static_cast<uint32_t>(*chunk & 0x7F) << 7;
        if (*chunk++ < 0x80)
            return chunk;
        affixNumber |= static_cast<uint32_t>(*chunk++ & 0x7F) << 14;
        return chunk;
    }

private:
    static constexpr size_t getNumberLength(const uint32_t affixNumber) noexcept {
        return affixNumber < 1 << 7 ? 1 : affixNumber < 1 << 14 ? 2 : 3;
    }

    uint32_t m_affixNumber;
    StringChunk m_ownPart;
    const uint8_t* m_begin;
};

} // namespace melnar
