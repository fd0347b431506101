#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <mutex>
#include <ostream>
#include <string_view>

/// What a verb tells the person who runs it while it works, on standard error: messages, and below them, on a terminal,
/// one line that is rewritten. The two never mix, and an interruption leaves the cursor in a line of its own.
///
/// Ownership  Refers to the stream; removes the line in the end.
/// Threads    Any number at once.
class MessageOutput : private Unmovable {
public:
    explicit MessageOutput(std::ostream& output) : m_output(output) {}
    ~MessageOutput() { removeLine(); }

    /// Writes whole messages, a line each, in the place of the rewritten line.
    void write(std::string_view messages);

    /// Shows a line, given without its end, in the place of the last one. Only for terminals.
    void showLine(std::string_view line);

    /// Removes the line, if there is one.
    void removeLine();

private:
    void erase();

    std::mutex m_mutex; // protects all that follows
    std::ostream& m_output;
    bool m_hasLine = false;
};
