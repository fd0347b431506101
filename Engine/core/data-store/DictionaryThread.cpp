#include "Engine/core/data-store/DictionaryThread.h"

#include "Engine/core/platform/MelnarException.h"

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/DictionaryThread";
constexpr long LINE_OTHER_DICTIONARY = 21;
constexpr long LINE_OTHER_THREAD = 25;
constexpr long LINE_LENT = 33;

} // namespace

// Not inline: a plugin could get the copy of another plugin, in which the thread has another ID.
DictionaryThread::DictionaryThread(Dictionary& dictionary) noexcept
    : m_dictionary(dictionary), m_index(getCurrentThreadContextIndex()), m_makerID(getCurrentThreadID()),
      m_userID(m_makerID), m_threadContext(dictionary.m_dataPool) {}

void DictionaryThread::refuse(const Dictionary& dictionary) const {
    if (&dictionary != &m_dictionary)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_OTHER_DICTIONARY, MelnarException::NO_CAUSES,
                              "A DictionaryThread was used with a dictionary other than the one it was made for.");
    throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_OTHER_THREAD, MelnarException::NO_CAUSES,
                          "A DictionaryThread was used by a thread that neither made it nor has it on loan.");
}

/// The current user may borrow it again.
DictionaryThread::Loan::Loan(DictionaryThread& thread)
    : m_thread(thread), m_lenderID([&thread] {
          uint64_t userID = thread.m_makerID;
          if (!thread.m_userID.compare_exchange_strong(userID, getCurrentThreadID(), std::memory_order_relaxed,
                                                       std::memory_order_relaxed) &&
              userID != getCurrentThreadID())
              throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_LENT, MelnarException::NO_CAUSES,
                                    "A DictionaryThread was lent to two threads at the same time.");
          return userID;
      }()),
      m_loan(thread.m_index) {}

DictionaryThread::Loan::~Loan() {
    m_thread.m_userID.store(m_lenderID, std::memory_order_relaxed);
}
