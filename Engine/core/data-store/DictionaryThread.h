#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

/// Lets the thread that makes it create resources of a dictionary without contention with other threads. Lookups and
/// reads do not need one.
///
/// Ownership  Holds a private block of the dictionary's data pool. Must be destroyed before the dictionary.
/// Threads    Used by the thread that makes it, or by another one with a Loan. Destroyed by any thread. A thread may
///            have several, for one dictionary or more.
/// Errors     MelnarException of kind MISUSE from an operation of another dictionary or by another thread, which then
///            does nothing.
class MELNAR_EXPORT DictionaryThread : private Unmovable {
public:
    /// Lends a DictionaryThread to the thread that makes the loan, while the loan exists. If threads create resources
    /// in turns, each with a loan, the result is the same as if a single thread had created them: the saved dictionary
    /// is identical, byte for byte.
    ///
    /// Threads  One loan at a time, to the maker of the DictionaryThread or to another thread; meanwhile no other
    ///          thread uses it. A thread that has a loan may make another one within it. Destroyed by the thread that
    ///          makes it.
    /// Errors   MelnarException of kind MISUSE if another thread has a loan.
    class Loan : private Unmovable {
    public:
        /// Lends it to the calling thread.
        explicit Loan(DictionaryThread& thread);
        ~Loan();

    private:
        DictionaryThread& m_thread;
        const uint64_t m_lenderID;
        const ThreadContextLoan m_loan;
    };

    /// Makes one for the calling thread.
    explicit DictionaryThread(Dictionary& dictionary) noexcept;

private:
    friend class Dictionary;

    /// Throws unless the operation is one of this dictionary by the current user.
    void requireUserOf(const Dictionary& dictionary) const {
        if (&dictionary != &m_dictionary || g_currentThreadID != m_userID.load(std::memory_order_relaxed)) [[unlikely]]
            refuse(dictionary);
    }

    /// Returns the context for an operation of a dictionary.
    DictionaryThreadContext& getContext(const Dictionary& dictionary) {
        requireUserOf(dictionary);
        return m_threadContext;
    }

    [[noreturn]] void refuse(const Dictionary& dictionary) const;

    const Dictionary& m_dictionary;
    const size_t m_index; // of the maker
    const uint64_t m_makerID;

    // Relaxed: threads that take turns synchronise by other means. A thread out of turn never sees its own ID here.
    std::atomic<uint64_t> m_userID;

    DictionaryThreadContext m_threadContext;
};
