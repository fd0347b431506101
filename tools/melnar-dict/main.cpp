#include "tools/melnar-dict/Tool.h"
#include "tools/melnar-dict/shell/Interruption.h"

#include <csignal>

int main(const int argumentCount, char* const arguments[]) {
    // A reader that goes away is an error of writing, reported and counted like any other, and not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    exitCleanlyWhenInterrupted();
    return static_cast<int>(runTool({arguments + 1, arguments + argumentCount}));
}
