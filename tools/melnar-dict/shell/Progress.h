#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// How far work has come.
struct ProgressFigures {
    struct Count {
        uint64_t m_number;
        std::string m_noun; // in the plural
    };

    std::string m_work{};      // what is done, such as: loading
    uint64_t m_bytes = 0;      // that were read, as they stand in the files; 0 when nothing is read
    uint64_t m_totalBytes = 0; // of all files; 0 when it is not known
    std::vector<Count> m_counts{};
    uint64_t m_memoryBytes = 0; // 0 when it is not told
};

/// Writes one line without its end. The rate and the time left are those of all the seconds that the work has taken.
std::string describeProgress(const ProgressFigures& figures, double seconds);

/// How progress is shown: in one line of a terminal that is rewritten, in a line now and then, or not at all.
enum class ProgressMode { REWRITTEN_LINE, LINES, NONE };

/// Returns the mode for standard error: on a terminal that can erase a line the first one, elsewhere none unless lines
/// are asked for.
ProgressMode chooseProgressMode(bool isQuiet, bool asksForProgress);

/// Returns the columns of the terminal that standard error is, or what most have if it does not tell.
size_t getTerminalWidth() noexcept;
