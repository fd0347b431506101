#include "tools/melnar-dict-mpi/RankVerbs.h"

#include "tools/melnar-dict-mpi/RankLoadCommand.h"

#include <memory>

std::vector<RankVerb> makeRankVerbs() {
    const auto load = std::make_shared<RankLoadOptions>();
    return {
        {describeRankLoad(*load),
         [load](const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput) {
             return runRankLoad(*load, ranks, output, errorOutput);
         }},
    };
}
