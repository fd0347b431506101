#pragma once

#include "tools/melnar-dict/load/DictionaryResolver.h"
#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/threads/FilePass.h"

#include <cstdint>
#include <optional>
#include <string>

class Dictionary;

/// Loads the terms of files, or only string literals, into a dictionary, with several threads.
///
/// Every thread resolves the terms of the blocks that it has parsed. A block of Turtle and TriG has no terms to resolve
/// until its meaning is certain.
///
/// Ownership  Refers to a dictionary and a journal that outlive it.
/// Threads    One at a time.
/// Errors     Those of the files go into the journal; exceptions come only from the system refusing threads or memory.
class FileLoader {
public:
    using Settings = FilePass::Settings;

    /// How terms other than string literals are loaded.
    struct TermSettings {
        TermResolver::Order m_order = TermResolver::Order::INPUT;
        OutputStream* m_rowStream = nullptr; // takes a row of IDs for each statement; may be null
        RowLayout m_rowLayout{};
        BlankNodeOptions m_blankNodes{};
    };

    /// Loads string literals only.
    FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings);

    /// Loads all terms.
    FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings, const TermSettings& terms);

    /// Loads all terms with a resolver, which outlives this.
    FileLoader(TermResolver& resolver, InputJournal& journal, Settings settings, const BlankNodeOptions& blankNodes);

    /// Loads a file, "-" being standard input, to its end or until the journal stops.
    void load(const std::string& fileName, RdfFormat format);

    /// Returns the document number of the first file that is added to a dictionary: one that no blank node of the
    /// dictionary has, also within triple terms. ToolFailure if no number is left.
    /// Walks all resources.
    static uint64_t getNextDocument(const Dictionary& dictionary);

private:
    Dictionary* const m_dictionary; // for string literals only
    const bool m_isLenient;
    const BlankNodeOptions m_blankNodes;
    size_t m_numberOfFiles = 0; // that have been started
    FilePass m_pass;
    std::optional<DictionaryResolver> m_ownResolver;
    TermResolver* m_resolver = nullptr; // for all terms
};
