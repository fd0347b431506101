#pragma once

#include "Engine/c/Errors.h"
#include "melnar.h"
#include "python/native/GilRelease.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>

/// The module's own Python files, which define the exceptions and the class of terms.
pybind11::module_ getPythonPart();

/// Raises the Python exception of an error of the dictionary. `firstIndex` is that of the entry that it counts from.
[[noreturn]] void raise(const melnar_error& error, size_t firstIndex = 0);

/// Returns what `operation()` makes without the GIL; raises the Python exception of one of the engine's.
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

/// Raises an exception of the module's with an index, such as "NotUtf8Error".
[[noreturn]] void raise(const char* exceptionName, const std::string& message, size_t index = MELNAR_NO_INDEX);

/// Raises TypeError, ValueError and the like with a message.
[[noreturn]] void raise(PyObject* type, const std::string& message);
