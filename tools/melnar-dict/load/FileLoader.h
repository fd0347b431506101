#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/InputJournal.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>

class Dictionary;
class DictionaryThread;

/// Brings the string literals of files into a dictionary, with several threads.
///
/// Every thread takes blocks of the file, parses them and resolves what it finds. In N-Triples and N-Quads the threads
/// meet only where a block is read and where one is done; in Turtle and TriG also where one is parsed, as a block has
/// nothing to resolve until it is certain what it means.
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
        Rdf::Version m_version = Rdf::Version::RDF_1_2;
        std::atomic<uint64_t>* m_bytesRead = nullptr; // counts the bytes of files, packed or not, if it is there
    };

    FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings);

    /// Loads a file, "-" being standard input, up to its end or to where the journal stops.
    void load(const std::string& fileName, RdfFormat format);

private:
    void loadLines(BlockReader& reader, const std::stop_source& reading, RdfFormat format);
    void loadTurtle(BlockReader& reader, const std::stop_source& reading, const std::string& fileName,
                    RdfFormat format);
    template<class Parse>
    void parseAndResolve(DictionaryThread& thread, ParsedPiece& piece, const Parse& parse);

    Dictionary& m_dictionary;
    InputJournal& m_journal;
    const Settings m_settings;
};
