#include "tools/melnar-dict-mpi/RankVerbs.h"

#include "tools/melnar-dict-mpi/RankEncodeCommand.h"
#include "tools/melnar-dict-mpi/RankLoadCommand.h"

#include <memory>
#include <utility>

namespace {

template<class Options>
RankVerb makeVerb(VerbDescription (*describe)(Options& options),
                  ExitCode (*run)(const Options& options, const Ranks& ranks, StandardOutput& output,
                                  std::ostream& errorOutput)) {
    const auto options = std::make_shared<Options>();
    VerbDescription description = describe(*options);
    description.m_program = "melnar-dict-mpi";
    return {std::move(description),
            [options, run](const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput) {
                return run(*options, ranks, output, errorOutput);
            }};
}

} // namespace

std::vector<RankVerb> makeRankVerbs() {
    return {makeVerb(&describeRankLoad, &runRankLoad), makeVerb(&describeRankEncode, &runRankEncode)};
}
