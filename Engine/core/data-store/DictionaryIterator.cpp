#include "Engine/core/data-store/DictionaryIterator.h"

#include "Engine/core/data-store/Dictionary.h"

DictionaryIterator::DictionaryIterator(const Dictionary& dictionary, const uint64_t endResourceID) noexcept
    : m_dictionary(&dictionary), m_resourceID(1), m_endResourceID(endResourceID) {
    findResource();
}

/// Moves to the next resource that exists, unless the current one does.
void DictionaryIterator::findResource() noexcept {
    for (; m_resourceID != m_endResourceID; ++m_resourceID)
        if (m_datatypeID = m_dictionary->getDatatypeID(m_resourceID); m_datatypeID != D_INVALID)
            return;
    m_datatypeID = D_INVALID;
}

DictionaryIterator::Resource DictionaryIterator::operator*() const {
    const RunningOperations::Operation operation(m_dictionary->m_operations, RunningOperations::Kind::READ);
    Resource resource{m_resourceID, {}};
    m_dictionary->m_servers[m_datatypeID].m_datatype->getResource(m_resourceID, m_datatypeID, resource.m_literal);
    return resource;
}
