#include "tools/melnar-dict/shell/OutputFile.h"

using namespace melnar;

OutputFile::OutputFile(OutputLock& lock) : m_output(lock.getOutput()) {
    InterruptionDelay delay;
    m_stream.emplace(lock.get());
    delay.setTemporaryFile(getKind(), m_stream->getTemporaryFileName());
}

OutputFile::~OutputFile() {
    if (!m_stream)
        return;
    InterruptionDelay delay;
    close(delay);
}

TemporaryFile OutputFile::getKind() const noexcept {
    return m_output == Output::FIRST ? TemporaryFile::OUTPUT : TemporaryFile::SECOND_OUTPUT;
}

void OutputFile::close(InterruptionDelay& delay) noexcept {
    m_stream.reset();
    delay.forgetTemporaryFile(getKind());
}

void OutputFile::commit() {
    m_stream->prepare(); // may take long, and can still be interrupted
    InterruptionDelay delay;
    try {
        m_stream->commit();
    } catch (...) {
        close(delay);
        throw;
    }
    close(delay);
}

void OutputFile::commitBoth(OutputFile& first, OutputFile& second) {
    first.prepare();
    second.prepare();
    InterruptionDelay delay;
    const auto closeBoth = [&] {
        first.close(delay);
        second.close(delay);
    };
    try {
        AtomicFileOutputStream::replaceBoth(*first.m_stream, *second.m_stream);
    } catch (...) {
        closeBoth();
        throw;
    }
    first.m_stream->keep();
    second.m_stream->keep();
    closeBoth();
}
