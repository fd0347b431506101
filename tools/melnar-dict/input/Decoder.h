#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <span>

/// Decompresses the bytes of a compressed file: all of its streams, each checked as the format allows.
///
/// Threads  One at a time.
/// Errors   A ToolFailure if the bytes are damaged, or would need too much memory. The ranges then show what had been
///          done before. std::bad_alloc.
class Decoder : private Unmovable {
public:
    virtual ~Decoder() = default;

    /// Takes bytes from the front of `packed` and writes bytes to the front of `unpacked`, and shortens both ranges
    /// accordingly. Returns when `packed` has been used up and all of its contents are written, or when `unpacked` is
    /// full.
    ///
    /// `isLast` says that no bytes follow those in `packed`. Returns whether the file may end after the bytes that have
    /// been taken so far.
    virtual bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) = 0;
};
