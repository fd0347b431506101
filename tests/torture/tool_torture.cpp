/// Tests the reader and the tool with random inputs, as often as requested:
///
///   tool-torture snippets N FOLDER    N texts for which the reader and another, strict reader must agree
///   tool-torture cuts N FOLDER        N cuts of files, plain and compressed, all of which must be noticed
///   tool-torture mutations N FOLDER   N changed and forged files of dictionaries and rows, which must do no harm
///   tool-torture kills N FOLDER       N kills of the tool, which must leave each file old or new
///   tool-torture shard-kills N FOLDER N kills of loads of shards, whose repetition must end like an undisturbed load
///   tool-torture rank-kills N FOLDER  the same for loads by ranks, if they are built
///   tool-torture rewrites N FOLDER    N files that are encoded and decoded, and those of MELNAR_DATA
///
/// Each prints a line that starts with N and states the findings, and before that each fault, with everything that
/// reproduces it. The exit code is 1 if there was any. The random numbers are those of MELNAR_SEED, or of seed 1.

#include "tests/torture/CutTorture.h"
#include "tests/torture/KillTorture.h"
#include "tests/torture/MutationTorture.h"
#ifdef MELNAR_DICT_MPI_EXECUTABLE
#include "tests/torture/RankKillTorture.h"
#endif
#include "tests/torture/RewriteTorture.h"
#include "tests/torture/ShardKillTorture.h"
#include "tests/torture/SnippetTorture.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

bool run(const std::string& mode, const size_t number, const std::string& folder) {
    const char* const seedText = std::getenv("MELNAR_SEED");
    const uint32_t seed = seedText == nullptr ? 1 : static_cast<uint32_t>(std::stoul(seedText));
    if (mode == "snippets")
        return tortureSnippets(number, seed, std::cout);
    if (mode == "cuts")
        return tortureCuts(number, seed, folder, std::cout);
    if (mode == "mutations")
        return tortureMutations(number, seed, std::cout);
    if (mode == "kills")
        return tortureByKills(number, seed, folder, std::cout);
    if (mode == "shard-kills")
        return tortureShardsByKills(number, seed, folder, std::cout);
#ifdef MELNAR_DICT_MPI_EXECUTABLE
    if (mode == "rank-kills")
        return tortureRanksByKills(number, seed, folder, std::cout);
#endif
    if (mode == "rewrites")
        return tortureByRewriting(number, seed, folder, std::cout);
    throw std::invalid_argument("there is no mode '" + mode + "'");
}

} // namespace

int main(const int argumentCount, const char* const* const arguments) {
    if (argumentCount != 4) {
        std::cerr << "usage: tool-torture snippets|cuts|mutations|kills|shard-kills|rank-kills|rewrites N FOLDER\n";
        return 2;
    }
    try {
        return run(arguments[1], std::stoul(arguments[2]), arguments[3]) ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << "tool-torture: " << exception.what() << '\n';
        return 1;
    }
}
