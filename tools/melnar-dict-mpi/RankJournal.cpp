#include "tools/melnar-dict-mpi/RankJournal.h"

bool RankJournal::take(const size_t inputIndex, ReadPiece& summary) {
    for (; m_numberOfBegun <= inputIndex; ++m_numberOfBegun) { // some inputs have no pieces
        m_journal.startFile(m_files[m_numberOfBegun].first);
        m_sequence = 0;
    }
    m_statementsOfInputs[inputIndex] += summary.m_parsed.m_counts.m_statements;
    summary.m_parsed.m_sequence = m_sequence++;
    m_journal.finish(summary.m_parsed);
    return !m_journal.isStopped();
}
