#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/rows/NpyFile.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/StandardOutputStream.h"

#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/platform/Unmovable.h"

#include <optional>
#include <ostream>

class Dictionary;

/// The output of a load's rows of IDs: a .npy that appears together with the dictionary, or standard output.
///
/// Limits  The file is the second output.
/// Errors  Those of OutputLock, NpyFile and StandardOutput.
class RowOutput : private Unmovable {
public:
    /// Takes the lock of the file that the options name, if they name one.
    RowOutput(const LoadOptions& options, StandardOutput& standardOutput, std::ostream& errorOutput);

    /// Starts the rows of a dictionary with IDs up to this one. Called once.
    void open(uint64_t largestResourceID);

    /// Takes the rows in the layout.
    OutputStream& getStream() { return m_npyFile ? m_npyFile->getStream() : m_standardOutput; }
    const RowLayout& getLayout() const noexcept { return m_layout; }

    /// Sets the number of rows that other processes write to the file, which has this name until it appears.
    const std::string& getTemporaryFileName() const { return m_file->getTemporaryFileName(); }
    void noteRows(const uint64_t numberOfRows) { m_npyFile->noteRows(numberOfRows); }

    /// Saves the dictionary to the locked file. All rows must have been written; a file of rows appears together with
    /// it.
    void saveWith(const Dictionary& dictionary, OutputLock& lock);

    /// Completes the rows and commits another file, that of a dictionary with this history, together with them.
    void commitWith(DictionaryHistory::Contents history, uint64_t largestResourceID, OutputFile& dictionaryFile);

private:
    const LoadOptions& m_options;
    StandardOutputStream m_standardOutput;
    RowLayout m_layout;
    std::optional<OutputLock> m_lock; // this and what follows: empty for standard output
    std::optional<OutputFile> m_file;
    std::optional<NpyFile> m_npyFile;
};
