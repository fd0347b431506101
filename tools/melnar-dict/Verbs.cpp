#include "tools/melnar-dict/Verbs.h"

#include "tools/melnar-dict/load/EstimateCommand.h"
#include "tools/melnar-dict/load/LoadCommand.h"
#include "tools/melnar-dict/rewrite/CanonicalCommand.h"
#include "tools/melnar-dict/rewrite/CheckCommand.h"
#include "tools/melnar-dict/rewrite/RewriteCommand.h"
#include "tools/melnar-dict/saved/CompactCommand.h"
#include "tools/melnar-dict/saved/DumpCommand.h"
#include "tools/melnar-dict/saved/GetCommand.h"
#include "tools/melnar-dict/saved/LookupCommand.h"
#include "tools/melnar-dict/saved/ShardsCommand.h"
#include "tools/melnar-dict/saved/StatsCommand.h"
#include "tools/melnar-dict/saved/VerifyCommand.h"

#include <memory>

namespace {

template<class Options>
Verb makeVerb(VerbDescription (*describe)(Options& options),
              ExitCode (*run)(const Options& options, StandardOutput& output, std::ostream& errorOutput)) {
    const auto options = std::make_shared<Options>();
    return {describe(*options), [options, run](StandardOutput& output, std::ostream& errorOutput) {
                return run(*options, output, errorOutput);
            }};
}

} // namespace

std::vector<Verb> makeVerbs() {
    return {
        makeVerb(&describeLoad, &runLoad),           makeVerb(&describeGet, &runGet),
        makeVerb(&describeLookup, &runLookup),       makeVerb(&describeDump, &runDump),
        makeVerb(&describeStats, &runStats),         makeVerb(&describeShards, &runShards),
        makeVerb(&describeCompact, &runCompact),     makeVerb(&describeVerify, &runVerify),
        makeVerb(&describeEncode, &runEncode),       makeVerb(&describeDecode, &runDecode),
        makeVerb(&describeCanonical, &runCanonical), makeVerb(&describeCheck, &runCheck),
        makeVerb(&describeEstimate, &runEstimate),
    };
}
