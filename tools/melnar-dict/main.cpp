#include "tools/melnar-dict/Tool.h"
#include "tools/melnar-dict/shell/Interruption.h"
#include "tools/melnar-dict/shell/StandardDescriptors.h"

#include <csignal>

int main(const int argumentCount, char* const arguments[]) {
    occupyStandardDescriptors();
    std::signal(SIGXFSZ, SIG_IGN); // A file that reaches its limit is a write error like any other.
    exitCleanlyWhenInterrupted();
    return static_cast<int>(runTool({arguments + 1, arguments + argumentCount}));
}
