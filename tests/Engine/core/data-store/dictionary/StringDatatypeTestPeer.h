#pragma once

#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// Gives tests access to private members of a string datatype.
class StringDatatypeTestPeer {
public:
    StringDatatypeTestPeer() = delete;

    /// Returns the table that `datatypeID` selects.
    template<class T>
    static auto& getTable(StringDatatype<T>& datatype, const uint8_t datatypeID) {
        return datatype.selectTable(datatypeID);
    }

    template<class T>
    static size_t& getInitialSize(StringDatatype<T>& datatype) {
        return datatype.m_initialSize;
    }

    template<class T>
    static uint64_t newDataChunk(StringDatatype<T>& datatype, DictionaryThreadContext* const threadContext,
                                 const size_t chunkSize) {
        return datatype.newDataChunk(threadContext, chunkSize);
    }

    template<class T>
    static std::pair<uint64_t, uint64_t> newResourceIDAndDataChunk(StringDatatype<T>& datatype,
                                                                   DictionaryThreadContext* const threadContext,
                                                                   const size_t chunkSize) {
        return datatype.newResourceIDAndDataChunk(threadContext, chunkSize);
    }
};
