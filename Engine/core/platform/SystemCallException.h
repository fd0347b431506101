#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MelnarException.h"

/// A call of the operating system failed. The message ends with the call's name, the error code and its description.
class MELNAR_EXPORT SystemCallException : public MelnarException {
public:
    /// `systemCallName` is not copied and must point to static text; `errorCode` is an `errno` value.
    template<MessagePiece... Pieces>
    SystemCallException(const std::string& sourceFileName, const long sourceLineNumber,
                        const std::vector<std::exception_ptr>& causes, const char* const systemCallName,
                        const int errorCode, Pieces&&... pieces)
        : MelnarException(sourceFileName, sourceLineNumber, 0, causes, std::string("SystemCallException"),
                          withExtendedInformation(joinMessagePieces(pieces...), systemCallName, errorCode),
                          FailureKind::SYSTEM),
          m_systemCallName(systemCallName), m_errorCode(errorCode) {}

    ///@{
    /// Copies share their causes.
    SystemCallException(const SystemCallException&) = default;
    SystemCallException(SystemCallException&&) = default;
    SystemCallException& operator=(const SystemCallException&) = default;
    SystemCallException& operator=(SystemCallException&&) = default;
    ///@}

    ~SystemCallException() override;

    /// Returns the name of the call, such as "mmap".
    const char* getSystemCallName() const noexcept { return m_systemCallName; }

    /// Returns the `errno` value that the call left.
    int getErrorCode() const noexcept { return m_errorCode; }

private:
    static std::string withExtendedInformation(std::string&& message, const char* systemCallName, int errorCode);

    const char* m_systemCallName;
    int m_errorCode;
};
