#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/FailureKind.h"
#include "Engine/core/platform/MessagePieces.h"

#include <exception>
#include <string>
#include <utility>
#include <vector>

class OutputStream;

/// The base class of all exceptions that this system throws.
///
/// A throw site is identified by a source path below the repository root, without extension, and a line number that is
/// assigned once and does not change when code moves. Both are part of the interface, so a report from the field can be
/// traced, whatever version it comes from.
///
/// Ownership  Owns all its texts and holds its causes.
/// Threads    Immutable after construction.
class MELNAR_EXPORT MelnarException : public std::exception {
public:
    /// The argument of throw sites without a cause.
    static const std::vector<std::exception_ptr> NO_CAUSES;

    /// Takes over the name and the message. The unnamed number is reserved for other forms of reports and is 0 for now.
    MelnarException(const std::string& sourceFileName, long sourceLineNumber, int,
                    const std::vector<std::exception_ptr>& causes, std::string&& exceptionName, std::string&& message,
                    FailureKind kind = FailureKind::OTHER);

    /// Joins the pieces into the message: texts as they are, unsigned numbers in decimal.
    template<MessagePiece... Pieces>
    MelnarException(const std::string& sourceFileName, const long sourceLineNumber,
                    const std::vector<std::exception_ptr>& causes, Pieces&&... pieces)
        : MelnarException(FailureKind::OTHER, sourceFileName, sourceLineNumber, causes, pieces...) {}

    /// The same for a failure of a kind.
    template<MessagePiece... Pieces>
    MelnarException(const FailureKind kind, const std::string& sourceFileName, const long sourceLineNumber,
                    const std::vector<std::exception_ptr>& causes, Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("MelnarException"),
                          joinMessagePieces(pieces...), kind) {}

    ///@{
    /// Copies share their causes.
    MelnarException(const MelnarException&) = default;
    MelnarException(MelnarException&&) = default;
    MelnarException& operator=(const MelnarException&) = default;
    MelnarException& operator=(MelnarException&&) = default;
    ///@}

    ~MelnarException() override;

    /// Returns the exception's name, its place and the message, for logs. The pointer is valid as long as the exception
    /// exists.
    const char* what() const noexcept override;

    /// Writes name, place, message and, indented, the causes.
    virtual void printArguments(OutputStream& output) const;

    /// Returns the source path of the place.
    const std::string& getSourceFileName() const noexcept { return m_sourceFileName; }

    /// Returns the line number of the place.
    long getSourceLineNumber() const noexcept { return m_sourceLineNumber; }

    /// Returns the exceptions that led to this one.
    const std::vector<std::exception_ptr>& getCauses() const noexcept { return m_causes; }

    /// Returns the name of the class, which what() tells, too.
    const std::string& getExceptionName() const noexcept { return m_exceptionName; }

    /// Returns the kind of the failure, for callers that handle kinds differently.
    FailureKind getKind() const noexcept { return m_kind; }

    /// Returns only the message, for people.
    const std::string& getMessage() const noexcept { return m_message; }

private:
    std::string m_sourceFileName;
    long m_sourceLineNumber;
    std::vector<std::exception_ptr> m_causes;
    std::string m_exceptionName;
    std::string m_message;
    std::string m_whatText;
    FailureKind m_kind;
};
