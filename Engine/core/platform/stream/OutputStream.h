#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A sink of bytes.
///
/// Threads  One thread at a time.
/// Errors   Every operation may throw the implementation's own failures.
class MELNAR_EXPORT OutputStream {
public:
    virtual ~OutputStream() = default;

    /// Returns the destination of the bytes, for messages: a path, or a word such as "memory".
    virtual const std::string& getName() const = 0;

    /// Appends `numberOfBytes` bytes.
    virtual void write(const void* data, size_t numberOfBytes) = 0;

    /// Passes buffered bytes to their destination.
    virtual void flush() = 0;

    /// Writes the raw bytes of a number, in the machine's byte order.
    void writeUInt64(const uint64_t value) { write(&value, sizeof(value)); }

    /// The same for a number of 32 bits.
    void writeUInt32(const uint32_t value) { write(&value, sizeof(value)); }

    /// Writes an 8-byte length and then the bytes, without a terminator.
    void writeString(const std::string_view text) {
        writeUInt64(text.size());
        write(text.data(), text.size());
    }
};
