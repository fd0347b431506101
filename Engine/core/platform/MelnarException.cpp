#include "Engine/core/platform/MelnarException.h"

#include "Engine/core/platform/stream/OutputStream.h"

// Constant-initialised: a failure during the static initialisation of another file may already need it.
constinit const std::vector<std::exception_ptr> MelnarException::NO_CAUSES;

MelnarException::MelnarException(const std::string& sourceFileName, const long sourceLineNumber, int,
                                 const std::vector<std::exception_ptr>& causes, std::string&& exceptionName,
                                 std::string&& message, const FailureKind kind)
    : m_sourceFileName(sourceFileName), m_sourceLineNumber(sourceLineNumber), m_causes(causes),
      m_exceptionName(std::move(exceptionName)), m_message(std::move(message)),
      m_whatText(m_exceptionName + " (" + m_sourceFileName + ":" + std::to_string(m_sourceLineNumber) +
                 "): " + m_message),
      m_kind(kind) {}

MelnarException::~MelnarException() = default;

const char* MelnarException::what() const noexcept {
    return m_whatText.c_str();
}

void MelnarException::printArguments(OutputStream& output) const {
    std::string text = m_whatText + "\n";
    for (const std::exception_ptr& cause : m_causes) {
        try {
            std::rethrow_exception(cause);
        } catch (const std::exception& causeException) {
            text += std::string("    caused by ") + causeException.what() + "\n";
        } catch (...) {
            text += "    caused by an exception of unknown type\n";
        }
    }
    output.write(text.data(), text.size());
}
