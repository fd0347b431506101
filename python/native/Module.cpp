#include "melnar.h"
#include "python/native/Loading.h"
#include "python/native/PythonDictionary.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace py = pybind11;

// melnar/__init__.py builds the public interface from these functions, and documents it.
PYBIND11_MODULE(_native, module) {
    module.def("version", &melnar_version);
    module.def("load",
               [](std::vector<std::string> fileNames, const uint64_t memoryLimit,
                  const std::optional<uint64_t> maximumSize, const size_t numberOfThreads, const bool loadsOnlyStrings,
                  const bool wantsRows, const bool isLenient, std::string base, py::object progress) {
                   return load({std::move(fileNames), memoryLimit, maximumSize, numberOfThreads, loadsOnlyStrings,
                                wantsRows, isLenient, std::move(base), std::move(progress)});
               });
    py::class_<PythonDictionary>(module, "Dictionary")
        .def_static("make",
                    [](const uint64_t memoryLimit, const std::optional<uint64_t> maximumSize) {
                        return PythonDictionary::make(makeOptions(memoryLimit, maximumSize));
                    })
        .def_static("open", &PythonDictionary::open)
        .def("encode", &PythonDictionary::encode)
        .def("lookup", &PythonDictionary::lookUp)
        .def("decode_to_list", &PythonDictionary::decodeToList)
        .def("decode_to_objects", &PythonDictionary::decodeToObjects)
        .def("decode_to_arrow", &PythonDictionary::decodeToArrow)
        .def("get", &PythonDictionary::get)
        .def("encode_term", &PythonDictionary::encodeTerm)
        .def("lookup_term", &PythonDictionary::lookUpTerm)
        .def("contains", &PythonDictionary::contains)
        .def("commit", &PythonDictionary::commit)
        .def("rollback", &PythonDictionary::rollback)
        .def("save", &PythonDictionary::save)
        .def("size", &PythonDictionary::getSize)
        .def("commit_point", &PythonDictionary::getCommitPoint)
        .def("memory_in_use", &PythonDictionary::getMemoryInUse)
        .def("memory_limit", &PythonDictionary::getMemoryLimit)
        .def("items", [](const PythonDictionary& dictionary, uint64_t resourceID) {
            py::list items = dictionary.getItems(resourceID);
            return py::make_tuple(resourceID, items);
        });
}
