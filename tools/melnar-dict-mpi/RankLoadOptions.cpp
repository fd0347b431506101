#include "tools/melnar-dict-mpi/RankLoadOptions.h"

#include "tools/melnar-dict-mpi/RankInputs.h"

#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

namespace {

constexpr const char* TEXT = R"(
Reads RDF files with all processes that mpirun starts, the ranks, and gives every distinct term in them a resource ID. The
dictionary is a folder of shards, on a file system that all ranks share. It is the same, byte for byte, as the one that
melnar-dict load --shards writes for the same files, with any number of ranks; so are the rows of IDs.

Ranks read plain N-Triples and N-Quads in turn, a megabyte at a time. A compressed file, and one in Turtle or TriG, is read
by one rank, the largest first, while other ranks read other files; what is read ahead of its turn is spilled to the folder.

A rank keeps the shards with its number modulo the number of ranks in memory. In addition it needs about 100 MB, or more if
lines are long. --memory-limit applies to each rank; without it, the ranks of a machine share what one process would
get. If a rank runs out of memory or disk, or dies, the run ends. --resume continues from the last checkpoint, with any
number of ranks.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data, 2 wrong command line or an output that would destroy something, 3 input or output failed, another
process is writing the dictionary, or a limit was reached. All ranks end with the same exit code. The dictionary is saved
when all files have been loaded. It replaces the old one atomically.
)";

} // namespace

VerbDescription describeRankLoad(RankLoadOptions& options) {
    LoadOptions& load = options.m_load;
    load.m_makesShards = true;
    load.m_numberOfThreads = 1;
    load.m_memoryLimit = 0; // 0 stands for the rank's share
    VerbDescription verb{"load",
                         "read RDF files with several processes and give their terms resource IDs",
                         TEXT,
                         EXIT_CODES,
                         {{"load dump.nt -o dump.dict --ids dump.npy",
                           "Run by mpirun -n 4: four processes load a dump, with the statements as rows of IDs."},
                          {"load dump-*.nt.gz -o dump.dict --checkpoint 30 --resume",
                           "Resumes an earlier, interrupted run, if there is one."}}};
    addOutput(verb, OutputKind::FILE_ONLY, "DICTIONARY", "save the dictionary to this folder",
              "use a folder that has other files, and discard an unfinished load", load.m_output);
    verb.addFile(
        "--into", "DICTIONARY",
        "add to this dictionary of shards, whose IDs stay the same; save it again, or to the folder given with -o",
        load.m_intoName);
    verb.addText("--ids", "ROWS", "write the statements as rows of IDs to this file; an existing file is replaced",
                 load.m_idsName);
    verb.m_options.back().m_isFile = true;
    addRowOptions(verb, load.m_rows);
    verb.addFlag(
        "--resume",
        "continue from the last checkpoint of the same load, or start if there is none; without this, an interrupted "
        "load is not resumed",
        options.m_isResuming);
    addCheckpoint(verb, "", load.m_checkpoint);
    verb.addFlag("--traffic",
                 "print at the end, on standard error, what the ranks have sent to each other and what they have used",
                 options.m_tellsTraffic);
    addInputFiles(verb, InputFormats::ALL, load.m_files);
    addInputsOfRank(verb, options.m_areInputsOfRanks);
    addBlankNodes(verb, load.m_files, load.m_blankNodes);
    addReading(verb, load);
    addJson(verb, JsonLayout::DOCUMENT, load.m_asksForJson);
    verb.m_checks.emplace_back([&load] {
        if (load.m_output.m_outputName.empty())
            throw ToolFailure(ExitCode::USAGE, "load needs -o, the folder of the dictionary");
        if (load.m_idsName == STANDARD_STREAM)
            throw ToolFailure(ExitCode::USAGE, "several processes cannot write rows to standard output");
    });
    return verb;
}
