#pragma once

#include <stdexcept>
#include <string>
#include <typeinfo>

/// Runs `action` and returns the exception that it throws, which must be of exactly the type `Exception`. Otherwise, or
/// if it throws none, the calling test fails with another exception.
template<class Exception, class Action>
Exception catchException(const Action& action) {
    try {
        action();
    } catch (const Exception& exception) {
        if (typeid(exception) != typeid(Exception))
            throw std::logic_error(std::string("A subclass was thrown: ") + typeid(exception).name());
        return exception;
    }
    throw std::logic_error("Nothing was thrown.");
}
