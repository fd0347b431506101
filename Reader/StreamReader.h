#pragma once

#include "Reader/SyntaxReader.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace Rdf {

/// Reads an input that comes in pieces, cut wherever they are. Keeps what is not read for good: at most the longest
/// statement and a few hundred kilobytes.
///
/// Ownership  The reader must outlive it, and is used through it until `finish`.
/// Threads    One at a time.
/// Errors     As the reader's; std::bad_alloc when a statement is too long for the memory.
class StreamReader {
public:
    explicit StreamReader(SyntaxReader& reader) : m_reader(reader) {}

    /// Returns where the next bytes of the input can be put.
    std::span<char> getSpace();

    /// Takes the bytes that were put at the start of the space.
    void addText(size_t size);

    /// Takes bytes of the input by copying them.
    void feed(std::string_view text);

    /// Says that the input is at its end.
    void finish();

private:
    void read(bool isLast);

    static constexpr size_t SMALLEST_SPACE = size_t(1) << 18;

    SyntaxReader& m_reader;
    std::unique_ptr<char[]> m_buffer;
    size_t m_capacity = 0;
    size_t m_size = 0;
    size_t m_sizeToRead = 0; // a statement that was cut is read again only when there is twice as much of it
};

} // namespace Rdf
