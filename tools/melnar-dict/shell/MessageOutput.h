#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <mutex>
#include <ostream>
#include <string_view>

/// The output of a running verb to its user, on standard error: messages, and below them, on a terminal, one line that
/// is updated. The two never mix, and an interruption leaves the cursor on a new line.
///
/// Ownership  Refers to the stream; removes the line at the end.
/// Threads    Any number concurrently.
class MessageOutput : private Unmovable {
public:
    explicit MessageOutput(std::ostream& output) : m_output(output) {}
    ~MessageOutput() { removeLine(); }

    /// Writes whole messages, one per line; they replace the updated line.
    void write(std::string_view messages);

    /// Shows a line, given without its end, instead of the last one. Only for terminals.
    void showLine(std::string_view line);

    /// Removes the line, if there is one.
    void removeLine();

private:
    void erase();

    std::mutex m_mutex; // protects all that follows
    std::ostream& m_output;
    bool m_hasLine = false;
};
