#include "tools/melnar-dict/shell/OutputLock.h"

#include "tools/melnar-dict/shell/Interruption.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

namespace {

TemporaryFile getKind(const Output output) noexcept {
    return output == Output::FIRST ? TemporaryFile::LOCK : TemporaryFile::SECOND_LOCK;
}

} // namespace

OutputLock::OutputLock(const std::string& fileName, const bool waits, std::ostream& errorOutput, const Output output)
    : m_output(output) {
    std::optional<InterruptionDelay> delay(std::in_place);
    m_lock.emplace(fileName, [&](const std::string& holder, const std::function<void()>& wait) {
        const std::string cause = "'" + fileName + "' is being written by " + holder;
        if (!waits)
            throw ToolFailure(ExitCode::FAILURE, cause + "; --wait waits until it has finished");
        errorOutput << "melnar-dict: " << toPrintable(cause) << "; waiting until it has finished" << std::endl;
        delay.reset(); // A wait may be long, and this process has no lock file during it.
        wait();
        delay.emplace();
    });
    delay->setTemporaryFile(getKind(m_output), m_lock->getLockFileName());
}

OutputLock::~OutputLock() {
    InterruptionDelay delay;
    m_lock.reset();
    delay.forgetTemporaryFile(getKind(m_output));
}
