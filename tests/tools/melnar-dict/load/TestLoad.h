#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/MessageOutput.h"

#include "Engine/core/data-store/Dictionary.h"

#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The results of loading one text.
struct LoadOutcome {
    ExitCode m_exitCode;
    std::string m_errorOutput; // the name of the file is "FILE"
    StatementCounts m_counts;
    std::vector<std::string> m_strings;       // the distinct lexical forms, sorted by their bytes
    std::vector<std::string> m_plainLiterals; // the same
};

/// The same with all terms, which get their IDs in the order of the input.
struct TermLoadOutcome {
    ExitCode m_exitCode;
    std::string m_errorOutput;
    StatementCounts m_counts;
    std::vector<uint64_t> m_rows; // four IDs each
    std::string m_savedBytes;     // of the dictionary
};

/// Loads files into its own dictionary like the tool.
class TestLoad : private Unmovable {
public:
    static constexpr size_t MEMORY_LIMIT = size_t(1) << 30;

    explicit TestLoad(FileLoader::Settings settings = {}, size_t memoryLimit = MEMORY_LIMIT,
                      uint64_t maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS,
                      RejectedFile* rejectedFile = nullptr);

    /// The same for all terms.
    TestLoad(const FileLoader::Settings& settings, const FileLoader::TermSettings& terms,
             size_t memoryLimit = MEMORY_LIMIT,
             uint64_t maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS);

    /// Loads a file and commits; may be repeated.
    void load(const std::string& fileName, RdfFormat format);

    /// Returns the distinct lexical forms of a datatype; reads each by its ID and looks up what was read.
    std::vector<std::string> readForms(uint8_t datatypeID) const;

    const Dictionary& getDictionary() const { return m_dictionary; }
    const InputJournal& getJournal() const { return m_journal; }
    std::string getErrorOutput() const { return m_errorOutput.str(); }

private:
    std::ostringstream m_errorOutput;
    MessageOutput m_messages{m_errorOutput};
    Dictionary m_dictionary;
    InputJournal m_journal;
    FileLoader m_loader;
};

/// Loads a file with all terms.
TermLoadOutcome loadTerms(const std::string& fileName, RdfFormat format, const FileLoader::Settings& settings);

/// Loads a text.
LoadOutcome loadText(RdfFormat format, std::string_view text, FileLoader::Settings settings = {});

/// Loads a text with all terms.
TermLoadOutcome loadTermsOfText(RdfFormat format, std::string_view text, const FileLoader::Settings& settings);

/// Makes many statements with terms of all kinds, most of which occur several times. On request, some statements of a
/// Turtle or TriG text are longer than a small block.
std::string makeStatements(RdfFormat format, size_t numberOfStatements, bool hasLongOnes = false);
