#include "tools/melnar-dict/rewrite/StatementProgress.h"

StatementProgress::StatementProgress(MessageOutput& messages, const ProgressMode mode, const std::string& work,
                                     const InputFiles& files, const InputJournal& journal)
    : m_reporter(messages, mode, [this, work, &journal, totalBytes = getTotalBytes(files)]() -> ProgressFigures {
          return {work,
                  m_bytesRead.load(std::memory_order_relaxed),
                  totalBytes,
                  {{journal.getStatementsSoFar(), "statements"}}};
      }) {}
