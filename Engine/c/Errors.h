#pragma once

#include "melnar.h"

#include <cstddef>
#include <string_view>

/// An error as C has it, with a copy of the message, cut between two characters where it is too long.
melnar_error makeError(melnar_code code, size_t index, std::string_view message) noexcept;

/// The error without a failure.
melnar_error makeNoError() noexcept;

/// Describes the exception that is being handled. That of a ColumnException is its cause's, and tells the index.
melnar_error describeException() noexcept;
