#pragma once

#include "tools/melnar-dict/input/BitString.h"

#include "Engine/core/platform/Unmovable.h"

#include <span>
#include <string>

#include <bzlib.h>

/// Unpacks one block of a bzip2 file, as a stream of its own, and checks it against its checksum.
///
/// Threads  Different blocks, any number at once.
/// Errors   std::bad_alloc.
class Bzip2Block : private Unmovable {
public:
    enum class State {
        FULL,  // there is more than what has been put out
        DONE,  // the bits were a sound block and nothing else
        BROKEN // they were not
    };

    /// Takes a copy of the bits, the magic of the block included.
    explicit Bzip2Block(const BitString& bits);
    ~Bzip2Block();

    /// Puts bytes to the front of `unpacked`, which is not empty, and shortens it by them.
    State decode(std::span<char>& unpacked);

    /// Whether bits that are no sound block could begin one.
    static bool couldBegin(const BitString& bits);

private:
    /// Begins a stream with the bits.
    explicit Bzip2Block(std::string stream);

    int advance(std::span<char>& unpacked);

    std::string m_stream;
    bz_stream m_state{};
};
