#pragma once

#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

class SavedDictionary;

/// Decodes files of rows with several threads: reads them from start to end and writes the statements of their rows, in
/// their order.
///
/// Ownership  Refers to all that it is given, which outlives it.
/// Threads    One at a time.
/// Errors     Those of the files and of the output go into the journal; exceptions come only from the system refusing
///            threads or memory.
class RowPass : private Unmovable {
public:
    struct Settings {
        size_t m_numberOfThreads = 1;
        bool m_takesGraphs = true;                    // whether the output may name graphs
        std::atomic<uint64_t>* m_bytesRead = nullptr; // counts the bytes of files, compressed or not; may be null
    };

    RowPass(const SavedDictionary& dictionary, InputJournal& journal, OrderedOutput& output, const Settings& settings)
        : m_dictionary(dictionary), m_journal(journal), m_output(output), m_settings(settings) {}

    /// Decodes a file, "-" being standard input, to its end or until the journal stops.
    void decode(const std::string& fileName);

private:
    const SavedDictionary& m_dictionary;
    InputJournal& m_journal;
    OrderedOutput& m_output;
    const Settings m_settings;
};
