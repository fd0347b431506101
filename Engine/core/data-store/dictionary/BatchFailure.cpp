#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include "Engine/core/platform/MelnarException.h"

BatchFailure BatchFailure::ofCurrentException(const size_t entryIndex) noexcept {
    try {
        throw;
    } catch (const MelnarException& exception) {
        return {entryIndex, exception.getKind(), std::current_exception()};
    } catch (...) {
        return {entryIndex, FailureKind::SYSTEM, std::current_exception()};
    }
}

void BatchFailure::throwException() const {
    if (m_exception)
        std::rethrow_exception(m_exception);
    m_refusal.m_refuse(m_entry, m_refusal.m_rules);
    std::terminate(); // The bytes of the form have changed, or its datatype answers differently now.
}
