#pragma once

#include "Engine/c/DictionaryHandle.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/platform/Unmovable.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// Makes the options of a dictionary from those in Python.
DictionaryOptions makeOptions(uint64_t memoryLimit, std::optional<uint64_t> maximumSize);

/// Implements the Python class Dictionary. The operations are documented there (melnar/__init__.py).
///
/// Threads  With the GIL, which they release while they work on the dictionary: none of them waits for another thread
///          while it holds the GIL. Operations on columns process chunks; between two chunks, other threads may commit
///          or roll back.
/// Errors   Python's exceptions.
class PythonDictionary : private Unmovable {
public:
    explicit PythonDictionary(std::unique_ptr<Dictionary> dictionary) : m_handle(std::move(dictionary)) {}

    static std::unique_ptr<PythonDictionary> make(const DictionaryOptions& options);
    static std::unique_ptr<PythonDictionary> open(const std::string& fileName, uint64_t memoryLimit);

    pybind11::array_t<uint64_t> encode(const pybind11::object& texts, const std::optional<std::string>& language);
    pybind11::array_t<uint64_t> lookUp(const pybind11::object& texts, const std::optional<std::string>& language,
                                       std::optional<uint64_t> commitPoint) const;

    pybind11::object decodeToList(const pybind11::array_t<uint64_t>& resourceIDs) const;
    pybind11::object decodeToObjects(const pybind11::array_t<uint64_t>& resourceIDs) const;
    pybind11::object decodeToArrow(const pybind11::array_t<uint64_t>& resourceIDs) const;

    pybind11::object get(uint64_t resourceID) const;
    uint64_t encodeTerm(const pybind11::tuple& term);
    uint64_t lookUpTerm(const pybind11::tuple& term, std::optional<uint64_t> commitPoint) const;
    bool contains(const pybind11::object& item) const;

    uint64_t commit();
    void rollback();
    void save(const std::string& fileName) const;

    uint64_t getSize() const noexcept { return m_handle.getSize(); }
    uint64_t getCommitPoint() const noexcept { return m_handle.getDictionary().getCommitPoint().m_resourceID; }
    uint64_t getMemoryInUse() const noexcept { return m_handle.getDictionary().getMemoryInUse(); }
    uint64_t getMemoryLimit() const noexcept { return m_handle.getDictionary().getMemoryLimit(); }

    /// Returns a list for an iteration over the dictionary: ID and item of some resources, from `resourceID` on. Moves
    /// the ID past them; the list is empty at the end.
    pybind11::list getItems(uint64_t& resourceID) const;

private:
    template<class Fill>
    void decode(const pybind11::array_t<uint64_t>& resourceIDs, const Fill& fill) const;

    DictionaryHandle m_handle;
};
