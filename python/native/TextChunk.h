#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <Python.h>

#include <cstddef>
#include <string_view>
#include <vector>

/// Some texts of a column, as UTF-8 that can be read without the GIL. ASCII, which Python's strings contain in this
/// form, is not copied. Other strings are transcoded into a buffer of this object: PyUnicode_AsUTF8AndSize would leave
/// a second copy in each of them.
///
/// Ownership  Keeps the strings alive to which it refers.
/// Threads    One at a time. Everything except getTexts needs the GIL.
/// Errors     std::bad_alloc.
class TextChunk : private Unmovable {
public:
    /// The number of texts that are encoded together. More are better if other threads run Python, since the thread may
    /// have to wait for the GIL after each chunk; fewer stay in the cache.
    static constexpr size_t CAPACITY = 8192;

    /// The size of the buffer, which only a single longer text exceeds.
    static constexpr size_t BUFFER_SIZE = size_t(1) << 20;

    enum class Added { DONE, NO_ROOM, NO_UTF8 };

    TextChunk() = default;
    ~TextChunk() { clear(); }

    void clear() noexcept;

    bool isFull() const noexcept { return m_texts.size() == CAPACITY; }

    /// Adds a str. NO_ROOM means that the chunk must be encoded first.
    Added add(PyObject* text);

    /// Adds characters of one, two or four bytes each, which need not be aligned.
    Added add(const void* characters, size_t length, size_t width);

    /// Adds bytes that do not move.
    void addBytes(const std::string_view bytes) { m_texts.push_back(bytes); }

    const std::vector<std::string_view>& getTexts() const noexcept { return m_texts; }

private:
    std::vector<std::string_view> m_texts;
    std::vector<PyObject*> m_kept;
    std::vector<char> m_buffer;
    size_t m_bufferEnd = 0;
};
