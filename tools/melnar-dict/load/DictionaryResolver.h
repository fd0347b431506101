#pragma once

#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"
#include "tools/melnar-dict/threads/Turns.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class Dictionary;

/// Resolves terms in a dictionary that is in memory.
///
/// In the order of the input, IDs and the saved dictionary are those of a load with one thread, byte for byte. Threads
/// look up the terms of their blocks concurrently. Missing terms are created in the order of the blocks, one block
/// after the other, with one DictionaryThread that the threads lend each other: new terms get their IDs, and their
/// places in all tables, in the order of their first appearance. For that, no term is in a batch twice, unless terms of
/// a block collide on purpose (DistinctTerms.h); then a table may grow a little earlier with some numbers of threads.
/// In any order, every thread creates the terms that it finds missing.
///
/// Ownership  Refers to a dictionary and a stream that outlive it.
/// Threads    As TermResolver.
/// Errors     As TermResolver.
class DictionaryResolver final : public TermResolver {
public:
    struct Settings {
        bool m_isLenient = false;
        Order m_order = Order::INPUT;
        OutputStream* m_rowStream = nullptr; // null if there are no rows
        RowLayout m_rowLayout{};
    };

    DictionaryResolver(Dictionary& dictionary, const Settings& settings);

    std::unique_ptr<Thread> makeThread() override;
    void startFile() noexcept override;
    size_t getNumberOfColumns() const noexcept override {
        return m_settings.m_rowStream == nullptr ? 0 : m_settings.m_rowLayout.m_columns;
    }
    std::string getCauseOfRefusal(BatchEntry literal) const override;
    void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece) override;

private:
    struct OwnThread;

    void resolveTerms(OwnThread& thread, ParsedPiece& piece);
    void findUnknown(OwnThread& thread, ParsedPiece& piece) const;
    void createUnknown(OwnThread& thread, ParsedPiece& piece);
    void makeBytes(const TermRows& rows, const ParsedPiece& piece, OwnThread& thread) const;

    Dictionary& m_dictionary;
    const Settings m_settings;
    std::optional<DictionaryThread> m_creator; // of all terms, in the order of the input
    Turns m_turns;                             // of the threads that use it
    std::optional<OrderedOutput> m_rowOutput;
};
