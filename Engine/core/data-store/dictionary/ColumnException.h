#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"

#include <cstddef>

/// Reports the first entry of a column that failed. Its only cause is the exception that the operation would have
/// thrown for that entry alone. It has no cause if decode found a term that is no string, or if the offsets of an entry
/// do not ascend.
class MELNAR_EXPORT ColumnException : public MelnarException {
public:
    /// Joins the index of the entry and the pieces into the message, as MelnarException does.
    template<MessagePiece... Pieces>
    ColumnException(const FailureKind kind, const std::string& sourceFileName, const long sourceLineNumber,
                    const std::vector<std::exception_ptr>& causes, const size_t entryIndex, Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("ColumnException"),
                          joinMessagePieces("Entry ", entryIndex, " of a column: ", pieces...), kind),
          m_entryIndex(entryIndex) {}

    ///@{
    /// Copies share their causes.
    ColumnException(const ColumnException&) = default;
    ColumnException(ColumnException&&) = default;
    ColumnException& operator=(const ColumnException&) = default;
    ColumnException& operator=(ColumnException&&) = default;
    ///@}

    ~ColumnException() override;

    /// Returns the index of the entry, counted from 0.
    size_t getEntryIndex() const noexcept { return m_entryIndex; }

private:
    size_t m_entryIndex;
};
