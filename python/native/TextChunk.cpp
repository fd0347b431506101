#include "python/native/TextChunk.h"

#include "Reader/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

/// Transcodes characters. Returns the end of the output, or null if one is a surrogate or beyond Unicode.
template<class Character>
char* transcode(const char* const characters, const size_t length, char* output) noexcept {
    for (size_t index = 0; index < length; ++index) {
        Character character;
        std::memcpy(&character, characters + index * sizeof(Character), sizeof(Character));
        if (character < 0x80) {
            *output++ = static_cast<char>(character);
            continue;
        }
        if constexpr (sizeof(Character) > 1)
            if ((character >= 0xD800 && character < 0xE000) || uint32_t(character) > 0x10FFFF)
                return nullptr;
        output = Rdf::Utf8::encode(character, output);
    }
    return output;
}

} // namespace

void TextChunk::clear() noexcept {
    m_texts.clear();
    m_bufferEnd = 0;
    for (PyObject* const text : m_kept)
        Py_DECREF(text);
    m_kept.clear();
}

TextChunk::Added TextChunk::add(PyObject* const text) {
    if (PyUnicode_READY(text) < 0)
        throw std::bad_alloc();
    const auto length = static_cast<size_t>(PyUnicode_GET_LENGTH(text));
    if (!PyUnicode_IS_ASCII(text))
        return add(PyUnicode_DATA(text), length, static_cast<size_t>(PyUnicode_KIND(text)));
    m_kept.push_back(text);
    Py_INCREF(text);
    m_texts.emplace_back(static_cast<const char*>(PyUnicode_DATA(text)), length);
    return Added::DONE;
}

TextChunk::Added TextChunk::add(const void* const characters, const size_t length, const size_t width) {
    // A one-byte character becomes at most two bytes, a two-byte one at most three.
    const size_t size = length * (width == 4 ? 4 : width + 1);
    if (size > m_buffer.size() - m_bufferEnd) {
        if (m_bufferEnd != 0)
            return Added::NO_ROOM;
        m_buffer.resize(std::max(size, BUFFER_SIZE));
    }
    char* const begin = m_buffer.data() + m_bufferEnd;
    const auto* const data = static_cast<const char*>(characters);
    const char* const end = width == 1   ? transcode<uint8_t>(data, length, begin)
                            : width == 2 ? transcode<uint16_t>(data, length, begin)
                                         : transcode<uint32_t>(data, length, begin);
    if (end == nullptr)
        return Added::NO_UTF8;
    m_texts.emplace_back(begin, static_cast<size_t>(end - begin));
    m_bufferEnd += m_texts.back().size();
    return Added::DONE;
}
