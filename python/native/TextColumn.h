#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "python/native/TextChunk.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>

/// A column of texts in Python, of any kind that `make` takes.
///
/// Ownership  Keeps the object alive from which it was made.
/// Threads    With the GIL.
/// Errors     Python's TypeError and ValueError for something that is not a column of texts, and the module's
///            NotUtf8Error. They name the index of the text.
class TextColumn : private Unmovable {
public:
    virtual ~TextColumn() = default;

    virtual size_t getSize() const = 0;

    /// Adds texts from `begin` on, at least one and as many as fit into the empty chunk.
    virtual void fill(size_t begin, TextChunk& chunk) = 0;

    /// Takes an array of NumPy (of objects, of str or of bytes), an object with Arrow's `__arrow_c_array__`, or any
    /// iterable of str.
    static std::unique_ptr<TextColumn> make(const pybind11::object& texts);
};
