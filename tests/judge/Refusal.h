#pragma once

#include <stdexcept>

/// The reason why the judge refuses a text.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};
