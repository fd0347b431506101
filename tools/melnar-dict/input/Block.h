#pragma once

#include "Reader/TurtleRelay.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// A part of a file: whole lines, except that the last line of the file may lack its end, and that a line that is too
/// long continues in the next block. Of Turtle and TriG, whole statements as far as can be guessed.
struct Block {
    uint64_t m_sequence = 0; // counts the blocks of a file from 0
    std::unique_ptr<char[]> m_bytes;
    size_t m_capacity = 0;
    size_t m_begin = 0;
    size_t m_end = 0;
    size_t m_lengthOfRest = 0; // of a line that started in an earlier block and is too long: it comes first
    // Of Turtle and TriG only:
    Rdf::Place m_place; // where it begins in the file
    Rdf::TurtleRelay::Cut m_cut = Rdf::TurtleRelay::Cut::ANYWHERE;

    std::string_view getText() const noexcept { return {m_bytes.get() + m_begin, m_end - m_begin}; }
};
