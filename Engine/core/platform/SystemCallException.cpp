#include "Engine/core/platform/SystemCallException.h"

#include "Engine/core/platform/ErrorCodeDescription.h"

SystemCallException::~SystemCallException() = default;

std::string SystemCallException::withExtendedInformation(std::string&& message, const char* const systemCallName,
                                                         const int errorCode) {
    message += "\n[Extended information: ";
    message += systemCallName;
    message += " reported error code ";
    appendSignedDecimal(message, errorCode);
    message += " (";
    appendErrorCodeDescription(message, errorCode);
    message += ")]";
    return std::move(message);
}
