#pragma once

#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/shell/MessageOutput.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstdint>
#include <string>

/// Shows during its lifetime how many bytes and statements of files have been read.
///
/// Ownership  Refers to the messages and the journal.
/// Threads    The counter is for all threads. The rest: one at a time.
class StatementProgress : private Unmovable {
public:
    /// `work` is the activity, such as: checking. If the total of bytes is 0, no share is shown.
    StatementProgress(MessageOutput& messages, ProgressMode mode, const std::string& work, uint64_t totalBytes,
                      const InputJournal& journal);

    /// Returns the counter of the bytes that are read.
    std::atomic<uint64_t>& getBytesRead() { return m_bytesRead; }

private:
    std::atomic<uint64_t> m_bytesRead = 0;
    const ProgressReporter m_reporter;
};
