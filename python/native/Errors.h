#pragma once

#include "Engine/c/Errors.h"
#include "melnar.h"
#include "python/native/GilRelease.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>

/// Returns the Python files of the module, which define the exceptions and the class of terms.
pybind11::module_ getPythonPart();

/// Raises the Python exception of an error of the dictionary. The index in the error counts from `firstIndex`.
[[noreturn]] void raise(const melnar_error& error, size_t firstIndex = 0);

/// Calls `operation()` without the GIL and returns its result; raises the Python exception of an engine exception.
template<class Operation>
auto callEngine(const Operation& operation) {
    decltype(operation()) made;
    melnar_error error = makeNoError();
    {
        const GilRelease release;
        try {
            made = operation();
        } catch (...) {
            error = describeException();
        }
    }
    if (error.code != MELNAR_OK)
        raise(error);
    return made;
}

/// Raises an exception of the module, such as "NotUtf8Error", with an index.
[[noreturn]] void raise(const char* exceptionName, const std::string& message, size_t index = MELNAR_NO_INDEX);

/// Raises TypeError, ValueError and the like with a message.
[[noreturn]] void raise(PyObject* type, const std::string& message);
