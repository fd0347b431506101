#pragma once

#include "python/native/PythonDictionary.h"

#include <pybind11/pybind11.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The arguments of a load from Python; melnar.load documents them.
struct LoadRequest {
    std::vector<std::string> m_fileNames;
    uint64_t m_memoryLimit;
    std::optional<uint64_t> m_maximumSize;
    size_t m_numberOfThreads; // 0 for as many as the machine has
    bool m_loadsOnlyStrings;
    bool m_wantsRows;
    bool m_isLenient;
    std::string m_base;
    pybind11::object m_progress; // called from time to time with figures, or None
};

/// Loads RDF files into a new dictionary. Returns it with the rows of IDs, an array of NumPy, or None.
///
/// Errors  LoadError with the fault of a file; KeyboardInterrupt and the exceptions of the callable for the progress,
///         which end the load.
pybind11::tuple load(const LoadRequest& request);
