#include "tools/melnar-dict/shell/Progress.h"

#include "tools/melnar-dict/shell/Amounts.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr size_t USUAL_WIDTH = 80;

} // namespace

std::string describeProgress(const ProgressFigures& figures, const double seconds) {
    std::string text = figures.m_work;
    const auto bytes = static_cast<double>(figures.m_bytes);
    const uint64_t total = figures.m_totalBytes;
    if (total != 0) // A file may have grown.
        text += ": " + std::to_string(static_cast<int>(100 * std::min(1.0, bytes / static_cast<double>(total)))) +
                " % of " + describeBytes(total);
    else if (figures.m_bytes != 0)
        text += ": " + describeBytes(figures.m_bytes);
    if (figures.m_bytes != 0 && seconds > 0)
        text += ", " + describeBytes(static_cast<uint64_t>(bytes / seconds)) + "/s";
    for (const ProgressFigures::Count& count : figures.m_counts)
        text += ", " + groupDigits(count.m_number) + ' ' + count.m_noun;
    if (figures.m_memoryBytes != 0)
        text += ", " + describeBytes(figures.m_memoryBytes) + " of memory";
    if (total == 0 || figures.m_bytes == 0)
        return text + ", " + describeSeconds(seconds);
    return text + ", " + describeSeconds(std::max(0.0, seconds * (static_cast<double>(total) / bytes - 1))) + " left";
}

ProgressMode chooseProgressMode(const bool isQuiet, const bool asksForProgress) {
    if (isQuiet)
        return ProgressMode::NONE;
    const char* const terminal = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): no thread changes it
    if (::isatty(STDERR_FILENO) == 1 && terminal != nullptr && *terminal != 0 && std::string_view(terminal) != "dumb")
        return ProgressMode::REWRITTEN_LINE;
    return asksForProgress ? ProgressMode::LINES : ProgressMode::NONE;
}

size_t getTerminalWidth() noexcept {
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : USUAL_WIDTH;
}
