#pragma once

#include "tools/melnar-dict/threads/FilePass.h"

#include <string>

class Dictionary;

/// Brings the string literals of files into a dictionary, with several threads.
///
/// Every thread resolves the literals of the blocks that it has parsed. Of Turtle and TriG a block has nothing to resolve
/// until it is certain what it means.
///
/// Ownership  Refers to a dictionary and a journal that outlive it.
/// Threads    One at a time.
/// Errors     Those of the files go into the journal; exceptions come only from the system refusing threads or memory.
class FileLoader {
public:
    using Settings = FilePass::Settings;

    FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings);

    /// Loads a file, "-" being standard input, up to its end or to where the journal stops.
    void load(const std::string& fileName, RdfFormat format);

private:
    Dictionary& m_dictionary;
    const bool m_isLenient;
    FilePass m_pass;
};
