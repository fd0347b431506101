#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "python/native/TextChunk.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>

/// A column of texts that Python has: any of the kinds that `make` takes.
///
/// Ownership  Keeps the object alive that it was made of.
/// Threads    With the GIL.
/// Errors     Python's: TypeError and ValueError for what is no column of texts, and the module's NotUtf8Error. They name
///            the index of the text.
class TextColumn : private Unmovable {
public:
    virtual ~TextColumn() = default;

    virtual size_t getSize() const = 0;

    /// Adds texts from `begin` on, at least one and as many as the empty chunk takes.
    virtual void fill(size_t begin, TextChunk& chunk) = 0;

    /// Takes an array of NumPy (of objects, of str or of bytes), an object with Arrow's `__arrow_c_array__`, or any
    /// iterable of str.
    static std::unique_ptr<TextColumn> make(const pybind11::object& texts);
};
