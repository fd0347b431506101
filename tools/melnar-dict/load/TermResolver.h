#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/TermRows.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"
#include "tools/melnar-dict/threads/Turns.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class Dictionary;

/// Gives the terms of a load's blocks their IDs, and writes the rows of IDs that the statements are.
///
/// In the order of the input, IDs and the saved dictionary are those of a load with one thread, byte for byte. Threads
/// look up concurrently what is known of their blocks. What is left is created in the order of the blocks, one block
/// after the other, with one DictionaryThread that they lend each other: new terms get their IDs, and their places in
/// all tables, in the order of their first appearance. For that no term is in a batch twice, unless terms of a block collide
/// on purpose (DistinctTerms.h); then a table may grow a little earlier with some numbers of threads. In any order, every thread
/// creates what it finds missing.
///
/// Ownership  Refers to a dictionary and a stream that outlive it.
/// Threads    resolve: any number concurrently, each with a Thread and a piece of its own; every piece of a file must
///            come. startFile: while nobody resolves.
/// Errors     Terms that are refused, and limits, go into the piece. Others, such as those of the stream, are thrown, and
///            hold nobody's turn back.
class TermResolver : private Unmovable {
public:
    enum class Order : uint8_t { INPUT, ANY };

    struct Settings {
        bool m_isLenient = false;
        Order m_order = Order::INPUT;
        OutputStream* m_rowStream = nullptr; // nothing for no rows
        RowLayout m_rowLayout{};
    };

    /// What a thread that resolves needs. Used by one thread.
    class Thread : private Unmovable {
    public:
        explicit Thread(TermResolver& resolver) : m_dictionaryThread(resolver.m_dictionary) {}

    private:
        friend class TermResolver;

        DictionaryThread m_dictionaryThread;
        std::vector<BatchEntry> m_unknown;
        std::vector<size_t> m_indexes; // in the batch, of those
        std::vector<BatchFailure> m_failures;
        std::vector<uint64_t> m_ids;
        std::string m_bytes; // of rows
    };

    TermResolver(Dictionary& dictionary, const Settings& settings);

    /// Goes on to the first piece of another file.
    void startFile() noexcept;

    /// How many columns the rows have; none if there are no rows.
    size_t getNumberOfColumns() const noexcept {
        return m_settings.m_rowStream == nullptr ? 0 : m_settings.m_rowLayout.m_columns;
    }

    /// Why the dictionary refuses a literal that it refuses.
    std::string getCauseOfRefusal(BatchEntry literal) const;

    /// Resolves the terms of a piece, and writes its rows when it is their turn. A term that is refused becomes an error
    /// of the piece, and its statements have no rows.
    void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece);

private:
    void resolveTerms(Thread& thread, ParsedPiece& piece);
    void findUnknown(Thread& thread, ParsedPiece& piece) const;
    void createUnknown(Thread& thread, ParsedPiece& piece);
    void makeBytes(const TermRows& rows, const ParsedPiece& piece, Thread& thread) const;

    Dictionary& m_dictionary;
    const Settings m_settings;
    std::optional<DictionaryThread> m_creator; // of all terms, where the order is that of the input
    Turns m_turns;                             // of those who use it
    std::optional<OrderedOutput> m_rowOutput;
};
