#include "tools/melnar-dict/SerdRun.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace {

struct SerdReaderDeleter {
    void operator()(SerdReader* const reader) const noexcept { serd_reader_free(reader); }
};

/// What the callbacks share. They are called from C, which no exception may cross.
class Run {
public:
    explicit Run(SerdClient& client) : m_client(client) {}

    std::optional<SerdFault> read(const SerdSyntax syntax) {
        const std::unique_ptr<SerdReader, SerdReaderDeleter> reader(
            serd_reader_new(syntax, this, nullptr, &takeBase, &takePrefix, &takeStatement, nullptr));
        if (!reader)
            throw std::bad_alloc();
        serd_reader_set_strict(reader.get(), true);
        serd_reader_set_error_sink(reader.get(), &takeError, this);
        const SerdStatus status = serd_reader_read_source(reader.get(), &provideText, &hasSourceError, this,
                                                          reinterpret_cast<const uint8_t*>(""), SERD_PAGE_SIZE);
        if (m_exception)
            std::rethrow_exception(m_exception);
        if (!m_fault && status > SERD_FAILURE)
            m_fault = {0, reinterpret_cast<const char*>(serd_strerror(status))};
        return std::move(m_fault);
    }

private:
    /// Lets the client do something unless the run is over already; what goes wrong ends the run.
    template<typename Action>
    static SerdStatus call(void* const handle, const Action& action) noexcept {
        Run& run = *static_cast<Run*>(handle);
        if (!run.isOver())
            try {
                if (const char* const cause = action(run.m_client))
                    run.m_fault = {0, cause};
            } catch (...) {
                run.m_exception = std::current_exception();
            }
        return run.isOver() ? SERD_ERR_BAD_SYNTAX : SERD_SUCCESS;
    }

    static size_t provideText(void* const buffer, size_t, const size_t size, void* const handle) noexcept {
        size_t numberOfBytes = 0;
        call(handle, [&](SerdClient& client) -> const char* {
            numberOfBytes = client.provideText(static_cast<char*>(buffer), size);
            return nullptr;
        });
        return numberOfBytes;
    }

    static int hasSourceError(void*) noexcept { return 0; }

    static SerdStatus takeBase(void* const handle, const SerdNode* const iri) noexcept {
        return call(handle, [&](SerdClient& client) { return client.takeBase(*iri); });
    }

    static SerdStatus takePrefix(void* const handle, const SerdNode* const name, const SerdNode* const iri) noexcept {
        return call(handle, [&](SerdClient& client) { return client.takePrefix(*name, *iri); });
    }

    static SerdStatus takeStatement(void* const handle, SerdStatementFlags, const SerdNode* const graph,
                                    const SerdNode* const subject, const SerdNode* const predicate,
                                    const SerdNode* const object, const SerdNode* const datatype,
                                    const SerdNode* const language) noexcept {
        return call(handle, [&](SerdClient& client) {
            return client.takeStatement({graph, subject, predicate, object, datatype, language});
        });
    }

    static SerdStatus takeError(void* const handle, const SerdError* const error) noexcept {
        Run& run = *static_cast<Run*>(handle);
        if (!run.isOver())
            try {
                run.m_fault = {error->line, describe(*error)};
            } catch (...) {
                run.m_exception = std::current_exception();
            }
        return SERD_SUCCESS;
    }

    static std::string describe(const SerdError& error) {
        char text[256];
        const int length = std::vsnprintf(text, sizeof text, error.fmt, *error.args);
        std::string description(text,
                                std::clamp<size_t>(length < 0 ? 0 : static_cast<size_t>(length), 0, sizeof text - 1));
        while (description.ends_with('\n'))
            description.pop_back();
        // Serd quotes single bytes, which may be parts of characters, control characters or the end of the file.
        std::replace_if(
            description.begin(), description.end(), [](const char byte) { return byte < ' ' || byte > '~'; }, '?');
        return description;
    }

    bool isOver() const noexcept { return m_fault || m_exception; }

    SerdClient& m_client;
    std::optional<SerdFault> m_fault;
    std::exception_ptr m_exception;
};

} // namespace

std::optional<SerdFault> runSerd(const SerdSyntax syntax, SerdClient& client) {
    return Run(client).read(syntax);
}
