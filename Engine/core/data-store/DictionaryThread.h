#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

/// Registers the calling thread with a dictionary, so that it can create resources without meeting other threads.
///
/// Ownership  Holds a private block of the dictionary's data pool; destroyed before the dictionary is.
/// Threads    Made and destroyed by one thread, and used by one thread at a time: by another one with a Loan. A thread
///            may have several, for one dictionary or more.
class DictionaryThread : private Unmovable {
public:
    /// Lends a DictionaryThread to the thread that makes it, for as long as it lives. What threads create by turns, each
    /// with a loan, comes out as if a single thread had created it: the saved dictionary is the same, byte for byte.
    class Loan : private Unmovable {
    public:
        explicit Loan(const DictionaryThread& thread) noexcept : m_loan(thread.m_registration) {}

    private:
        ThreadContextLoan m_loan;
    };

    explicit DictionaryThread(Dictionary& dictionary) noexcept : m_threadContext(dictionary.m_dataPool) {}

private:
    friend class Dictionary;

    ThreadContextRegistration m_registration;
    DictionaryThreadContext m_threadContext;
};
