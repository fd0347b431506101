#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/InputJournal.h"

#include <cstddef>
#include <stop_token>
#include <string>

class Dictionary;

/// Brings the string literals of files into a dictionary, with several threads.
///
/// In N-Triples and N-Quads every thread takes blocks of the file, parses them and resolves what it finds; the threads
/// meet only where a block is read and where one is done. In Turtle and TriG one thread parses and the others resolve.
///
/// Ownership  Refers to a dictionary and a journal that outlive it.
/// Threads    One at a time.
/// Errors     Those of the files go into the journal; exceptions come only from the system refusing threads or memory.
class FileLoader {
public:
    struct Settings {
        size_t m_numberOfThreads = 1;
        bool m_isLenient = false;
        std::string m_base;
        size_t m_blockSize = BlockReader::DEFAULT_BLOCK_SIZE;
        size_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
        bool m_keepsRejected = false; // hands the journal what is skipped
    };

    FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings);

    /// Loads a file, "-" being standard input, up to its end or to where the journal stops.
    void load(const std::string& fileName, RdfFormat format);

private:
    void loadLines(BlockReader& reader, const std::stop_source& reading, RdfFormat format);
    void loadTurtle(BlockReader& reader, const std::string& fileName, RdfFormat format);

    Dictionary& m_dictionary;
    InputJournal& m_journal;
    const Settings m_settings;
};
