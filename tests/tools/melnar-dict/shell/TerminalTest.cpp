#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The tool on a terminal, which is its standard input, output and error output.
class ToolOnTerminal : private Unmovable {
public:
    ToolOnTerminal(const std::string& folder, const std::vector<std::string>& arguments, const char* const terminal) {
        std::vector<char*> argumentPointers{const_cast<char*>("melnar-dict")};
        for (const std::string& argument : arguments)
            argumentPointers.push_back(const_cast<char*>(argument.c_str()));
        argumentPointers.push_back(nullptr);
        const winsize size = {.ws_row = 24, .ws_col = 60, .ws_xpixel = 0, .ws_ypixel = 0};
        m_processID = ::forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_processID != 0)
            return;
        ::setenv("TERM", terminal, 1);
        if (::chdir(folder.c_str()) == 0)
            ::execv(MELNAR_DICT_EXECUTABLE, argumentPointers.data());
        ::_exit(99);
    }

    ~ToolOnTerminal() { ::close(m_terminal); }

    /// Reads the output on the terminal until it contains this text, or until its end.
    const std::string& readTo(const std::string& text) {
        while (m_text.find(text) == std::string::npos && readMore()) {
        }
        return m_text;
    }

    /// Returns the exit code, or 1000 if it did not exit.
    int waitForEnd() {
        while (readMore()) {
        }
        int status = 0;
        EXPECT_EQ(m_processID, ::waitpid(m_processID, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
    }

    void type(const char character) const { EXPECT_EQ(1, ::write(m_terminal, &character, 1)); }

    const std::string& getText() const { return m_text; }

private:
    bool readMore() {
        char buffer[4096];
        ssize_t size = 0;
        do
            size = ::read(m_terminal, buffer, sizeof buffer); // fails when the tool has ended
        while (size < 0 && errno == EINTR);
        m_text.append(buffer, size > 0 ? static_cast<size_t>(size) : 0);
        return size > 0;
    }

    pid_t m_processID;
    int m_terminal = -1;
    std::string m_text;
};

constexpr const char* TRIPLE = "<a:s> <a:p> \"text\" .\n";

/// Tests a verb that reads a pipe that stays open, "in.nt".
class TerminalTest : public testing::Test {
protected:
    TerminalTest() { EXPECT_EQ(0, ::mkfifo(m_directory.getPathOf("in.nt").c_str(), 0600)); }
    ~TerminalTest() override { closePipe(); }

    std::unique_ptr<ToolOnTerminal> start(const std::vector<std::string>& arguments,
                                          const char* const terminal = "xterm") {
        auto tool = std::make_unique<ToolOnTerminal>(m_directory.getPathOf(""), arguments, terminal);
        m_pipe = ::open(m_directory.getPathOf("in.nt").c_str(), O_WRONLY | O_CLOEXEC); // waits for the tool
        return tool;
    }

    void write(const std::string& text) const {
        for (size_t begin = 0; begin < text.size();)
            begin += static_cast<size_t>(std::max<ssize_t>(0, ::write(m_pipe, &text[begin], text.size() - begin)));
    }

    /// Adds a dictionary of the triple, "d", and its row, "rows.npy".
    void addDictionary() const {
        const std::string file = m_directory.addFile("one.nt", TRIPLE);
        ASSERT_EQ(0, runToolProcess(
                         {"load", file, "-o", m_directory.getPathOf("d"), "--ids", m_directory.getPathOf("rows.npy")})
                         .m_exitCode);
    }

    void closePipe() { ::close(std::exchange(m_pipe, -1)); }

    const TemporaryDirectory m_directory;
    int m_pipe = -1;
};

TEST_F(TerminalTest, showsALineThatGivesWayToMessagesAndGoesInTheEnd) {
    const auto tool = start({"load", "in.nt", "--lenient"});
    write(TRIPLE);
    tool->readTo("\r\x1b[Kloading: 21 bytes");
    std::string block = "bad\n";
    while (block.size() < 512 * 1024) // more than is read at a time
        block += TRIPLE;
    write(block);
    const std::string shown = tool->readTo("found 'bad'");
    EXPECT_NE(std::string::npos, shown.find("\r\x1b[Kin.nt:2:1: expected a subject, found 'bad'")) << shown;
    closePipe();
    EXPECT_EQ(0, tool->waitForEnd());
    const size_t lastErasure = tool->getText().rfind("\x1b[K");
    EXPECT_LT(tool->getText().rfind("loading"), lastErasure);
    EXPECT_LT(lastErasure, tool->getText().find("triples")) << "the report is alone";
    for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 2) {
        end = tool->getText().find("\r\x1b[K", begin);
        const std::string line = tool->getText().substr(begin, end - begin);
        if (line.starts_with("loading")) {
            EXPECT_LE(line.size(), 59u) << line;
        }
    }
}

TEST_F(TerminalTest, anInterruptionLeavesTheCursorOnAFreshLine) {
    const auto tool = start({"load", "in.nt"});
    write(TRIPLE);
    tool->readTo("loading: 21 bytes");
    tool->type('\x03');
    EXPECT_EQ(130, tool->waitForEnd());
    EXPECT_TRUE(tool->getText().ends_with("\r\n")) << tool->getText();
    EXPECT_EQ(tool->getText().size() - 1, tool->getText().find('\n')) << "nothing else was printed";
}

TEST_F(TerminalTest, everyVerbThatReadsFilesShowsHowFarItHasCome) {
    addDictionary();
    const std::string rows = TemporaryDirectory::getContentsOf(m_directory.getPathOf("rows.npy"));
    const std::string text = TRIPLE;
    for (const auto& [arguments, input, line] :
         std::vector<std::tuple<std::vector<std::string>, std::string, std::string>>{
             {{"load", "in.nt", "-o", "e", "--ids", "ids.npy"}, text, "loading: 21 bytes"},
             {{"load", "in.nt", "--strings-only"}, text, "loading: 21 bytes"},
             {{"check", "in.nt"}, text, "checking: 21 bytes"},
             {{"estimate", "in.nt"}, text, "estimating: 21 bytes"},
             {{"canonical", "in.nt", "-o", "out"}, text, "rewriting: 21 bytes"},
             {{"encode", "in.nt", "-d", "d", "-o", "out"}, text, "rewriting: 21 bytes"},
             {{"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "out"}, text, "rewriting: 21 bytes"},
             {{"decode", "in.nt", "-d", "d", "-o", "out"}, rows, "rewriting: 268 bytes"},
             {{"decode", "--as", "iri", "in.nt", "-d", "d", "-o", "out"}, text, "rewriting: 21 bytes"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const auto tool = start(arguments);
        write(input);
        EXPECT_NE(std::string::npos, tool->readTo("\r\x1b[K" + line).find("\r\x1b[K" + line));
        closePipe();
        EXPECT_EQ(0, tool->waitForEnd());
        EXPECT_LT(tool->getText().rfind("ing: "), tool->getText().rfind("\r\x1b[K")) << "the line is removed";
    }
}

TEST_F(TerminalTest, isQuietOnDemandAndWhereALineWouldStay) {
    addDictionary();
    for (const auto& [arguments, terminal] :
         {std::pair(std::vector<std::string>{"load", "in.nt", "--quiet"}, "xterm"),
          {std::vector<std::string>{"load", "in.nt"}, "dumb"},
          {std::vector<std::string>{"load", "in.nt"}, ""},
          {std::vector<std::string>{"check", "in.nt", "--quiet"}, "xterm"},
          {std::vector<std::string>{"estimate", "in.nt", "--quiet"}, "xterm"},
          {std::vector<std::string>{"canonical", "in.nt", "-o", "out.nt", "--quiet"}, "xterm"},
          {std::vector<std::string>{"encode", "in.nt", "-d", "d", "-o", "out", "--quiet"}, "xterm"},
          {std::vector<std::string>{"canonical", "in.nt", "-o", "-"}, "xterm"},
          {std::vector<std::string>{"encode", "in.nt", "-d", "d", "-o", "-"}, "xterm"},
          {std::vector<std::string>{"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"}, "xterm"},
          {std::vector<std::string>{"decode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"}, "xterm"}}) {
        const auto tool = start(arguments, terminal);
        write(TRIPLE);
        std::this_thread::sleep_for(std::chrono::milliseconds(700)); // longer than the time before the first line
        closePipe();
        EXPECT_EQ(0, tool->waitForEnd());
        EXPECT_EQ(std::string::npos, tool->getText().find("ing: ")) << tool->getText();
    }
}

} // namespace
