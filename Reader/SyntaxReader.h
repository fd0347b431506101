#pragma once

#include "Reader/Export.h"
#include "Reader/PlaceCounter.h"
#include "Reader/ReaderOptions.h"
#include "Reader/StatementSink.h"
#include "Reader/TextWindow.h"

#include <memory>
#include <string_view>

namespace Rdf {

/// Reads statements from text in memory. StreamReader feeds it with an input that comes in pieces.
///
/// Text       UTF-8, which is checked. A byte order mark at offset 0 is skipped; elsewhere U+FEFF is a character like
///            any other. Statements do not depend on how the text is cut into calls of `read`.
/// Memory     The texts of the longest statement that are not in the input in their final form, and its triples.
/// Lengths    A line or statement that is longer than the options allow is an error at its start, for any division of
///            the text. In Turtle and TriG this applies to statements only, not to lines and comments.
/// Ownership  The sink must outlive the reader.
/// Threads    One at a time; each thread has its own reader.
/// Errors     Errors in the text go to the sink. Strict reading stops at the first error.
class MELNAR_READER_EXPORT SyntaxReader {
public:
    virtual ~SyntaxReader() = default;
    SyntaxReader(const SyntaxReader&) = delete;
    SyntaxReader& operator=(const SyntaxReader&) = delete;

    /// Creates the reader for a syntax.
    static std::unique_ptr<SyntaxReader> make(const ReaderOptions& options, StatementSink& sink);

    /// Reads the complete statements at the start of the text, which continues where the last one ended. Returns how
    /// many bytes are finished; the next text starts after them. With the last text everything is read.
    size_t read(std::string_view text, bool isLast);

    /// Restarts between statements, at the start of the next text; without this, an input is read from its start.
    void startAt(const Place& place) noexcept {
        m_places.startText(nullptr, place);
        m_isStopped = false;
    }

    /// Sends all further results to another sink.
    void setSink(StatementSink& sink) noexcept { m_sink = &sink; }

    /// Returns the place where the finished text ends.
    const Place& getPlace() const noexcept { return m_places.getBegin(); }

    /// Returns the place of a term of the statement that the sink is taking. Fast if terms are requested in the order
    /// of the text.
    Place locate(const Term& term) { return m_places.find(term.m_begin); }

    /// Returns the offset in the input, in bytes, of a term of the statement that the sink is taking.
    uint64_t locateOffset(const Term& term) const noexcept { return m_places.getOffset(term.m_begin); }

    /// Returns how many bytes a line or statement may have.
    size_t getMaximumLength() const noexcept { return m_options.m_maximumLength; }

    /// Returns whether an error has ended the reading.
    bool isStopped() const noexcept { return m_isStopped; }

    /// Returns the number of byte accesses, for tests: a small multiple of the input's length.
    uint64_t getBytesExamined() const noexcept { return m_bytesExamined; }

protected:
    /// Makes the part that all syntaxes share.
    SyntaxReader(const ReaderOptions& options, StatementSink& sink)
        : m_options(options), m_sink(&sink), m_window(options.m_version) {}

    /// Reads from the text; returns the rest.
    virtual const char* readText(const char* begin, const char* end, bool isLast) = 0;

    /// Opens the window from here to the end or the next byte that is not UTF-8.
    void openWindow(const char* begin, const char* end, bool isLast);

    /// Makes an error from the window's failure in the statement that starts here.
    SyntaxError takeFailure(const char* statement);

    /// Passes skipped bytes of an error to the sink.
    void passSkipped(const char* const begin, const char* const end) {
        if (m_options.m_isLenient && begin != end)
            m_sink->takeSkipped({begin, static_cast<size_t>(end - begin)});
    }

    /// Passes an error to the sink, now that the end of its skipped bytes is known.
    void report(SyntaxError& error, const char* skippedEnd);

    const ReaderOptions m_options; ///< as they were given
    StatementSink* m_sink;         ///< takes the results
    TextWindow m_window;           ///< the text that is known to be UTF-8
    PlaceCounter m_places;         ///< finds the places of terms and errors
    bool m_isStopped = false;      ///< an error has ended the reading
    uint64_t m_bytesExamined = 0;  ///< for tests
};

} // namespace Rdf
