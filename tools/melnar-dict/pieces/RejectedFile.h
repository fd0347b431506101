#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileOutputStream.h"

#include <string>
#include <string_view>

/// The file that keeps what a lenient load skips, byte for byte and in the order of the input. It is written as the load
/// goes on, replacing what was there.
///
/// Threads  One at a time.
/// Errors   Those of FileOutputStream.
class RejectedFile : private Unmovable {
public:
    explicit RejectedFile(const std::string& fileName) : m_output(fileName) {}

    /// Appends what was skipped, or a part of it.
    void write(std::string_view text);

    /// Ends the line, if it has no end, so that what follows is not joined to it.
    void endLine();

    /// Makes the file complete: afterwards its bytes are on the disk. The last operation.
    void close();

private:
    FileOutputStream m_output;
    bool m_isInLine = false;
};
