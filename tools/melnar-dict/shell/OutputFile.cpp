#include "tools/melnar-dict/shell/OutputFile.h"

#include "tools/melnar-dict/shell/Interruption.h"

namespace {

/// Makes an interruption forget the temporary file at the end of a delay in which the file goes.
void close(std::optional<AtomicFileOutputStream>& stream, InterruptionDelay& delay) noexcept {
    stream.reset();
    delay.forgetTemporaryFile(TemporaryFile::OUTPUT);
}

} // namespace

OutputFile::OutputFile(OutputLock& lock) {
    InterruptionDelay delay;
    m_stream.emplace(lock.get());
    delay.setTemporaryFile(TemporaryFile::OUTPUT, m_stream->getTemporaryFileName());
}

OutputFile::~OutputFile() {
    if (!m_stream)
        return;
    InterruptionDelay delay;
    close(m_stream, delay);
}

void OutputFile::commit() {
    m_stream->prepare(); // may take long, and can still be interrupted
    InterruptionDelay delay;
    try {
        m_stream->commit();
    } catch (...) {
        close(m_stream, delay);
        throw;
    }
    close(m_stream, delay);
}
