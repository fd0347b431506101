#pragma once

#include <stdexcept>

/// Says why the judge refuses a text.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};
