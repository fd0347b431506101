#pragma once

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/rewrite/StatementConsumer.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

/// Reads files from their start to their end and hands their statements out. N-Triples and N-Quads are read by several
/// threads, block by block; Turtle and TriG by one.
///
/// Ownership  Refers to a journal that outlives it.
/// Threads    One at a time.
/// Errors     Those of the files go into the journal; exceptions come only from the system refusing threads or memory.
class StatementPass {
public:
    struct Settings {
        size_t m_numberOfThreads = 1;
        bool m_isLenient = false;
        std::string m_base{};
        size_t m_blockSize = BlockReader::DEFAULT_BLOCK_SIZE;
        size_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
        Rdf::Version m_version = Rdf::Version::RDF_1_2;
    };

    using ConsumerMaker = std::function<std::unique_ptr<StatementConsumer>()>;

    StatementPass(InputJournal& journal, Settings settings);

    /// Reads a file, "-" being standard input, up to its end or to where the journal stops. Each thread makes a
    /// consumer of its own.
    void read(const std::string& fileName, RdfFormat format, const ConsumerMaker& makeConsumer);

private:
    InputJournal& m_journal;
    const Settings m_settings;
};
