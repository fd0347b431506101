#pragma once

#include "Reader/ReaderOptions.h"
#include "Reader/SyntaxError.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The results of a reader for a text.
struct ReadResult {
    std::string m_statements;            // in canonical form, one per line
    std::vector<std::string> m_literals; // places and texts: 1:13:12 "chat"@EN
    std::vector<std::string> m_errors;   // 1:13: expected an object, found '.'
    std::vector<std::string> m_skipped;  // text that gave no statements because of an error, as offsets: 0-14
    std::string m_skippedBytes;          // those bytes in order, with a '|' for each error
    uint64_t m_bytesExamined = 0;

    /// Appends the results for the text that follows.
    ReadResult& operator+=(const ReadResult& next);

    /// Compares the results, not the effort.
    bool operator==(const ReadResult& other) const {
        return m_statements == other.m_statements && m_literals == other.m_literals && m_errors == other.m_errors &&
               m_skipped == other.m_skipped && m_skippedBytes == other.m_skippedBytes;
    }
};

/// Prints it for GoogleTest.
void PrintTo(const ReadResult& result, std::ostream* output); // NOLINT(readability-identifier-naming)

Rdf::ReaderOptions strict(Rdf::Syntax syntax, Rdf::Version version = Rdf::Version::RDF_1_2);
Rdf::ReaderOptions lenient(Rdf::Syntax syntax);

/// Reads a text as a whole.
ReadResult readText(std::string_view text, const Rdf::ReaderOptions& options);

/// Reads a text that comes in pieces of this many bytes.
ReadResult readInPieces(std::string_view text, size_t size, const Rdf::ReaderOptions& options);

/// Returns the only error of a text; if there is not exactly one, all results.
std::string errorOf(std::string_view text, const Rdf::ReaderOptions& options);

/// Returns the statements of a text that must have no error.
std::string statementsOf(std::string_view text, const Rdf::ReaderOptions& options);
