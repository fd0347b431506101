#include "Engine/core/platform/ErrorCodeDescription.h"

#include <cstring>

namespace {

// The C library declares one of two functions with this name. Overloading on the result accepts either.
[[maybe_unused]] const char* descriptionOf(const char* const result, const char*) {
    return result;
}

[[maybe_unused]] const char* descriptionOf(const int result, const char* const buffer) {
    return result == 0 ? buffer : "unknown error";
}

} // namespace

void appendErrorCodeDescription(std::string& output, const int errorCode) {
    char buffer[256] = {};
    output += descriptionOf(::strerror_r(errorCode, buffer, sizeof(buffer)), buffer);
}
