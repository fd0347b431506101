#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// Bytes from a file, in order.
///
/// Threads  One at a time.
/// Errors   A ToolFailure with ExitCode::FAILURE that tells the cause but not the file, which the caller knows.
class ByteSource : private Unmovable {
public:
    virtual ~ByteSource() = default;

    /// Delivers at least one byte and at most `size`; 0 only at the end. `size` is not 0.
    virtual size_t read(char* buffer, size_t size) = 0;
};
