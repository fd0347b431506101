#pragma once

#include "melnar.h"

#include <cstddef>
#include <string_view>

/// Makes an error of the C interface. Copies the message; if it is too long, cuts it between two characters.
melnar_error makeError(melnar_code code, size_t index, std::string_view message) noexcept;

/// Makes the error of a call that has succeeded.
melnar_error makeNoError() noexcept;

/// Describes the exception that is being handled. For a ColumnException, describes its cause, and adds the index.
melnar_error describeException() noexcept;
