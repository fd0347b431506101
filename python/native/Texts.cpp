#include "python/native/Texts.h"

#include "python/native/Errors.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace py = pybind11;

bool isAscii(const std::string_view text) noexcept {
    const char* current = text.data();
    const char* const end = current + text.size();
    uint64_t all = 0;
    for (; end - current >= 8; current += 8) {
        uint64_t word;
        std::memcpy(&word, current, 8);
        all |= word;
    }
    for (; current != end; ++current)
        all |= static_cast<unsigned char>(*current);
    return (all & 0x8080808080808080) == 0;
}

PyObject* makeText(const std::string_view text, const bool isAscii, const size_t index) {
    PyObject* made;
    const auto size = static_cast<Py_ssize_t>(text.size());
    // Python shares all strings of up to one character.
    if (isAscii && size > 1) {
        made = PyUnicode_New(size, 127);
        if (made != nullptr)
            std::memcpy(PyUnicode_DATA(made), text.data(), text.size());
    } else
        made = PyUnicode_DecodeUTF8(text.data(), size, nullptr);
    if (made == nullptr) {
        if (PyErr_ExceptionMatches(PyExc_UnicodeDecodeError) == 0)
            throw py::error_already_set();
        PyErr_Clear();
        raise("NotUtf8Error", "The text of entry " + std::to_string(index) + " is not valid UTF-8.", index);
    }
    return made;
}
