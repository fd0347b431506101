#pragma once

#include "Engine/core/platform/MelnarException.h"

#include <cstddef>

/// The failure of one entry of a column, that no earlier one has failed. What the operation on that entry alone would have
/// thrown is the cause: the first and only one of getCauses.
class ColumnException : public MelnarException {
public:
    template<MessagePiece... Pieces>
    ColumnException(const FailureKind kind, const std::string& sourceFileName, const long sourceLineNumber,
                    const std::vector<std::exception_ptr>& causes, const size_t entryIndex, Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("ColumnException"),
                          joinMessagePieces("Entry ", entryIndex, " of a column: ", pieces...), kind),
          m_entryIndex(entryIndex) {}

    ColumnException(const ColumnException&) = default;
    ColumnException(ColumnException&&) = default;
    ColumnException& operator=(const ColumnException&) = default;
    ColumnException& operator=(ColumnException&&) = default;
    ~ColumnException() override;

    /// Which entry it is, counted from 0.
    size_t getEntryIndex() const noexcept { return m_entryIndex; }

private:
    size_t m_entryIndex;
};
