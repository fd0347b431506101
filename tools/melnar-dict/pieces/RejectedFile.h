#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileOutputStream.h"

#include <string>
#include <string_view>

/// The file with the bytes that a lenient load skips, in the order of the input. It is written during the load, and
/// replaces an old file.
///
/// Threads  One at a time.
/// Errors   Those of FileOutputStream.
class RejectedFile : private Unmovable {
public:
    explicit RejectedFile(const std::string& fileName) : m_output(fileName) {}

    /// Appends skipped bytes, or a part of them.
    void write(std::string_view text);

    /// Ends the line, if it has no end, so that it is separated from the next bytes.
    void endLine();

    /// Completes the file: afterwards its bytes are on the disk. The last operation.
    void close();

private:
    melnar::FileOutputStream m_output;
    bool m_isInLine = false;
};
