#pragma once

#include <cstddef>
#include <exception>

/// Why an entry of a batch has no answer: the exception that the operation on the single literal would have thrown.
struct BatchFailure {
    size_t m_entryIndex;
    std::exception_ptr m_exception;
};
