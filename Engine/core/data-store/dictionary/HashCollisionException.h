#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"

#include <cstddef>

/// A string was refused because its hash collides with those of too many other strings in the hash table. By chance
/// this never happens so often, but such strings can be made on purpose.
class MELNAR_EXPORT HashCollisionException : public MelnarException {
public:
    /// Joins the pieces into the message, as MelnarException does.
    template<MessagePiece... Pieces>
    HashCollisionException(const std::string& sourceFileName, const long sourceLineNumber,
                           const std::vector<std::exception_ptr>& causes, const size_t numberOfCollisions,
                           Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("HashCollisionException"),
                          joinMessagePieces(pieces...), FailureKind::FULL),
          m_numberOfCollisions(numberOfCollisions) {}

    ///@{
    /// Copies share their causes.
    HashCollisionException(const HashCollisionException&) = default;
    HashCollisionException(HashCollisionException&&) = default;
    HashCollisionException& operator=(const HashCollisionException&) = default;
    HashCollisionException& operator=(HashCollisionException&&) = default;
    ///@}

    ~HashCollisionException() override;

    /// Returns the number of strings with which the refused one collides.
    size_t getNumberOfCollisions() const noexcept { return m_numberOfCollisions; }

private:
    size_t m_numberOfCollisions;
};
