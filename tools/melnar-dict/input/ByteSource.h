#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <string>

/// Bytes from a file, in order.
///
/// Threads  One at a time.
/// Errors   A ToolFailure with ExitCode::FAILURE that contains the cause but not the file, which the caller knows.
class ByteSource : private Unmovable {
public:
    virtual ~ByteSource() = default;

    /// Delivers at least one byte and at most `size`; 0 only at the end. `size` is not 0.
    virtual size_t read(char* buffer, size_t size) = 0;

    /// Replaces the text by so many bytes; fewer only if there are no more.
    void readFully(std::string& bytes, const size_t size) {
        bytes.resize(size);
        size_t length = 0;
        while (length != size) {
            const size_t delivered = read(bytes.data() + length, size - length);
            if (delivered == 0)
                break;
            length += delivered;
        }
        bytes.resize(length);
    }
};
