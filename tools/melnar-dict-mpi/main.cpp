#include "tools/melnar-dict-mpi/RankTool.h"

#include "tools/melnar-dict/shell/Interruption.h"
#include "tools/melnar-dict/shell/StandardDescriptors.h"

#include <csignal>

int main(int argumentCount, char* arguments[]) {
    occupyStandardDescriptors();
    std::signal(SIGXFSZ, SIG_IGN); // A file that reaches its limit is a write error like any other.
    exitCleanlyWhenInterrupted();
    return static_cast<int>(runRankTool(argumentCount, arguments));
}
