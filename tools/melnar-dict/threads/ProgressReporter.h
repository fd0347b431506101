#pragma once

#include "tools/melnar-dict/shell/MessageOutput.h"
#include "tools/melnar-dict/shell/Progress.h"

#include "Engine/core/platform/Unmovable.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

/// Shows the progress of a piece of work, in a thread of its own, from its construction to its end.
///
/// Ownership  Refers to the messages. Its end stops and joins the thread, and removes the line.
/// Threads    Its thread requests the figures.
/// Errors     None: progress that cannot be shown is not shown.
class ProgressReporter : private Unmovable {
public:
    using GetFigures = std::function<ProgressFigures()>;
    using Duration = std::chrono::steady_clock::duration;

    /// The time of the first line: work that ends before that shows nothing.
    struct Times {
        Duration m_first;
        Duration m_period;
    };

    static Times getTimesOf(ProgressMode mode) noexcept;

    ProgressReporter(MessageOutput& messages, ProgressMode mode, GetFigures getFigures)
        : ProgressReporter(messages, mode, std::move(getFigures), getTimesOf(mode)) {}
    ProgressReporter(MessageOutput& messages, ProgressMode mode, GetFigures getFigures, Times times);

    /// Shows only the activity, such as "saving 'd'", and its duration.
    ProgressReporter(MessageOutput& messages, ProgressMode mode, const std::string& work)
        : ProgressReporter(messages, mode, [work] { return ProgressFigures{.m_work = work}; }) {}

    ~ProgressReporter();

private:
    void start() noexcept;
    void run() noexcept;
    void show(Duration duration);

    MessageOutput& m_messages;
    const ProgressMode m_mode;
    const GetFigures m_getFigures;
    const Times m_times;
    std::mutex m_mutex; // protects m_isStopped
    std::condition_variable m_stopped;
    bool m_isStopped = false;
    std::thread m_thread;
};
