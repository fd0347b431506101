#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

/// Registers the calling thread with a dictionary, so that it can create resources without meeting other threads.
///
/// Ownership  Holds a private block of the dictionary's data pool; destroyed before the dictionary is.
/// Threads    Made, used and destroyed by one thread. A thread may have several, for one dictionary or more.
class DictionaryThread : private Unmovable {
public:
    explicit DictionaryThread(Dictionary& dictionary) noexcept : m_threadContext(dictionary.m_dataPool) {}

private:
    friend class Dictionary;

    ThreadContextRegistration m_registration;
    DictionaryThreadContext m_threadContext;
};
