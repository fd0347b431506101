#include "python/native/Loading.h"

#include "Engine/c/Errors.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "python/native/Errors.h"
#include "python/native/GilRelease.h"
#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/input/InputNames.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/MessageOutput.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <pybind11/numpy.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

namespace py = pybind11;

namespace {

constexpr std::chrono::milliseconds PERIOD_OF_PROGRESS(100);

/// Collects the rows of IDs of a load, with 8 bytes per ID.
class RowCollector final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }

    void write(const void* const data, const size_t numberOfBytes) override {
        const auto* const ids = static_cast<const char*>(data);
        m_bytes->insert(m_bytes->end(), ids, ids + numberOfBytes);
    }

    void flush() override {}

    /// Transfers the rows to the caller.
    py::object release(const size_t columns) {
        const auto rows = static_cast<py::ssize_t>(m_bytes->size() / (columns * sizeof(uint64_t)));
        const char* const data = m_bytes->data();
        const py::capsule owner(m_bytes.release(),
                                [](void* const vector) { delete static_cast<std::vector<char>*>(vector); });
        return py::array(py::dtype::of<uint64_t>(), {rows, static_cast<py::ssize_t>(columns)}, {}, data, owner);
    }

private:
    const std::string m_name = "rows";
    std::unique_ptr<std::vector<char>> m_bytes = std::make_unique<std::vector<char>>();
};

InputFiles findFiles(const std::vector<std::string>& fileNames) {
    std::vector<std::pair<std::string, std::optional<RdfFormat>>> names;
    for (const std::string& fileName : fileNames)
        names.emplace_back(fileName, std::nullopt);
    return expandInputNames(names);
}

} // namespace

py::tuple load(const LoadRequest& request) {
    InputFiles files;
    try {
        files = findFiles(request.m_fileNames);
    } catch (const ToolFailure& failure) {
        raise("LoadError", failure.what());
    }
    std::unique_ptr<Dictionary> dictionary = callEngine(
        [&] { return std::make_unique<Dictionary>(makeOptions(request.m_memoryLimit, request.m_maximumSize)); });
    std::ostringstream ignored; // the journal keeps the error that ends a load
    MessageOutput messages(ignored);
    std::atomic<uint64_t> bytesRead = 0;
    InputJournal journal({.m_isLenient = request.m_isLenient, .m_isQuiet = true}, messages);
    RowCollector rows;
    FileLoader::TermSettings terms;
    terms.m_rowLayout.m_columns = haveGraphs(files) ? 4 : 3;
    if (request.m_wantsRows)
        terms.m_rowStream = &rows;
    else
        terms.m_order = TermResolver::Order::ANY;

    const auto loadFiles = [&] {
        FilePass::Settings settings;
        settings.m_numberOfThreads =
            request.m_numberOfThreads == 0 ? getDefaultNumberOfThreads() : request.m_numberOfThreads;
        settings.m_isLenient = request.m_isLenient;
        settings.m_base = request.m_base;
        settings.m_bytesRead = &bytesRead;
        std::optional<FileLoader> loader;
        if (request.m_loadsOnlyStrings)
            loader.emplace(*dictionary, journal, settings);
        else
            loader.emplace(*dictionary, journal, settings, terms);
        for (const auto& [fileName, format] : files)
            if (!journal.isStopped())
                loader->load(fileName, format);
    };
    const auto wait = [&](const std::future<void>& loading) {
        const GilRelease release;
        return loading.wait_for(PERIOD_OF_PROGRESS) == std::future_status::ready;
    };
    const auto tellProgress = [&] {
        if (!request.m_progress.is_none())
            request.m_progress(py::arg("bytes_read") = bytesRead.load(std::memory_order_relaxed),
                               py::arg("total_bytes") = getTotalBytes(files),
                               py::arg("statements") = journal.getStatementsSoFar(),
                               py::arg("resources") = dictionary->getNextResourceID() - 1,
                               py::arg("memory_in_use") = dictionary->getMemoryInUse());
    };
    std::future<void> loading = std::async(std::launch::async, loadFiles);
    try {
        while (!wait(loading)) {
            if (PyErr_CheckSignals() != 0)
                throw py::error_already_set();
            tellProgress();
        }
    } catch (...) {
        journal.stop();
        const GilRelease release;
        loading.wait();
        throw;
    }
    callEngine([&] {
        loading.get();
        return true;
    });
    if (journal.isStopped())
        raise(journal.getLastKind() == FailureKind::MEMORY ? "OutOfMemoryError"
              : journal.getLastKind() == FailureKind::FULL ? "FullError"
                                                           : "LoadError",
              journal.getLastError());
    tellProgress();
    dictionary->commit();
    return py::make_tuple(std::make_unique<PythonDictionary>(std::move(dictionary)),
                          request.m_wantsRows ? rows.release(terms.m_rowLayout.m_columns) : py::none());
}
