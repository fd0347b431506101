#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <string>
#include <string_view>

/// The data that the tool writes to standard output: collected here, so that no write failure is overlooked.
///
/// Ownership  Refers to a file descriptor, which stays open.
/// Threads    One at a time.
/// Errors     A ToolFailure with ExitCode::FAILURE if something cannot be written; the buffered data is dropped then.
///            Data that has not been flushed when this is destroyed is not written.
class StandardOutput : private Unmovable {
public:
    explicit StandardOutput(const int fileDescriptor) : m_fileDescriptor(fileDescriptor) {}

    void write(std::string_view text);

    /// Passes everything written so far to the system.
    void flush();

    /// Does the same after another failure, which is the one to report.
    void flushAfterFailure() noexcept;

private:
    const int m_fileDescriptor;
    std::string m_buffer;
};
