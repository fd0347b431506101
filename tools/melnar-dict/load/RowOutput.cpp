#include "tools/melnar-dict/load/RowOutput.h"

#include "tools/melnar-dict/saved/SaveDictionary.h"
#include "tools/melnar-dict/shell/StandardStream.h"

#include "Engine/core/data-store/Dictionary.h"

#include <utility>

RowOutput::RowOutput(const LoadOptions& options, StandardOutput& standardOutput, std::ostream& errorOutput)
    : m_options(options), m_standardOutput(standardOutput) {
    m_layout.m_columns = options.m_rows.getNumberOfColumns(options.m_files);
    if (options.m_idsName != STANDARD_STREAM)
        m_lock.emplace(options.m_idsName, options.m_output.m_waits, errorOutput, Output::SECOND);
}

void RowOutput::open(const uint64_t largestResourceID) {
    m_layout.m_idWidth = m_options.m_rows.getIDWidth(largestResourceID);
    if (!m_lock)
        return;
    m_file.emplace(*m_lock);
    m_npyFile.emplace(*m_file, m_layout);
}

void RowOutput::saveWith(const Dictionary& dictionary, OutputLock& lock) {
    if (!m_npyFile) {
        m_standardOutput.flush(); // If the rows cannot be written, nothing is saved.
        saveDictionary(dictionary, lock);
        return;
    }
    saveDictionary(dictionary, lock, *m_file, [&] {
        m_npyFile->prepare(dictionary.getHistory(), m_options.m_rows.getIDWidth(dictionary.getNextResourceID() - 1));
    });
}

void RowOutput::commitWith(DictionaryHistory::Contents history, const uint64_t largestResourceID,
                           OutputFile& dictionaryFile) {
    if (!m_npyFile) {
        m_standardOutput.flush();
        dictionaryFile.commit();
        return;
    }
    DictionaryHistory named;
    named.assign(std::move(history));
    m_npyFile->prepare(named, m_options.m_rows.getIDWidth(largestResourceID));
    OutputFile::commitBoth(*m_file, dictionaryFile);
}
