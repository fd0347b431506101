#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"

/// The memory limit of the store is reached; see MemoryManager.
class MELNAR_EXPORT MemoryExhaustedException : public MelnarException {
public:
    /// Joins the pieces into the message, as MelnarException does.
    template<MessagePiece... Pieces>
    MemoryExhaustedException(const std::string& sourceFileName, const long sourceLineNumber,
                             const std::vector<std::exception_ptr>& causes, Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("MemoryExhaustedException"),
                          joinMessagePieces(pieces...), FailureKind::MEMORY) {}

    ///@{
    /// Copies share their causes.
    MemoryExhaustedException(const MemoryExhaustedException&) = default;
    MemoryExhaustedException(MemoryExhaustedException&&) = default;
    MemoryExhaustedException& operator=(const MemoryExhaustedException&) = default;
    MemoryExhaustedException& operator=(MemoryExhaustedException&&) = default;
    ///@}

    ~MemoryExhaustedException() override;
};
