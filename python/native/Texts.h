#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string_view>

/// Whether all characters are ASCII. Without the GIL it also has the bytes fetched into the cache.
bool isAscii(std::string_view text) noexcept;

/// Makes a str of bytes of the dictionary; raises NotUtf8Error, which names the index, for what is no UTF-8. Returns a new
/// reference.
PyObject* makeText(std::string_view text, bool isAscii, size_t index);
