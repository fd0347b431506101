#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A source of bytes.
///
/// Threads  One thread at a time.
/// Errors   Every operation may throw the implementation's own failures.
class MELNAR_EXPORT InputStream {
public:
    /// The largest single read that Linux carries out.
    static constexpr size_t MAXIMUM_BYTES_PER_READ = 0x7FFFF000;

    virtual ~InputStream() = default;

    /// Returns the source of the bytes, for messages: a path, or a word such as "memory".
    virtual const std::string& getName() const = 0;

    /// Reads up to `numberOfBytes` bytes; returns how many it has read, 0 only at the end of the stream.
    virtual size_t read(void* data, size_t numberOfBytes) = 0;

    /// Reads exactly `numberOfBytes` bytes, or throws "Premature end of stream.".
    void readExactly(void* const data, const size_t numberOfBytes) {
        uint8_t* position = static_cast<uint8_t*>(data);
        for (size_t remaining = numberOfBytes; remaining != 0;) {
            const size_t delivered = read(position, std::min(remaining, MAXIMUM_BYTES_PER_READ));
            if (delivered == 0)
                throw MelnarException(FailureKind::DAMAGED_FILE, INPUT_STREAM_SOURCE_FILE, LINE_PREMATURE_END,
                                      MelnarException::NO_CAUSES, "Premature end of stream.");
            position += delivered;
            remaining -= delivered;
        }
    }

    /// Reads the raw bytes of a number, in the machine's byte order.
    uint64_t readUInt64() {
        uint64_t value;
        readExactly(&value, sizeof(value));
        return value;
    }

    /// The same for a number of 32 bits.
    uint32_t readUInt32() {
        uint32_t value;
        readExactly(&value, sizeof(value));
        return value;
    }

    /// Reads a string that OutputStream::writeString wrote; returns whether it is `expected`. If the length differs, it
    /// reads nothing after it, so a wrong length never causes an allocation.
    bool readsString(const std::string_view expected) {
        if (readUInt64() != expected.size())
            return false;
        std::string text(expected.size(), '\0');
        readExactly(text.data(), text.size());
        return text == expected;
    }

private:
    static constexpr const char* INPUT_STREAM_SOURCE_FILE = "Engine/core/platform/stream/InputStream";
    static constexpr long LINE_PREMATURE_END = 26;
};
