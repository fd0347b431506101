#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <span>

/// Turns the bytes of a packed file into those that it holds: all of its streams, each checked as the format allows.
///
/// Threads  One at a time.
/// Errors   A ToolFailure if the bytes are damaged, or would take too much memory to unpack. The ranges then tell what
///          had been done before. std::bad_alloc.
class Decoder : private Unmovable {
public:
    virtual ~Decoder() = default;

    /// Takes bytes from the front of `packed` and puts bytes to the front of `unpacked`, and shortens both ranges by
    /// that. Returns when `packed` has been used up and all that it holds is put out, or when `unpacked` is full.
    ///
    /// `isLast` tells that no bytes will follow those in `packed`. Returns whether the file may end behind the bytes
    /// that have been taken so far.
    virtual bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) = 0;
};
