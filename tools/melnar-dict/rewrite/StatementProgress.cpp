#include "tools/melnar-dict/rewrite/StatementProgress.h"

StatementProgress::StatementProgress(MessageOutput& messages, const ProgressMode mode, const std::string& work,
                                     const uint64_t totalBytes, const InputJournal& journal)
    : m_reporter(messages, mode, [this, work, &journal, totalBytes]() -> ProgressFigures {
          return {work,
                  m_bytesRead.load(std::memory_order_relaxed),
                  totalBytes,
                  {{journal.getStatementsSoFar(), "statements"}}};
      }) {}
