#include "python/native/TextColumn.h"

#include "Reader/Utf8.h"
#include "python/native/ArrowCData.h"
#include "python/native/Errors.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace py = pybind11;

namespace {

/// Returns whether a chunk has taken a text. Raises the exception for a text that is not valid in UTF-8.
bool hasTaken(const TextChunk::Added added, const size_t index) {
    if (added == TextChunk::Added::NO_UTF8)
        raise("NotUtf8Error", "Text " + std::to_string(index) + " has a surrogate, which UTF-8 cannot represent.",
              index);
    return added == TextChunk::Added::DONE;
}

[[noreturn]] void raiseNoText(const size_t index, PyObject* const object) {
    raise(PyExc_TypeError, "Text " + std::to_string(index) + " is not a str, but " + Py_TYPE(object)->tp_name + ".");
}

void addValid(const size_t index, const std::string_view text, TextChunk& chunk) {
    if (Rdf::Utf8::findInvalid(text.data(), text.data() + text.size()) != text.data() + text.size())
        raise("NotUtf8Error", "Text " + std::to_string(index) + " is not valid UTF-8.", index);
    chunk.addBytes(text);
}

/// The objects of a list, a tuple or an array.
class ObjectColumn final : public TextColumn {
public:
    ObjectColumn(py::object owner, PyObject* const* const objects, const size_t size)
        : m_owner(std::move(owner)), m_objects(objects), m_size(size) {}

    size_t getSize() const override { return m_size; }

    void fill(const size_t begin, TextChunk& chunk) override {
        PyObject* const* objects = m_objects;
        if (PyList_Check(m_owner.ptr())) { // Another thread may have changed it.
            if (static_cast<size_t>(PyList_GET_SIZE(m_owner.ptr())) != m_size)
                raise(PyExc_RuntimeError, "The list changed its size while it was being read.");
            objects = PySequence_Fast_ITEMS(m_owner.ptr());
        }
        for (size_t index = begin; index < m_size && !chunk.isFull(); ++index) {
            // The header of the string and its first bytes, most likely in two cache lines.
            const auto* const ahead = reinterpret_cast<const char*>(objects[std::min(index + PREFETCHED, m_size - 1)]);
            __builtin_prefetch(ahead, 1); // the reference count will be written
            __builtin_prefetch(ahead + 64);
            PyObject* const object = objects[index];
            if (object == nullptr || !PyUnicode_Check(object))
                raiseNoText(index, object == nullptr ? Py_None : object);
            if (!hasTaken(chunk.add(object), index))
                return;
        }
    }

private:
    static constexpr size_t PREFETCHED = 16;

    const py::object m_owner;
    PyObject* const* const m_objects;
    const size_t m_size;
};

/// Texts of one width, padded with zeros: an array of str, with four bytes per character, or of bytes.
class FixedColumn final : public TextColumn {
public:
    FixedColumn(py::array array, const bool isOfBytes) : m_array(std::move(array)), m_isOfBytes(isOfBytes) {}

    size_t getSize() const override { return static_cast<size_t>(m_array.size()); }

    void fill(const size_t begin, TextChunk& chunk) override {
        const auto width = static_cast<size_t>(m_array.itemsize());
        const auto* const data = static_cast<const char*>(m_array.data());
        for (size_t index = begin; index < getSize() && !chunk.isFull(); ++index) {
            const std::string_view item(data + index * width, width);
            const size_t size = item.find_last_not_of('\0') + 1;
            if (m_isOfBytes) {
                addValid(index, item.substr(0, size), chunk);
                continue;
            }
            if (!hasTaken(chunk.add(item.data(), (size + 3) / 4, 4), index))
                return;
        }
    }

private:
    const py::array m_array;
    const bool m_isOfBytes;
};

/// Strings or large strings in Arrow's layout.
template<class Offset>
class ArrowColumn final : public TextColumn {
public:
    ArrowColumn(py::object owner, const ArrowArray& array)
        : m_owner(std::move(owner)), m_size(static_cast<size_t>(array.length)),
          m_first(static_cast<size_t>(array.offset)),
          m_validity(array.null_count == 0 ? nullptr : static_cast<const uint8_t*>(array.buffers[0])),
          m_offsets(static_cast<const Offset*>(array.buffers[1])), m_bytes(static_cast<const char*>(array.buffers[2])) {
    }

    size_t getSize() const override { return m_size; }

    void fill(const size_t begin, TextChunk& chunk) override {
        for (size_t index = begin; index < m_size && !chunk.isFull(); ++index) {
            const size_t place = m_first + index;
            if (m_validity != nullptr && (m_validity[place / 8] >> (place % 8) & 1) == 0)
                raise(PyExc_TypeError, "Text " + std::to_string(index) + " is null.");
            const Offset textBegin = m_offsets[place];
            const Offset textEnd = m_offsets[place + 1];
            if (textBegin < 0 || textBegin > textEnd)
                raise(PyExc_ValueError, "The offsets of text " + std::to_string(index) + " are invalid.");
            addValid(index, std::string_view(m_bytes + textBegin, static_cast<size_t>(textEnd - textBegin)), chunk);
        }
    }

private:
    const py::object m_owner;
    const size_t m_size;
    const size_t m_first;
    const uint8_t* const m_validity; // one bit per text; null if there are no nulls
    const Offset* const m_offsets;
    const char* const m_bytes;
};

std::unique_ptr<TextColumn> makeOfArray(py::array array) {
    if (array.ndim() != 1)
        raise(PyExc_ValueError, "The array of texts has " + std::to_string(array.ndim()) + " dimensions instead of 1.");
    const char kind = array.dtype().kind();
    if (kind != 'O' && kind != 'U' && kind != 'S')
        raise(PyExc_TypeError,
              "An array of texts has objects, str or bytes, not " + std::string(py::str(array.dtype())) + ".");
    if (kind == 'U')
        array = py::array(array.attr("astype")(array.dtype().attr("newbyteorder")("="), py::arg("copy") = false));
    array = py::array::ensure(array, py::array::c_style);
    if (!array)
        throw py::error_already_set();
    if (kind == 'O') {
        const auto* const objects = static_cast<PyObject* const*>(array.data());
        const auto size = static_cast<size_t>(array.size());
        return std::make_unique<ObjectColumn>(std::move(array), objects, size);
    }
    return std::make_unique<FixedColumn>(std::move(array), kind == 'S');
}

std::unique_ptr<TextColumn> makeOfArrow(const py::object& texts) {
    const py::tuple capsules = texts.attr("__arrow_c_array__")();
    if (capsules.size() != 2)
        raise(PyExc_TypeError, "__arrow_c_array__ did not return a pair.");
    const auto* const schema =
        static_cast<const ArrowSchema*>(PyCapsule_GetPointer(py::object(capsules[0]).ptr(), "arrow_schema"));
    const auto* const array =
        schema == nullptr
            ? nullptr
            : static_cast<const ArrowArray*>(PyCapsule_GetPointer(py::object(capsules[1]).ptr(), "arrow_array"));
    if (array == nullptr)
        throw py::error_already_set();
    if (schema->release == nullptr || array->release == nullptr)
        raise(PyExc_ValueError, "The Arrow array has been released.");
    const std::string_view format = schema->format;
    if ((format != "u" && format != "U") || schema->dictionary != nullptr || array->n_buffers != 3)
        raise(PyExc_TypeError, "An Arrow array of texts is of type string or large_string, not of format '" +
                                   std::string(format) +
                                   (schema->dictionary != nullptr ? "' with a dictionary." : "'."));
    if (array->length < 0 || array->offset < 0 || (array->length > 0 && array->buffers[1] == nullptr))
        raise(PyExc_ValueError, "The Arrow array is damaged.");
    if (format == "u")
        return std::make_unique<ArrowColumn<int32_t>>(capsules, *array);
    return std::make_unique<ArrowColumn<int64_t>>(capsules, *array);
}

} // namespace

std::unique_ptr<TextColumn> TextColumn::make(const py::object& texts) {
    if (py::isinstance<py::array>(texts))
        return makeOfArray(py::reinterpret_borrow<py::array>(texts));
    if (py::hasattr(texts, "__arrow_c_array__"))
        return makeOfArrow(texts);
    if (PyUnicode_Check(texts.ptr()) || PyBytes_Check(texts.ptr()) || PyByteArray_Check(texts.ptr()))
        raise(PyExc_TypeError, "A single text is no column: pass a list of texts.");
    auto sequence = py::reinterpret_steal<py::object>(
        PySequence_Fast(texts.ptr(), "Pass texts as an iterable of str, or as an array of NumPy or Arrow."));
    if (!sequence)
        throw py::error_already_set();
    PyObject* const* const objects = PySequence_Fast_ITEMS(sequence.ptr());
    const auto size = static_cast<size_t>(PySequence_Fast_GET_SIZE(sequence.ptr()));
    return std::make_unique<ObjectColumn>(std::move(sequence), objects, size);
}
