#pragma once

#include "tools/melnar-dict/input/BitString.h"

#include "Engine/core/platform/Unmovable.h"

#include <span>
#include <string>

#include <bzlib.h>

/// Decompresses one block of a bzip2 file, as a stream of its own, and checks it against its checksum.
///
/// Threads  Different blocks, any number concurrently.
/// Errors   std::bad_alloc.
class Bzip2Block : private Unmovable {
public:
    enum class State {
        FULL,  // there is more output
        DONE,  // the bits were a sound block and nothing else
        BROKEN // the bits were not a sound block
    };

    /// Takes a copy of the bits, including the magic of the block.
    explicit Bzip2Block(const BitString& bits);
    ~Bzip2Block();

    /// Writes bytes to the front of `unpacked`, which is not empty, and shortens it by them.
    State decode(std::span<char>& unpacked);

    /// Returns whether bits that are not a sound block could be the start of one.
    static bool couldBegin(const BitString& bits);

private:
    /// Starts a stream with the bits.
    explicit Bzip2Block(std::string stream);

    int advance(std::span<char>& unpacked);

    std::string m_stream;
    bz_stream m_state{};
};
