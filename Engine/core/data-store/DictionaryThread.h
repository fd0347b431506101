#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

/// With one, the thread that makes it creates resources of a dictionary without meeting other threads. Lookups and reads
/// need none.
///
/// Ownership  Holds a private block of the dictionary's data pool; destroyed before the dictionary is.
/// Threads    Used by the thread that makes it, or by another one with a Loan; destroyed by any thread. A thread may have
///            several, for one dictionary or more.
/// Errors     MelnarException of kind MISUSE from an operation of another dictionary or by another thread, which then
///            does nothing.
class MELNAR_EXPORT DictionaryThread : private Unmovable {
public:
    /// Lends a DictionaryThread to the thread that makes it, for as long as it lives. What threads create by turns, each
    /// with a loan, comes out as if a single thread had created it: the saved dictionary is the same, byte for byte.
    ///
    /// Threads  One loan at a time, to its maker or to another thread; meanwhile no other thread uses it. A thread that has
    ///          a loan may make another one within it. Destroyed by the thread that makes it.
    /// Errors   MelnarException of kind MISUSE if another thread has one.
    class Loan : private Unmovable {
    public:
        explicit Loan(DictionaryThread& thread);
        ~Loan();

    private:
        DictionaryThread& m_thread;
        const uint64_t m_lenderID;
        const ThreadContextLoan m_loan;
    };

    explicit DictionaryThread(Dictionary& dictionary) noexcept;

private:
    friend class Dictionary;

    /// Refuses an operation of another dictionary, or by another thread.
    void requireUserOf(const Dictionary& dictionary) const {
        if (&dictionary != &m_dictionary || g_currentThreadID != m_userID.load(std::memory_order_relaxed)) [[unlikely]]
            refuse(dictionary);
    }

    /// For an operation of a dictionary.
    DictionaryThreadContext& getContext(const Dictionary& dictionary) {
        requireUserOf(dictionary);
        return m_threadContext;
    }

    [[noreturn]] void refuse(const Dictionary& dictionary) const;

    const Dictionary& m_dictionary;
    const size_t m_index; // of the maker
    const uint64_t m_makerID;

    // Relaxed: threads that take turns order what they do otherwise, and one whose turn it is not sees another ID than
    // its own in any case.
    std::atomic<uint64_t> m_userID;

    DictionaryThreadContext m_threadContext;
};
