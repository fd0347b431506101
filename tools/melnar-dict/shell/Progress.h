#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The progress of a piece of work.
struct ProgressFigures {
    struct Count {
        uint64_t m_number;
        std::string m_noun; // in the plural
    };

    std::string m_work{};      // the activity, such as: loading
    uint64_t m_bytes = 0;      // that were read, compressed or not; 0 if nothing is read
    uint64_t m_totalBytes = 0; // of all files; 0 if unknown
    std::vector<Count> m_counts{};
    uint64_t m_memoryBytes = 0; // 0 if not shown
};

/// Writes one line without its end. The rate and the remaining time are based on the whole time of the work.
std::string describeProgress(const ProgressFigures& figures, double seconds);

/// How progress is shown: in one line of a terminal that is updated, in a line now and then, or not at all.
enum class ProgressMode { REWRITTEN_LINE, LINES, NONE };

/// Returns the mode for standard error: the updated line on a terminal that can erase a line; otherwise none, or lines
/// if they are requested.
ProgressMode chooseProgressMode(bool isQuiet, bool asksForProgress);

/// Returns the columns of the terminal of standard error, or a usual number if they are unknown.
size_t getTerminalWidth() noexcept;
