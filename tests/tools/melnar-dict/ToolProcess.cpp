#include "tests/tools/melnar-dict/ToolProcess.h"

#include <array>
#include <csignal>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The destinations of the new process's file descriptors.
class FileActions : private Unmovable {
public:
    FileActions() { posix_spawn_file_actions_init(&m_actions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }

    void open(const int fileDescriptor, const std::string& path, const int flags) {
        posix_spawn_file_actions_addopen(&m_actions, fileDescriptor, path.c_str(), flags, 0600);
    }

    void duplicate(const int from, const int to) { posix_spawn_file_actions_adddup2(&m_actions, from, to); }

    void changeDirectory(const std::string& path) { posix_spawn_file_actions_addchdir_np(&m_actions, path.c_str()); }

    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

/// Gives signals their default effect on the new process, as at a terminal, however this one was started.
class DefaultSignals : private Unmovable {
public:
    DefaultSignals() {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGHUP);
        ::sigaddset(&signals, SIGPIPE);
        ::sigaddset(&signals, SIGXFSZ);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~DefaultSignals() { posix_spawnattr_destroy(&m_attributes); }

    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes;
};

/// The end of a pipe whose other end is closed.
class ClosedPipe : private Unmovable {
public:
    ClosedPipe() {
        std::array<int, 2> fileDescriptors{};
        if (::pipe(fileDescriptors.data()) != 0)
            throw std::runtime_error("No pipe to be had.");
        ::close(fileDescriptors[0]);
        m_fileDescriptor = fileDescriptors[1];
    }

    ~ClosedPipe() { ::close(m_fileDescriptor); }

    int get() const { return m_fileDescriptor; }

private:
    int m_fileDescriptor;
};

} // namespace

RunningTool::RunningTool(const std::vector<std::string>& arguments, const ToolInput& input)
    : m_outputPath(m_directory.addFile("output", "")), m_errorPath(m_directory.addFile("error", "")), m_processID(0) {
    const ClosedPipe closedPipe;
    FileActions actions;
    actions.open(STDIN_FILENO,
                 input.m_inputPath.empty() ? m_directory.addFile("input", input.m_input) : input.m_inputPath, O_RDONLY);
    if (input.m_isOutputClosedPipe)
        actions.duplicate(closedPipe.get(), STDOUT_FILENO);
    else if (input.m_outputDescriptor != -1)
        actions.duplicate(input.m_outputDescriptor, STDOUT_FILENO);
    else
        actions.open(STDOUT_FILENO, input.m_outputPath.empty() ? m_outputPath : input.m_outputPath, O_WRONLY);
    if (input.m_errorDescriptor != -1)
        actions.duplicate(input.m_errorDescriptor, STDERR_FILENO);
    else
        actions.open(STDERR_FILENO, m_errorPath, O_WRONLY);
    actions.changeDirectory(input.m_workingDirectory);

    std::vector<std::string> texts{input.m_executable};
    if (!input.m_shellCommands.empty())
        texts = {"/bin/sh", "-c", input.m_shellCommands + "\nexec \"$0\" \"$@\"", input.m_executable};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    if (::posix_spawn(&m_processID, pointers.front(), actions.get(), DefaultSignals().get(), pointers.data(),
                      environ) != 0)
        throw std::runtime_error("The tool does not start.");
}

RunningTool::~RunningTool() {
    if (m_processID == 0)
        return;
    send(SIGKILL);
    ::waitpid(m_processID, nullptr, 0);
}

void RunningTool::send(const int signalNumber) const {
    ::kill(m_processID, signalNumber);
}

ToolResult RunningTool::wait() {
    int status = 0;
    struct rusage usage;
    if (::wait4(m_processID, &status, 0, &usage) != std::exchange(m_processID, 0))
        throw std::runtime_error("The process is lost.");
    const int signalNumber = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return {signalNumber == 0 ? WEXITSTATUS(status) : 128 + signalNumber,
            TemporaryDirectory::getContentsOf(m_outputPath), TemporaryDirectory::getContentsOf(m_errorPath),
            signalNumber, static_cast<size_t>(usage.ru_maxrss) * 1024};
}

ToolResult runToolProcess(const std::vector<std::string>& arguments, const ToolInput& input) {
    return RunningTool(arguments, input).wait();
}
