#pragma once

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace melnar {

/// A string in the data pool, read in place:
///
///   size header    1, 2, 4 or 8 bytes    the stored size S; see AdaptiveResourceSizeEncoding
///   lexical bytes  S - 1 bytes
///   terminator     1 byte                0, so that the bytes can be used as a C string
///
/// The bytes belong to the pool.
class StringChunk {
public:
    /// `chunk` is the first byte of the size header. Always inlined, since a call would double the time.
    [[gnu::always_inline]] explicit StringChunk(const uint8_t* const chunk) noexcept
        : m_headerLength(AdaptiveResourceSizeEncoding::decodeSize(chunk, m_storedSize)),
          m_data(chunk + m_headerLength) {}

    /// Returns the size of lexical bytes and terminator.
    size_t getStoredSize() const noexcept { return m_storedSize; }

    /// Returns the size of header, lexical bytes and terminator.
    size_t getChunkSize() const noexcept { return m_headerLength + m_storedSize; }

    const uint8_t* getData() const noexcept { return m_data; }
    const char* getLexicalForm() const noexcept { return reinterpret_cast<const char*>(m_data); }
    size_t getLexicalFormLength() const noexcept { return m_storedSize - 1; }

    /// Returns whether a chunk holds a given string: its stored size and its lexical bytes are those of the string,
    /// whatever the format of the header.
    static bool isChunkOf(const uint8_t* const chunk, const char* const lexicalForm,
                          const size_t lexicalFormLength) noexcept {
        const StringChunk stored(chunk);
        return stored.getStoredSize() == lexicalFormLength + 1 &&
               areEqual(stored.getLexicalForm(), lexicalForm, lexicalFormLength);
    }

    /// Returns how many bytes the chunk of a string takes.
    static constexpr size_t getChunkSizeFor(const size_t lexicalFormLength) noexcept {
        return AdaptiveResourceSizeEncoding::getEncodedSizeLength(lexicalFormLength + 1) + lexicalFormLength + 1;
    }

    /// Writes the chunk of a string.
    static void write(uint8_t* const chunk, const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
        uint8_t* const data = chunk + AdaptiveResourceSizeEncoding::encodeSize(chunk, lexicalFormLength + 1);
        if (lexicalFormLength != 0)
            std::memcpy(data, lexicalForm, lexicalFormLength);
        data[lexicalFormLength] = 0;
    }

private:
    /// Compares word by word, which for most strings is faster than a call.
    static bool areEqual(const char* first, const char* second, const size_t length) noexcept {
        constexpr size_t LONGEST_BY_WORDS = 128;
        if (length < sizeof(uint64_t) || length > LONGEST_BY_WORDS)
            return length == 0 || std::memcmp(first, second, length) == 0;
        const char* const lastWord = first + length - sizeof(uint64_t);
        uint64_t difference = getWord(lastWord) ^ getWord(second + length - sizeof(uint64_t));
        for (; first < lastWord; first += sizeof(uint64_t), second += sizeof(uint64_t))
            difference |= getWord(first) ^ getWord(second);
        return difference == 0;
    }

    static uint64_t getWord(const char* const bytes) noexcept {
        uint64_t word;
        std::memcpy(&word, bytes, sizeof(word));
        return word;
    }

    size_t m_storedSize;
    size_t m_headerLength;
    const uint8_t* m_data;
};

} // namespace melnar
