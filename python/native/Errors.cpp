#include "python/native/Errors.h"

namespace py = pybind11;

py::module_ getPythonPart() {
    return py::module_::import("melnar._types");
}

void raise(PyObject* const type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw py::error_already_set();
}

void raise(const char* const exceptionName, const std::string& message, const size_t index) {
    const py::object type = getPythonPart().attr(exceptionName);
    const py::object exception = type(py::reinterpret_steal<py::str>(
        PyUnicode_DecodeUTF8(message.data(), static_cast<Py_ssize_t>(message.size()), "replace")));
    if (index != MELNAR_NO_INDEX)
        exception.attr("index") = index;
    PyErr_SetObject(type.ptr(), exception.ptr());
    throw py::error_already_set();
}

void raise(const melnar_error& error, const size_t firstIndex) {
    const size_t index = error.index == MELNAR_NO_INDEX ? error.index : error.index + firstIndex;
    switch (error.code) {
    case MELNAR_REFUSED:
        raise("RefusedError", error.message, index);
    case MELNAR_NO_SUCH_RESOURCE:
        raise("NoSuchResourceError", error.message, index);
    case MELNAR_FULL:
        raise("FullError", error.message, index);
    case MELNAR_MEMORY:
        raise("OutOfMemoryError", error.message, index);
    case MELNAR_DAMAGED_FILE:
        raise("DamagedFileError", error.message, index);
    case MELNAR_MISUSE:
        raise("MisuseError", error.message, index);
    case MELNAR_SYSTEM:
        raise("SystemCallError", error.message, index);
    case MELNAR_IN_USE:
        raise("InUseError", error.message, index);
    default:
        raise("Error", error.message, index);
    }
}
