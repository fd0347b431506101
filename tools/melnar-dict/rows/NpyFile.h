#pragma once

#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/OutputFile.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <cstdint>
#include <string>

class DictionaryHistory;

/// Writes a .npy with rows of IDs; docs/formats/id-rows.md describes its bytes. The header, which contains the number
/// of rows and the identity of the dictionary, is written last.
///
/// Ownership  Refers to the file, which the caller commits after `prepare`.
/// Errors     Those of the file.
class NpyFile : private Unmovable {
public:
    /// Starts the file, to which nothing has been written.
    NpyFile(OutputFile& file, const RowLayout& layout);

    /// Takes the rows, in the layout, until prepare.
    OutputStream& getStream() noexcept { return m_rows; }

    /// Counts rows that other processes write, after the SIZE bytes of the header and all previous rows.
    void noteRows(const uint64_t numberOfRows) noexcept { m_rows.noteBytes(numberOfRows * m_layout.getRowSize()); }

    /// Completes the file, so that it is on the disk and only needs to be committed. The dictionary must have been
    /// saved. With a final width of 4 bytes, IDs that were written with 8 are narrowed in place; all must fit.
    void prepare(const DictionaryHistory& history, size_t finalWidth);

    /// Does the same without another width.
    void prepare(const DictionaryHistory& history) { prepare(history, m_layout.m_idWidth); }

private:
    /// Counts the bytes that are written to the file.
    class RowStream final : public OutputStream {
    public:
        explicit RowStream(OutputStream& output) : m_output(output) {}

        const std::string& getName() const override { return m_output.getName(); }
        void write(const void* const data, const size_t numberOfBytes) override {
            m_output.write(data, numberOfBytes);
            m_numberOfBytes += numberOfBytes;
        }
        void flush() override { m_output.flush(); }

        void noteBytes(const uint64_t numberOfBytes) noexcept { m_numberOfBytes += numberOfBytes; }
        uint64_t getNumberOfBytes() const noexcept { return m_numberOfBytes; }

    private:
        OutputStream& m_output;
        uint64_t m_numberOfBytes = 0;
    };

    void narrow();

    OutputFile& m_file;
    RowLayout m_layout;
    RowStream m_rows;
};
