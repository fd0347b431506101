#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Reads files from start to end with several threads, and passes their statements to consumers. Threads take block
/// after block of a file. They synchronize when a block is read and when its piece is finished in the journal; in
/// Turtle and TriG also when it is parsed, since the meaning of a block depends on everything before it.
///
/// Ownership  Refers to a journal that outlives it.
/// Threads    One at a time.
/// Errors     Those of the files go into the journal; exceptions come only from the system refusing threads or memory.
class FilePass {
public:
    struct Settings {
        size_t m_numberOfThreads = 1;
        bool m_isLenient = false;
        std::string m_base{};
        size_t m_blockSize = BlockReader::DEFAULT_BLOCK_SIZE;
        size_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
        bool m_keepsRejected = false; // passes skipped bytes to the journal
        Rdf::Version m_version = Rdf::Version::RDF_1_2;
        std::atomic<uint64_t>* m_bytesRead = nullptr; // counts the bytes of files, compressed or not; may be null
    };

    using ConsumerMaker = std::function<std::unique_ptr<StatementConsumer>()>;

    FilePass(InputJournal& journal, Settings settings);

    /// Reads a file, "-" being standard input, to its end or until the journal stops. Each thread creates its own
    /// consumer, and destroys it at the end.
    void read(const std::string& fileName, RdfFormat format, const ConsumerMaker& makeConsumer);

private:
    InputJournal& m_journal;
    const Settings m_settings;
};
