#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <string>
#include <string_view>

/// The data that the tool puts out: collected here, so that a failure to write is never overlooked.
///
/// Ownership  Refers to a file descriptor, which stays open.
/// Threads    One at a time.
/// Errors     A ToolFailure with ExitCode::FAILURE when something cannot be written; what was to be written is dropped
///            then. What has not been flushed when this is destroyed is not written.
class StandardOutput : private Unmovable {
public:
    explicit StandardOutput(const int fileDescriptor) : m_fileDescriptor(fileDescriptor) {}

    void write(std::string_view text);

    /// Hands everything written so far to the system.
    void flush();

    /// The same when something else has failed, whose failure is the one to report.
    void flushAfterFailure() noexcept;

private:
    const int m_fileDescriptor;
    std::string m_buffer;
};
