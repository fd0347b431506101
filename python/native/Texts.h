#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string_view>

/// Returns whether all characters are ASCII. Called without the GIL, it also brings the bytes into the cache.
bool isAscii(std::string_view text) noexcept;

/// Makes a str from bytes of the dictionary. Raises NotUtf8Error, which names the index, if they are not UTF-8. Returns
/// a new reference.
PyObject* makeText(std::string_view text, bool isAscii, size_t index);
