#include "python/native/PythonDictionary.h"

#include "Engine/c/Errors.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "python/native/Errors.h"
#include "python/native/GilRelease.h"
#include "python/native/TextChunk.h"
#include "python/native/TextColumn.h"
#include "python/native/Texts.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <vector>

namespace py = pybind11;

namespace {

/// The number of resources that are decoded before their texts are made. With more than fit into the cache, they would
/// be loaded into it twice.
constexpr size_t DECODED_TOGETHER = 4096;

constexpr std::array<std::pair<const char*, Term::Kind>, 4> KINDS{{{"iri", Term::Kind::IRI},
                                                                   {"blank", Term::Kind::BLANK_NODE},
                                                                   {"literal", Term::Kind::LITERAL},
                                                                   {"triple", Term::Kind::TRIPLE_TERM}}};

constexpr std::array<std::pair<const char*, Term::Direction>, 2> DIRECTIONS{
    {{"ltr", Term::Direction::LEFT_TO_RIGHT}, {"rtl", Term::Direction::RIGHT_TO_LEFT}}};

void check(const melnar_error& error, const size_t firstIndex = 0) {
    if (error.code != MELNAR_OK)
        raise(error, firstIndex);
}

/// Processes a column chunk by chunk: calls `operation(texts, ids)` without the GIL.
template<class Operation>
py::array_t<uint64_t> answerColumn(const py::object& texts, const Operation& operation) {
    const std::unique_ptr<TextColumn> column = TextColumn::make(texts);
    const size_t size = column->getSize();
    py::array_t<uint64_t> resourceIDs(static_cast<py::ssize_t>(size));
    uint64_t* const data = resourceIDs.mutable_data();
    TextChunk chunk;
    size_t begin = 0;
    do { // An empty column is processed, too, since the language tag may be invalid.
        if (begin < size)
            column->fill(begin, chunk);
        const size_t numberOfTexts = chunk.getTexts().size();
        melnar_error error;
        {
            const GilRelease release;
            error =
                operation(std::span<const std::string_view>(chunk.getTexts()), std::span(data + begin, numberOfTexts));
        }
        check(error, begin);
        chunk.clear();
        begin += numberOfTexts;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
    } while (begin < size);
    return resourceIDs;
}

std::string_view toView(const std::optional<std::string>& language) {
    return language ? std::string_view(*language) : std::string_view();
}

DictionaryCommitPoint toCommitPoint(const std::optional<uint64_t> commitPoint) {
    return {commitPoint.value_or(MELNAR_UNCOMMITTED)};
}

py::object makeStr(const std::string_view text, const size_t index = 0) {
    return py::reinterpret_steal<py::object>(makeText(text, isAscii(text), index));
}

py::object makeTerm(const Term& term) {
    const auto makePart = [](const std::string_view part) -> py::object {
        return part.empty() ? py::none() : makeStr(part);
    };
    const char* kind = nullptr;
    for (const auto& [name, value] : KINDS)
        if (value == term.m_kind)
            kind = name;
    py::object direction = py::none();
    for (const auto& [name, value] : DIRECTIONS)
        if (value == term.m_direction)
            direction = py::str(name);
    return getPythonPart().attr("Term")(kind, makeStr(term.m_text), makePart(term.m_language),
                                        makePart(term.m_datatype), direction);
}

/// A term from Python, with its texts.
struct PythonTerm : private Unmovable {
    explicit PythonTerm(const py::tuple& term) {
        if (term.size() != m_parts.size())
            raise(PyExc_TypeError, "A term has " + std::to_string(m_parts.size()) + " parts.");
        for (size_t part = 0; part < m_parts.size(); ++part) {
            const py::object object = term[part];
            if (object.is_none())
                continue;
            if (PyUnicode_Check(object.ptr()) == 0)
                raise(PyExc_TypeError, "The parts of a term are str, or None.");
            TextChunk chunk;
            if (chunk.add(object.ptr()) != TextChunk::Added::DONE)
                raise("NotUtf8Error", "A part of the term has a surrogate, which UTF-8 cannot represent.");
            m_parts[part] = chunk.getTexts().front();
        }
        for (const auto& [name, value] : KINDS)
            if (name == m_parts[0])
                m_term.m_kind = value;
        if (m_term.m_kind == Term::Kind::NONE)
            raise(PyExc_ValueError, "The kind of a term is 'iri', 'blank', 'literal' or 'triple'.");
        for (const auto& [name, value] : DIRECTIONS)
            if (name == m_parts[4])
                m_term.m_direction = value;
        if (m_term.m_direction == Term::Direction::NONE && !m_parts[4].empty())
            raise(PyExc_ValueError, "The direction of a term is 'ltr', 'rtl' or None.");
        m_term.m_text = m_parts[1];
        m_term.m_language = m_parts[2];
        m_term.m_datatype = m_parts[3];
    }

    std::array<std::string, 5> m_parts;
    Term m_term;
};

} // namespace

DictionaryOptions makeOptions(const uint64_t memoryLimit, const std::optional<uint64_t> maximumSize) {
    return {.m_memoryLimit = memoryLimit,
            .m_maximumNumberOfResources = maximumSize.value_or(DictionaryOptions::AS_MANY_AS_FIT)};
}

std::unique_ptr<PythonDictionary> PythonDictionary::make(const DictionaryOptions& options) {
    return callEngine([&] { return std::make_unique<PythonDictionary>(std::make_unique<Dictionary>(options)); });
}

std::unique_ptr<PythonDictionary> PythonDictionary::open(const std::string& fileName, const uint64_t memoryLimit) {
    return callEngine([&] {
        return std::make_unique<PythonDictionary>(Dictionary::open(fileName, makeOptions(memoryLimit, std::nullopt)));
    });
}

py::array_t<uint64_t> PythonDictionary::encode(const py::object& texts, const std::optional<std::string>& language) {
    return answerColumn(texts, [&](const auto ofChunk, const std::span<uint64_t> resourceIDs) {
        return m_handle.encode(ofChunk, toView(language), resourceIDs);
    });
}

py::array_t<uint64_t> PythonDictionary::lookUp(const py::object& texts, const std::optional<std::string>& language,
                                               const std::optional<uint64_t> commitPoint) const {
    return answerColumn(texts, [&](const auto ofChunk, const std::span<uint64_t> resourceIDs) {
        return m_handle.lookUp(toCommitPoint(commitPoint), ofChunk, toView(language), resourceIDs);
    });
}

/// Decodes a column chunk by chunk without the GIL, and calls `fill(index, text, isAscii)` for each text with the GIL.
template<class Fill>
void PythonDictionary::decode(const py::array_t<uint64_t>& resourceIDs, const Fill& fill) const {
    const std::span<const uint64_t> all(resourceIDs.data(), static_cast<size_t>(resourceIDs.size()));
    DictionaryHandle::Texts texts;
    std::array<bool, DECODED_TOGETHER> areAscii;
    for (size_t begin = 0; begin < all.size(); begin += DECODED_TOGETHER) {
        const std::span<const uint64_t> chunk = all.subspan(begin, std::min(DECODED_TOGETHER, all.size() - begin));
        melnar_error error;
        {
            const GilRelease release;
            error = m_handle.decode(chunk, texts);
            if (error.code == MELNAR_OK)
                std::ranges::transform(texts.get(), areAscii.begin(), isAscii);
        }
        check(error, begin);
        for (size_t index = 0; index < chunk.size(); ++index)
            fill(begin + index, texts.get()[index], areAscii[index]);
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
    }
}

py::object PythonDictionary::decodeToList(const py::array_t<uint64_t>& resourceIDs) const {
    const py::list list(static_cast<size_t>(resourceIDs.size()));
    // The garbage collector must not show the list to others before it is complete.
    PyObject_GC_UnTrack(list.ptr());
    decode(resourceIDs, [&list](const size_t index, const std::string_view text, const bool isAscii) {
        PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(index), makeText(text, isAscii, index));
    });
    PyObject_GC_Track(list.ptr());
    return list;
}

py::object PythonDictionary::decodeToObjects(const py::array_t<uint64_t>& resourceIDs) const {
    const std::vector<py::ssize_t> shape(resourceIDs.shape(), resourceIDs.shape() + resourceIDs.ndim());
    const py::array array(py::dtype("O"), shape);
    auto* const objects = static_cast<PyObject**>(const_cast<void*>(array.data()));
    decode(resourceIDs, [objects](const size_t index, const std::string_view text, const bool isAscii) {
        Py_XSETREF(objects[index], makeText(text, isAscii, index));
    });
    return array;
}

py::object PythonDictionary::decodeToArrow(const py::array_t<uint64_t>& resourceIDs) const {
    const std::span<const uint64_t> all(resourceIDs.data(), static_cast<size_t>(resourceIDs.size()));
    py::array_t<int64_t> offsets(static_cast<py::ssize_t>(all.size() + 1));
    int64_t* const offset = offsets.mutable_data();
    auto bytes = std::make_unique<std::vector<char>>();
    melnar_error error = makeNoError();
    size_t failed = 0;
    {
        const GilRelease release;
        try {
            DictionaryHandle::Texts texts;
            offset[0] = 0;
            for (size_t begin = 0; begin < all.size() && error.code == MELNAR_OK; begin += DECODED_TOGETHER) {
                const std::span<const uint64_t> chunk =
                    all.subspan(begin, std::min(DECODED_TOGETHER, all.size() - begin));
                failed = begin;
                error = m_handle.decode(chunk, texts);
                if (error.code == MELNAR_OK)
                    for (size_t index = 0; index < chunk.size(); ++index) {
                        const std::string_view text = texts.get()[index];
                        bytes->insert(bytes->end(), text.begin(), text.end());
                        offset[begin + index + 1] = static_cast<int64_t>(bytes->size());
                    }
            }
        } catch (...) {
            error = describeException();
        }
    }
    check(error, failed);
    const auto size = static_cast<py::ssize_t>(bytes->size());
    const char* const data = bytes->data();
    const py::capsule owner(bytes.release(),
                            [](void* const vector) { delete static_cast<std::vector<char>*>(vector); });
    return py::make_tuple(py::array(py::dtype::of<uint8_t>(), {size}, {py::ssize_t(1)}, data, owner),
                          std::move(offsets));
}

py::object PythonDictionary::get(const uint64_t resourceID) const {
    std::string form;
    Term term;
    check(m_handle.getTerm(resourceID, form, term));
    return makeTerm(term);
}

uint64_t PythonDictionary::encodeTerm(const py::tuple& term) {
    const PythonTerm pythonTerm(term);
    uint64_t resourceID;
    melnar_error error;
    {
        const GilRelease release;
        error = m_handle.encodeTerm(pythonTerm.m_term, resourceID);
    }
    check(error);
    return resourceID;
}

uint64_t PythonDictionary::lookUpTerm(const py::tuple& term, const std::optional<uint64_t> commitPoint) const {
    const PythonTerm pythonTerm(term);
    uint64_t resourceID;
    check(m_handle.lookUpTerm(toCommitPoint(commitPoint), pythonTerm.m_term, resourceID));
    return resourceID;
}

bool PythonDictionary::contains(const py::object& item) const {
    if (py::isinstance(item, getPythonPart().attr("Term")))
        return lookUpTerm(item, std::nullopt) != 0;
    if (PyUnicode_Check(item.ptr()) == 0)
        raise(PyExc_TypeError, "Only a str or a Term can be in a dictionary.");
    TextChunk chunk;
    if (chunk.add(item.ptr()) != TextChunk::Added::DONE)
        return false; // No dictionary contains a text with a surrogate.
    uint64_t resourceID;
    check(m_handle.lookUp(toCommitPoint(std::nullopt), std::span<const std::string_view>(chunk.getTexts()), {},
                          {&resourceID, 1}));
    return resourceID != 0;
}

uint64_t PythonDictionary::commit() {
    DictionaryCommitPoint commitPoint{};
    melnar_error error;
    {
        const GilRelease release;
        error = m_handle.commit(commitPoint);
    }
    check(error);
    return commitPoint.m_resourceID;
}

void PythonDictionary::rollback() {
    melnar_error error;
    {
        const GilRelease release;
        error = m_handle.rollback();
    }
    check(error);
}

void PythonDictionary::save(const std::string& fileName) const {
    melnar_error error;
    {
        const GilRelease release;
        error = m_handle.save(fileName.c_str());
    }
    check(error);
}

py::list PythonDictionary::getItems(uint64_t& resourceID) const {
    constexpr uint64_t FOUND_TOGETHER = 1024;
    const Dictionary& dictionary = m_handle.getDictionary();
    py::list items;
    const uint64_t end = dictionary.getNextResourceID();
    std::vector<BatchEntry> entries;
    while (items.empty() && resourceID < end) {
        entries.resize(std::min(FOUND_TOGETHER, end - resourceID));
        for (BatchEntry& entry : entries)
            entry = {.m_lexicalForm = {}, .m_resourceID = resourceID++};
        dictionary.getResources(entries);
        for (const BatchEntry& entry : entries)
            if (entry.m_datatypeID == D_XSD_STRING)
                items.append(py::make_tuple(entry.m_resourceID, makeStr(entry.m_lexicalForm, entry.m_resourceID)));
            else if (entry.m_datatypeID != D_INVALID) {
                std::string form;
                dictionary.appendLexicalForm(entry, form);
                items.append(py::make_tuple(entry.m_resourceID, makeTerm(Term::parse(entry.m_datatypeID, form))));
            }
    }
    return items;
}
